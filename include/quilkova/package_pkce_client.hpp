#ifndef QUILKOVA_PACKAGE_PKCE_CLIENT_HPP
#define QUILKOVA_PACKAGE_PKCE_CLIENT_HPP

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class PackagePkceClientImpl;

// An add-on package's own OAuth 2.0 PKCE tokens, granted without user
// interaction on the strength of the appliance's account token. The
// package's configuration is fetched from the account host and cached for 30
// hours in "/tmp/account_<package>_pkce_client.conf"; its token file lies
// beside the appliance's and goes with the appliance's local logout.
// Failures are KovaException.
class QUILKOVA_EXPORT PackagePkceClient {
public:
    // The name must be letters, digits, ".", "_" and "-" (not "..", not the
    // appliance's own "hos"): anything else is refused with code 1 before any
    // file is touched.
    explicit PackagePkceClient(const std::string& package);
    virtual ~PackagePkceClient();
    PackagePkceClient(const PackagePkceClient&) = delete;
    PackagePkceClient& operator=(const PackagePkceClient&) = delete;

    std::string GetAccessToken() const;
    std::string GetIdToken() const;
    // A fresh grant now, whatever the token file holds.
    void ForceRenewToken() const;

private:
    PackagePkceClientImpl* impl_;
};

}  // namespace quilkova

#endif
