// Brings the local copy of the account up to date from the account host
// (throttled by the age of the last query) and returns it as JSON.
#include <cstdlib>
#include <ctime>
#include <string>

#include "account/account_record.hpp"
#include "account/profile.hpp"
#include "account/user_impl.hpp"
#include "device/identity.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/log.hpp"
#include "foundation/waits.hpp"
#include "operations/account_operations.hpp"
#include "services/account_steps.hpp"
#include "services/query_answer.hpp"
#include "quilkova/file_lock.hpp"
#include "quilkova/kova_exception.hpp"
#include "util/cron_schedule.hpp"

namespace quilkova::internal {

namespace {

constexpr long long kMinimumAge = 300;    // a query within 5 minutes is never repeated
constexpr long long kMaximumAge = 86400;  // one older than a day always is

bool ShouldQuery(long long last_query_time, bool query_allowed) {
    const long long age = std::llabs(static_cast<long long>(std::time(nullptr)) - last_query_time);
    return age >= kMaximumAge || (age >= kMinimumAge && query_allowed);
}

Status StoreValue(const UserImpl& user, const ProfileValue& value) {
    const FieldEntry& entry = EntryOf(value.field);
    if (entry.kind == FieldKind::kFlag) {
        return user.SetBool(entry.key, value.flag);
    }
    if (value.field != Field::ReportCronTimestring || IsValidSchedule(value.text)) {
        return user.Set(entry.key, value.text);
    }
    // Only a schedule the scheduler can install replaces the one on record.
    KOVA_LOG(LOG_ERR, "Refused report schedule [%s], kept the one on record", value.text.c_str());
    return Done{};
}

// Stops at the first value that cannot be stored.
Status StoreProfile(const Profile& profile) {
    const UserImpl user;
    for (const ProfileValue& value : profile) {
        KOVA_TRY_STATUS(StoreValue(user, value));
    }
    return user.SetLastQueryTime(static_cast<long long>(std::time(nullptr)));
}

// The remote query and the storing of its answer.
Status QueryService(const AccountRecord& account, bool short_timeout) {
    const std::string host = AccountHost();
    KOVA_TRY(serial, ReadSerial(KOVA_HERE));
    KOVA_TRY(form, NewForm(KOVA_HERE));
    SetField(form.get(), EntryOf(Field::AuthKey).form, account.Text(Field::AuthKey));
    SetField(form.get(), "serial_no", serial);
    Response response;
    Json::Value answer;
    KOVA_TRY_STATUS(SendForm(host, "device/api/user/query", form.get(), short_timeout, response, answer, KOVA_HERE));
    const std::string code = CodeOf(answer);
    if (code == "badauth") {
        KOVA_LOG(LOG_ERR, "Logged out KoVA due to authentication failure.");
        (void)Capture([] { return RemoveAccount(); });
        return Error{KOVA_ERR_NO_ACCOUNT};
    }
    if (!HasRequiredMembers(answer)) {
        KOVA_LOG(LOG_ERR, "Server returned insufficient data. resp=%s", response.Redacted().c_str());
        return Error{KOVA_ERR_RESPONSE};
    }
    const auto mapped = static_cast<KOVA_ERRCODE>(GetErrorCodeFromAccountError(code.c_str()));
    if (mapped != KOVA_ERR_SUCCESS) {
        KOVA_LOG(LOG_ERR, "Failed to query %s, resp=%s, code=%u", account.Text(Field::Email).c_str(),
                 response.Redacted().c_str(), static_cast<unsigned int>(mapped));
        return Error{mapped};
    }
    if (const Status stored = StoreProfile(ReadProfile(answer)); !stored) {
        KOVA_LOG(LOG_ERR, "Failed to set user: %s", FailureText(stored.error()).c_str());
        return stored.error();
    }
    return Done{};
}

Result<Json::Value> ReadRecord() {
    const UserImpl user;
    Json::Value record(Json::objectValue);
    for (const Field field : kQueryResultFields) {
        const Result<Json::Value> value = ReadAsJson(user, field);
        if (!value) {
            KOVA_LOG(LOG_ERR, "Failed to get user: %s", FailureText(value.error()).c_str());
            return value.error();
        }
        record[EntryOf(field).member] = value.value();
    }
    return record;
}

}  // namespace

Result<Json::Value> QueryAccount(bool query_allowed, bool short_timeout) {
    // One query at a time across all processes, from reading the record to building the result.
    FileLock lock(LockPath(kQueryLock));
    if (!lock.Lock(CurrentWaits().lock_seconds)) {
        KOVA_LOG(LOG_ERR, "Failed to lock file: %s", lock.GetPath().c_str());
        return Error{KOVA_ERR_TOKEN};  // a lock not had, as everywhere else: never a refusal
    }
    KOVA_TRY(account, ReadBoundAccount());
    if (ShouldQuery(account.last_query_time, query_allowed)) {
        KOVA_TRY_STATUS(QueryService(account, short_timeout));
    }
    return ReadRecord();
}

}  // namespace quilkova::internal
