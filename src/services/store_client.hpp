#ifndef QUILKOVA_SERVICES_STORE_CLIENT_HPP
#define QUILKOVA_SERVICES_STORE_CLIENT_HPP

#include <json/json.h>

#include <cstddef>
#include <string>

#include "foundation/result.hpp"

// The store client: the account store purchases were made with, and the
// bound account's purchases at the payment host.
namespace quilkova::internal {

// The store's account, when it fits `room` bytes with its terminator: 1 for
// no room or too little (an account is never cut), 3 when none is kept.
Result<std::string> ReadStoreAccount(size_t room);

// The bound account's purchases from the payment host at `host`: 3 (no
// account), 8 (serial), 4 (not sent), 5 (status), 2 (no JSON object or no
// list) or the code the answer maps to.
Status PurchaseListFrom(const std::string& host, Json::Value& purchases);
// The same from the payment host of the hosts' configuration (7 when it cannot be had).
Status PurchaseList(Json::Value& purchases);

}  // namespace quilkova::internal

#endif
