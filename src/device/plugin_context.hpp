#ifndef QUILKOVA_DEVICE_PLUGIN_CONTEXT_HPP
#define QUILKOVA_DEVICE_PLUGIN_CONTEXT_HPP

#include "quilplatform/plugin.h"

namespace quilkova::internal {

// A plug-in context of the "kova" domain, closed on every path once opened.
class PluginContext {
public:
    PluginContext(const char* event, const char* account)
        : opened_(QLIBPluginSDKInit("kova", event, &handle_, account) >= 0) {}
    ~PluginContext() {
        if (opened_) {
            QLIBPluginExit(handle_);
        }
    }
    PluginContext(const PluginContext&) = delete;
    PluginContext& operator=(const PluginContext&) = delete;

    bool opened() const { return opened_; }
    bool Fire(int action) const { return QLIBPluginAction(action, handle_) >= 0; }

private:
    PQLIBPLUGIN handle_ = nullptr;
    bool opened_;
};

}  // namespace quilkova::internal

#endif
