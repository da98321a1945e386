// Brings the local copy of the account up to date from the account host
// (throttled by the age of the last query) and returns it as JSON.
#include <cstdlib>
#include <ctime>
#include <string>

#include "internal/account_steps.hpp"
#include "internal/flat_boundary.hpp"
#include "internal/log.hpp"
#include "quilkova/file_lock.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/quilkova.h"
#include "quilkova/user.hpp"

namespace {

using namespace quilkova::internal;

constexpr long long kMinimumAge = 300;    // a query within 5 minutes is never repeated
constexpr long long kMaximumAge = 86400;  // one older than a day always is

constexpr const char* kTextMembers[] = {"email", "full_name", "country", "timezone", "notify_language"};
constexpr const char* kFlagMembers[] = {"activated", "disabled", "enews", "critical_release",
                                        "enews_local_promotion"};

bool ShouldQuery(long long last_query_time, bool query_allowed) {
    const long long age = std::llabs(static_cast<long long>(std::time(nullptr)) - last_query_time);
    return age >= kMaximumAge || (age >= kMinimumAge && query_allowed);
}

// "critical_version_list" is a text ("7.1,7.2"), or a list of texts or of
// {"version", "domain"} objects: the versions make the list, the domains
// (first seen first) the domain.
bool ReadCriticalVersions(const Json::Value& value, std::string& list, std::string& domain) {
    list.clear();
    domain.clear();
    if (value.isString()) {
        list = value.asString();
        return true;
    }
    if (!value.isArray()) {
        return false;
    }
    for (const Json::Value& entry : value) {
        const Json::Value version = entry.isObject() ? entry["version"] : entry;
        const Json::Value entry_domain = entry.isObject() ? entry["domain"] : Json::Value("");
        if (!version.isString() || !entry_domain.isString()) {
            return false;
        }
        list += (list.empty() ? "" : ",") + version.asString();
        const std::string name = entry_domain.asString();
        if (!name.empty() && ("," + domain + ",").find("," + name + ",") == std::string::npos) {
            domain += (domain.empty() ? "" : ",") + name;
        }
    }
    return true;
}

// Every required member, of a type the record can hold.
bool HasRequiredMembers(const Json::Value& answer) {
    if (!answer.isObject() || !answer.isMember("code")) {
        return false;
    }
    for (const char* member : kTextMembers) {
        if (!IsText(answer[member])) {
            return false;
        }
    }
    bool flag = false;
    for (const char* member : kFlagMembers) {
        if (!ReadFlag(answer[member], flag)) {
            return false;
        }
    }
    std::string list;
    std::string domain;
    return ReadCriticalVersions(answer["critical_version_list"], list, domain);
}

bool Flag(const Json::Value& value) {
    bool flag = false;
    ReadFlag(value, flag);
    return flag;
}

void StoreAnswer(const Json::Value& answer) {
    const quilkova::User user;
    user.SetEmail(answer["email"].asString());
    user.SetName(answer["full_name"].asString());
    user.SetCountry(answer["country"].asString());
    user.SetTimezone(answer["timezone"].asString());
    user.SetNotifyLanguage(answer["notify_language"].asString());
    user.SetIsActivated(Flag(answer["activated"]));
    user.SetIsDisabled(Flag(answer["disabled"]));
    user.SetIsEnews(Flag(answer["enews"]));
    user.SetIsCriticalRelease(Flag(answer["critical_release"]));
    user.SetIsEnewsLocalPromotion(Flag(answer["enews_local_promotion"]));
    std::string list;
    std::string domain;
    ReadCriticalVersions(answer["critical_version_list"], list, domain);
    user.SetCriticalVersionList(list);
    user.SetCriticalVersionDomain(domain);
    bool realname = false;
    if (ReadFlag(answer["realname_validation_pass"], realname)) {
        user.SetIsRealnameValidationPass(realname);
    }
    if (IsText(answer["report_cron_timestring"]) && !answer["report_cron_timestring"].asString().empty()) {
        user.SetReportCronTimestring(answer["report_cron_timestring"].asString());
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
    if (!SendForm(host, "device/api/user/query", form.get(), short_timeout, response, KOVA_HERE) ||
        !ParseAnswer(response.Body(), answer, KOVA_HERE)) {
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
        KOVA_LOG(LOG_ERR, "%s:%d Server returned insufficient data. resp=%s", response.Body().c_str());
        QUILKOVAErrSet(KOVA_ERR_RESPONSE);
        return false;
    }
    if (MapLibKovaCenterErrorCode(code.c_str()) != KOVA_ERR_SUCCESS) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to query %s, resp=%s, code=%u", info.email, response.Body().c_str(),
                 static_cast<unsigned int>(QUILKOVAErrGet()));
        return false;
    }
    try {
        StoreAnswer(answer);
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
    quilkova::FileLock lock("/tmp/account_query_info.lock");
    if (!lock.Lock(30)) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to lock file: %s", lock.GetPath().c_str());
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
