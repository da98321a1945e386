#include "foundation/log.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/device.h"
#include "quilplatform/qlibc_error.h"

extern "C" int QUILKOVAUserAgentNameGet(char* buffer, int size) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (buffer == nullptr || size <= 0) {
        QUILKOVAErrSet(KOVA_ERR_BAD_PARAM);
        return -1;
    }
    // A device without a user agent still talks to the service: only logged.
    if (QLIBHsinfoUserAgentGet("kova", buffer, size) < 0) {
        KOVA_LOG(LOG_ERR, "%s:%d QLIBHsinfoUserAgentGet failed, quilerr=[0x%04X %s:%d]", QLIBCErrGet(),
                 QLIBCErrorGetFile(), QLIBCErrorGetLine());
    }
    return 0;
}
