// The account query's answer read into a profile. A service that changes a
// member's type must not cost the appliance its account.
#include "operations/query_answer.hpp"

#include "foundation/json_utils.hpp"
#include "foundation/log.hpp"

namespace quilkova::internal {

namespace {

constexpr const char* kRequiredMembers[] = {"code",      "email",    "full_name", "country",
                                            "timezone",  "notify_language", "activated", "disabled",
                                            "enews",     "critical_release", "enews_local_promotion",
                                            "critical_version_list"};

// What cannot be read (an object or a list where a value belongs) is stored as empty and logged.
bool IsStructure(const Json::Value& value, const char* member) {
    if (value.isObject() || value.isArray()) {
        KOVA_LOG(LOG_ERR, "%s:%d Unexpected structure in %s of the answer, stored as empty", member);
        return true;
    }
    return false;
}

// A record value is one line: a line break the service sent becomes a blank,
// so that no other key can ride in on it.
std::string OneLine(std::string text) {
    for (char& c : text) {
        if (c == '\n' || c == '\r') {
            c = ' ';
        }
    }
    return text;
}

// Texts as they are (on one line), numbers and booleans as their text, null as "".
std::string AnswerText(const Json::Value& answer, const char* member) {
    const Json::Value& value = answer[member];
    return IsStructure(value, member) ? "" : OneLine(TextOf(value));
}

// true/false, numbers (non-zero), "true"/"yes"/"1"; anything else false.
bool AnswerFlag(const Json::Value& answer, const char* member) {
    bool flag = false;
    if (!IsStructure(answer[member], member)) {
        ReadFlag(answer[member], flag);
    }
    return flag;
}

// "critical_version_list" is a text ("7.1,7.2"), or a list of versions or of
// {"version", "domain"} objects: the versions make the list, the domains
// (first seen first) the domain.
void ReadCriticalVersions(const Json::Value& value, std::string& list, std::string& domain) {
    list.clear();
    domain.clear();
    if (!value.isArray()) {
        list = IsStructure(value, "critical_version_list") ? "" : TextOf(value);
        return;
    }
    for (const Json::Value& entry : value) {
        const std::string version = TextOf(entry.isObject() ? entry["version"] : entry);
        const std::string name = entry.isObject() ? TextOf(entry["domain"]) : "";
        if (!version.empty()) {
            list += (list.empty() ? "" : ",") + version;
        }
        if (!name.empty() && ("," + domain + ",").find("," + name + ",") == std::string::npos) {
            domain += (domain.empty() ? "" : ",") + name;
        }
    }
}

}  // namespace

bool HasRequiredMembers(const Json::Value& answer) {
    if (!answer.isObject()) {
        return false;
    }
    for (const char* member : kRequiredMembers) {
        if (!answer.isMember(member)) {
            return false;
        }
    }
    return true;
}

Profile ReadProfile(const Json::Value& answer) {
    Profile profile;
    if (!answer.isObject()) {
        return profile;
    }
    profile.email = AnswerText(answer, "email");
    profile.full_name = AnswerText(answer, "full_name");
    profile.country = AnswerText(answer, "country");
    profile.timezone = AnswerText(answer, "timezone");
    profile.notify_language = AnswerText(answer, "notify_language");
    profile.activated = AnswerFlag(answer, "activated");
    profile.disabled = AnswerFlag(answer, "disabled");
    profile.enews = AnswerFlag(answer, "enews");
    profile.critical_release = AnswerFlag(answer, "critical_release");
    profile.enews_local_promotion = AnswerFlag(answer, "enews_local_promotion");
    ReadCriticalVersions(answer["critical_version_list"], profile.critical_version_list,
                         profile.critical_version_domain);
    profile.critical_version_list = OneLine(profile.critical_version_list);
    profile.critical_version_domain = OneLine(profile.critical_version_domain);
    if (answer.isMember("realname_validation_pass")) {
        profile.realname_validation_pass = AnswerFlag(answer, "realname_validation_pass");
    }
    if (answer.isMember("report_cron_timestring")) {
        profile.report_cron_timestring = AnswerText(answer, "report_cron_timestring");
    }
    return profile;
}

}  // namespace quilkova::internal
