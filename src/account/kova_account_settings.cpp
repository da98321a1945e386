// The flat face of the account record: one call copies the whole record.
#include "foundation/fixed_field.hpp"
#include "foundation/flat_boundary.hpp"
#include "quilkova/quilkova.h"
#include "quilkova/user.hpp"

#include <cstddef>

// The record's layout is part of the outside interface: fixed forever.
static_assert(offsetof(KOVA_INFO, password) == 4096 && offsetof(KOVA_INFO, user_id) == 8192 &&
                  offsetof(KOVA_INFO, auth_key) == 12288 && offsetof(KOVA_INFO, full_name) == 16384 &&
                  offsetof(KOVA_INFO, country) == 17408 && offsetof(KOVA_INFO, timezone) == 17664 &&
                  offsetof(KOVA_INFO, notify_language) == 17920 &&
                  offsetof(KOVA_INFO, critical_version_list) == 18176 &&
                  offsetof(KOVA_INFO, critical_version_domain) == 19200 && offsetof(KOVA_INFO, activated) == 20224 &&
                  offsetof(KOVA_INFO, enews_local_promotion) == 20240 &&
                  offsetof(KOVA_INFO, last_query_time) == 20244 && sizeof(KOVA_INFO) == 20248,
              "KOVA_INFO layout changed");

using quilkova::User;
using quilkova::internal::CopyField;
using quilkova::internal::FieldText;

extern "C" int QUILKOVAAccountGet(KOVA_INFO* info) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (info == nullptr) {
        return quilkova::internal::FailBadParam();
    }
    // Each field is written as soon as it is read: a failure part-way leaves
    // the fields before it filled and the rest as the caller left them.
    return quilkova::internal::RunFlat([info] {
        const User user;
        const std::string auth_key = user.GetAuthKey();
        if (auth_key.empty()) {
            return KOVA_ERR_NO_ACCOUNT;
        }
        const std::string user_id = user.GetUserId();
        if (user_id.empty()) {
            return KOVA_ERR_NO_ACCOUNT;
        }
        CopyField(info->auth_key, auth_key);
        CopyField(info->user_id, user_id);
        CopyField(info->email, user.GetEmail());
        CopyField(info->full_name, user.GetName());
        CopyField(info->country, user.GetCountry());
        CopyField(info->timezone, user.GetTimezone());
        CopyField(info->notify_language, user.GetNotifyLanguage());
        info->last_query_time = static_cast<int32_t>(user.GetLastQueryTime());
        info->activated = user.GetIsActivated() ? 1 : 0;
        info->disabled = user.GetIsDisabled() ? 1 : 0;
        info->enews = user.GetIsEnews() ? 1 : 0;
        info->critical_release = user.GetIsCriticalRelease() ? 1 : 0;
        info->enews_local_promotion = user.GetIsEnewsLocalPromotion() ? 1 : 0;
        CopyField(info->critical_version_list, user.GetCriticalVersionList());
        CopyField(info->critical_version_domain, user.GetCriticalVersionDomain());
        return KOVA_ERR_SUCCESS;
    });
}

extern "C" int QUILKOVAAccountSet(const KOVA_INFO* info) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (info == nullptr) {
        return quilkova::internal::FailBadParam();
    }
    return quilkova::internal::RunFlat([info] {
        const User user;
        user.SetEmail(FieldText(info->email));
        user.SetAuthKey(FieldText(info->auth_key));
        user.SetUserId(FieldText(info->user_id));
        // Only a record that comes from a query carries a profile.
        if (info->last_query_time > 0) {
            user.SetName(FieldText(info->full_name));
            user.SetCountry(FieldText(info->country));
            user.SetTimezone(FieldText(info->timezone));
            user.SetNotifyLanguage(FieldText(info->notify_language));
            user.SetIsActivated(info->activated != 0);
            user.SetIsDisabled(info->disabled != 0);
            user.SetIsEnews(info->enews != 0);
            user.SetIsEnewsLocalPromotion(info->enews_local_promotion != 0);
            user.SetIsCriticalRelease(info->critical_release != 0);
            user.SetCriticalVersionList(FieldText(info->critical_version_list));
            user.SetCriticalVersionDomain(FieldText(info->critical_version_domain));
            user.SetLastQueryTime(info->last_query_time);
        }
        return KOVA_ERR_SUCCESS;
    });
}
