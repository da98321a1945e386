// KovaPluginManager: the class face of the "kova" plug-in events.
#include "quilkova/kova_plugin_manager.hpp"

#include "classes/class_face.hpp"
#include "device/plugin_events.hpp"

namespace quilkova {

void KovaPluginManager::Pre(const std::string& event) const {
    internal::Guarded([&event] { internal::RunPluginsBefore(event); });
}

void KovaPluginManager::Post(const std::string& event) const {
    internal::Guarded([&event] { internal::RunPluginsAfter(event); });
}

void KovaPluginManager::TriggerEvent(const std::string& event, int action) const {
    internal::Guarded([&] { internal::RunPluginEvent(event, action); });
}

}  // namespace quilkova
