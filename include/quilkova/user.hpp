#ifndef QUILKOVA_USER_HPP
#define QUILKOVA_USER_HPP

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class UserImpl;

// The bound account's record, "/usr/quil/etc/quillion-account/private/user.conf".
// Every accessor reads or writes the file itself (no cache), raising the
// process to root for the one file operation. Getters give the key's default
// when it is missing or empty; setters throw KovaException (6: privileges
// could not be raised, 19: the key could not be written).
class QUILKOVA_EXPORT User {
public:
    User();
    ~User();
    User(const User&) = delete;
    User& operator=(const User&) = delete;

    std::string GetAccountHost() const;
    std::string GetIdentityHost() const;
    std::string GetEmail() const;
    std::string GetUserId() const;
    std::string GetAuthKey() const;
    std::string GetName() const;
    std::string GetCountry() const;
    std::string GetTimezone() const;
    std::string GetNotifyLanguage() const;
    std::string GetCriticalVersionList() const;
    std::string GetCriticalVersionDomain() const;
    std::string GetReportCronTimestring() const;  // default "~ 9~16 * * 1~5"
    long long GetLastQueryTime() const;
    bool GetIsActivated() const;
    bool GetIsDisabled() const;
    bool GetIsEnews() const;
    bool GetIsCriticalRelease() const;
    bool GetIsEnewsLocalPromotion() const;
    bool GetIsRealnameValidationPass() const;

    void SetAccountHost(const std::string& value) const;
    void SetIdentityHost(const std::string& value) const;
    void SetEmail(const std::string& value) const;
    void SetUserId(const std::string& value) const;
    void SetAuthKey(const std::string& value) const;
    void SetName(const std::string& value) const;
    void SetCountry(const std::string& value) const;
    void SetTimezone(const std::string& value) const;
    void SetNotifyLanguage(const std::string& value) const;
    void SetCriticalVersionList(const std::string& value) const;
    void SetCriticalVersionDomain(const std::string& value) const;
    void SetReportCronTimestring(const std::string& value) const;
    void SetLastQueryTime(long long value) const;
    void SetIsActivated(bool value) const;
    void SetIsDisabled(bool value) const;
    void SetIsEnews(bool value) const;
    void SetIsCriticalRelease(bool value) const;
    void SetIsEnewsLocalPromotion(bool value) const;
    void SetIsRealnameValidationPass(bool value) const;

    // True when an account is bound (a user id is stored).
    bool Exists() const;

private:
    UserImpl* impl_;
};

}  // namespace quilkova

#endif
