#ifndef QUILKOVA_OPERATIONS_ACCOUNT_SERVICE_IMPL_HPP
#define QUILKOVA_OPERATIONS_ACCOUNT_SERVICE_IMPL_HPP

#include <json/json.h>

#include <string>

#include "foundation/result.hpp"

namespace quilkova {

class AccountServiceImpl {
public:
    AccountServiceImpl(const std::string& account_host, const std::string& identity_host);
    virtual ~AccountServiceImpl();

    internal::Result<Json::Value> Login(const std::string& email, const std::string& password) const;
    // The account refreshed from the service; only the service's own refusal
    // of the account (14, 25) unbinds it here.
    internal::Result<Json::Value> GetAndSyncRemoteJsonAccount() const;
    internal::Result<Json::Value> GetLocalJsonAccount() const;
    std::string GetIdentityHost() const { return identity_host_; }
    std::string GetAccountHost() const { return account_host_; }
    void SetReportCrontab() const;

private:
    std::string account_host_;
    std::string identity_host_;
};

}  // namespace quilkova

#endif
