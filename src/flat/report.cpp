// The flat face of the report: its schedule and its run.
#include "flat/flat.hpp"
#include "operations/account_operations.hpp"
#include "services/report_job.hpp"

// 1 when the job was saved, 0 when not; the slot is set only when the record
// could not be read (to its code), never to "success" by a failure.
extern "C" int QUILKOVAAccountRegisterCrond(void) {
    const quilkova::internal::Status saved = quilkova::internal::Capture([] { return quilkova::internal::SaveReportJob(); });
    if (!saved && saved.error().coded) {
        QUILKOVAErrSet(saved.error().code);
    }
    return saved ? 1 : 0;
}

extern "C" unsigned int QUILKOVAAccountUnregisterCrond(void) {
    const auto removed = quilkova::internal::Capture([]() -> quilkova::internal::Result<bool> {
        return quilkova::internal::RemoveReportJob();
    });
    return removed && removed.value() ? 1U : 0U;
}

extern "C" int QUILKOVAReportInfo(void) {
    return quilkova::internal::Flat([] { return quilkova::internal::ReportInfo(); });
}
