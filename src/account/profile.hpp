#ifndef QUILKOVA_ACCOUNT_PROFILE_HPP
#define QUILKOVA_ACCOUNT_PROFILE_HPP

#include <json/json.h>

#include <cstddef>
#include <string>

#include "foundation/result.hpp"
#include "quilkova/quilkova.h"

// Every field of the account, each described once: the accessor's name on
// User, its key in user.conf and default there, the name the service gives
// it (query answers and results; "" for none), its name in the update and
// registration forms ("" for none), and its field of the flat record
// KOVA_INFO. The record, its flat face, the query and the forms all derive
// from these rows.
#define QUILKOVA_INFO(field) ::quilkova::internal::InfoField{offsetof(KOVA_INFO, field), sizeof(KOVA_INFO::field)}
#define QUILKOVA_NO_INFO ::quilkova::internal::InfoField{0, 0}

#define QUILKOVA_TEXT_FIELDS(X)                                                                                      \
    X(AccountHost, "account_host", "", "", "", QUILKOVA_NO_INFO)                                                     \
    X(IdentityHost, "identity_host", "", "", "", QUILKOVA_NO_INFO)                                                   \
    X(Email, "kovaID", "", "email", "email", QUILKOVA_INFO(email))                                                   \
    X(UserId, "kovaIDSerial", "", "", "id", QUILKOVA_INFO(user_id))                                                  \
    X(AuthKey, "hs_auth_key", "", "auth_key", "auth_key", QUILKOVA_INFO(auth_key))                                   \
    X(Name, "full_name", "", "full_name", "full_name", QUILKOVA_INFO(full_name))                                     \
    X(Country, "country", "", "country", "country", QUILKOVA_INFO(country))                                          \
    X(Timezone, "timezone", "", "timezone", "timezone", QUILKOVA_INFO(timezone))                                     \
    X(NotifyLanguage, "notify_language", "", "notify_language", "notify_lang", QUILKOVA_INFO(notify_language))       \
    X(CriticalVersionList, "critical_version_list", "", "critical_version_list", "critical_version_list",            \
      QUILKOVA_INFO(critical_version_list))                                                                          \
    X(CriticalVersionDomain, "critical_version_domain", "", "", "", QUILKOVA_INFO(critical_version_domain))          \
    X(ReportCronTimestring, "report_cron_timestring", "~ 9~16 * * 1~5", "report_cron_timestring", "",               \
      QUILKOVA_NO_INFO)

#define QUILKOVA_FLAG_FIELDS(X)                                                                                      \
    X(IsActivated, "activated", false, "activated", "", QUILKOVA_INFO(activated))                                    \
    X(IsDisabled, "disabled", false, "disabled", "", QUILKOVA_INFO(disabled))                                        \
    X(IsEnews, "enews", false, "enews", "enews", QUILKOVA_INFO(enews))                                               \
    X(IsCriticalRelease, "critical_release", false, "critical_release", "critical_release",                          \
      QUILKOVA_INFO(critical_release))                                                                               \
    X(IsEnewsLocalPromotion, "enews_local_promotion", false, "enews_local_promotion", "enews_local_promotion",       \
      QUILKOVA_INFO(enews_local_promotion))                                                                          \
    X(IsRealnameValidationPass, "realname_validation_pass", false, "realname_validation_pass", "", QUILKOVA_NO_INFO)

// The store keeps 64 bits; the flat record's field is 32 bits wide.
#define QUILKOVA_NUMBER_FIELDS(X) X(LastQueryTime, "last_query_time", 0, "", "", QUILKOVA_INFO(last_query_time))

namespace quilkova {
class UserImpl;
}

namespace quilkova::internal {

// Where a field lies in KOVA_INFO; size 0 for none.
struct InfoField {
    size_t offset;
    size_t size;
};

enum class FieldKind { kText, kFlag, kNumber };

#define QUILKOVA_FIELD_ENUMERATOR(Name, ...) Name,
enum class Field {
    QUILKOVA_TEXT_FIELDS(QUILKOVA_FIELD_ENUMERATOR) QUILKOVA_FLAG_FIELDS(QUILKOVA_FIELD_ENUMERATOR)
        QUILKOVA_NUMBER_FIELDS(QUILKOVA_FIELD_ENUMERATOR)
};
#undef QUILKOVA_FIELD_ENUMERATOR

struct FieldEntry {
    FieldKind kind;
    const char* key;          // in user.conf
    const char* text_default;  // what a missing or empty value reads as (texts)
    const char* member;       // the service's name for it; "" for none
    const char* form;         // its name in the update and registration forms; "" for none
    InfoField info;           // its field in KOVA_INFO
};

const FieldEntry& EntryOf(Field field);

// A field of the record as the query's result shows it: a text, or a boolean.
Result<Json::Value> ReadAsJson(const quilkova::UserImpl& user, Field field);
}  // namespace quilkova::internal

#endif
