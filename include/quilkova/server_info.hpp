#ifndef QUILKOVA_SERVER_INFO_HPP
#define QUILKOVA_SERVER_INFO_HPP

/**
 * @file server_info.hpp
 * @brief quilkova::ServerInfo, the base URLs of the three services.
 */

#include <string>

#include "quilkova/export.h"

namespace quilkova {

class ServerInfoImpl;

/** Base URLs ("https://host", no trailing slash) of the three services. The test hosts are used
 *  when "/etc.defaults/quilinfo.conf" holds quilpkg_server="test"; the account record's
 *  "account_host" and "identity_host" override both. Reads the record (raising privileges);
 *  never throws for an unreadable setting. */
class QUILKOVA_EXPORT ServerInfo {
public:
    ServerInfo();
    virtual ~ServerInfo();
    ServerInfo(const ServerInfo&) = delete;
    ServerInfo& operator=(const ServerInfo&) = delete;

    /** The account host: the record's override, else the mode's. */
    std::string GetAccountHost() const;
    /** The identity host: the record's override, else the mode's. */
    std::string GetIdentityHost() const;
    /** The payment host of the mode. */
    std::string GetPaymentHost() const;

private:
    ServerInfoImpl* impl_;
};

}  // namespace quilkova

#endif
