// The scheduler job that runs the periodic report.
#include <json/json.h>

#include "account/user_impl.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/log.hpp"
#include "quilplatform/crond.h"
#include "quilplatform/qlibc_file.h"
#include "services/report_job.hpp"

namespace quilkova::internal {

namespace {
constexpr const char* kScheduleName = "kova";
}  // namespace

Status SaveReportJob() {
    Json::Value jobs(Json::arrayValue);
    Json::Value job(Json::objectValue);
    QUIL::QUILCrond::ConfigManager manager(kScheduleName, false);
    job["name"] = "job";
    job["period"] = "crontab";
    const Result<std::string> schedule = UserImpl().GetReportCronTimestring();
    if (!schedule) {
        KOVA_LOG(LOG_ERR, "Failed to get user: %s", FailureText(schedule.error()).c_str());
        return Error{schedule.error().code};
    }
    job["crontab"] = schedule.value();
    job["user"] = "root";
    job["cmd_list"].append(kReportProgram);
    job["cmd_list"].append(kReportOption);
    // Saved whole: registering again replaces the one job.
    jobs.append(job);
    if (!manager.Save(jobs)) {
        return Error::WithoutCode();
    }
    return Done{};
}

bool RemoveReportJob() {
    return QUIL::QUILCrond::ConfigManager(kScheduleName, false).Remove();
}

void RegisterReportUnlessDisabled(Where where) {
    if (QLIBCFileCheckKeyValue(kSystemSettings, "kova_disable_report", "yes", 0) == 1) {
        return;
    }
    if (!Capture([] { return SaveReportJob(); })) {
        KOVA_LOG_AT(where, "Failed to add crontab for kova");
    }
}

}  // namespace quilkova::internal
