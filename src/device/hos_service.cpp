#include "quilkova/hos_service.hpp"

#include <memory>

#include "foundation/log.hpp"
#include "foundation/platform_handles.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/cloud_service.h"
#include "quilplatform/device.h"
#include "quilplatform/notify.h"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_string.h"

namespace quilkova {

namespace {
constexpr int kSerialSize = 36;
constexpr int kMacSize = 24;
constexpr int kUserAgentSize = 256;

// The cloud-service library's failure as a code; never "success".
KovaException CloudServiceFailure() {
    const int code = GetErrorCodeFromCloudService();
    return KovaException(static_cast<KOVA_ERRCODE>(code != KOVA_ERR_SUCCESS ? code : KOVA_ERR_UNKNOWN));
}
}  // namespace

std::string HosService::GetSerialNo() const {
    char serial[kSerialSize] = {};
    if (QLIBGetSerialNumber(serial, sizeof(serial)) < 0) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to get serial number, err=[0x%04X %s:%d]", QLIBCErrGet(),
                 QLIBCErrorGetFile(), QLIBCErrorGetLine());
        throw KovaException(KOVA_ERR_SERIAL);
    }
    return serial;
}

std::string HosService::GetMac() const {
    char mac[kMacSize] = {};
    if (QUILHsinfoCloudServiceGetMacAddress(mac, sizeof(mac)) < 0) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to get mac address");
        throw KovaException(KOVA_ERR_MAC);
    }
    return mac;
}

std::string HosService::GetUserAgent() const {
    char agent[kUserAgentSize] = {};
    if (QUILKOVAUserAgentNameGet(agent, sizeof(agent)) != 0) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to get kova user agent");
        throw KovaException(KOVA_ERR_SYSTEM);
    }
    return agent;
}

std::string HosService::GetApiKey() const {
    char key[QUIL_CLOUD_SERVICE_APIKEY_SIZE] = {};
    if (QUILCloudServiceGetApiKey(key, 1) < 0) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to get apikey");
        throw CloudServiceFailure();
    }
    return key;
}

std::string HosService::NewApiKey() const {
    char key[QUIL_CLOUD_SERVICE_APIKEY_SIZE] = {};
    if (QUILCloudServiceRegisterApiKey(key) < 0) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to register apikey");
        throw CloudServiceFailure();
    }
    return key;
}

void HosService::SendSysNotify(const std::string& tag, const std::map<std::string, std::string>& params) const {
    const internal::SzHash hash(QLIBCSzHashAlloc(1024));
    if (!hash) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to notify: out of memory");
        return;
    }
    for (const auto& [key, value] : params) {
        if (QLIBCSzHashSetValue(hash.get(), key.c_str(), value.c_str()) < 0) {
            KOVA_LOG(LOG_ERR, "%s:%d Failed to set notify param: %s => %s", key.c_str(), value.c_str());
        }
    }
    if (QUILSysNotifySendNotifiction(tag.c_str(), hash.get()) < 0) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to send notify by QUILSysNotifySendNotifiction");
    }
}

}  // namespace quilkova
