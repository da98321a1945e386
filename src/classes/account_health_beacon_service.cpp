// AccountHealthBeaconService: the class face of the monitoring service's grant.
#include "quilkova/account_health_beacon_service.hpp"

#include "classes/class_face.hpp"
#include "operations/account_health_beacon_service_impl.hpp"

namespace quilkova {

AccountHealthBeaconService::AccountHealthBeaconService() : impl_(new AccountHealthBeaconServiceImpl) {}

AccountHealthBeaconService::~AccountHealthBeaconService() {
    delete impl_;
}

std::string AccountHealthBeaconService::Grant(const std::string& clientId, const std::string& scope,
                                              const std::string& redirectUrl, const std::string& state) const {
    return internal::Guarded([&] { return internal::Unwrap(impl_->Grant(clientId, scope, redirectUrl, state)); });
}

}  // namespace quilkova
