// The account record copied whole between the store and the flat record.
#include "account/account_record.hpp"

#include <cstddef>

#include "account/profile.hpp"
#include "account/user_impl.hpp"
#include "foundation/fixed_field.hpp"

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

namespace quilkova::internal {

namespace {
// The order in which the record is read into KOVA_INFO, after the auth key and the user id.
constexpr Field kReadAfterTheIdentity[] = {Field::Email,
                                Field::Name,        Field::Country,       Field::Timezone,
                                Field::NotifyLanguage, Field::LastQueryTime, Field::IsActivated,
                                Field::IsDisabled,  Field::IsEnews,       Field::IsCriticalRelease,
                                Field::IsEnewsLocalPromotion, Field::CriticalVersionList,
                                Field::CriticalVersionDomain};
// Always written, empty or not.
constexpr Field kIdentity[] = {Field::Email, Field::AuthKey, Field::UserId};
// Written only from a record that carries a query's profile, last_query_time last.
constexpr Field kProfile[] = {Field::Name,        Field::Country,     Field::Timezone,
                              Field::NotifyLanguage, Field::IsActivated, Field::IsDisabled,
                              Field::IsEnews,     Field::IsEnewsLocalPromotion, Field::IsCriticalRelease,
                              Field::CriticalVersionList, Field::CriticalVersionDomain, Field::LastQueryTime};
}  // namespace

Status ReadAccountRecord(KOVA_INFO* info) {
    if (info == nullptr) {
        return Error{KOVA_ERR_BAD_PARAM};
    }
    const UserImpl user;
    // An account counts as present only when both the auth key and the user id are stored.
    KOVA_TRY(auth_key, user.GetAuthKey());
    if (auth_key.empty()) {
        return Error{KOVA_ERR_NO_ACCOUNT};
    }
    KOVA_TRY(user_id, user.GetUserId());
    if (user_id.empty()) {
        return Error{KOVA_ERR_NO_ACCOUNT};
    }
    CopyField(info->auth_key, auth_key);
    CopyField(info->user_id, user_id);
    // Each further field is written as soon as it is read: a failure part-way
    // leaves the fields before it filled and the rest as the caller left them.
    for (const Field field : kReadAfterTheIdentity) {
        KOVA_TRY_STATUS(CopyToInfo(user, field, *info));
    }
    return Done{};
}

Status WriteAccountRecord(const KOVA_INFO* info) {
    if (info == nullptr) {
        return Error{KOVA_ERR_BAD_PARAM};
    }
    const UserImpl user;
    for (const Field field : kIdentity) {
        KOVA_TRY_STATUS(StoreFromInfo(user, field, *info));
    }
    if (info->last_query_time > 0) {
        for (const Field field : kProfile) {
            KOVA_TRY_STATUS(StoreFromInfo(user, field, *info));
        }
    }
    return Done{};
}

}  // namespace quilkova::internal
