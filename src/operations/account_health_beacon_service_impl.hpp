#ifndef QUILKOVA_OPERATIONS_ACCOUNT_HEALTH_BEACON_SERVICE_IMPL_HPP
#define QUILKOVA_OPERATIONS_ACCOUNT_HEALTH_BEACON_SERVICE_IMPL_HPP

#include <string>

#include "foundation/result.hpp"

namespace quilkova {

// The monitoring service's grant, vouched for by the "healthbeacon" package's token.
class AccountHealthBeaconServiceImpl {
public:
    // The redirect address with the grant code the account host gave.
    internal::Result<std::string> Grant(const std::string& client_id, const std::string& scope,
                                        const std::string& redirect_url, const std::string& state) const;
};

}  // namespace quilkova

#endif
