#include "services/account_steps.hpp"


#include "account/account_record.hpp"
#include "device/identity.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/json_utils.hpp"
#include "quilplatform/notify.h"
#include "quilplatform/qlibc_error.h"

namespace quilkova::internal {

Result<std::string> RegisterNewApiKey(Where where) {
    KOVA_LOG_AT(where, "ApiKey not found. Register new one.");
    Result<std::string> key = RegisterApiKey();
    if (!key) {
        KOVA_LOG_AT(where, "QUILCloudServiceRegisterApiKey failed");
    }
    return key;
}

Result<AccountRecord> ReadBoundAccount() {
    Result<AccountRecord> record = ReadAccountRecord();
    if (!record) {
        return Error{KOVA_ERR_NO_ACCOUNT};
    }
    return record;
}

void NotifyAccount(const char* tag, const std::string& email, Where where) {
    const FormHash params(QLIBCSzHashAlloc(kHashCapacity));
    if (!params) {
        KOVA_LOG_AT(where, "Failed to alloc notification hash, err=[0x%04X %s:%d]", QLIBCErrGet(),
                    QLIBCErrorGetFile(), QLIBCErrorGetLine());
        return;
    }
    QLIBCSzHashSetValue(params.get(), "%KOVA_ACCOUNT%", email.c_str());
    if (QUILSysNotifySendNotifiction(tag, params.get()) < 0) {
        KOVA_LOG_AT(where, "Send notification failed");
    }
}

}  // namespace quilkova::internal
