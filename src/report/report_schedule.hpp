#ifndef QUILKOVA_INTERNAL_REPORT_SCHEDULE_HPP
#define QUILKOVA_INTERNAL_REPORT_SCHEDULE_HPP

#include "foundation/appliance_paths.hpp"
#include "operations/account_steps.hpp"

namespace quilkova::internal {

// Installs the report job unless "/etc/quilinfo.conf" says
// kova_disable_report="yes"; a failure is logged (as the caller's) only.
void RegisterReportUnlessDisabled(Where where);

}  // namespace quilkova::internal

#endif
