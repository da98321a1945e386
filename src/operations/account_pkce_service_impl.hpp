#ifndef QUILKOVA_OPERATIONS_ACCOUNT_PKCE_SERVICE_IMPL_HPP
#define QUILKOVA_OPERATIONS_ACCOUNT_PKCE_SERVICE_IMPL_HPP

#include <json/json.h>

#include <memory>
#include <string>

#include "foundation/appliance_paths.hpp"
#include "foundation/result.hpp"
#include "operations/account_service_impl.hpp"
#include "operations/pkce_client_impl.hpp"
#include "quilkova/account_pkce_service.hpp"

namespace quilkova {

// The appliance's PKCE account on the account service's hosts: it uses the
// account operations (the hosts, the synchronisation, the report schedule)
// and owns the appliance's PKCE client "hos".
class AccountPkceServiceImpl {
public:
    // Not yet configured: Make gives a service ready for use.
    AccountPkceServiceImpl(const std::string& account_host, const std::string& identity_host);
    // The service with the appliance's client configured from the login
    // configuration; 2 when it cannot be read, the device's codes when its
    // serial number or MAC cannot.
    static internal::Result<std::unique_ptr<AccountPkceServiceImpl>> Make(const std::string& account_host,
                                                                         const std::string& identity_host);

    std::string GetAccountHost() const { return account_.GetAccountHost(); }
    std::string GetIdentityHost() const { return account_.GetIdentityHost(); }
    internal::Result<Json::Value> GetPkceConfig(const std::string& path) const;
    internal::Result<Json::Value> GetRegisterPkceConfig() const { return GetPkceConfig(internal::kRegisterConfig); }
    internal::Result<Json::Value> GetLoginPkceConfig() const { return GetPkceConfig(internal::kLoginConfig); }
    internal::Result<std::string> GetClientId() const;
    internal::Result<Json::Value> ExchangeAuthKey(const std::string& access_token) const;
    internal::Result<Json::Value> Login(const ParamPkceLogin& param) const;
    internal::Status Logout(bool send_access_token) const;
    void LogoutLocal() const;
    // Whether a token can be had: false for 22, any other failure as it is.
    internal::Result<bool> HasToken() const;
    bool HasAuthKey() const;
    internal::Result<std::string> GetAccessToken() const;
    internal::Result<std::string> GetIdToken() const;
    internal::Status GrantByAuthKey() const;

private:
    // The login's code exchanged for a token set that is no account's yet.
    internal::Result<Json::Value> ExchangePendingToken(const ParamPkceLogin& param) const;
    // The rescue ladder shared by the two token getters, for the token member
    // `key` ("access_token" or "id_token").
    internal::Result<std::string> GetToken(const char* key) const;
    // No token file but an auth key: one is granted, one process at a time.
    internal::Status RescueWithoutTokenFile() const;
    // The refresh token was refused: a grant by the auth key, or the forced
    // logout when the service refuses the auth key too.
    internal::Status RescueRefusedRenewal() const;

    AccountServiceImpl account_;
    PkceClientImpl client_;
};

}  // namespace quilkova

#endif
