#ifndef QUILKOVA_DEVICE_NOTIFICATIONS_HPP
#define QUILKOVA_DEVICE_NOTIFICATIONS_HPP

#include <map>
#include <string>

// The appliance's system notifications.
namespace quilkova::internal {

// Sends the notification `tag` with its parameters; every failure is logged
// and none stops the caller.
void SendNotification(const std::string& tag, const std::map<std::string, std::string>& params);

}  // namespace quilkova::internal

#endif
