#ifndef QUILPLATFORM_DEVICE_H
#define QUILPLATFORM_DEVICE_H

/* Facts about the appliance, from "/etc.defaults/quilinfo.conf" (keys
   "serial", "original_serial", "mac", "model", "firmware"). Each copies its
   text into buffer (cut to size - 1) and returns its length, or a negative
   value with the last error set. */

#include "quilplatform/export.h"

QUILPLATFORM_BEGIN_DECLS

QUILPLATFORM_EXPORT int QLIBGetSerialNumber(char *buffer, int size);
/* Falls back to the serial number. */
QUILPLATFORM_EXPORT int QLIBGetOriginalSerialNumber(char *buffer, int size);
/* Falls back to the first non-loopback interface of /sys/class/net. */
QUILPLATFORM_EXPORT int QUILHsinfoCloudServiceGetMacAddress(char *buffer, int size);
/* "<product>/<firmware> (<model>)", e.g. "kova/7.2.1 (QN-420)". */
QUILPLATFORM_EXPORT int QLIBHsinfoUserAgentGet(const char *product, char *buffer, int size);

QUILPLATFORM_END_DECLS

#endif
