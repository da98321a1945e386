// The flat face of the service hosts.
#include "foundation/fixed_field.hpp"
#include "foundation/flat_boundary.hpp"
#include "foundation/log.hpp"
#include "quilkova/quilkova.h"
#include "quilkova/server_info.hpp"

#include <cstddef>

static_assert(offsetof(KOVA_SERVER_CONFIG, account_url) == 2048 && sizeof(KOVA_SERVER_CONFIG) == 4096,
              "KOVA_SERVER_CONFIG layout changed");

extern "C" int QUILKOVAServerConfigGet(KOVA_SERVER_CONFIG* config) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (config == nullptr) {
        return quilkova::internal::FailBadParam();
    }
    return quilkova::internal::RunFlat([config] {
        const quilkova::ServerInfo hosts;
        quilkova::internal::CopyField(config->account_url, hosts.GetAccountHost());
        quilkova::internal::CopyField(config->payment_url, hosts.GetPaymentHost());
        return KOVA_ERR_SUCCESS;
    });
}

extern "C" int QUILPaymentConfigGet(char* url) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (url == nullptr) {
        return quilkova::internal::FailBadParam();
    }
    KOVA_SERVER_CONFIG config = {};
    if (QUILKOVAServerConfigGet(&config) != 0) {
        KOVA_LOG(LOG_ERR, "%s:%d QUILKOVAServerConfigGet, code=%u", static_cast<unsigned int>(QUILKOVAErrGet()));
        return -1;
    }
    std::snprintf(url, sizeof(config.payment_url), "%s", config.payment_url);
    return 0;
}
