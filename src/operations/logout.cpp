// Ending the login through the appliance's PKCE account.
#include "foundation/boundaries.hpp"
#include "foundation/log.hpp"
#include "operations/account_operations.hpp"
#include "operations/account_pkce_service_impl.hpp"

namespace quilkova::internal {

Status LogoutAccount(bool remote) {
    Status outcome = [remote]() -> Status {
        KOVA_TRY(service, AccountPkceServiceImpl::Make("", ""));
        if (!remote) {
            service->LogoutLocal();
            return Done{};
        }
        return service->Logout(true);
    }();
    if (!outcome) {
        KOVA_LOG(LOG_ERR, "Failed to logout: %s", FailureText(outcome.error()).c_str());
    }
    return outcome;
}

}  // namespace quilkova::internal
