#include "simulator.hpp"

#include <httplib.h>

#include <chrono>
#include <deque>
#include <mutex>
#include <thread>

#include <openssl/evp.h>

namespace quilkova::sim {

std::string ReceivedRequest::Field(const std::string& name) const {
    for (const auto& [key, value] : fields) {
        if (key == name) {
            return value;
        }
    }
    return "";
}

std::string Base64Url(const unsigned char* bytes, size_t length) {
    static const char* const kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string text;
    unsigned int bits = 0;
    int count = 0;
    for (size_t i = 0; i < length; ++i) {
        bits = (bits << 8) | bytes[i];
        count += 8;
        while (count >= 6) {
            count -= 6;
            text += kAlphabet[(bits >> count) & 0x3F];
        }
    }
    if (count > 0) {
        text += kAlphabet[(bits << (6 - count)) & 0x3F];
    }
    return text;
}

std::string S256(const std::string& verifier) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(verifier.data(), verifier.size(), digest, &length, EVP_sha256(), nullptr);
    return Base64Url(digest, length);
}

namespace {

std::vector<std::pair<std::string, std::string>> DecodeFields(const std::string& text) {
    std::vector<std::pair<std::string, std::string>> fields;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('&', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        const std::string pair = text.substr(start, end - start);
        const size_t equals = pair.find('=');
        fields.emplace_back(httplib::detail::decode_url(pair.substr(0, equals), true),
                            equals == std::string::npos ? ""
                                                        : httplib::detail::decode_url(pair.substr(equals + 1), true));
        start = end + 1;
    }
    return fields;
}

// The request as the log keeps it: query and form body fields, in order.
ReceivedRequest Decode(const httplib::Request& request) {
    ReceivedRequest received{request.method, request.path, "", request.body, {}, {}};
    const size_t question = request.target.find('?');
    if (question != std::string::npos) {
        received.query = request.target.substr(question + 1);
    }
    for (const auto& [name, value] : request.headers) {
        received.headers[name] = value;
    }
    received.fields = DecodeFields(received.query);
    if (request.get_header_value("Content-Type").rfind("application/x-www-form-urlencoded", 0) == 0) {
        const auto body_fields = DecodeFields(request.body);
        received.fields.insert(received.fields.end(), body_fields.begin(), body_fields.end());
    }
    return received;
}

Json::Value Parsed(const std::string& text) {
    Json::Value value;
    std::string errors;
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
        return Json::Value();
    }
    return value;
}

Json::Value Answer(const char* code) {
    Json::Value answer;
    answer["code"] = code;
    return answer;
}

std::string Text(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

}  // namespace

// Accounts, canned answers and the request log, shared by the server's threads.
class Simulator::State {
public:
    // What an authorization code was issued for.
    struct Grant {
        std::string client_id;
        std::string challenge;
        std::string redirect_uri;
    };

    explicit State(const Json::Value& seed) : seed_(seed) { Reset(); }

    void Reset() {
        const std::lock_guard<std::mutex> lock(mutex_);
        accounts_ = seed_.isObject() && seed_["accounts"].isArray() ? seed_["accounts"] : Json::Value(Json::arrayValue);
        canned_.clear();
        requests_.clear();
    }

    void Record(const ReceivedRequest& request) {
        const std::lock_guard<std::mutex> lock(mutex_);
        requests_.push_back(request);
    }

