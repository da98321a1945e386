#ifndef QUILKOVA_SERVICES_ACCOUNT_STEPS_HPP
#define QUILKOVA_SERVICES_ACCOUNT_STEPS_HPP

#include <json/json.h>

#include <string>

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

// What the operations need of the bound account, each text as the record
// holds it for the flat face (cut to its field's width).
struct BoundAccount {
    std::string user_id;
    std::string auth_key;
    std::string email;
    long long last_query_time = 0;
};
// The bound account's record; 3 when none is bound.
Result<BoundAccount> ReadBoundAccount();

// A notification with the account's e-mail as "%KOVA_ACCOUNT%"; failures are
// logged, as written at `where`, and never fail the caller.
void NotifyAccount(const char* tag, const std::string& email, Where where);

}  // namespace quilkova::internal

#endif
