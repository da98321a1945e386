#ifndef QUILKOVA_TRANSPORT_HTTP_HPP
#define QUILKOVA_TRANSPORT_HTTP_HPP

#include <chrono>
#include <initializer_list>
#include <map>
#include <string>
#include <utility>
#include <vector>

// The HTTP session of the classes: one request per call, options given as
// small typed values in any order. Certificates are always checked. The one
// place where the classes meet libcurl.
#include "foundation/result.hpp"

namespace quilkova::http {

struct Url {
    Url(std::string text) : value(std::move(text)) {}  // NOLINT: implicit, as Url{"..."} reads
    std::string value;
};

struct Timeout {
    Timeout(long milliseconds) : value(milliseconds) {}  // NOLINT
    std::chrono::milliseconds value;
};

struct UserAgent {
    UserAgent(std::string text) : value(std::move(text)) {}  // NOLINT
    std::string value;
};

// A set of request headers. A later Header on the same request replaces an
// earlier one as a whole.
using Header = std::map<std::string, std::string>;

// Ordered key/value pairs; a key may repeat (e.g. "scopes[]").
class Pairs {
public:
    Pairs() = default;
    Pairs(std::initializer_list<std::pair<std::string, std::string>> pairs) : pairs_(pairs) {}
    void Add(const std::string& key, const std::string& value) { pairs_.emplace_back(key, value); }
    const std::vector<std::pair<std::string, std::string>>& pairs() const { return pairs_; }

private:
    std::vector<std::pair<std::string, std::string>> pairs_;
};

// The request body, form-encoded.
struct Payload : Pairs {
    using Pairs::Pairs;
};

// The query string.
struct Parameters : Pairs {
    using Pairs::Pairs;
};

// A body sent as it is, with its content type (in place of a Payload).
struct Body {
    std::string text;
    std::string content_type;
};

enum class ErrorCode {
    OK = 0,
    CONNECTION_FAILURE,
    EMPTY_RESPONSE,
    HOST_RESOLUTION_FAILURE,
    INTERNAL_ERROR,
    INVALID_URL_FORMAT,
    NETWORK_RECEIVE_ERROR,
    NETWORK_SEND_FAILURE,
    OPERATION_TIMEDOUT,
    PROXY_RESOLUTION_FAILURE,
    SSL_CONNECT_ERROR,
    SSL_LOCAL_CERTIFICATE_ERROR,
    SSL_REMOTE_CERTIFICATE_ERROR,
    SSL_CACERT_ERROR,
    GENERIC_SSL_ERROR,
    UNSUPPORTED_PROTOCOL,
    REQUEST_CANCELLED,
    TOO_MANY_REDIRECTS,
    UNKNOWN_ERROR = 1000,
};

struct Error {
    ErrorCode code = ErrorCode::OK;
    std::string message;
};

struct Response {
    long status_code = 0;  // 0 when no answer was read
    std::string text;
    Error error;
    std::string retry_after;  // the answer's "Retry-After" header, "" when none
    // The secrets the request carried (credential fields, codes, the bearer
    // token): masked wherever the answer repeats them in a message.
    std::vector<std::string> sent_secrets;
};

// Everything one request is made of.
struct Request {
    std::string url;
    long timeout_ms = 0;
    std::string user_agent;
    Header header;
    Parameters parameters;
    Payload payload;
    bool has_payload = false;
    Body body;
    bool has_body = false;

    void Apply(const Url& url_option) { url = url_option.value; }
    void Apply(const Timeout& timeout) { timeout_ms = static_cast<long>(timeout.value.count()); }
    void Apply(const UserAgent& agent) { user_agent = agent.value; }
    void Apply(const Header& headers) { header = headers; }
    void Apply(const Parameters& query) { parameters = query; }
    void Apply(const Payload& form) {
        payload = form;
        has_payload = true;
    }
    void Apply(const Body& raw) {
        body = raw;
        has_body = true;
    }
};

// The answer, or 2 "Refused header <name>: it holds a line break" before
// anything is sent. A transport failure is an answer too (its `error`).
internal::Result<Response> Perform(const Request& request, bool post);

// "key=value&..." with both sides percent-escaped, in the given order.
std::string Encode(const Pairs& pairs);

template <typename... Options>
internal::Result<Response> Get(const Options&... options) {
    Request request;
    (request.Apply(options), ...);
    return Perform(request, false);
}

template <typename... Options>
internal::Result<Response> Post(const Options&... options) {
    Request request;
    (request.Apply(options), ...);
    return Perform(request, true);
}

}  // namespace quilkova::http

#endif
