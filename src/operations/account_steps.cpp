#include "operations/account_steps.hpp"

#include "foundation/json_utils.hpp"
#include "foundation/log.hpp"
#include "foundation/redact.hpp"
#include "quilplatform/cloud_service.h"
#include "quilplatform/device.h"
#include "quilplatform/notify.h"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/zone.h"

namespace quilkova::internal {

namespace {
bool Fail(KOVA_ERRCODE code) {
    QUILKOVAErrSet(code);
    return false;
}
}  // namespace

bool ResolveAccountHost(std::string& host, Where where) {
    KOVA_SERVER_CONFIG config = {};
    if (QUILKOVAServerConfigGet(&config) != 0) {
        KOVA_LOG_AT(where, "%s:%d QUILKOVAServerConfigGet, code=%u", static_cast<unsigned int>(QUILKOVAErrGet()));
        return Fail(KOVA_ERR_SERVER_CONFIG);
    }
    host = config.account_url;
    return true;
}

namespace {
// `name` is how the failure log calls that serial.
bool ReadSerialWith(int (*get)(char*, int), const char* name, char (&serial)[kSerialSize], Where where) {
    if (get(serial, kSerialSize) < 0) {
        KOVA_LOG_AT(where, "%s:%d Failed to get %s, err=[0x%04X %s:%d]", name, QLIBCErrGet(), QLIBCErrorGetFile(),
                    QLIBCErrorGetLine());
        return Fail(KOVA_ERR_SERIAL);
    }
    return true;
}
}  // namespace

bool ReadSerial(char (&serial)[kSerialSize], Where where) {
    return ReadSerialWith(QLIBGetSerialNumber, "serial number", serial, where);
}

bool ReadOriginalSerial(char (&serial)[kSerialSize], Where where) {
    return ReadSerialWith(QLIBGetOriginalSerialNumber, "original sn", serial, where);
}

bool ReadMac(char (&mac)[kMacSize], Where where) {
    if (QUILHsinfoCloudServiceGetMacAddress(mac, kMacSize) < 0) {
        KOVA_LOG_AT(where, "%s:%d Failed to get mac address");
        return Fail(KOVA_ERR_MAC);
    }
    return true;
}

bool ReadApiKey(char (&key)[kApiKeySize], Where where) {
    if (QUILCloudServiceGetApiKey(key, 1) < 0) {
        KOVA_LOG_AT(where, "%s:%d Failed to get apikey");
        QUILKOVAErrSet(GetErrorCodeFromCloudService());
        return false;
    }
    return true;
}

FormHash NewForm(Where where) {
    FormHash form(QLIBCSzHashAlloc(1024));
    if (!form) {
        KOVA_LOG_AT(where, "%s:%d Failed to alloc https request, err=[0x%04X %s:%d]", QLIBCErrGet(),
                    QLIBCErrorGetFile(), QLIBCErrorGetLine());
        QUILKOVAErrSet(KOVA_ERR_SYSTEM);
    }
    return form;
}

bool SetField(QLIBCSzHash* form, const char* key, const std::string& value) {
    return QLIBCSzHashSetValue(form, key, value.c_str()) == 0;
}

FormHash NewZonedForm(std::string& zone, Where where) {
    return ReadTimezone(zone, where) ? NewForm(where) : FormHash();
}

namespace {
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

bool SendForm(const std::string& host, const char* path, QLIBCSzHash* form, bool short_timeout, Response& response,
              Json::Value& answer, Where where, const char* failure) {
    QUILKOVAHttpsResponseFree(&response.raw);
    response.sent_secrets = SecretsOf(form);
    KOVA_HTTPS_REQUEST request = {};
    request.host = host.c_str();
    request.path = path;
    request.params = form;
    request.method = 0;
    request.shortTimeout = short_timeout ? 1 : 0;
    if (QUILKOVAHttpsRequestSend(&request, &response.raw) != 0) {
        KOVA_LOG_AT(where, "%s:%d %s to send https request. err=[0x%04X %s:%d]", failure, QLIBCErrGet(),
                    QLIBCErrorGetFile(), QLIBCErrorGetLine());
        return Fail(KOVA_ERR_SEND);
    }
    if (!TryParseJson(response.Body(), answer)) {
        KOVA_LOG_AT(where, "%s:%d Failed to parse json: %s", response.Redacted().c_str());
        return Fail(KOVA_ERR_BAD_JSON);
    }
    return true;
}

bool ReadTimezone(std::string& zone_in_tzdb, Where where) {
    char zone[256] = {};
    int needed = 0;
    if (QUILZoneGet(zone, sizeof(zone), &needed) < 0) {
        KOVA_LOG_AT(where, "%s:%d failed to get time zone, size need: %d, err=[0x%04X %s:%d]", needed, QLIBCErrGet(),
                    QLIBCErrorGetFile(), QLIBCErrorGetLine());
        return false;
    }
    const FormHash details(QLIBCSzHashAlloc(1024));
    if (!details) {
        KOVA_LOG_AT(where, "%s:%d Failed to alloc pTZInfo, err=[0x%04X %s:%d]", QLIBCErrGet(), QLIBCErrorGetFile(),
                    QLIBCErrorGetLine());
        return Fail(KOVA_ERR_SYSTEM);
    }
    if (QUILZoneGetInfo(zone, details.get()) < 0) {
        KOVA_LOG_AT(where, "%s:%d failed to get timezone info[0x%04X %s:%d]", QLIBCErrGet(), QLIBCErrorGetFile(),
                    QLIBCErrorGetLine());
        return Fail(KOVA_ERR_SYSTEM);
    }
    const char* name = QLIBCSzHashGetValue(details.get(), "nameInTZDB");
    if (name == nullptr) {
        KOVA_LOG_AT(where, "%s:%d failed to get tmz[0x%04X %s:%d]", QLIBCErrGet(), QLIBCErrorGetFile(),
                    QLIBCErrorGetLine());
        return Fail(KOVA_ERR_SYSTEM);
    }
    zone_in_tzdb = name;
    return true;
}

std::string CodeOf(const Json::Value& answer) {
    return answer.isObject() ? TextOf(answer["code"]) : "";
}

bool RegisterNewApiKey(char (&key)[kApiKeySize], Where where) {
    KOVA_LOG_AT(where, "%s:%d ApiKey not found. Register new one.");
    if (QUILCloudServiceRegisterApiKey(key) < 0) {
        KOVA_LOG_AT(where, "%s:%d QUILCloudServiceRegisterApiKey failed");
        return false;
    }
    return true;
}

bool ReadBoundAccount(KOVA_INFO& info) {
    if (QUILKOVAAccountGet(&info) != 0) {
        return Fail(KOVA_ERR_NO_ACCOUNT);
    }
    return true;
}

void NotifyAccount(const char* tag, const std::string& email, Where where) {
    const FormHash params(QLIBCSzHashAlloc(1024));
    if (!params) {
        KOVA_LOG_AT(where, "%s:%d Failed to alloc notification hash, err=[0x%04X %s:%d]", QLIBCErrGet(),
                    QLIBCErrorGetFile(), QLIBCErrorGetLine());
        return;
    }
    QLIBCSzHashSetValue(params.get(), "%KOVA_ACCOUNT%", email.c_str());
    if (QUILSysNotifySendNotifiction(tag, params.get()) < 0) {
        KOVA_LOG_AT(where, "%s:%d Send notification failed");
    }
}

}  // namespace quilkova::internal
