#ifndef QUILKOVA_ACCOUNT_HEALTH_BEACON_SERVICE_HPP
#define QUILKOVA_ACCOUNT_HEALTH_BEACON_SERVICE_HPP

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class AccountHealthBeaconServiceImpl;

// The device-monitoring service's authorization code for its own web
// client, vouched for by the "healthbeacon" package's token.
class QUILKOVA_EXPORT AccountHealthBeaconService {
public:
    AccountHealthBeaconService();
    virtual ~AccountHealthBeaconService();
    AccountHealthBeaconService(const AccountHealthBeaconService&) = delete;
    AccountHealthBeaconService& operator=(const AccountHealthBeaconService&) = delete;

    // redirectUrl + "?" + the URL-encoded "scope", "state" and "code", as a
    // browser-side authorization would have redirected. Throws KovaException.
    std::string Grant(const std::string& clientId, const std::string& scope, const std::string& redirectUrl,
                      const std::string& state) const;

private:
    AccountHealthBeaconServiceImpl* impl_;
};

}  // namespace quilkova

#endif
