#ifndef QUILPLATFORM_CLOUD_SERVICE_H
#define QUILPLATFORM_CLOUD_SERVICE_H

/* The cloud-service library: the device's API key for the account service,
   kept in "/usr/quil/etc/quillion-account/private/apikey". Functions return
   0 or a negative value; QUILCloudServiceGetErrorCode tells why. */

#include "quilplatform/export.h"

QUILPLATFORM_BEGIN_DECLS

/* Buffers for API keys hold this many bytes; device tokens 33. */
#define QUIL_CLOUD_SERVICE_APIKEY_SIZE 1024
#define QUIL_CLOUD_SERVICE_DSTOKEN_SIZE 33

enum {
    QUIL_CLOUD_SERVICE_ERR_NONE = 0,
    QUIL_CLOUD_SERVICE_ERR_NETWORK = 1,
    QUIL_CLOUD_SERVICE_ERR_LOCAL = 7
};

/* Actions for QUILCloudServiceActionHandler. */
enum { QUIL_CLOUD_SERVICE_ACTION_APIKEY_EXPIRED = 2 };

/* The stored key; with registerIfMissing, one is registered when none is stored. */
QUILPLATFORM_EXPORT int QUILCloudServiceGetApiKey(char *apikey, int registerIfMissing);
/* Makes, stores and returns a fresh key (64 hex digits). */
QUILPLATFORM_EXPORT int QUILCloudServiceRegisterApiKey(char *apikey);
/* Action 2 (the service says the key expired) discards the stored key. */
QUILPLATFORM_EXPORT int QUILCloudServiceActionHandler(int action, int flags);
/* MD5 hex of the serial number followed by the API key. */
QUILPLATFORM_EXPORT int QUILCloudServiceDstokenGenerateToken(char *token);
/* Last error of this library (per thread): 0 none, 1 network, 7 anything local. */
QUILPLATFORM_EXPORT int QUILCloudServiceGetErrorCode(void);

QUILPLATFORM_END_DECLS

#endif
