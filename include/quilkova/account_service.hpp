#ifndef QUILKOVA_ACCOUNT_SERVICE_HPP
#define QUILKOVA_ACCOUNT_SERVICE_HPP

#include <json/json.h>

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class AccountServiceImpl;

// The account operations for callers that prefer exceptions: each failure
// is thrown as KovaException with the code the flat function left.
class QUILKOVA_EXPORT AccountService {
public:
    // Both hosts from ServerInfo.
    AccountService();
    // An empty host is resolved through ServerInfo.
    AccountService(const std::string& account_host, const std::string& identity_host);
    virtual ~AccountService();
    AccountService(const AccountService&) = delete;
    AccountService& operator=(const AccountService&) = delete;

    // Logs in (not check-only) and returns the service's answer.
    Json::Value Login(const std::string& email, const std::string& password) const;
    // Queries the service; on failure the local record is deleted.
    Json::Value GetAndSyncRemoteJsonAccount() const;
    // The record as it is, without asking the service unless it is a day old.
    Json::Value GetLocalJsonAccount() const;
    std::string GetIdentityHost() const;
    std::string GetAccountHost() const;
    // Replaces any legacy crontab entry by the scheduler job; never throws.
    void SetReportCrontab() const;

protected:
    explicit AccountService(AccountServiceImpl* impl);
    AccountServiceImpl* impl_;
};

}  // namespace quilkova

#endif
