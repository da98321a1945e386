// Brings the local copy of the account up to date from the account host
// (throttled by the age of the last query) and returns it as JSON.
#include <cstdlib>
#include <ctime>
#include <string>

#include "foundation/appliance_paths.hpp"
#include "operations/account_steps.hpp"
#include "util/cron_schedule.hpp"
#include "foundation/flat_boundary.hpp"
#include "foundation/log.hpp"
#include "operations/query_answer.hpp"
#include "foundation/redact.hpp"
#include "foundation/waits.hpp"
#include "quilkova/file_lock.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/quilkova.h"
#include "quilkova/user.hpp"

namespace {

using namespace quilkova::internal;

constexpr long long kMinimumAge = 300;    // a query within 5 minutes is never repeated
constexpr long long kMaximumAge = 86400;  // one older than a day always is

bool ShouldQuery(long long last_query_time, bool query_allowed) {
    const long long age = std::llabs(static_cast<long long>(std::time(nullptr)) - last_query_time);
    return age >= kMaximumAge || (age >= kMinimumAge && query_allowed);
}

void StoreProfile(const Profile& profile) {
    const quilkova::User user;
    user.SetEmail(profile.email);
    user.SetName(profile.full_name);
    user.SetCountry(profile.country);
    user.SetTimezone(profile.timezone);
    user.SetNotifyLanguage(profile.notify_language);
    user.SetIsActivated(profile.activated);
    user.SetIsDisabled(profile.disabled);
    user.SetIsEnews(profile.enews);
    user.SetIsCriticalRelease(profile.critical_release);
    user.SetIsEnewsLocalPromotion(profile.enews_local_promotion);
    user.SetCriticalVersionList(profile.critical_version_list);
    user.SetCriticalVersionDomain(profile.critical_version_domain);
    if (profile.realname_validation_pass) {
        user.SetIsRealnameValidationPass(*profile.realname_validation_pass);
    }
    if (profile.report_cron_timestring) {
        // Only a schedule the scheduler can install replaces the one on record.
        if (IsValidSchedule(*profile.report_cron_timestring)) {
            user.SetReportCronTimestring(*profile.report_cron_timestring);
        } else {
            KOVA_LOG(LOG_ERR, "%s:%d Refused report schedule [%s], kept the one on record",
                     profile.report_cron_timestring->c_str());
        }
    }
    user.SetLastQueryTime(static_cast<long long>(std::time(nullptr)));
}

// Steps of the remote query; false with the code in the slot.
bool QueryService(const KOVA_INFO& info, bool short_timeout) {
    std::string host;
    char serial[kSerialSize] = {};
    if (!ResolveAccountHost(host, KOVA_HERE) || !ReadSerial(serial, KOVA_HERE)) {
        return false;
    }
    const FormHash form = NewForm(KOVA_HERE);
    if (!form) {
        return false;
    }
    SetField(form.get(), "auth_key", info.auth_key);
    SetField(form.get(), "serial_no", serial);
    Response response;
    Json::Value answer;
    if (!SendForm(host, "device/api/user/query", form.get(), short_timeout, response, answer, KOVA_HERE)) {
        return false;
    }
    const std::string code = CodeOf(answer);
    if (code == "badauth") {
        KOVA_LOG(LOG_ERR, "%s:%d Logged out KoVA due to authentication failure.");
        QUILKOVAAccountRemove();
        QUILKOVAErrSet(KOVA_ERR_NO_ACCOUNT);
        return false;
    }
    if (!HasRequiredMembers(answer)) {
        KOVA_LOG(LOG_ERR, "%s:%d Server returned insufficient data. resp=%s", response.Redacted().c_str());
        QUILKOVAErrSet(KOVA_ERR_RESPONSE);
        return false;
    }
    if (MapLibKovaCenterErrorCode(code.c_str()) != KOVA_ERR_SUCCESS) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to query %s, resp=%s, code=%u", info.email, response.Redacted().c_str(),
                 static_cast<unsigned int>(QUILKOVAErrGet()));
        return false;
    }
    try {
        StoreProfile(ReadProfile(answer));
    } catch (const quilkova::KovaException& error) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to set user: %s", error.what());
        QUILKOVAErrSet(error.GetCode());
        return false;
    }
    return true;
}

bool ReadRecord(Json::Value& result) {
    try {
        const quilkova::User user;
        Json::Value record(Json::objectValue);
        record["auth_key"] = user.GetAuthKey();
        record["email"] = user.GetEmail();
        record["full_name"] = user.GetName();
        record["country"] = user.GetCountry();
        record["timezone"] = user.GetTimezone();
        record["notify_language"] = user.GetNotifyLanguage();
        record["activated"] = user.GetIsActivated();
        record["disabled"] = user.GetIsDisabled();
        record["enews"] = user.GetIsEnews();
        record["critical_release"] = user.GetIsCriticalRelease();
        record["enews_local_promotion"] = user.GetIsEnewsLocalPromotion();
        result.swap(record);
        return true;
    } catch (const quilkova::KovaException& error) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to get user: %s", error.what());
        QUILKOVAErrSet(error.GetCode());
        return false;
    }
}

int QueryInfo(Json::Value& result, bool query_allowed, bool short_timeout) {
    // One query at a time across all processes, from reading the record to building the result.
    quilkova::FileLock lock(LockPath(kQueryLock));
    if (!lock.Lock(CurrentWaits().lock_seconds)) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to lock file: %s", lock.GetPath().c_str());
        QUILKOVAErrSet(KOVA_ERR_TOKEN);  // a lock not had, as everywhere else: never a refusal
        return -1;
    }
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    KOVA_INFO info = {};
    if (QUILKOVAAccountGet(&info) != 0) {
        QUILKOVAErrSet(KOVA_ERR_NO_ACCOUNT);
        return -1;
    }
    if (ShouldQuery(info.last_query_time, query_allowed) && !QueryService(info, short_timeout)) {
        return -1;
    }
    return ReadRecord(result) ? 0 : -1;
}

}  // namespace

extern "C" int QUILKOVAAccountQueryInfo(Json::Value& result, bool queryAllowed, bool shortTimeout) {
    return GuardFlat([&] { return QueryInfo(result, queryAllowed, shortTimeout); });
}
