#ifndef QUILKOVA_PKCE_CLIENT_HPP
#define QUILKOVA_PKCE_CLIENT_HPP

#include <json/json.h>

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class PkceClientImpl;

// One OAuth 2.0 PKCE client of the appliance ("hos", or a package's): its
// effective configuration and its token file
// "/usr/quil/etc/quillion-account/private/<name>_token.json". Nothing is kept
// in memory; every call reads the file again. Failures are KovaException:
// 22 missing file, key or lock, 2 unreadable JSON, 5 transport or refused
// exchange, 14 refused renewal.
class QUILKOVA_EXPORT PkceClient {
public:
    explicit PkceClient(const std::string& name);
    virtual ~PkceClient();
    PkceClient(const PkceClient&) = delete;
    PkceClient& operator=(const PkceClient&) = delete;

    // Endpoints on the identity host, redirects on the account host, and the
    // scope's "$sn$" and "$mac$" filled with the device's serial and MAC.
    Json::Value FormatPkceConfig(const Json::Value& raw) const;
    void SetPkceConfig(const Json::Value& config);

    std::string GetTokenFilePath() const;
    bool HasTokenFile() const;
    std::string GetPkceTokenVal(const std::string& key) const;
    // "created_at" + "expires_in"; 0 when either cannot be read.
    long long GetExpiredAt() const;
    // Expired strictly after the expiry second; no token file counts as expired.
    bool IsTokenExpired() const;
    // The answer plus "created_at" (now), written atomically under lock.
    void SaveToken(const Json::Value& answer) const;
    // Renewed first when expired; concurrent callers renew once.
    std::string GetAccessToken() const;
    std::string GetIdToken() const;
    void ExchangeToken(const std::string& code, const std::string& redirect_uri,
                       const std::string& code_verifier) const;

private:
    PkceClientImpl* impl_;
};

}  // namespace quilkova

#endif
