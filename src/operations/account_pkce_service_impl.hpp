#ifndef QUILKOVA_OPERATIONS_ACCOUNT_PKCE_SERVICE_IMPL_HPP
#define QUILKOVA_OPERATIONS_ACCOUNT_PKCE_SERVICE_IMPL_HPP

#include <json/json.h>

#include <string>

#include "foundation/appliance_paths.hpp"
#include "operations/account_service_impl.hpp"
#include "operations/pkce_client_impl.hpp"
#include "quilkova/account_pkce_service.hpp"

namespace quilkova {

// The appliance's PKCE account on the account service's hosts: it uses the
// account operations (the hosts, the synchronisation, the report schedule)
// and owns the appliance's PKCE client "hos".
class AccountPkceServiceImpl {
public:
    AccountPkceServiceImpl(const std::string& account_host, const std::string& identity_host);

    std::string GetAccountHost() const { return account_.GetAccountHost(); }
    std::string GetIdentityHost() const { return account_.GetIdentityHost(); }
    Json::Value GetPkceConfig(const std::string& path) const;
    Json::Value GetRegisterPkceConfig() const { return GetPkceConfig(internal::kRegisterConfig); }
    Json::Value GetLoginPkceConfig() const { return GetPkceConfig(internal::kLoginConfig); }
    std::string GetClientId() const;
    Json::Value ExchangeAuthKey(const std::string& access_token) const;
    Json::Value Login(const ParamPkceLogin& param) const;
    void Logout(bool send_access_token) const;
    void LogoutLocal() const;
    bool HasToken() const;
    bool HasAuthKey() const;
    std::string GetAccessToken() const;
    std::string GetIdToken() const;
    void GrantByAuthKey() const;

private:
    // The rescue ladder shared by the two token getters.
    // The ladder for the token member `key` ("access_token" or "id_token").
    std::string GetToken(const char* key) const;

    AccountServiceImpl account_;
    PkceClientImpl client_;
};

}  // namespace quilkova

#endif
