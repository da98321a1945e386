// HosService: the class face of the device's identity and notifications.
#include "quilkova/hos_service.hpp"

#include "classes/class_face.hpp"
#include "device/identity.hpp"
#include "device/notifications.hpp"
#include "foundation/log.hpp"
#include "quilkova/kova_exception.hpp"

namespace quilkova {

using internal::Guarded;
using internal::Unwrap;

std::string HosService::GetSerialNo() const {
    return Guarded([] { return Unwrap(internal::ReadSerial(KOVA_HERE)); });
}

std::string HosService::GetMac() const {
    return Guarded([] { return Unwrap(internal::ReadMac(KOVA_HERE)); });
}

std::string HosService::GetUserAgent() const {
    return Guarded([] {
        char agent[internal::kUserAgentSize] = {};
        if (!internal::ReadUserAgent(agent, sizeof(agent))) {
            KOVA_LOG(LOG_ERR, "Failed to get kova user agent");
            throw KovaException(KOVA_ERR_SYSTEM);
        }
        return std::string(agent);
    });
}

std::string HosService::GetApiKey() const {
    return Guarded([] { return Unwrap(internal::ReadApiKey(KOVA_HERE)); });
}

std::string HosService::NewApiKey() const {
    return Guarded([] {
        internal::Result<std::string> key = internal::RegisterApiKey();
        if (!key) {
            KOVA_LOG(LOG_ERR, "Failed to register apikey");
        }
        return Unwrap(std::move(key));
    });
}

void HosService::SendSysNotify(const std::string& tag, const std::map<std::string, std::string>& params) const {
    Guarded([&] { internal::SendNotification(tag, params); });
}

}  // namespace quilkova
