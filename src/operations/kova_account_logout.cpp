// Ending the login through the appliance's PKCE account.
#include "foundation/flat_boundary.hpp"
#include "foundation/log.hpp"
#include "quilkova/account_pkce_service.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/quilkova.h"

extern "C" int QUILKOVAAccountLogout(bool remote) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    return quilkova::internal::GuardFlat([remote] {
        try {
            const quilkova::AccountPkceService service;
            if (remote) {
                service.Logout();
            } else {
                service.LogoutLocal();
            }
            return 0;
        } catch (const quilkova::KovaException& error) {
            KOVA_LOG(LOG_ERR, "%s:%d Failed to logout: %s", error.what());
            QUILKOVAErrSet(error.GetCode());
            return -1;
        }
    });
}
