#ifndef QUILKOVA_INTERNAL_ACCOUNT_PKCE_SERVICE_IMPL_HPP
#define QUILKOVA_INTERNAL_ACCOUNT_PKCE_SERVICE_IMPL_HPP

#include <json/json.h>

#include <string>

#include "foundation/appliance_paths.hpp"
#include "quilkova/account_pkce_service.hpp"
#include "quilkova/account_service.hpp"
#include "pkce/pkce_client_impl.hpp"

namespace quilkova {

namespace internal {
// The local logout: the record, the report schedule and every client's token
// file go, the plug-ins and the system log are told. Needs no configuration;
// never fails from the caller's view.
void LogoutLocally();
}  // namespace internal

class AccountPkceServiceImpl : public AccountService {
public:
    AccountPkceServiceImpl(const std::string& account_host, const std::string& identity_host);

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
    using TokenGetter = std::string (PkceClientImpl::*)() const;
    // The rescue ladder shared by the two token getters.
    std::string GetToken(TokenGetter getter) const;

    PkceClientImpl client_;
};

}  // namespace quilkova

#endif
