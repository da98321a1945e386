#include "quilkova/server_info.hpp"

#include <cstring>

#include "account/default_hosts.hpp"
#include "account/server_hosts.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/log.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/user.hpp"
#include "quilplatform/qlibc_file.h"

namespace quilkova {

namespace {
using OverrideGetter = std::string (User::*)() const;

// The user's override from the account record when there is one, else the
// host of the current mode. An unreadable record counts as no override.
std::string ResolveHost(const ServerInfoImpl& self, OverrideGetter get_override, const char* service,
                        const char* test_host, const char* production_host) {
    try {
        std::string custom = (User().*get_override)();
        if (!custom.empty()) {
            return custom;
        }
    } catch (const KovaException&) {
        KOVA_LOG(LOG_ERR, "Failed to get user defined %s host", service);
    }
    return self.IsTest() ? test_host : production_host;
}
}  // namespace

bool ServerInfoImpl::IsTest() const {
    char value[64] = {};
    if (QLIBCFileGetKeyValue(internal::kDeviceDefaults, "quilpkg_server", value, sizeof(value), 0) < 1) {
        return false;
    }
    return std::strcmp(value, "test") == 0;
}

std::string ServerInfoImpl::GetAccountHost() const {
    return ResolveHost(*this, &User::GetAccountHost, "account", internal::kAccountHostTest, internal::kAccountHost);
}

std::string ServerInfoImpl::GetIdentityHost() const {
    return ResolveHost(*this, &User::GetIdentityHost, "identity", internal::kIdentityHostTest,
                       internal::kIdentityHost);
}

std::string ServerInfoImpl::GetPaymentHost() const {
    return IsTest() ? internal::kPaymentHostTest : internal::kPaymentHost;
}

}  // namespace quilkova
