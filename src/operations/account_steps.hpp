#ifndef QUILKOVA_INTERNAL_ACCOUNT_STEPS_HPP
#define QUILKOVA_INTERNAL_ACCOUNT_STEPS_HPP

#include <json/json.h>

#include <memory>
#include <string>
#include <vector>

#include "foundation/json_utils.hpp"
#include "foundation/log.hpp"
#include "foundation/platform_handles.hpp"
#include "foundation/redact.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/qlibc_string.h"

// The steps the flat account operations share. Each logs its listed message
// as coming from the caller's source line (pass KOVA_HERE), puts its listed
// code in the error slot and returns false when it fails.
namespace quilkova::internal {

using FormHash = SzHash;

// A response of the sender, freed on every path, with the secrets of the
// form that asked for it.
struct Response {
    KOVA_HTTPS_RESPONSE raw = {};
    std::vector<std::string> sent_secrets;
    Response() = default;
    ~Response() { QUILKOVAHttpsResponseFree(&raw); }
    Response(const Response&) = delete;
    Response& operator=(const Response&) = delete;
    std::string Body() const { return raw.data != nullptr ? raw.data : ""; }
    // The body fit for a log line: no secret of its own, none the form sent.
    std::string Redacted() const { return internal::Redacted(Body(), sent_secrets); }
};

constexpr int kSerialSize = 36;
constexpr int kMacSize = 24;
constexpr int kApiKeySize = 1024;

bool ResolveAccountHost(std::string& host, Where where);                // 23
bool ReadSerial(char (&serial)[kSerialSize], Where where);               // 8
bool ReadOriginalSerial(char (&serial)[kSerialSize], Where where);       // 8
bool ReadMac(char (&mac)[kMacSize], Where where);                        // 20
bool ReadApiKey(char (&key)[kApiKeySize], Where where);                  // the cloud-service code
FormHash NewForm(Where where);
// The appliance's zone (as ReadTimezone) read into `zone`, then a new form; null when either fails.
FormHash NewZonedForm(std::string& zone, Where where);                                           // 6
bool SetField(QLIBCSzHash* form, const char* key, const std::string& value);
// Sends the form and parses the answer: 4 when nothing came back, 2 when it is
// no JSON. `failure` starts the send failure's message ("Failed" or "failed").
bool SendForm(const std::string& host, const char* path, QLIBCSzHash* form, bool short_timeout, Response& response,
              Json::Value& answer, Where where, const char* failure = "Failed");
// The appliance's zone by its zoneinfo name ("nameInTZDB"). A zone that
// cannot be read at all fails with the slot untouched; the rest give 6.
bool ReadTimezone(std::string& zone_in_tzdb, Where where);

// The "code" of an answer as text; "" when the answer is no object or has none.
std::string CodeOf(const Json::Value& answer);

// "true" or "false", as booleans travel to the service.
inline const char* FlagText(bool flag) {
    return flag ? "true" : "false";
}

// The service does not know the device's API key: a new one is registered
// (logged as such). False, logged, when registering fails.
bool RegisterNewApiKey(char (&key)[kApiKeySize], Where where);

// The bound account's record; false with code 3 when none is bound.
bool ReadBoundAccount(KOVA_INFO& info);

// The bound account's store purchases from the payment host at `host`: 0, or
// -1 with 3 (no account), 8 (serial), 4 (not sent), 5 (status), 2 (no JSON
// object or no list) or the code the answer maps to.
int PurchaseListFrom(const std::string& host, Json::Value& purchases);

// A notification with the account's e-mail as "%KOVA_ACCOUNT%"; failures are
// logged, as written at `where`, and never fail the caller.
void NotifyAccount(const char* tag, const std::string& email, Where where);

}  // namespace quilkova::internal

#endif
