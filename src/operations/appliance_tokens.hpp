#ifndef QUILKOVA_OPERATIONS_APPLIANCE_TOKENS_HPP
#define QUILKOVA_OPERATIONS_APPLIANCE_TOKENS_HPP

#include <string>

#include "foundation/result.hpp"

// The appliance's own tokens and local logout, for the operations that need
// them without the class face.
namespace quilkova::internal {

// Removes every client's token file that was not issued for the account
// `user_id`, and every backoff state: a new binding keeps nothing of a
// previous owner's, and starts afresh.
void ForgetOtherAccountsTokens(const std::string& user_id);
// Whether the appliance has a token file of its own.
bool HasApplianceTokenFile();
// The appliance's access token, renewed or rescued as AccountPkceService does.
Result<std::string> ApplianceAccessToken();
// The local logout: the record, the report schedule, every client's token
// file and backoff state go, the plug-ins and the system log are told. Needs no configuration;
// never fails from the caller's view.
void LogoutLocally();

}  // namespace quilkova::internal

#endif
