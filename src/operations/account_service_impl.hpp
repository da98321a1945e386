#ifndef QUILKOVA_INTERNAL_ACCOUNT_SERVICE_IMPL_HPP
#define QUILKOVA_INTERNAL_ACCOUNT_SERVICE_IMPL_HPP

#include <json/json.h>

#include <string>

namespace quilkova {

class AccountServiceImpl {
public:
    AccountServiceImpl(const std::string& account_host, const std::string& identity_host);
    virtual ~AccountServiceImpl();

    Json::Value Login(const std::string& email, const std::string& password) const;
    Json::Value GetAndSyncRemoteJsonAccount() const;
    Json::Value GetLocalJsonAccount() const;
    std::string GetIdentityHost() const { return identity_host_; }
    std::string GetAccountHost() const { return account_host_; }
    void SetReportCrontab() const;

private:
    std::string account_host_;
    std::string identity_host_;
};

}  // namespace quilkova

#endif
