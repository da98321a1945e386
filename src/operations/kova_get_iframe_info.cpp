// What the account service's embedded pages need to know of the device, and
// the repair of its API key when such a page reports it unknown.
#include <string>

#include "operations/account_steps.hpp"
#include "foundation/flat_boundary.hpp"
#include "foundation/log.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/cloud_service.h"
#include "quilplatform/device.h"
#include "quilplatform/qlibc_error.h"

namespace {

using namespace quilkova::internal;

int GetIframeInfo(Json::Value& info) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    std::string host;
    char serial[kSerialSize] = {};
    if (!ResolveAccountHost(host, KOVA_HERE) || !ReadSerial(serial, KOVA_HERE)) {
        return -1;
    }
    char original[kSerialSize] = {};
    if (!ReadOriginalSerial(original, KOVA_HERE)) {
        return -1;
    }
    char mac[kMacSize] = {};
    char api_key[kApiKeySize] = {};
    if (!ReadMac(mac, KOVA_HERE) || !ReadApiKey(api_key, KOVA_HERE)) {
        return -1;
    }
    info["server_url"] = host;
    info["serial_no"] = serial;
    info["orig_serial_no"] = original;
    info["mac"] = mac;
    info["api_key"] = api_key;
    return 0;
}

int HandleApiKeyError(Json::Value& info, const char* code) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (code == nullptr) {
        KOVA_LOG(LOG_ERR, "%s:%d Bad Parameters");
        QUILKOVAErrSet(KOVA_ERR_BAD_PARAM);
        return -1;
    }
    const int mapped = GetErrorCodeFromAccountError(code);
    if (mapped == KOVA_ERR_APIKEY_NOT_FOUND) {
        char key[kApiKeySize] = {};
        if (!RegisterNewApiKey(key, KOVA_HERE)) {
            const int cause = GetErrorCodeFromCloudService();
            QUILKOVAErrSet(cause != KOVA_ERR_SUCCESS ? cause : KOVA_ERR_UNKNOWN);
            return -1;
        }
        info["api_key"] = key;
        return 0;
    }
    if (mapped == KOVA_ERR_APIKEY_EXPIRED) {
        QUILCloudServiceActionHandler(QUIL_CLOUD_SERVICE_ACTION_APIKEY_EXPIRED, 0);
        QUILKOVAErrSet(mapped);
        return -1;
    }
    KOVA_LOG(LOG_ERR, "%s:%d QUILKOVAHandleApiKeyError failed, error=%u", static_cast<unsigned int>(mapped));
    QUILKOVAErrSet(mapped != KOVA_ERR_SUCCESS ? mapped : KOVA_ERR_UNKNOWN);
    return -1;
}

}  // namespace

extern "C" int QUILKOVAGetIframeInfo(Json::Value& info) {
    return GuardFlat([&info] { return GetIframeInfo(info); });
}

extern "C" int QUILKOVAHandleApiKeyError(Json::Value& info, const char* code) {
    return GuardFlat([&] { return HandleApiKeyError(info, code); });
}
