#ifndef QUILKOVA_SERVICES_TOKEN_REQUESTS_HPP
#define QUILKOVA_SERVICES_TOKEN_REQUESTS_HPP

#include <json/json.h>

#include <string>
#include <utility>
#include <vector>

#include "foundation/appliance_paths.hpp"
#include "foundation/result.hpp"
#include "foundation/waits.hpp"
#include "quilkova/file_lock.hpp"
#include "quilkova/quilkova.h"
#include "transport/http.hpp"

// What the PKCE clients' requests share: locks, the reading of answers, the
// challenge pair and the grant form.
namespace quilkova::internal {

// The time-out of each request of the PKCE clients: 30 seconds.
inline http::Timeout RequestTimeout() {
    return http::Timeout{CurrentWaits().request_timeout.count()};
}

// Takes the lock (waiting up to 30 s), or 22 "Failed to lock file: <path>".
Status TakeLock(FileLock& lock);

// The answer's body fit for a message: no secret of the answer's own, none
// the request sent.
std::string Redacted(const http::Response& response);

// Parses the answer's body; a body that is no JSON is logged ("Failed to
// parse json: %s", redacted) and gives false.
bool ParseAnswer(const http::Response& response, Json::Value& answer);

// "<prefix>, code=<status>, resp=<body>", the body without secrets.
std::string StatusMessage(const std::string& prefix, const http::Response& response);

// A transport failure fails with 5 "<transport>, reqcode=%d, reqmsg=%s"; a
// status other than 200 with 5 "<status>, code=%d, resp=%s".
Status RequireDelivered(const http::Response& response, const std::string& transport, const std::string& status);

// The body as a JSON object holding `required` (when given). Not JSON: 2
// without a message (after the parser's log line); anything else amiss:
// `shape_code` with "<shape>, code=%d, resp=%s".
Result<Json::Value> RequireObject(const http::Response& response, const std::string& shape, KOVA_ERRCODE shape_code,
                                  const char* required = nullptr);

struct ChallengePair {
    std::string challenge;
    std::string verifier;
};
// A fresh pair from the platform, or 6 "Failed to get code challenge & verifier".
Result<ChallengePair> NewChallengePair();

// A grant request's form: "client_id", "redirect_url", "state" (now, in
// seconds), "code_challenge", then `extra`, then one "scopes[]" per
// space-separated piece of `scope`.
http::Payload GrantForm(const std::string& client_id, const std::string& redirect_url, const std::string& challenge,
                        const std::vector<std::pair<std::string, std::string>>& extra, const std::string& scope);

}  // namespace quilkova::internal

#endif
