#ifndef QUILKOVA_ACCOUNT_SERVER_HOSTS_HPP
#define QUILKOVA_ACCOUNT_SERVER_HOSTS_HPP

#include <string>

namespace quilkova {

// Host resolution; holds no state.
class ServerInfoImpl {
public:
    // quilpkg_server of "/etc.defaults/quilinfo.conf" is exactly "test".
    bool IsTest() const;
    std::string GetAccountHost() const;
    std::string GetIdentityHost() const;
    std::string GetPaymentHost() const;
};

}  // namespace quilkova

#endif
