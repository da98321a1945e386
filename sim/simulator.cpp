#include "sim/simulator.hpp"

#include <strings.h>

#include <chrono>
#include <thread>

#include "sim/routes.hpp"

namespace quilkova::sim {

namespace {
std::string FirstOf(const std::vector<std::pair<std::string, std::string>>& pairs, const std::string& name,
                    bool ignore_case) {
    for (const auto& [key, value] : pairs) {
        if (ignore_case ? strcasecmp(key.c_str(), name.c_str()) == 0 : key == name) {
            return value;
        }
    }
    return "";
}

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
    ReceivedRequest received{request.method, request.path, "", request.body, {}, {}, std::chrono::steady_clock::now()};
    const size_t question = request.target.find('?');
    if (question != std::string::npos) {
        received.query = request.target.substr(question + 1);
    }
    for (const auto& [name, value] : request.headers) {
        received.headers.emplace_back(name, value);
    }
    received.fields = DecodeFields(received.query);
    if (request.get_header_value("Content-Type").rfind("application/x-www-form-urlencoded", 0) == 0) {
        const auto body_fields = DecodeFields(request.body);
        received.fields.insert(received.fields.end(), body_fields.begin(), body_fields.end());
    }
    return received;
}
}  // namespace

std::string ReceivedRequest::Field(const std::string& name) const {
    return FirstOf(fields, name, false);
}

std::string ReceivedRequest::Header(const std::string& name) const {
    return FirstOf(headers, name, true);
}

bool ReceivedRequest::HasHeader(const std::string& name) const {
    for (const auto& [key, value] : headers) {
        if (strcasecmp(key.c_str(), name.c_str()) == 0) {
            return true;
        }
    }
    return false;
}

void Route(httplib::Server& http, const std::shared_ptr<State>& state, const std::string& pattern,
           const Handler& handler) {
    const auto serve = [state, handler](const httplib::Request& request, httplib::Response& response) {
        const ReceivedRequest received = Decode(request);
        state->Record(received);
        CannedAnswer canned;
        if (state->TakeCanned(request.path, canned)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(canned.delay_ms));
            response.status = canned.status;
            for (const auto& [name, value] : canned.headers) {
                response.set_header(name, value);
            }
            response.set_content(canned.body, "application/json");
        } else if (handler) {
            handler(received, response);
        } else {
            Reply(response, 404, CodeAnswer("not_found"));
        }
    };
    http.Post(pattern, serve);
    http.Get(pattern, serve);
}

void Reply(httplib::Response& response, int status, const Json::Value& body) {
    response.status = status;
    response.set_content(Text(body), "application/json");
}

Json::Value CodeAnswer(const char* code) {
    Json::Value answer;
    answer["code"] = code;
    return answer;
}

Json::Value Parsed(const std::string& text) {
    Json::Value value;
    std::string errors;
    const Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    return reader->parse(text.data(), text.data() + text.size(), &value, &errors) ? value : Json::Value();
}

std::string Text(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

std::string ReceivedRequest::Joined(const std::string& name) const {
    std::string joined;
    for (const auto& [key, value] : fields) {
        if (key == name) {
            joined += (joined.empty() ? "" : " ") + value;
        }
    }
    return joined;
}

std::string ReceivedRequest::FieldNames() const {
    std::string names;
    for (const auto& field : fields) {
        names += (names.empty() ? "" : " ") + field.first;
    }
    return names;
}

struct Simulator::Server {
    httplib::Server http;
    std::thread thread;
    int port = -1;
};

Simulator::Simulator(const Json::Value& seed) : state_(std::make_shared<State>(seed)) {}

Simulator::~Simulator() {
    Stop();
}

int Simulator::Start(int port) {
    Stop();
    server_ = std::make_unique<Server>();
    httplib::Server& http = server_->http;
    // Headers and body leave in two writes: without this a client that keeps
    // its connection waits for a delayed acknowledgement every time.
    http.set_tcp_nodelay(true);
    AddControlRoutes(http, state_);
    AddOAuthRoutes(http, state_);
    AddAccountRoutes(http, state_);

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
                                              const std::string& redirect_uri, const std::string& email) {
    const Json::Value account = state_->Account(email);
    return state_->IssueCode({client_id, code_challenge, redirect_uri, account["id"].asString()});
}

void Simulator::SetTokenLifetime(int seconds) {
    state_->SetTokenLifetime(seconds);
}

void Simulator::RevokeRefreshTokens() {
    state_->RevokeRefreshTokens();
}

void Simulator::RevokeAuthKey(const std::string& email) {
    state_->RevokeAuthKey(email);
}

std::string Simulator::OwnerOfAccessToken(const std::string& token) const {
    TokenOwner owner;
    return state_->FindAccessToken(token, owner) ? owner.account_id : "";
}

Json::Value Simulator::Account(const std::string& email) const {
    return state_->Account(email);
}

}  // namespace quilkova::sim
