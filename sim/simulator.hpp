#ifndef QUILKOVA_SIM_SIMULATOR_HPP
#define QUILKOVA_SIM_SIMULATOR_HPP

#include <json/json.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "util/base64url.hpp"

namespace quilkova::sim {

using internal::Base64Url;
using internal::S256;

// What the simulator answers instead of the real handler, once.
struct CannedAnswer {
    int status = 200;
    std::string body;
    int delay_ms = 0;
    std::vector<std::pair<std::string, std::string>> headers;  // e.g. {"Location", "/elsewhere"}
};

// One request as received, fields in the order they were sent.
struct ReceivedRequest {
    std::string method;
    std::string path;
    std::string query;  // raw query string
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
    std::vector<std::pair<std::string, std::string>> fields;  // query and form body, decoded
    std::chrono::steady_clock::time_point received_at;

    // The first value of a field or header, or "".
    std::string Field(const std::string& name) const;
    std::string Header(const std::string& name) const;
    bool HasHeader(const std::string& name) const;
    // Every value of a repeated field ("scopes[]"), space-joined.
    std::string Joined(const std::string& name) const;
    // The fields' names in the order they were sent, space-joined.
    std::string FieldNames() const;
};

class State;

// The cloud service on 127.0.0.1, plain HTTP, all three hosts on one port:
// - the account host's form endpoints ("device/api/password_login",
//   "good/user/launch", "device/api/user/query", "device/api/user/register",
//   "device/api/user/update", "device/api/report", "device/api/logout");
// - its device and OAuth endpoints (authkey exchange, grant by auth key,
//   package configuration and grant, monitoring-service grant);
// - the identity host's token endpoint "/oauth2/token": one-time codes bound
//   to an S256 challenge, rotating and revocable refresh tokens;
// - the payment host's "api/v1/device/purchase/list";
// - a control surface under "/_sim/" (see quilkova-sim --help).
class Simulator {
public:
    // seed: {"accounts": [{"email", "password", "id", "auth_key",
    // "access_token", "full_name", ..., "purchases": [...]}],
    // "packages": {"<name>": {raw PKCE configuration}}}
    explicit Simulator(const Json::Value& seed = Json::Value());
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // Serves on `port` (0: any free port) until Stop; the port, or -1.
    int Start(int port = 0);
    void Stop();
    std::string BaseUrl() const;

    void Queue(const std::string& path, const CannedAnswer& answer);
    std::vector<ReceivedRequest> Requests() const;
    std::vector<ReceivedRequest> RequestsTo(const std::string& path) const;
    // Forgets requests and canned answers and restores the seeded accounts;
    // codes and tokens issued stay as they are.
    void Reset();

    // A one-time authorization code for the account (the first one when
    // `email` is empty), as a browser login would obtain it.
    std::string IssueAuthorizationCode(const std::string& client_id, const std::string& code_challenge,
                                       const std::string& redirect_uri, const std::string& email = "");
    // expires_in of the tokens issued from now on.
    void SetTokenLifetime(int seconds);
    // Every refresh token issued so far stops working.
    void RevokeRefreshTokens();
    // The account's auth key stops working (a new one is issued at its next login).
    void RevokeAuthKey(const std::string& email);
    // The id of the account a valid access token was issued to; "" when none.
    std::string OwnerOfAccessToken(const std::string& token) const;
    // The account as the service holds it now; null when there is none.
    Json::Value Account(const std::string& email) const;

private:
    struct Server;
    std::shared_ptr<State> state_;
    std::unique_ptr<Server> server_;
};

}  // namespace quilkova::sim

#endif
