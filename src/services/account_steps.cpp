#include "services/account_steps.hpp"

#include "account/account_record.hpp"
#include "device/identity.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/json_utils.hpp"
#include "quilplatform/notify.h"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_file.h"
#include "quilplatform/zone.h"

namespace quilkova::internal {

namespace {
constexpr int kZoneSize = 256;
constexpr int kLanguageSize = 32;

// The values of the form's secret fields, to be masked wherever an answer repeats them.
std::vector<std::string> SecretsOf(QLIBCSzHash* form) {
    std::vector<std::string> secrets;
    const SzList keys(QLIBCSzListAlloc(64));
    if (keys && QLIBCSzHashEnumKey(form, keys.get()) > 0) {
        for (int i = 0; i < QLIBCSzListCount(keys.get()); ++i) {
            const char* key = QLIBCSzListGet(keys.get(), i);
            const char* value = QLIBCSzHashGetValue(form, key);
            if (key != nullptr && value != nullptr) {
                AddSentSecret(secrets, key, value);
            }
        }
    }
    return secrets;
}
}  // namespace

Result<FormHash> NewForm(Where where) {
    FormHash form(QLIBCSzHashAlloc(kHashCapacity));
    if (!form) {
        KOVA_LOG_AT(where, "Failed to alloc https request, err=[0x%04X %s:%d]", QLIBCErrGet(),
                    QLIBCErrorGetFile(), QLIBCErrorGetLine());
        return Error{KOVA_ERR_SYSTEM};
    }
    return form;
}

void SetField(QLIBCSzHash* form, const char* key, const std::string& value) {
    QLIBCSzHashSetValue(form, key, value.c_str());
}

Status SendForm(const std::string& host, const char* path, QLIBCSzHash* form, bool short_timeout, Response& response,
                Json::Value& answer, Where where, const char* failure) {
    FreeHttpsResponse(&response.raw);
    response.sent_secrets = SecretsOf(form);
    KOVA_HTTPS_REQUEST request = {};
    request.host = host.c_str();
    request.path = path;
    request.params = form;
    request.method = 0;
    request.shortTimeout = short_timeout ? 1 : 0;
    if (!SendHttpsRequest(&request, &response.raw)) {
        KOVA_LOG_AT(where, "%s to send https request. err=[0x%04X %s:%d]", failure, QLIBCErrGet(),
                    QLIBCErrorGetFile(), QLIBCErrorGetLine());
        return Error{KOVA_ERR_SEND};
    }
    if (!TryParseJson(response.Body(), answer)) {
        KOVA_LOG_AT(where, "Failed to parse json: %s", response.Redacted().c_str());
        return Error{KOVA_ERR_BAD_JSON};
    }
    return Done{};
}

Result<std::string> ReadTimezone(Where where) {
    char zone[kZoneSize] = {};
    int needed = 0;
    if (QUILZoneGet(zone, sizeof(zone), &needed) < 0) {
        KOVA_LOG_AT(where, "failed to get time zone, size need: %d, err=[0x%04X %s:%d]", needed, QLIBCErrGet(),
                    QLIBCErrorGetFile(), QLIBCErrorGetLine());
        return Error::WithoutCode();
    }
    const FormHash details(QLIBCSzHashAlloc(kHashCapacity));
    if (!details) {
        KOVA_LOG_AT(where, "Failed to alloc pTZInfo, err=[0x%04X %s:%d]", QLIBCErrGet(), QLIBCErrorGetFile(),
                    QLIBCErrorGetLine());
        return Error{KOVA_ERR_SYSTEM};
    }
    if (QUILZoneGetInfo(zone, details.get()) < 0) {
        KOVA_LOG_AT(where, "failed to get timezone info[0x%04X %s:%d]", QLIBCErrGet(), QLIBCErrorGetFile(),
                    QLIBCErrorGetLine());
        return Error{KOVA_ERR_SYSTEM};
    }
    const char* name = QLIBCSzHashGetValue(details.get(), "nameInTZDB");
    if (name == nullptr) {
        KOVA_LOG_AT(where, "failed to get tmz[0x%04X %s:%d]", QLIBCErrGet(), QLIBCErrorGetFile(),
                    QLIBCErrorGetLine());
        return Error{KOVA_ERR_SYSTEM};
    }
    return std::string(name);
}

std::string ReadLanguage(const char* fallback) {
    char language[kLanguageSize] = {};
    if (QLIBCFileGetKeyValue(kSystemSettings, "language", language, sizeof(language), 0) < 1) {
        return fallback;
    }
    return language;
}

std::string CodeOf(const Json::Value& answer) {
    return answer.isObject() ? TextOf(answer["code"]) : "";
}

Result<std::string> RegisterNewApiKey(Where where) {
    KOVA_LOG_AT(where, "ApiKey not found. Register new one.");
    Result<std::string> key = RegisterApiKey();
    if (!key) {
        KOVA_LOG_AT(where, "QUILCloudServiceRegisterApiKey failed");
    }
    return key;
}

Status ReadBoundAccount(KOVA_INFO& info) {
    if (!Capture([&info] { return ReadAccountRecord(&info); })) {
        return Error{KOVA_ERR_NO_ACCOUNT};
    }
    return Done{};
}

void NotifyAccount(const char* tag, const std::string& email, Where where) {
    const FormHash params(QLIBCSzHashAlloc(kHashCapacity));
    if (!params) {
        KOVA_LOG_AT(where, "Failed to alloc notification hash, err=[0x%04X %s:%d]", QLIBCErrGet(),
                    QLIBCErrorGetFile(), QLIBCErrorGetLine());
        return;
    }
    QLIBCSzHashSetValue(params.get(), "%KOVA_ACCOUNT%", email.c_str());
    if (QUILSysNotifySendNotifiction(tag, params.get()) < 0) {
        KOVA_LOG_AT(where, "Send notification failed");
    }
}

}  // namespace quilkova::internal
