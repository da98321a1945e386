// The "kova" plug-ins told of an event.
#include "device/plugin_events.hpp"

#include "foundation/log.hpp"
#include "quilplatform/plugin.h"

namespace quilkova::internal {

void RunPluginEvent(const std::string& event, int action) {
    PQLIBPLUGIN handle = nullptr;
    if (QLIBPluginSDKInit("kova", event.c_str(), &handle, nullptr) < 0) {
        KOVA_LOG(LOG_ERR, "Failed to init plugin: %s", event.c_str());
    } else if (QLIBPluginAction(action, handle) < 0) {
        KOVA_LOG(LOG_ERR, "Failed to do plugin %s, action=%u", event.c_str(), static_cast<unsigned int>(action));
    }
    // Also after a failed init: the SDK may have left something to free.
    QLIBPluginExit(handle);
}

void RunPluginsBefore(const std::string& event) {
    RunPluginEvent(event, QLIB_PLUGIN_ACTION_PRE);
}

void RunPluginsAfter(const std::string& event) {
    RunPluginEvent(event, QLIB_PLUGIN_ACTION_POST);
}

}  // namespace quilkova::internal
