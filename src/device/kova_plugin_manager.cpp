#include "quilkova/kova_plugin_manager.hpp"

#include "foundation/log.hpp"
#include "quilplatform/plugin.h"

namespace quilkova {

void KovaPluginManager::Pre(const std::string& event) const {
    TriggerEvent(event, QLIB_PLUGIN_ACTION_PRE);
}

void KovaPluginManager::Post(const std::string& event) const {
    TriggerEvent(event, QLIB_PLUGIN_ACTION_POST);
}

void KovaPluginManager::TriggerEvent(const std::string& event, int action) const {
    PQLIBPLUGIN handle = nullptr;
    if (QLIBPluginSDKInit("kova", event.c_str(), &handle, nullptr) < 0) {
        KOVA_LOG(LOG_ERR, "Failed to init plugin: %s", event.c_str());
    } else if (QLIBPluginAction(action, handle) < 0) {
        KOVA_LOG(LOG_ERR, "Failed to do plugin %s, action=%u", event.c_str(), static_cast<unsigned int>(action));
    }
    // Also after a failed init: the SDK may have left something to free.
    QLIBPluginExit(handle);
}

}  // namespace quilkova
