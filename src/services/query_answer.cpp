// The account query's answer read into a profile. A service that changes a
// member's type must not cost the appliance its account.
#include "services/query_answer.hpp"

#include "foundation/json_utils.hpp"
#include "foundation/log.hpp"

namespace quilkova::internal {

namespace {

// What every answer holds besides "code", in the order it is stored.
constexpr Field kRequired[] = {Field::Email,   Field::Name,  Field::Country,           Field::Timezone,
                               Field::NotifyLanguage, Field::IsActivated, Field::IsDisabled, Field::IsEnews,
                               Field::IsCriticalRelease, Field::IsEnewsLocalPromotion, Field::CriticalVersionList};
// Stored when the answer has them.
constexpr Field kOptional[] = {Field::IsRealnameValidationPass, Field::ReportCronTimestring};

// What cannot be read (an object or a list where a value belongs) is stored as empty and logged.
bool IsStructure(const Json::Value& value, const char* member) {
    if (value.isObject() || value.isArray()) {
        KOVA_LOG(LOG_ERR, "Unexpected structure in %s of the answer, stored as empty", member);
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
std::string AnswerText(const Json::Value& value, const char* member) {
    return IsStructure(value, member) ? "" : OneLine(TextOf(value));
}

// true/false, numbers (non-zero), "true"/"yes"/"1"; anything else false.
bool AnswerFlag(const Json::Value& value, const char* member) {
    return !IsStructure(value, member) && FlagOf(value);
}

// "critical_version_list" is a text ("7.1,7.2"), or a list of versions or of
// {"version", "domain"} objects: the versions make the list, the domains
// (first seen first) the domain.
void ReadCriticalVersions(const Json::Value& value, Profile& profile) {
    const char* member = EntryOf(Field::CriticalVersionList).member;
    std::string list;
    std::string domain;
    if (!value.isArray()) {
        list = AnswerText(value, member);
    } else {
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
    profile.push_back({Field::CriticalVersionList, OneLine(list), false});
    profile.push_back({Field::CriticalVersionDomain, OneLine(domain), false});
}

void ReadMember(const Json::Value& answer, Field field, Profile& profile) {
    const char* member = EntryOf(field).member;
    const Json::Value& value = answer[member];
    if (field == Field::CriticalVersionList) {
        ReadCriticalVersions(value, profile);
    } else if (EntryOf(field).kind == FieldKind::kFlag) {
        profile.push_back({field, "", AnswerFlag(value, member)});
    } else {
        profile.push_back({field, AnswerText(value, member), false});
    }
}

}  // namespace

const Field kQueryResultFields[11] = {Field::AuthKey,     Field::Email,      Field::Name,
                                      Field::Country,     Field::Timezone,   Field::NotifyLanguage,
                                      Field::IsActivated, Field::IsDisabled, Field::IsEnews,
                                      Field::IsCriticalRelease, Field::IsEnewsLocalPromotion};

bool HasRequiredMembers(const Json::Value& answer) {
    if (!answer.isObject() || !answer.isMember("code")) {
        return false;
    }
    for (const Field field : kRequired) {
        if (!answer.isMember(EntryOf(field).member)) {
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
    for (const Field field : kRequired) {
        ReadMember(answer, field, profile);
    }
    for (const Field field : kOptional) {
        if (answer.isMember(EntryOf(field).member)) {
            ReadMember(answer, field, profile);
        }
    }
    return profile;
}

}  // namespace quilkova::internal
