#ifndef QUILKOVA_SERVICES_QUERY_ANSWER_HPP
#define QUILKOVA_SERVICES_QUERY_ANSWER_HPP

#include <json/json.h>

#include <string>
#include <vector>

#include "account/profile.hpp"

// The account query's answer read into what the record stores, apart from
// storing it: reading never throws and never fails.
namespace quilkova::internal {

// One member of the answer as the record takes it.
struct ProfileValue {
    Field field;
    std::string text;  // texts
    bool flag;         // flags
};
// In the order they are stored: the required members, then the optional ones present.
using Profile = std::vector<ProfileValue>;

// "code" and the eleven members every answer must hold, whatever their type.
bool HasRequiredMembers(const Json::Value& answer);

// Each member as its setter takes it: texts on one line (a line break becomes
// a blank), numbers and booleans as their text, null as empty; flags from
// booleans, numbers or their words; an object or a list where a value
// belongs is empty (and logged). "critical_version_list" gives the list and
// the domain.
Profile ReadProfile(const Json::Value& answer);

// The fields the query's result shows, in order.
extern const Field kQueryResultFields[11];

}  // namespace quilkova::internal

#endif
