// What the account service's embedded pages need to know of the device, and
// the repair of its API key when such a page reports it unknown.
#include <iterator>
#include <string>
#include <utility>

#include "account/account_record.hpp"
#include "device/identity.hpp"
#include "foundation/log.hpp"
#include "operations/account_operations.hpp"
#include "services/account_steps.hpp"
#include "quilplatform/cloud_service.h"

namespace quilkova::internal {

Status ReadIframeInfo(Json::Value& info) {
    // The device's facts in this order, each failure stopping the rest; the
    // account host can always be had.
    using Reader = Result<std::string> (*)(Where);
    const std::pair<const char*, Reader> facts[] = {{"serial_no", &ReadSerial},
                                                    {"orig_serial_no", &ReadOriginalSerial},
                                                    {"mac", &ReadMac},
                                                    {"api_key", &ReadApiKey}};
    std::string values[std::size(facts)];
    for (size_t i = 0; i < std::size(facts); ++i) {
        Result<std::string> fact = facts[i].second(KOVA_HERE);
        if (!fact) {
            return fact.error();
        }
        values[i] = fact.value();
    }
    info["server_url"] = AccountHost();
    for (size_t i = 0; i < std::size(facts); ++i) {
        info[facts[i].first] = values[i];
    }
    return Done{};
}

Status HandleApiKeyError(Json::Value& info, const char* code) {
    if (code == nullptr) {
        KOVA_LOG(LOG_ERR, "Bad Parameters");
        return Error{KOVA_ERR_BAD_PARAM};
    }
    const auto mapped = static_cast<KOVA_ERRCODE>(GetErrorCodeFromAccountError(code));
    if (mapped == KOVA_ERR_APIKEY_NOT_FOUND) {
        const Result<std::string> key = RegisterNewApiKey(KOVA_HERE);
        if (!key) {
            return Error{key.error().code};  // with a code even when the key's failure had none
        }
        info["api_key"] = key.value();
        return Done{};
    }
    if (mapped == KOVA_ERR_APIKEY_EXPIRED) {
        QUILCloudServiceActionHandler(QUIL_CLOUD_SERVICE_ACTION_APIKEY_EXPIRED, 0);
        return Error{mapped};
    }
    KOVA_LOG(LOG_ERR, "QUILKOVAHandleApiKeyError failed, error=%u", static_cast<unsigned int>(mapped));
    return Error{mapped != KOVA_ERR_SUCCESS ? mapped : KOVA_ERR_UNKNOWN};
}

}  // namespace quilkova::internal
