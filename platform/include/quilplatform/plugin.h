#ifndef QUILPLATFORM_PLUGIN_H
#define QUILPLATFORM_PLUGIN_H

/* The plug-in SDK. The plug-ins of an event such as "kova/login" are the
   executables in "/usr/quil/lib/plugins/kova/login.d/"; an action runs each in
   name order with the action number as its argument and the account in
   QUIL_PLUGIN_ACCOUNT, each for at most 30 seconds. */

#include "quilplatform/export.h"

QUILPLATFORM_BEGIN_DECLS

typedef enum _tag_sdk_plugin_action_ {
    QLIB_PLUGIN_ACTION_PRE = 4,  /* before the operation */
    QLIB_PLUGIN_ACTION_POST = 5  /* after it */
} QLIB_PLUGIN_ACTION;

typedef struct QLIBPluginContext *PQLIBPLUGIN;

/* Opens a context for (domain, event, account); account may be NULL. 0 or negative. */
QUILPLATFORM_EXPORT int QLIBPluginSDKInit(const char *domain, const char *event, PQLIBPLUGIN *handle,
                                          const char *account);
/* Runs the event's plug-ins; negative when one could not run, failed or ran too long. */
QUILPLATFORM_EXPORT int QLIBPluginAction(int action, PQLIBPLUGIN handle);
/* Frees the context; NULL is ignored. */
QUILPLATFORM_EXPORT void QLIBPluginExit(PQLIBPLUGIN handle);

QUILPLATFORM_END_DECLS

#endif
