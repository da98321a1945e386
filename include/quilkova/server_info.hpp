#ifndef QUILKOVA_SERVER_INFO_HPP
#define QUILKOVA_SERVER_INFO_HPP

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class ServerInfoImpl;

// Base URLs ("https://host", no trailing slash) of the three services. The
// test hosts are used when "/etc.defaults/quilinfo.conf" has
// quilpkg_server="test"; the account record's "account_host" and
// "identity_host" override both. Never throws for an unreadable setting.
class QUILKOVA_EXPORT ServerInfo {
public:
    ServerInfo();
    virtual ~ServerInfo();
    ServerInfo(const ServerInfo&) = delete;
    ServerInfo& operator=(const ServerInfo&) = delete;

    std::string GetAccountHost() const;
    std::string GetIdentityHost() const;
    std::string GetPaymentHost() const;

private:
    ServerInfoImpl* impl_;
};

}  // namespace quilkova

#endif
