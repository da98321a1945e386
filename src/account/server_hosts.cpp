#include "quilkova/server_info.hpp"

#include <cstring>

#include "account/default_hosts.hpp"
#include "account/server_hosts.hpp"
#include "account/user_impl.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/log.hpp"
#include "quilplatform/qlibc_file.h"

namespace quilkova {

namespace {
using OverrideGetter = internal::Result<std::string> (UserImpl::*)() const;

// The user's override from the account record when there is one, else the
// host of the current mode. An unreadable record counts as no override.
std::string ResolveHost(const ServerInfoImpl& self, OverrideGetter get_override, const char* service,
                        const char* test_host, const char* production_host) {
    const internal::Result<std::string> custom = (UserImpl().*get_override)();
    if (!custom) {
        KOVA_LOG(LOG_ERR, "Failed to get user defined %s host", service);
    } else if (!custom.value().empty()) {
        return custom.value();
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
    return ResolveHost(*this, &UserImpl::GetAccountHost, "account", internal::kAccountHostTest, internal::kAccountHost);
}

std::string ServerInfoImpl::GetIdentityHost() const {
    return ResolveHost(*this, &UserImpl::GetIdentityHost, "identity", internal::kIdentityHostTest,
                       internal::kIdentityHost);
}

std::string ServerInfoImpl::GetPaymentHost() const {
    return IsTest() ? internal::kPaymentHostTest : internal::kPaymentHost;
}

}  // namespace quilkova
