#ifndef QUILKOVA_ACCOUNT_ACCOUNT_RECORD_HPP
#define QUILKOVA_ACCOUNT_ACCOUNT_RECORD_HPP

#include <string>

#include "foundation/log.hpp"
#include "foundation/result.hpp"
#include "quilkova/quilkova.h"

// The account record as one flat KOVA_INFO, and the service hosts as one
// KOVA_SERVER_CONFIG: what the flat face reads and writes.
namespace quilkova::internal {

// 1 no record given, 3 no account bound (both the auth key and the user id
// are needed), or the store's code (6). `password` is never written.
Status ReadAccountRecord(KOVA_INFO* info);
// E-mail, auth key and user id always; the profile only when last_query_time
// is above 0. 1, or the store's code (6, 19).
Status WriteAccountRecord(const KOVA_INFO* info);

// The account and payment hosts; 1 for a null record.
Status ReadServerConfig(KOVA_SERVER_CONFIG* config);
// The account host; 23, logged as written at `where`, when it cannot be had.
Result<std::string> AccountHost(Where where);
// The payment host into `url` (2048 bytes); the hosts' failure (logged).
Status ReadPaymentUrl(char* url);

}  // namespace quilkova::internal

#endif