    std::vector<ReceivedRequest> Requests() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return requests_;
    }

    void Queue(const std::string& path, const CannedAnswer& answer) {
        const std::lock_guard<std::mutex> lock(mutex_);
        canned_[path].push_back(answer);
    }

    bool TakeCanned(const std::string& path, CannedAnswer& answer) {
        const std::lock_guard<std::mutex> lock(mutex_);
        auto found = canned_.find(path);
        if (found == canned_.end() || found->second.empty()) {
            return false;
        }
        answer = found->second.front();
        found->second.pop_front();
        return true;
    }

    // The first account whose `member` equals `value`; null when none.
    Json::Value Find(const char* member, const std::string& value) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const Json::Value& account : accounts_) {
            if (!value.empty() && account[member].asString() == value) {
                return account;
            }
        }
        return Json::Value();
    }

    void Add(const Json::Value& account) {
        const std::lock_guard<std::mutex> lock(mutex_);
        accounts_.append(account);
    }

    std::string IssueCode(const std::string& client_id, const std::string& challenge, const std::string& redirect_uri) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const std::string code = "code-" + std::to_string(++serial_);
        codes_[code] = {client_id, challenge, redirect_uri};
        return code;
    }

    // The grant of a code, which is spent whatever the outcome; false when unknown or spent.
    bool TakeCode(const std::string& code, Grant& grant) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = codes_.find(code);
        if (found == codes_.end()) {
            return false;
        }
        grant = found->second;
        codes_.erase(found);
        return true;
    }

    // Spends a refresh token (it rotates); false when unknown, spent or revoked.
    bool TakeRefreshToken(const std::string& token, const std::string& client_id) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = refresh_tokens_.find(token);
        if (found == refresh_tokens_.end() || found->second != client_id) {
            return false;
        }
        refresh_tokens_.erase(found);
        return true;
    }

    Json::Value IssueTokens(const std::string& client_id) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const std::string n = std::to_string(++serial_);
        Json::Value tokens;
        tokens["access_token"] = "at-" + n;
        tokens["id_token"] = "id-" + n;
        tokens["refresh_token"] = "rt-" + n;
        tokens["token_type"] = "Bearer";
        tokens["expires_in"] = token_lifetime_;
        refresh_tokens_[tokens["refresh_token"].asString()] = client_id;
        return tokens;
    }

    void SetTokenLifetime(int seconds) {
        const std::lock_guard<std::mutex> lock(mutex_);
        token_lifetime_ = seconds;
    }

    void RevokeRefreshTokens() {
        const std::lock_guard<std::mutex> lock(mutex_);
        refresh_tokens_.clear();
    }

    void Update(const std::string& id, const std::function<void(Json::Value&)>& change) {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (Json::Value& account : accounts_) {
            if (account["id"].asString() == id) {
                change(account);
            }
        }
    }

private:
    mutable std::mutex mutex_;
    const Json::Value seed_;
    std::map<std::string, Grant> codes_;
    std::map<std::string, std::string> refresh_tokens_;  // token -> client id
    int token_lifetime_ = 3600;
    unsigned long serial_ = 0;
    Json::Value accounts_;
    std::map<std::string, std::deque<CannedAnswer>> canned_;
    std::vector<ReceivedRequest> requests_;
};

struct Simulator::Server {
    httplib::Server http;
    std::thread thread;
    int port = -1;
};

namespace {


// What the service knows of an account after a login.
Json::Value LoginAnswer(const Json::Value& account) {
    Json::Value answer = Answer("good");
    answer["id"] = account["id"];
    answer["auth_key"] = account["auth_key"];
    answer["email"] = account["email"];
    return answer;
}

// Everything a query needs, with the service's types.
Json::Value QueryAnswer(const Json::Value& account) {
    Json::Value answer = Answer("good");
    for (const char* text : {"email", "full_name", "country", "timezone", "notify_language", "critical_version_list"}) {
        answer[text] = account.get(text, "").asString();
    }
    for (const char* flag : {"activated", "disabled", "enews", "critical_release", "enews_local_promotion",
                             "realname_validation_pass"}) {
        answer[flag] = account.get(flag, false).asBool();
    }
    if (account.isMember("report_cron_timestring")) {
        answer["report_cron_timestring"] = account["report_cron_timestring"];
    }
    return answer;
}

void Reply(httplib::Response& response, int status, const std::string& body) {
    response.status = status;
    response.set_content(body, "application/json");
}

void AddAccountRoutes(httplib::Server& http, const std::shared_ptr<Simulator::State>& state);
void AddIdentityRoutes(httplib::Server& http, const std::shared_ptr<Simulator::State>& state);

}  // namespace

Simulator::Simulator(const Json::Value& seed) : state_(std::make_shared<State>(seed)) {}

Simulator::~Simulator() {
    Stop();
}

