#ifndef QUILKOVA_ACCOUNT_PKCE_SERVICE_HPP
#define QUILKOVA_ACCOUNT_PKCE_SERVICE_HPP

#include <json/json.h>

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class AccountPkceServiceImpl;

// What a browser-side PKCE login hands to AccountPkceService::Login.
struct QUILKOVA_EXPORT ParamPkceLogin {
    std::string state;          // the browser's OAuth state; not read by the login
    std::string code;           // the authorization code
    std::string code_verifier;  // the PKCE verifier of the code's challenge
    std::string redirect_uri;   // the redirect address the code was issued for
};

// The appliance's own PKCE account: the login client "hos" and its token
// file, the trade of its access token for the device auth key, the remote and
// local logout. Building one reads "pkce_login.conf" and the device's serial
// and MAC; failures are KovaException.
class QUILKOVA_EXPORT AccountPkceService {
public:
    AccountPkceService();
    // An empty host is resolved as the account record and the mode say.
    AccountPkceService(const std::string& account_host, const std::string& identity_host);
    virtual ~AccountPkceService();
    AccountPkceService(const AccountPkceService&) = delete;
    AccountPkceService& operator=(const AccountPkceService&) = delete;

    Json::Value GetRegisterPkceConfig() const;
    Json::Value GetLoginPkceConfig() const;
    Json::Value Login(const ParamPkceLogin& param) const;
    void LogoutLocal() const;
    void Logout() const;
    bool HasToken() const;
    std::string GetAccessToken() const;
    std::string GetIdToken() const;

private:
    AccountPkceServiceImpl* impl_;
};

}  // namespace quilkova

#endif
