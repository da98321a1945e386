#ifndef QUILKOVA_SERVICES_ACCOUNT_STEPS_HPP
#define QUILKOVA_SERVICES_ACCOUNT_STEPS_HPP

#include <json/json.h>

#include <string>

#include "account/account_record.hpp"
#include "foundation/log.hpp"
#include "foundation/platform_handles.hpp"
#include "foundation/result.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/qlibc_string.h"
#include "services/account_forms.hpp"
#include "services/locale.hpp"

// The steps the account operations share besides their forms and locale.
// Each logs its listed message as coming from the operation's source line
// (pass KOVA_HERE) and returns its listed code when it fails.
namespace quilkova::internal {

// The service does not know the device's API key: a new one is registered
// (logged as such). Its failure is logged too, with the cloud-service code.
Result<std::string> RegisterNewApiKey(Where where);

// The bound account's record; 3 when none is bound or it cannot be read.
Result<AccountRecord> ReadBoundAccount();

// A notification with the account's e-mail as "%KOVA_ACCOUNT%"; failures are
// logged, as written at `where`, and never fail the caller.
void NotifyAccount(const char* tag, const std::string& email, Where where);

}  // namespace quilkova::internal

#endif
