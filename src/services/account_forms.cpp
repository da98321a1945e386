#include "services/account_forms.hpp"

#include "foundation/json_utils.hpp"
#include "quilplatform/qlibc_error.h"

namespace quilkova::internal {

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

std::string CodeOf(const Json::Value& answer) {
    return answer.isObject() ? TextOf(answer["code"]) : "";
}

}  // namespace quilkova::internal
