#ifndef QUILKOVA_KOVA_PLUGIN_MANAGER_HPP
#define QUILKOVA_KOVA_PLUGIN_MANAGER_HPP

#include <string>

#include "quilkova/export.h"

namespace quilkova {

// Announces an account operation (e.g. "kova/login") to the plug-ins of the
// appliance just before and just after it. A plug-in that cannot run, fails
// or hangs is logged and never stops the operation.
class QUILKOVA_EXPORT KovaPluginManager {
public:
    void Pre(const std::string& event) const;   // action 4
    void Post(const std::string& event) const;  // action 5
    void TriggerEvent(const std::string& event, int action) const;
};

}  // namespace quilkova

#endif
