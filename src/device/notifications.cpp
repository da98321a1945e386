#include "device/notifications.hpp"

#include "foundation/log.hpp"
#include "foundation/platform_handles.hpp"
#include "quilplatform/notify.h"
#include "quilplatform/qlibc_string.h"

namespace quilkova::internal {

void SendNotification(const std::string& tag, const std::map<std::string, std::string>& params) {
    const SzHash hash(QLIBCSzHashAlloc(kHashCapacity));
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

}  // namespace quilkova::internal
