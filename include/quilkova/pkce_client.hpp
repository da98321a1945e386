#ifndef QUILKOVA_PKCE_CLIENT_HPP
#define QUILKOVA_PKCE_CLIENT_HPP

/**
 * @file pkce_client.hpp
 * @brief quilkova::PkceClient, one OAuth 2.0 PKCE client and its token file.
 */

#include <json/json.h>

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class PkceClientImpl;

/**
 * One OAuth 2.0 PKCE client of the appliance ("hos", or a package's): its
 * effective configuration and its token file
 * "/usr/quil/etc/quillion-account/private/<name>_token.json" (0600). Nothing
 * is kept in memory; every call reads the file again. Processes are kept apart
 * by the locks "/tmp/account_<name>_get_token.lock", "..._renew_token",
 * "..._exchange_token" and "..._save_token" (30 s each). Failures are
 * KovaException: 22 a missing file, key or lock, 2 unreadable or unwritable
 * JSON, 5 a transport failure or refused exchange, 14 a refused renewal.
 */
class QUILKOVA_EXPORT PkceClient {
public:
    /** The client @p name; no file is touched. */
    explicit PkceClient(const std::string& name);
    virtual ~PkceClient();
    PkceClient(const PkceClient&) = delete;
    PkceClient& operator=(const PkceClient&) = delete;

    /** The effective configuration of a raw one: endpoints on the identity host, redirects on the
     *  account host, the scope's "$sn$" and "$mac$" filled. Throws 8 or 20 (serial, MAC), and 2 for
     *  a path that does not start with "/". */
    Json::Value FormatPkceConfig(const Json::Value& raw) const;
    /** Installs an effective configuration as it is. */
    void SetPkceConfig(const Json::Value& config);

    /** The token file's path. */
    std::string GetTokenFilePath() const;
    /** True when the token file can be opened and is the process's own; a file
     *  saved for another account than the one bound now counts as none. */
    bool HasTokenFile() const;
    /** A member of the token file as text (numbers as their decimal text); throws 22
     *  (no file, another account's, no such member) or 2. */
    std::string GetPkceTokenVal(const std::string& key) const;
    /** "created_at" + "expires_in" (signs allowed, digits only); 0 when either cannot be read. */
    long long GetExpiredAt() const;
    /** True after the expiry second; a missing or unreadable file counts as expired. */
    bool IsTokenExpired() const;
    /** Saves @p answer plus "created_at" (now) atomically, under the save lock. */
    void SaveToken(const Json::Value& answer) const;
    /** The access token, renewed first when expired (concurrent callers renew once). Talks to the
     *  network when it renews. */
    std::string GetAccessToken() const;
    /** The ID token, as GetAccessToken(). */
    std::string GetIdToken() const;
    /** Trades an authorization @p code for the first token set at the token endpoint and saves it;
     *  throws 5 (transport, status), 2 (no JSON) or 22 (an incomplete answer, nothing saved). */
    void ExchangeToken(const std::string& code, const std::string& redirect_uri,
                       const std::string& code_verifier) const;

private:
    PkceClientImpl* impl_;
};

}  // namespace quilkova

#endif
