// Changing the bound account's profile or password.
#include <cstring>
#include <string>

#include "operations/account_steps.hpp"
#include "foundation/fixed_field.hpp"
#include "foundation/flat_boundary.hpp"
#include "foundation/log.hpp"
#include "foundation/redact.hpp"
#include "quilkova/quilkova.h"

namespace {

using namespace quilkova::internal;

struct Changes {
    const char* full_name;
    const char* email;
    const char* password;
    const char* new_password;
    const char* country;
    const char* notify_language;
    const char* timezone;
    int enews;
    int critical_release;
    int enews_local_promotion;
    const char* critical_version_list;
};

void SetGiven(QLIBCSzHash* form, const char* key, const char* value) {
    if (value != nullptr) {
        SetField(form, key, value);
    }
}

// Negative: left as it is.
void SetTriState(QLIBCSzHash* form, const char* key, int value) {
    if (value >= 0) {
        SetField(form, key, FlagText(value > 0));
    }
}

void FillForm(QLIBCSzHash* form, const KOVA_INFO& info, const char* serial, const Changes& changes) {
    SetField(form, "id", FieldText(info.user_id));
    SetField(form, "auth_key", FieldText(info.auth_key));
    SetField(form, "serial_no", serial);
    SetGiven(form, "full_name", changes.full_name);
    // Without the current password neither the e-mail nor the password can change.
    if (changes.password != nullptr) {
        SetField(form, "passwd", changes.password);
        SetGiven(form, "email", changes.email);
        if (changes.new_password != nullptr) {
            SetField(form, "passwd_new", changes.new_password);
            SetField(form, "passwd_confirmation", changes.new_password);  // always the same, on purpose
        }
    }
    SetGiven(form, "country", changes.country);
    SetGiven(form, "notify_lang", changes.notify_language);
    SetGiven(form, "timezone", changes.timezone);
    SetTriState(form, "enews", changes.enews);
    SetTriState(form, "critical_release", changes.critical_release);
    SetTriState(form, "enews_local_promotion", changes.enews_local_promotion);
    SetGiven(form, "critical_version_list", changes.critical_version_list);
}

// The changes written locally, with a query time old enough that the
// refresh after it asks the service for the whole account.
void StoreLocally(KOVA_INFO info, const Changes& changes) {
    const auto copy = [](auto& field, const char* value) {
        if (value != nullptr) {
            CopyField(field, value);
        }
    };
    if (changes.password != nullptr) {
        copy(info.email, changes.email);
    }
    copy(info.full_name, changes.full_name);
    copy(info.country, changes.country);
    copy(info.notify_language, changes.notify_language);
    copy(info.timezone, changes.timezone);
    copy(info.critical_version_list, changes.critical_version_list);
    const auto flag = [](int32_t& field, int value) {
        if (value >= 0) {
            field = value > 0 ? 1 : 0;
        }
    };
    flag(info.enews, changes.enews);
    flag(info.critical_release, changes.critical_release);
    flag(info.enews_local_promotion, changes.enews_local_promotion);
    info.last_query_time = 1;
    if (QUILKOVAAccountSet(&info) != 0) {
        KOVA_LOG(LOG_ERR, "%s:%d Cant set kova account");
    }
}

int SetInfo(const Changes& changes) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    KOVA_INFO info = {};
    if (QUILKOVAAccountGet(&info) != 0) {
        KOVA_LOG(LOG_ERR, "%s:%d QUILKOVAAccountGet failed");
        return -1;
    }
    std::string host;
    char serial[kSerialSize] = {};
    if (!ResolveAccountHost(host, KOVA_HERE) || !ReadSerial(serial, KOVA_HERE)) {
        return -1;
    }
    const FormHash form = NewForm(KOVA_HERE);
    if (!form) {
        return -1;
    }
    FillForm(form.get(), info, serial, changes);
    Response response;
    Json::Value answer;
    if (!SendForm(host, "device/api/user/update", form.get(), false, response, answer, KOVA_HERE)) {
        return -1;
    }
    if (MapLibKovaCenterErrorCode(CodeOf(answer).c_str()) != KOVA_ERR_SUCCESS) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to update account:%s, resp=%s", info.email, response.Redacted().c_str());
        return -1;
    }
    if (changes.password != nullptr && changes.new_password != nullptr) {
        NotifyAccount("KoVAPasswordChanged", changes.email != nullptr ? changes.email : FieldText(info.email),
                      KOVA_HERE);
    }
    StoreLocally(info, changes);
    Json::Value refreshed;
    if (QUILKOVAAccountQueryInfo(refreshed, true, true) != 0) {
        KOVA_LOG(LOG_ERR, "%s:%d QUILKOVAAccountQueryInfo failed, code=%u", static_cast<unsigned int>(QUILKOVAErrGet()));
    }
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    return 0;
}

}  // namespace

extern "C" int QUILKOVAAccountSetInfo(const char* fullName, const char* email, const char* password,
                                      const char* newPassword, const char* country, const char* notifyLanguage,
                                      const char* timezone, int enews, int criticalRelease, int enewsLocalPromotion,
                                      const char* criticalVersionList) {
    return GuardFlat([&] {
        return SetInfo({fullName, email, password, newPassword, country, notifyLanguage, timezone, enews,
                        criticalRelease, enewsLocalPromotion, criticalVersionList});
    });
}
