// The service hosts as the flat face hands them out.
#include <cstddef>
#include <cstdio>

#include "account/account_record.hpp"
#include "account/server_hosts.hpp"
#include "foundation/fixed_field.hpp"
#include "foundation/log.hpp"

static_assert(offsetof(KOVA_SERVER_CONFIG, account_url) == 2048 && sizeof(KOVA_SERVER_CONFIG) == 4096,
              "KOVA_SERVER_CONFIG layout changed");

namespace quilkova::internal {

Status ReadServerConfig(KOVA_SERVER_CONFIG* config) {
    if (config == nullptr) {
        return Error{KOVA_ERR_BAD_PARAM};
    }
    const ServerInfoImpl hosts;
    CopyField(config->account_url, hosts.GetAccountHost());
    CopyField(config->payment_url, hosts.GetPaymentHost());
    return Done{};
}

Result<std::string> AccountHost(Where where) {
    KOVA_SERVER_CONFIG config = {};
    if (const Status read = ReadServerConfig(&config); !read) {
        KOVA_LOG_AT(where, "QUILKOVAServerConfigGet, code=%u", static_cast<unsigned int>(read.error().code));
        return Error{KOVA_ERR_SERVER_CONFIG};
    }
    return std::string(config.account_url);
}

Status ReadPaymentUrl(char* url) {
    if (url == nullptr) {
        return Error{KOVA_ERR_BAD_PARAM};
    }
    KOVA_SERVER_CONFIG config = {};
    if (const Status read = ReadServerConfig(&config); !read) {
        KOVA_LOG(LOG_ERR, "QUILKOVAServerConfigGet, code=%u", static_cast<unsigned int>(read.error().code));
        return read;
    }
    std::snprintf(url, sizeof(config.payment_url), "%s", config.payment_url);
    return Done{};
}

}  // namespace quilkova::internal
