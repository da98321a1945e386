#include "services/token_requests.hpp"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <cstring>
#include <ctime>

#include "foundation/json_utils.hpp"
#include "foundation/log.hpp"
#include "foundation/redact.hpp"
#include "foundation/string_utils.hpp"
#include "foundation/waits.hpp"
#include "device/identity.hpp"
#include "quilplatform/pkce.h"

namespace quilkova::internal {

namespace {
constexpr size_t kPkceTextSize = 44;
}  // namespace

Status TakeLock(FileLock& lock) {
    if (!lock.Lock(CurrentWaits().lock_seconds)) {
        return Error{KOVA_ERR_TOKEN, format("Failed to lock file: %s", lock.GetPath().c_str())};
    }
    return Done{};
}

std::string Redacted(const http::Response& response) {
    return Redacted(response.text, response.sent_secrets);
}

bool ParseAnswer(const http::Response& response, Json::Value& answer) {
    if (TryParseJson(response.text, answer)) {
        return true;
    }
    KOVA_LOG(LOG_ERR, "Failed to parse json: %s", Redacted(response).c_str());
    return false;
}

std::string StatusMessage(const std::string& prefix, const http::Response& response) {
    return format((prefix + ", code=%d, resp=%s").c_str(), static_cast<int>(response.status_code),
                  Redacted(response).c_str());
}

Status RequireDelivered(const http::Response& response, const std::string& transport, const std::string& status) {
    if (response.error.code != http::ErrorCode::OK) {
        return Error{KOVA_ERR_RESPONSE, format((transport + ", reqcode=%d, reqmsg=%s").c_str(), response.error.code,
                                               response.error.message.c_str())};
    }
    if (response.status_code != 200) {
        return Error{KOVA_ERR_RESPONSE, StatusMessage(status, response)};
    }
    return Done{};
}

Result<Json::Value> RequireObject(const http::Response& response, const std::string& shape, KOVA_ERRCODE shape_code,
                                  const char* required) {
    Json::Value answer;
    if (!ParseAnswer(response, answer)) {
        return Error{KOVA_ERR_BAD_JSON};
    }
    if (!answer.isObject() || (required != nullptr && !answer.isMember(required))) {
        return Error{shape_code, StatusMessage(shape, response)};
    }
    return answer;
}

Result<ChallengePair> NewChallengePair() {
    char challenge[kPkceTextSize] = {};
    char verifier[kPkceTextSize] = {};
    if (quil_challenge_verifier_no_save(challenge, sizeof(challenge), verifier, sizeof(verifier)) < 0) {
        return Error{KOVA_ERR_SYSTEM, "Failed to get code challenge & verifier"};
    }
    // Bounded reads: the platform is trusted to terminate, not relied on.
    return ChallengePair{std::string(challenge, strnlen(challenge, sizeof(challenge))),
                         std::string(verifier, strnlen(verifier, sizeof(verifier)))};
}

http::Payload GrantForm(const std::string& client_id, const std::string& redirect_url, const std::string& challenge,
                        const std::vector<std::pair<std::string, std::string>>& extra, const std::string& scope) {
    http::Payload form{{"client_id", client_id},
                       {"redirect_url", redirect_url},
                       {"state", format("%ld", static_cast<long>(std::time(nullptr)))},
                       {"code_challenge", challenge}};
    for (const auto& [key, value] : extra) {
        form.Add(key, value);
    }
    // Split at every space: an empty scope is one empty piece.
    std::vector<std::string> scopes;
    boost::algorithm::split(scopes, scope, boost::algorithm::is_any_of(" "));
    for (const std::string& each : scopes) {
        form.Add("scopes[]", each);
    }
    return form;
}

}  // namespace quilkova::internal
