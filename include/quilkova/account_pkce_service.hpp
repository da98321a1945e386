#ifndef QUILKOVA_ACCOUNT_PKCE_SERVICE_HPP
#define QUILKOVA_ACCOUNT_PKCE_SERVICE_HPP

/**
 * @file account_pkce_service.hpp
 * @brief quilkova::AccountPkceService, the appliance's own PKCE account.
 */

#include <json/json.h>

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class AccountPkceServiceImpl;

/** What a browser-side PKCE login hands to AccountPkceService::Login(). */
struct QUILKOVA_EXPORT ParamPkceLogin {
    std::string state;          /**< The browser's OAuth state; not read by the login. */
    std::string code;           /**< The authorization code. */
    std::string code_verifier;  /**< The PKCE verifier of the code's challenge. */
    std::string redirect_uri;   /**< The redirect address the code was issued for. */
};

/**
 * The appliance's own PKCE account: the login client "hos" and its token file,
 * the trade of its access token for the device auth key, and the remote and
 * local logout. Building one reads "pkce_login.conf" and the device's serial
 * and MAC (throws 2, 8 or 20). Failures are KovaException.
 */
class QUILKOVA_EXPORT AccountPkceService {
public:
    /** Hosts as the account record and the mode say. */
    AccountPkceService();
    /** An empty host is resolved as the account record and the mode say. */
    AccountPkceService(const std::string& account_host, const std::string& identity_host);
    virtual ~AccountPkceService();
    AccountPkceService(const AccountPkceService&) = delete;
    AccountPkceService& operator=(const AccountPkceService&) = delete;

    /** The effective "pkce_register.conf"; throws 2 when it cannot be read. */
    Json::Value GetRegisterPkceConfig() const;
    /** The effective "pkce_login.conf"; throws 2 when it cannot be read. */
    Json::Value GetLoginPkceConfig() const;
    /** Finishes a browser login: fires "kova/login" (4), trades the code for the token file, the
     *  token for the user id and auth key (stored with both hosts), synchronises the account,
     *  installs the report schedule and fires "kova/login" (5). @return the account. Talks to the
     *  network; throws 5, 2, 22, 14 or the record's codes (the "after" event then does not fire). */
    Json::Value Login(const ParamPkceLogin& param) const;
    /** Unbinds the appliance locally: record, report schedule and every client's token file go;
     *  the plug-ins and the system log are told. Never fails from the caller's view. */
    void LogoutLocal() const;
    /** Logs out at the service (with the access token), then locally; a refusal ("Failed to logout
     *  with success code") or a transport failure leaves everything in place. Without a record it
     *  only logs out locally, sending nothing. */
    void Logout() const;
    /** True when GetAccessToken() gives a token; false when it throws 22; other codes are thrown. */
    bool HasToken() const;
    /** The access token, renewed when expired; a missing token file or a refused renewal is rescued
     *  with the auth key (one grant across processes), and an auth key the service refuses logs the
     *  appliance out (then 22 is thrown). A lock, a save, the network or a server error fail the call
     *  with their code (22, 2, 5) and keep the account and its tokens. */
    std::string GetAccessToken() const;
    /** The ID token, as GetAccessToken(). */
    std::string GetIdToken() const;

private:
    AccountPkceServiceImpl* impl_;
};

}  // namespace quilkova

#endif
