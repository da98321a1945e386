#ifndef QUILKOVA_ACCOUNT_ACCOUNT_RECORD_HPP
#define QUILKOVA_ACCOUNT_ACCOUNT_RECORD_HPP

#include <cstdint>
#include <map>
#include <string>

#include "account/profile.hpp"
#include "foundation/result.hpp"

// The bound account as the flat record carries it (the fields of the table
// that have a place in KOVA_INFO), in the library's own types: the flat face
// copies it to and from KOVA_INFO, the operations read and change it here.
namespace quilkova::internal {

struct AccountRecord {
    std::map<Field, std::string> texts;
    std::map<Field, bool> flags;
    int32_t last_query_time = 0;  // the flat record's field is 32 bits wide

    // The text of `field`; "" when it has none.
    const std::string& Text(Field field) const;
};

// A text as the flat record's field holds it: up to its first NUL, cut to the
// field's width (its last byte ends the text).
std::string AsFlatText(Field field, const std::string& value);

// The record with every text as the flat record holds it: 3 when no account
// is bound (both the auth key and the user id are needed), or the store's
// code (6).
Result<AccountRecord> ReadAccountRecord();
// E-mail, auth key and user id always; the profile only when the last query
// time is above 0, that time last. Stops at the first failure: the store's
// code (6, 19).
Status WriteAccountRecord(const AccountRecord& record);

// The account host, as the operations send to it: the record's override or
// the host of the current mode (an unreadable record counts as no override,
// so the host can always be had).
std::string AccountHost();
// The payment host of the current mode.
std::string PaymentHost();

}  // namespace quilkova::internal

#endif
