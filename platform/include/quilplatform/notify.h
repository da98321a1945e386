#ifndef QUILPLATFORM_NOTIFY_H
#define QUILPLATFORM_NOTIFY_H

/* Notifications and system-log events: one JSON line each, appended to
   "/var/log/quil/notifications.jsonl" and "/var/log/quil/events.jsonl", and
   sent to syslog. 0 or negative. */

#include "quilplatform/export.h"
#include "quilplatform/qlibc_string.h"

QUILPLATFORM_BEGIN_DECLS

/* params may be NULL or empty. */
QUILPLATFORM_EXPORT int QUILSysNotifySendNotifiction(const char *tag, PQLIBCSzHash params);
/* An event with four text arguments (NULL reads as ""). */
QUILPLATFORM_EXPORT int QUILLogSet1(int type, int level, unsigned int eventCode, const char *arg1, const char *arg2,
                                    const char *arg3, const char *arg4);

QUILPLATFORM_END_DECLS

#endif