int Simulator::Start(int port) {
    Stop();
    server_ = std::make_unique<Server>();
    httplib::Server& http = server_->http;
    const std::shared_ptr<State> state = state_;

    http.Post("/_sim/queue", [state](const httplib::Request& request, httplib::Response& response) {
        const Json::Value order = Parsed(request.body);
        if (!order.isObject() || !order["path"].isString()) {
            Reply(response, 400, Text(Answer("badparam")));
            return;
        }
        state->Queue(order["path"].asString(), {order.get("status", 200).asInt(), order.get("body", "").asString(),
                                                order.get("delay_ms", 0).asInt()});
        Reply(response, 200, Text(Answer("good")));
    });
    http.Get("/_sim/requests", [state](const httplib::Request&, httplib::Response& response) {
        Json::Value list(Json::arrayValue);
        for (const ReceivedRequest& each : state->Requests()) {
            Json::Value item;
            item["method"] = each.method;
            item["path"] = each.path;
            item["query"] = each.query;
            item["body"] = each.body;
            for (const auto& [name, value] : each.headers) {
                item["headers"][name] = value;
            }
            item["fields"] = Json::arrayValue;
            for (const auto& [name, value] : each.fields) {
                Json::Value pair(Json::arrayValue);
                pair.append(name);
                pair.append(value);
                item["fields"].append(pair);
            }
            list.append(item);
        }
        Reply(response, 200, Text(list));
    });
    http.Post("/_sim/reset", [state](const httplib::Request&, httplib::Response& response) {
        state->Reset();
        Reply(response, 200, Text(Answer("good")));
    });
    http.Post("/_sim/authorize", [state](const httplib::Request& request, httplib::Response& response) {
        const Json::Value order = Parsed(request.body);
        if (!order.isObject()) {
            Reply(response, 400, Text(Answer("badparam")));
            return;
        }
        Json::Value answer = Answer("good");
        answer["authorization_code"] = state->IssueCode(order["client_id"].asString(),
                                                        order["code_challenge"].asString(),
                                                        order["redirect_uri"].asString());
        Reply(response, 200, Text(answer));
    });
    http.Post("/_sim/token_lifetime", [state](const httplib::Request& request, httplib::Response& response) {
        state->SetTokenLifetime(Parsed(request.body).get("seconds", 3600).asInt());
        Reply(response, 200, Text(Answer("good")));
    });
    http.Post("/_sim/revoke", [state](const httplib::Request&, httplib::Response& response) {
        state->RevokeRefreshTokens();
        Reply(response, 200, Text(Answer("good")));
    });
    AddIdentityRoutes(http, state);
    AddAccountRoutes(http, state);

    server_->port = port == 0 ? http.bind_to_any_port("127.0.0.1") : (http.bind_to_port("127.0.0.1", port) ? port : -1);
    if (server_->port < 0) {
        server_.reset();
        return -1;
    }
    server_->thread = std::thread([this] { server_->http.listen_after_bind(); });
    // stop() only reaches a server that is already running: wait for it.
    for (int i = 0; i < 500 && !server_->http.is_running(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return server_->port;
}

void Simulator::Stop() {
    if (!server_) {
        return;
    }
    server_->http.stop();
    if (server_->thread.joinable()) {
        server_->thread.join();
    }
    server_.reset();
}

std::string Simulator::BaseUrl() const {
    return "http://127.0.0.1:" + std::to_string(server_ ? server_->port : 0);
}

void Simulator::Queue(const std::string& path, const CannedAnswer& answer) {
    state_->Queue(path, answer);
}

std::vector<ReceivedRequest> Simulator::Requests() const {
    return state_->Requests();
}

std::vector<ReceivedRequest> Simulator::RequestsTo(const std::string& path) const {
    std::vector<ReceivedRequest> matching;
    for (const ReceivedRequest& each : state_->Requests()) {
        if (each.path == path) {
            matching.push_back(each);
        }
    }
    return matching;
}

void Simulator::Reset() {
    state_->Reset();
}

std::string Simulator::IssueAuthorizationCode(const std::string& client_id, const std::string& code_challenge,
                                              const std::string& redirect_uri) {
    return state_->IssueCode(client_id, code_challenge, redirect_uri);
}

void Simulator::SetTokenLifetime(int seconds) {
    state_->SetTokenLifetime(seconds);
}

void Simulator::RevokeRefreshTokens() {
    state_->RevokeRefreshTokens();
}

namespace {

using Handler = std::function<void(const ReceivedRequest&, httplib::Response&)>;

// Serves `pattern` for GET and POST: every request is logged, and a canned
// answer queued for its path wins over the handler (none: 404).
void Route(httplib::Server& http, const std::shared_ptr<Simulator::State>& state, const std::string& pattern,
           const Handler& handler) {
    const auto serve = [state, handler](const httplib::Request& request, httplib::Response& response) {
        const ReceivedRequest received = Decode(request);
        state->Record(received);
        CannedAnswer canned;
        if (state->TakeCanned(request.path, canned)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(canned.delay_ms));
            Reply(response, canned.status, canned.body);
        } else if (handler) {
            handler(received, response);
        } else {
            Reply(response, 404, Text(Answer("not_found")));
        }
    };
    http.Post(pattern, serve);
    http.Get(pattern, serve);
}

void OAuthError(httplib::Response& response, const char* error, const char* description) {
    Json::Value body;
    body["error"] = error;
    body["error_description"] = description;
    Reply(response, 400, Text(body));
}

void AddIdentityRoutes(httplib::Server& http, const std::shared_ptr<Simulator::State>& state) {
    Route(http, state, "/oauth2/token", [state](const ReceivedRequest& fields, httplib::Response& response) {
        const std::string grant_type = fields.Field("grant_type");
        const std::string client_id = fields.Field("client_id");
        if (grant_type == "authorization_code") {
            Simulator::State::Grant grant;
            if (!state->TakeCode(fields.Field("code"), grant)) {
                OAuthError(response, "invalid_grant", "unknown or already used authorization code");
            } else if (grant.client_id != client_id || grant.redirect_uri != fields.Field("redirect_uri")) {
                OAuthError(response, "invalid_grant", "client or redirect_uri does not match the code");
            } else if (S256(fields.Field("code_verifier")) != grant.challenge) {
                OAuthError(response, "invalid_grant", "code_verifier does not match the code_challenge");
            } else {
                Reply(response, 200, Text(state->IssueTokens(client_id)));
            }
        } else if (grant_type == "refresh_token") {
            if (!state->TakeRefreshToken(fields.Field("refresh_token"), client_id)) {
                OAuthError(response, "invalid_grant", "refresh token is invalid, used or revoked");
            } else {
                Reply(response, 200, Text(state->IssueTokens(client_id)));
            }
        } else {
            OAuthError(response, "unsupported_grant_type", "grant_type must be authorization_code or refresh_token");
        }
    });
}

void AddAccountRoutes(httplib::Server& http, const std::shared_ptr<Simulator::State>& state) {
    Route(http, state, "/device/api/password_login", [state](const ReceivedRequest& fields, httplib::Response& response) {
        const Json::Value account = state->Find("email", fields.Field("email"));
        if (account.isNull()) {
            Reply(response, 200, Text(Answer("account_not_found")));
        } else if (account["password"].asString() != fields.Field("passwd")) {
            Reply(response, 200, Text(Answer("badauth")));
        } else {
            Reply(response, 200, Text(LoginAnswer(account)));
        }
    });
    Route(http, state, "/good/user/launch", [state](const ReceivedRequest& fields, httplib::Response& response) {
        const Json::Value account = state->Find("access_token", fields.Field("access_token"));
        Reply(response, 200, Text(account.isNull() ? Answer("badauth") : LoginAnswer(account)));
    });
    Route(http, state, "/device/api/user/query", [state](const ReceivedRequest& fields, httplib::Response& response) {
        const Json::Value account = state->Find("auth_key", fields.Field("auth_key"));
        Reply(response, 200, Text(account.isNull() ? Answer("badauth") : QueryAnswer(account)));
    });
    Route(http, state, "/device/api/user/register", [state](const ReceivedRequest& fields, httplib::Response& response) {
        if (fields.Field("email").empty() || fields.Field("passwd").empty()) {
            Reply(response, 200, Text(Answer("badparam")));
            return;
        }
        if (!state->Find("email", fields.Field("email")).isNull()) {
            Reply(response, 200, Text(Answer("account_inused")));
            return;
        }
        Json::Value account;
        account["email"] = fields.Field("email");
        account["password"] = fields.Field("passwd");
        account["full_name"] = fields.Field("full_name");
        account["country"] = fields.Field("country");
        account["timezone"] = fields.Field("timezone");
        account["notify_language"] = fields.Field("notify_lang");
        account["id"] = "u-" + std::to_string(std::hash<std::string>()(fields.Field("email")) % 1000000);
        account["auth_key"] = "key-" + account["id"].asString();
        account["activated"] = false;
        for (const char* flag : {"enews", "critical_release", "enews_local_promotion"}) {
            account[flag] = fields.Field(flag) == "true";
        }
        state->Add(account);
        Reply(response, 200, Text(Answer("good")));
    });
    Route(http, state, "/device/api/user/update", [state](const ReceivedRequest& fields, httplib::Response& response) {
        const Json::Value account = state->Find("auth_key", fields.Field("auth_key"));
        if (account.isNull() || account["id"].asString() != fields.Field("id")) {
            Reply(response, 200, Text(Answer("badauth")));
            return;
        }
        state->Update(account["id"].asString(), [&fields](Json::Value& stored) {
            for (const auto& [name, value] : fields.fields) {
                if (name == "full_name" || name == "country" || name == "timezone" ||
                    name == "critical_version_list") {
                    stored[name] = value;
                } else if (name == "notify_lang") {
                    stored["notify_language"] = value;
                } else if (name == "enews" || name == "critical_release" || name == "enews_local_promotion") {
                    stored[name] = value == "true";
                } else if (name == "passwd_new") {
                    stored["password"] = value;
                }
            }
        });
        Reply(response, 200, Text(Answer("good")));
    });
    Route(http, state, "/device/api/report", [state](const ReceivedRequest& fields, httplib::Response& response) {
        const Json::Value account = state->Find("auth_key", fields.Field("auth_key"));
        Reply(response, 200, Text(Answer(account.isNull() ? "badauth" : "good")));
    });
    // Any other path: logged, answered from the queue or with 404.
    Route(http, state, "/.*", nullptr);
}

}  // namespace

}  // namespace quilkova::sim
