#ifndef QUILPLATFORM_ZONE_H
#define QUILPLATFORM_ZONE_H

/* The appliance's time zone: "/etc/timezone", else the zone the
   "/etc/localtime" link points at. */

#include "quilplatform/export.h"
#include "quilplatform/qlibc_string.h"

QUILPLATFORM_BEGIN_DECLS

/* Copies the zone identifier (e.g. "Pacific/Auckland") into buffer. 0, or
   negative; *needed (when given) receives the buffer size the name needs. */
QUILPLATFORM_EXPORT int QUILZoneGet(char *buffer, int size, int *needed);

/* Fills info with the zone's details: "name", and "nameInTZDB" when the zone
   exists in the zoneinfo database. 0, or negative for an unknown zone. */
QUILPLATFORM_EXPORT int QUILZoneGetInfo(const char *zone, PQLIBCSzHash info);

QUILPLATFORM_END_DECLS

#endif
