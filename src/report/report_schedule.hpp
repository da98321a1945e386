#ifndef QUILKOVA_INTERNAL_REPORT_SCHEDULE_HPP
#define QUILKOVA_INTERNAL_REPORT_SCHEDULE_HPP

#include "operations/account_steps.hpp"

namespace quilkova::internal {

constexpr const char* kReportCommand = "/usr/quil/bin/quilkova --report_info";

// Installs the report job unless "/etc/quilinfo.conf" says
// kova_disable_report="yes"; a failure is logged (as the caller's) only.
void RegisterReportUnlessDisabled(Where where);

}  // namespace quilkova::internal

#endif
