// Ending the login through the appliance's PKCE account.
#include "foundation/boundaries.hpp"
#include "foundation/log.hpp"
#include "operations/account_operations.hpp"
#include "operations/account_pkce_service_impl.hpp"
#include "quilkova/kova_exception.hpp"

namespace quilkova::internal {

Status LogoutAccount(bool remote) {
    try {
        const AccountPkceServiceImpl service("", "");
        if (remote) {
            service.Logout(true);
        } else {
            service.LogoutLocal();
        }
        return Done{};
    } catch (const KovaException& error) {
        KOVA_LOG(LOG_ERR, "Failed to logout: %s", error.what());
        return Error{error.GetCode(), MessageOf(error)};
    }
}

}  // namespace quilkova::internal
