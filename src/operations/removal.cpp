// Unbinding the account locally: the record goes, the plug-ins are told first.
#include <cerrno>

#include "account/user_impl.hpp"
#include "device/plugin_context.hpp"
#include "foundation/log.hpp"
#include "operations/account_operations.hpp"

namespace quilkova::internal {

// The plug-ins' failures and privileges that cannot be raised fail the removal
// without a code of its own (the slot stays 0), as it always did.
Status RemoveAccount() {
    const PluginContext plugins("kova/logout", nullptr);
    if (!plugins.opened()) {
        KOVA_LOG(LOG_ERR, "QLIBPluginSDKInit failed");
        return Error::WithoutCode();
    }
    if (!plugins.Fire(QLIB_PLUGIN_ACTION_PRE)) {
        KOVA_LOG(LOG_ERR, "QLIBPluginAction failed, action=%u", static_cast<unsigned int>(QLIB_PLUGIN_ACTION_PRE));
        return Error::WithoutCode();
    }
    // Privileges that cannot be raised are logged there. Any other failure of
    // the deletion is no failure of the removal.
    if (UserImpl::RemoveRecord() == EPERM) {
        return Error::WithoutCode();
    }
    return Done{};
}

}  // namespace quilkova::internal
