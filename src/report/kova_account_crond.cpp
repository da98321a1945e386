// The scheduler job that runs the periodic report.
#include <json/json.h>

#include "foundation/appliance_paths.hpp"
#include "foundation/log.hpp"
#include "report/report_schedule.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/quilkova.h"
#include "quilkova/user.hpp"
#include "quilplatform/crond.h"
#include "quilplatform/qlibc_file.h"

namespace {
constexpr const char* kScheduleName = "kova";
}  // namespace

extern "C" int QUILKOVAAccountRegisterCrond(void) {
    try {
        Json::Value jobs(Json::arrayValue);
        Json::Value job(Json::objectValue);
        QUIL::QUILCrond::ConfigManager manager(kScheduleName, false);
        job["name"] = "job";
        job["period"] = "crontab";
        job["crontab"] = quilkova::User().GetReportCronTimestring();
        job["user"] = "root";
        job["cmd_list"].append(quilkova::internal::kReportProgram);
        job["cmd_list"].append(quilkova::internal::kReportOption);
        // Saved whole: registering again replaces the one job.
        jobs.append(job);
        return manager.Save(jobs) ? 1 : 0;
    } catch (const quilkova::KovaException& error) {
        // Nothing escapes a flat function: the unreadable time string is a
        // failed save, its code in the slot.
        KOVA_LOG(LOG_ERR, "%s:%d Failed to get user: %s", error.what());
        QUILKOVAErrSet(error.GetCode());
        return 0;
    } catch (...) {
        QUILKOVAErrSet(KOVA_ERR_SYSTEM);
        return 0;
    }
}

extern "C" unsigned int QUILKOVAAccountUnregisterCrond(void) {
    try {
        return QUIL::QUILCrond::ConfigManager(kScheduleName, false).Remove() ? 1U : 0U;
    } catch (...) {
        return 0U;
    }
}

namespace quilkova::internal {

void RegisterReportUnlessDisabled(Where where) {
    if (QLIBCFileCheckKeyValue(kSystemSettings, "kova_disable_report", "yes", 0) == 1) {
        return;
    }
    if (QUILKOVAAccountRegisterCrond() == 0) {
        KOVA_LOG_AT(where, "%s:%d Failed to add crontab for kova");
    }
}

}  // namespace quilkova::internal
