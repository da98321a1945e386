#include "quilkova/hos_service.hpp"

#include <memory>

#include "device/identity.hpp"
#include "foundation/boundaries.hpp"
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

using internal::Unwrap;

std::string HosService::GetSerialNo() const {
    return Unwrap(internal::ReadSerial(KOVA_HERE));
}

std::string HosService::GetMac() const {
    return Unwrap(internal::ReadMac(KOVA_HERE));
}

std::string HosService::GetUserAgent() const {
    char agent[internal::kUserAgentSize] = {};
    if (!internal::ReadUserAgent(agent, sizeof(agent))) {
        KOVA_LOG(LOG_ERR, "Failed to get kova user agent");
        throw KovaException(KOVA_ERR_SYSTEM);
    }
    return agent;
}

std::string HosService::GetApiKey() const {
    return Unwrap(internal::ReadApiKey(KOVA_HERE));
}

std::string HosService::NewApiKey() const {
    internal::Result<std::string> key = internal::RegisterApiKey();
    if (!key) {
        KOVA_LOG(LOG_ERR, "Failed to register apikey");
    }
    return Unwrap(std::move(key));
}

void HosService::SendSysNotify(const std::string& tag, const std::map<std::string, std::string>& params) const {
    const internal::SzHash hash(QLIBCSzHashAlloc(internal::kHashCapacity));
    if (!hash) {
        KOVA_LOG(LOG_ERR, "Failed to notify: out of memory");
        return;
    }
    for (const auto& [key, value] : params) {
        if (QLIBCSzHashSetValue(hash.get(), key.c_str(), value.c_str()) < 0) {
            KOVA_LOG(LOG_ERR, "Failed to set notify param: %s => %s", key.c_str(), value.c_str());
        }
    }
    if (QUILSysNotifySendNotifiction(tag.c_str(), hash.get()) < 0) {
        KOVA_LOG(LOG_ERR, "Failed to send notify by QUILSysNotifySendNotifiction");
    }
}

}  // namespace quilkova
