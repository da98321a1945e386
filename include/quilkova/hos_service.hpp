#ifndef QUILKOVA_HOS_SERVICE_HPP
#define QUILKOVA_HOS_SERVICE_HPP

#include <map>
#include <string>

#include "quilkova/export.h"

namespace quilkova {

// The appliance's identity and notifications, for the classes. Stateless;
// each getter returns a fresh text or throws KovaException.
class QUILKOVA_EXPORT HosService {
public:
    std::string GetSerialNo() const;   // code 8 on failure
    std::string GetMac() const;        // code 20
    std::string GetUserAgent() const;  // code 6
    // Both: the code of the cloud-service error on failure.
    std::string GetApiKey() const;
    std::string NewApiKey() const;
    // Never throws; failures are logged.
    void SendSysNotify(const std::string& tag, const std::map<std::string, std::string>& params) const;
};

}  // namespace quilkova

#endif
