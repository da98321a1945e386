#ifndef QUILKOVA_SERVICES_REPORT_JOB_HPP
#define QUILKOVA_SERVICES_REPORT_JOB_HPP

#include "foundation/log.hpp"
#include "foundation/result.hpp"

// The scheduler job that runs the periodic report.
namespace quilkova::internal {

// Saves the one job of the configuration "kova" with the record's time
// string. Not saved: a failure without a code (the scheduler's), or the record's
// code when its time string could not be read (logged).
Status SaveReportJob();
// Removes the configuration "kova": true when there was one.
bool RemoveReportJob();

// Installs the report job unless "/etc/quilinfo.conf" says
// kova_disable_report="yes"; a failure is logged (as the caller's) only.
void RegisterReportUnlessDisabled(Where where);

}  // namespace quilkova::internal

#endif
