// The user agent the appliance sends: "kova/<firmware> (<model>)".
#include "device/identity.hpp"
#include "foundation/log.hpp"
#include "quilplatform/device.h"
#include "quilplatform/qlibc_error.h"

namespace quilkova::internal {

Status ReadUserAgent(char* buffer, int size) {
    if (buffer == nullptr || size <= 0) {
        return Error{KOVA_ERR_BAD_PARAM};
    }
    // A device without a user agent still talks to the service: only logged.
    if (QLIBHsinfoUserAgentGet("kova", buffer, size) < 0) {
        KOVA_LOG(LOG_ERR, "QLIBHsinfoUserAgentGet failed, quilerr=[0x%04X %s:%d]", QLIBCErrGet(),
                 QLIBCErrorGetFile(), QLIBCErrorGetLine());
    }
    return Done{};
}

}  // namespace quilkova::internal
