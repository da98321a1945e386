// Unbinding the account locally: the record goes, the plug-ins are told first.
#include <cerrno>

#include "foundation/log.hpp"
#include "device/plugin_context.hpp"
#include "foundation/flat_boundary.hpp"
#include "account/user_impl.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/quilkova.h"

extern "C" int QUILKOVAAccountRemove(void) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    return quilkova::internal::GuardFlat([] {
        const quilkova::internal::PluginContext plugins("kova/logout", nullptr);
        if (!plugins.opened()) {
            KOVA_LOG(LOG_ERR, "%s:%d QLIBPluginSDKInit failed");
            return -1;
        }
        if (!plugins.Fire(QLIB_PLUGIN_ACTION_PRE)) {
            KOVA_LOG(LOG_ERR, "%s:%d QLIBPluginAction failed, action=%u",
                     static_cast<unsigned int>(QLIB_PLUGIN_ACTION_PRE));
            return -1;
        }
        // Privileges that cannot be raised are logged there; no code of ours.
        // Any other failure of the deletion is no failure of the removal.
        return quilkova::UserImpl::RemoveRecord() == EPERM ? -1 : 0;
    });
}
