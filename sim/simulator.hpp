#ifndef QUILKOVA_SIM_SIMULATOR_HPP
#define QUILKOVA_SIM_SIMULATOR_HPP

#include <json/json.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace quilkova::sim {

// Unpadded base64url of bytes, and the S256 code challenge of a verifier.
std::string Base64Url(const unsigned char* bytes, size_t length);
std::string S256(const std::string& verifier);

// What the simulator answers instead of the real handler, once.
struct CannedAnswer {
    int status = 200;
    std::string body;
    int delay_ms = 0;
};

// One request as received, form fields in the order they were sent.
struct ReceivedRequest {
    std::string method;
    std::string path;
    std::string query;  // raw query string
    std::string body;
    std::map<std::string, std::string> headers;
    std::vector<std::pair<std::string, std::string>> fields;  // query and form body, decoded

    // The first value of a field, or "".
    std::string Field(const std::string& name) const;
};

// The account service on 127.0.0.1, plain HTTP: the flat account endpoints
// over seeded accounts, and a control surface under "/_sim/" (queue a canned
// answer for a path, read the requests received, reset).
class Simulator {
public:
    // seed: {"accounts": [{"email", "password", "id", "auth_key", "access_token",
    // "full_name", "country", ...}]}
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
    // Forgets requests and canned answers, and restores the seeded accounts.
    void Reset();

    // The identity host's token endpoint, "/oauth2/token", trades a code
    // issued here (as a browser login would obtain it) for tokens, once, when
    // the verifier matches the S256 challenge; refresh tokens rotate.
    std::string IssueAuthorizationCode(const std::string& client_id, const std::string& code_challenge,
                                       const std::string& redirect_uri);
    void SetTokenLifetime(int seconds);
    // Every refresh token issued so far stops working.
    void RevokeRefreshTokens();

    class State;  // accounts, canned answers and the request log

private:
    struct Server;
    std::shared_ptr<State> state_;
    std::unique_ptr<Server> server_;
};

}  // namespace quilkova::sim

#endif
