#ifndef QUILPLATFORM_CLOUD_SERVICE_H
#define QUILPLATFORM_CLOUD_SERVICE_H

/* The cloud-service library: the device's API key for the account service. */

#include "quilplatform/export.h"

QUILPLATFORM_BEGIN_DECLS

/* Last error of this library: 0 none, 1 network, 7 anything local. */
QUILPLATFORM_EXPORT int QUILCloudServiceGetErrorCode(void);

QUILPLATFORM_END_DECLS

#endif
