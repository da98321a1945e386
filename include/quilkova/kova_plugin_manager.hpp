#ifndef QUILKOVA_KOVA_PLUGIN_MANAGER_HPP
#define QUILKOVA_KOVA_PLUGIN_MANAGER_HPP

/**
 * @file kova_plugin_manager.hpp
 * @brief quilkova::KovaPluginManager, the plug-in events around account operations.
 */

#include <string>

#include "quilkova/export.h"

namespace quilkova {

/** Announces an account operation (e.g. "kova/login") to the appliance's plug-ins just before
 *  and just after it. A plug-in that cannot run, fails or hangs (cut off after 30 s) is logged
 *  and never stops the operation. Never throws. */
class QUILKOVA_EXPORT KovaPluginManager {
public:
    /** The plug-ins of @p event with action 4 (before the operation). */
    void Pre(const std::string& event) const;
    /** The plug-ins of @p event with action 5 (after it). */
    void Post(const std::string& event) const;
    /** The plug-ins of @p event with @p action. */
    void TriggerEvent(const std::string& event, int action) const;
};

}  // namespace quilkova

#endif
