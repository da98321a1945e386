#ifndef QUILKOVA_DEVICE_PLUGIN_EVENTS_HPP
#define QUILKOVA_DEVICE_PLUGIN_EVENTS_HPP

#include <string>

// The "kova" plug-ins told of an event, before (pre) or after (post) it
// happens. A plug-in that cannot be run is logged and never stops the event.
namespace quilkova::internal {

void RunPluginEvent(const std::string& event, int action);
void RunPluginsBefore(const std::string& event);
void RunPluginsAfter(const std::string& event);

}  // namespace quilkova::internal

#endif
