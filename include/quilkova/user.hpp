#ifndef QUILKOVA_USER_HPP
#define QUILKOVA_USER_HPP

/**
 * @file user.hpp
 * @brief quilkova::User, the account record.
 */

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class UserImpl;

/**
 * The bound account's record, "/usr/quil/etc/quillion-account/private/user.conf"
 * (root's, mode 0600). Every accessor reads or writes the file itself (no cache),
 * raising the process to root for the one file operation and dropping back.
 * Getters give the key's default when it is missing or empty. Setters throw
 * KovaException: 6 when privileges cannot be raised, 19 when the key cannot be
 * written (a value of 2048 bytes or more, or with a line break, is refused).
 */
class QUILKOVA_EXPORT User {
public:
    User();
    ~User();
    User(const User&) = delete;
    User& operator=(const User&) = delete;

    /** "account_host": the account host's override; "" by default. */
    std::string GetAccountHost() const;
    /** Stores "account_host". */
    void SetAccountHost(const std::string& value) const;
    /** "identity_host": the identity host's override; "" by default. */
    std::string GetIdentityHost() const;
    /** Stores "identity_host". */
    void SetIdentityHost(const std::string& value) const;
    /** "kovaID": the account's e-mail (login name); "" by default. */
    std::string GetEmail() const;
    /** Stores "kovaID". */
    void SetEmail(const std::string& value) const;
    /** "kovaIDSerial": the account's user id; "" by default. */
    std::string GetUserId() const;
    /** Stores "kovaIDSerial". */
    void SetUserId(const std::string& value) const;
    /** "hs_auth_key": the device's auth key; "" by default. */
    std::string GetAuthKey() const;
    /** Stores "hs_auth_key". */
    void SetAuthKey(const std::string& value) const;
    /** "full_name": the display name; "" by default. */
    std::string GetName() const;
    /** Stores "full_name". */
    void SetName(const std::string& value) const;
    /** "country"; "" by default. */
    std::string GetCountry() const;
    /** Stores "country". */
    void SetCountry(const std::string& value) const;
    /** "timezone"; "" by default. */
    std::string GetTimezone() const;
    /** Stores "timezone". */
    void SetTimezone(const std::string& value) const;
    /** "notify_language": the language of notifications; "" by default. */
    std::string GetNotifyLanguage() const;
    /** Stores "notify_language". */
    void SetNotifyLanguage(const std::string& value) const;
    /** "critical_version_list"; "" by default. */
    std::string GetCriticalVersionList() const;
    /** Stores "critical_version_list". */
    void SetCriticalVersionList(const std::string& value) const;
    /** "critical_version_domain"; "" by default. */
    std::string GetCriticalVersionDomain() const;
    /** Stores "critical_version_domain". */
    void SetCriticalVersionDomain(const std::string& value) const;
    /** "report_cron_timestring": the report's schedule (default "~ 9~16 * * 1~5"). */
    std::string GetReportCronTimestring() const;
    /** Stores "report_cron_timestring". */
    void SetReportCronTimestring(const std::string& value) const;
    /** "last_query_time": seconds since the epoch of the last query; 0 by default. */
    long long GetLastQueryTime() const;
    /** Stores "last_query_time" (written with "%lld"). */
    void SetLastQueryTime(long long value) const;
    /** "activated": the e-mail address is verified: true for a stored "yes" or "true"; false by default. */
    bool GetIsActivated() const;
    /** Stores "activated" as "yes" or "no". */
    void SetIsActivated(bool value) const;
    /** "disabled": true for a stored "yes" or "true"; false by default. */
    bool GetIsDisabled() const;
    /** Stores "disabled" as "yes" or "no". */
    void SetIsDisabled(bool value) const;
    /** "enews": the newsletter is subscribed: true for a stored "yes" or "true"; false by default. */
    bool GetIsEnews() const;
    /** Stores "enews" as "yes" or "no". */
    void SetIsEnews(bool value) const;
    /** "critical_release": critical releases are notified: true for a stored "yes" or "true"; false by default. */
    bool GetIsCriticalRelease() const;
    /** Stores "critical_release" as "yes" or "no". */
    void SetIsCriticalRelease(bool value) const;
    /** "enews_local_promotion": true for a stored "yes" or "true"; false by default. */
    bool GetIsEnewsLocalPromotion() const;
    /** Stores "enews_local_promotion" as "yes" or "no". */
    void SetIsEnewsLocalPromotion(bool value) const;
    /** "realname_validation_pass": true for a stored "yes" or "true"; false by default. */
    bool GetIsRealnameValidationPass() const;
    /** Stores "realname_validation_pass" as "yes" or "no". */
    void SetIsRealnameValidationPass(bool value) const;

    /** True when an account is bound (a user id is stored). */
    bool Exists() const;

private:
    UserImpl* impl_;
};

}  // namespace quilkova

#endif
