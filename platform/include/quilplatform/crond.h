#ifndef QUILPLATFORM_CROND_H
#define QUILPLATFORM_CROND_H

/* The scheduler. A named configuration is a JSON array of jobs kept in
   "/usr/quil/etc/crond/<name>.json" and rendered to "/etc/cron.d/quil-<name>". */

#include "quilplatform/export.h"

QUILPLATFORM_BEGIN_DECLS

/* Removes the lines of "/etc/crontab" that run command; the number removed,
   or negative. */
QUILPLATFORM_EXPORT int QUILScheduleRemove(const char *command);

QUILPLATFORM_END_DECLS

#ifdef __cplusplus
#include <json/json.h>

#include <string>

namespace QUIL {
namespace QUILCrond {

// Jobs: {"name", "period": "crontab", "crontab": "m h dom mon dow", "user",
// "cmd_list": [program, args...]}. In the crontab text "~" means any value
// and "a~b" a value between a and b: each is fixed to a value picked at
// random when the configuration is saved.
class QUILPLATFORM_EXPORT ConfigManager {
public:
    ConfigManager(const std::string& name, bool flag);
    virtual ~ConfigManager();

    // Replaces the configuration's jobs; true on success.
    bool Save(const Json::Value& jobs);
    // Deletes the configuration; false when there was none.
    bool Remove();

private:
    std::string name_;
    [[maybe_unused]] bool flag_;  // kept for the platform's interface; the generic scheduler has no use for it
};

}  // namespace QUILCrond
}  // namespace QUIL
#endif

#endif
