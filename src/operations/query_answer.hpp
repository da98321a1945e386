#ifndef QUILKOVA_INTERNAL_QUERY_ANSWER_HPP
#define QUILKOVA_INTERNAL_QUERY_ANSWER_HPP

#include <json/json.h>

#include <optional>
#include <string>

// The account query's answer read into what the record stores, apart from
// storing it: reading never throws and never fails.
namespace quilkova::internal {

struct Profile {
    std::string email;
    std::string full_name;
    std::string country;
    std::string timezone;
    std::string notify_language;
    std::string critical_version_list;
    std::string critical_version_domain;
    bool activated = false;
    bool disabled = false;
    bool enews = false;
    bool critical_release = false;
    bool enews_local_promotion = false;
    std::optional<bool> realname_validation_pass;        // only when the answer has it
    std::optional<std::string> report_cron_timestring;   // likewise
};

// "code" and the eleven members every answer must hold, whatever their type.
bool HasRequiredMembers(const Json::Value& answer);

// Each member as its setter takes it: texts on one line (a line break becomes a blank), numbers and booleans
// as their text, null as empty; flags from booleans, numbers or their words;
// an object or a list where a value belongs is empty (and logged).
Profile ReadProfile(const Json::Value& answer);

}  // namespace quilkova::internal

#endif
