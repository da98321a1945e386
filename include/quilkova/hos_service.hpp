#ifndef QUILKOVA_HOS_SERVICE_HPP
#define QUILKOVA_HOS_SERVICE_HPP

/**
 * @file hos_service.hpp
 * @brief quilkova::HosService, the appliance's identity and notifications.
 */

#include <map>
#include <string>

#include "quilkova/export.h"

namespace quilkova {

/** The appliance's identity and notifications, for the classes. Holds no state; each getter
 *  returns a fresh text or throws KovaException. */
class QUILKOVA_EXPORT HosService {
public:
    /** The serial number; throws 8 when it cannot be read. */
    std::string GetSerialNo() const;
    /** The MAC address; throws 20 when it cannot be read. */
    std::string GetMac() const;
    /** The user agent "kova/<firmware> (<model>)", possibly empty; throws 6 only for a platform fault. */
    std::string GetUserAgent() const;
    /** The stored API key, registering one when none is stored; throws the cloud-service code. */
    std::string GetApiKey() const;
    /** Registers and returns a new API key; throws the cloud-service code. */
    std::string NewApiKey() const;
    /** Sends the notification @p tag with @p params (e.g. "%KOVA_ACCOUNT%"); never throws, logs failures. */
    void SendSysNotify(const std::string& tag, const std::map<std::string, std::string>& params) const;
};

}  // namespace quilkova

#endif
