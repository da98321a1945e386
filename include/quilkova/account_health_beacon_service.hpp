#ifndef QUILKOVA_ACCOUNT_HEALTH_BEACON_SERVICE_HPP
#define QUILKOVA_ACCOUNT_HEALTH_BEACON_SERVICE_HPP

/**
 * @file account_health_beacon_service.hpp
 * @brief quilkova::AccountHealthBeaconService, the monitoring service's grant.
 */

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class AccountHealthBeaconServiceImpl;

/** The device-monitoring service's authorization code for its own web client, vouched for by the
 *  "healthbeacon" package's token (PackagePkceClient). */
class QUILKOVA_EXPORT AccountHealthBeaconService {
public:
    AccountHealthBeaconService();
    virtual ~AccountHealthBeaconService();
    AccountHealthBeaconService(const AccountHealthBeaconService&) = delete;
    AccountHealthBeaconService& operator=(const AccountHealthBeaconService&) = delete;

    /** @return @p redirectUrl + "?" + the URL-encoded "scope", "state" (the caller's, unchanged)
     *  and "code", as a browser-side authorization would have redirected ("?" is appended even to
     *  an address with a query). Talks to the network; throws 5 (transport, any status but 200, no
     *  "grant_code"), 2 (no JSON) or the package's codes. */
    std::string Grant(const std::string& clientId, const std::string& scope, const std::string& redirectUrl,
                      const std::string& state) const;

private:
    AccountHealthBeaconServiceImpl* impl_;
};

}  // namespace quilkova

#endif
