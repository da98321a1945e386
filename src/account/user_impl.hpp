#ifndef QUILKOVA_INTERNAL_USER_IMPL_HPP
#define QUILKOVA_INTERNAL_USER_IMPL_HPP

#include <string>

#include "foundation/appliance_paths.hpp"

// The keys of the account record, each listed once: accessor name, key, default.
#define QUILKOVA_USER_STRING_KEYS(X)                         \
    X(AccountHost, "account_host", "")                       \
    X(IdentityHost, "identity_host", "")                     \
    X(Email, "kovaID", "")                                   \
    X(UserId, "kovaIDSerial", "")                            \
    X(AuthKey, "hs_auth_key", "")                            \
    X(Name, "full_name", "")                                 \
    X(Country, "country", "")                                \
    X(Timezone, "timezone", "")                              \
    X(NotifyLanguage, "notify_language", "")                 \
    X(CriticalVersionList, "critical_version_list", "")      \
    X(CriticalVersionDomain, "critical_version_domain", "")  \
    X(ReportCronTimestring, "report_cron_timestring", "~ 9~16 * * 1~5")

#define QUILKOVA_USER_BOOL_KEYS(X)                              \
    X(IsActivated, "activated", false)                          \
    X(IsDisabled, "disabled", false)                            \
    X(IsEnews, "enews", false)                                  \
    X(IsCriticalRelease, "critical_release", false)             \
    X(IsEnewsLocalPromotion, "enews_local_promotion", false)    \
    X(IsRealnameValidationPass, "realname_validation_pass", false)

#define QUILKOVA_USER_NUMBER_KEYS(X) X(LastQueryTime, "last_query_time", 0)

namespace quilkova {

// The account record's file operations. Stateless; every call raises the
// process to root for its one file operation.
class UserImpl {
public:
    static constexpr const char* kPath = internal::kUserConf;

    std::string Get(const std::string& key, const std::string& default_value) const;
    void Set(const std::string& key, const std::string& value) const;
    long long GetNumber(const std::string& key, long long default_value) const;
    void SetNumber(const std::string& key, long long value) const;
    bool GetBool(const std::string& key, bool default_value) const;
    void SetBool(const std::string& key, bool value) const;
    bool Exists() const;

    // Deletes the record file with privileges raised: 0 (also when there was
    // none), EPERM when they could not be raised (logged, nothing deleted), or
    // the error of the unlink.
    static int RemoveRecord();

#define QUILKOVA_DECLARE_STRING(Name, key, fallback) \
    std::string Get##Name() const;                   \
    void Set##Name(const std::string& value) const;
#define QUILKOVA_DECLARE_BOOL(Name, key, fallback) \
    bool Get##Name() const;                        \
    void Set##Name(bool value) const;
#define QUILKOVA_DECLARE_NUMBER(Name, key, fallback) \
    long long Get##Name() const;                     \
    void Set##Name(long long value) const;
    QUILKOVA_USER_STRING_KEYS(QUILKOVA_DECLARE_STRING)
    QUILKOVA_USER_BOOL_KEYS(QUILKOVA_DECLARE_BOOL)
    QUILKOVA_USER_NUMBER_KEYS(QUILKOVA_DECLARE_NUMBER)
#undef QUILKOVA_DECLARE_STRING
#undef QUILKOVA_DECLARE_BOOL
#undef QUILKOVA_DECLARE_NUMBER
};

}  // namespace quilkova

#endif
