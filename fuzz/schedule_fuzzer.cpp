// Schedule strings: whatever the account host sends, one the library accepts
// is one the scheduler can install.
#include <cstdlib>
#include <string>

#include "fuzz_root.hpp"
#include "quilplatform/crond.h"
#include "util/cron_schedule.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (!quilkova::internal::IsValidSchedule(text)) {
        return 0;
    }
    FuzzRoot();
    Json::Value jobs;
    jobs[0]["period"] = "crontab";
    jobs[0]["crontab"] = text;
    jobs[0]["cmd_list"].append("/usr/quil/bin/quilkova");
    if (!QUIL::QUILCrond::ConfigManager("fuzz", false).Save(jobs)) {
        std::abort();  // accepted, yet not installable
    }
    return 0;
}
