#ifndef QUILKOVA_PACKAGE_PKCE_CLIENT_HPP
#define QUILKOVA_PACKAGE_PKCE_CLIENT_HPP

/**
 * @file package_pkce_client.hpp
 * @brief quilkova::PackagePkceClient, an add-on package's own tokens.
 */

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class PackagePkceClientImpl;

/**
 * An add-on package's own OAuth 2.0 PKCE tokens, granted without user
 * interaction on the strength of the appliance's account token. The package's
 * configuration is fetched from the account host and cached for 30 hours in
 * "/tmp/account_<package>_pkce_client.conf" (used only when it is the caller's
 * own file, written by no one else, and never through a link); its token file
 * lies beside the appliance's and goes with the appliance's local logout.
 * Processes of one package share one fetch and one grant; packages never wait
 * on each other. Failures are KovaException (2, 5, 6, 14, 22, and those of the
 * appliance's token).
 */
class QUILKOVA_EXPORT PackagePkceClient {
public:
    /** Builds the client and its configuration (from the cache or the account host). @p package
     *  must be letters, digits, ".", "_" and "-" (not starting with ".", no "..", not the
     *  appliance's own "hos"):
     *  anything else throws 1 before any file is touched. */
    explicit PackagePkceClient(const std::string& package);
    virtual ~PackagePkceClient();
    PackagePkceClient(const PackagePkceClient&) = delete;
    PackagePkceClient& operator=(const PackagePkceClient&) = delete;

    /** The access token: granted when there is no token file, renewed when expired, granted anew
     *  when the renewal is refused. Talks to the network when it must. */
    std::string GetAccessToken() const;
    /** The ID token, as GetAccessToken(). */
    std::string GetIdToken() const;
    /** A fresh grant now, whatever the token file holds. */
    void ForceRenewToken() const;

private:
    PackagePkceClientImpl* impl_;
};

}  // namespace quilkova

#endif
