#ifndef QUILKOVA_SERVICES_ACCOUNT_FORMS_HPP
#define QUILKOVA_SERVICES_ACCOUNT_FORMS_HPP

#include <json/json.h>

#include <string>
#include <vector>

#include "foundation/log.hpp"
#include "foundation/platform_handles.hpp"
#include "foundation/redact.hpp"
#include "foundation/result.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/qlibc_string.h"
#include "transport/https_sender.hpp"

// The account operations' forms and their one way to the account host. Each
// step logs its listed message as coming from the operation's source line
// (pass KOVA_HERE) and returns its listed code when it fails.
namespace quilkova::internal {

using FormHash = SzHash;

// A response of the sender, freed on every path, with the secrets of the
// form that asked for it.
struct Response {
    KOVA_HTTPS_RESPONSE raw = {};
    std::vector<std::string> sent_secrets;
    Response() = default;
    ~Response() { FreeHttpsResponse(&raw); }
    Response(const Response&) = delete;
    Response& operator=(const Response&) = delete;
    std::string Body() const { return raw.data != nullptr ? raw.data : ""; }
    // The body fit for a log line: no secret of its own, none the form sent.
    std::string Redacted() const { return internal::Redacted(Body(), sent_secrets); }
};

// 6 "Failed to alloc https request, err=[0x%04X %s:%d]"
Result<FormHash> NewForm(Where where);
// A field of the form (a field the platform cannot add is left out, as the sender would leave it).
void SetField(QLIBCSzHash* form, const char* key, const std::string& value);
// Sends the form and parses the answer: 4 when nothing came back, 2 when it is
// no JSON. `failure` starts the send failure's message ("Failed" or "failed").
Status SendForm(const std::string& host, const char* path, QLIBCSzHash* form, bool short_timeout, Response& response,
                Json::Value& answer, Where where, const char* failure = "Failed");
// The "code" of an answer as text; "" when the answer is no object or has none.
std::string CodeOf(const Json::Value& answer);

// "true" or "false", as booleans travel to the service.
inline const char* FlagText(bool flag) {
    return flag ? "true" : "false";
}

}  // namespace quilkova::internal

#endif
