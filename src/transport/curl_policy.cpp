#include "transport/curl_policy.hpp"

#include <strings.h>

#include <memory>

namespace quilkova::internal {

namespace {
constexpr long kMaxRedirects = 3;

struct UrlDeleter {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
struct PartDeleter {
    void operator()(char* part) const { curl_free(part); }
};

// Scheme, host and port of a URL (the port as written or the scheme's default).
bool Origin(const char* text, std::string& scheme, std::string& host, std::string& port) {
    const std::unique_ptr<CURLU, UrlDeleter> url(curl_url());
    if (!url || curl_url_set(url.get(), CURLUPART_URL, text, 0) != CURLUE_OK) {
        return false;
    }
    const auto part = [&url](CURLUPart which, unsigned int flags, std::string& out) {
        char* raw = nullptr;
        if (curl_url_get(url.get(), which, &raw, flags) != CURLUE_OK) {
            return false;
        }
        const std::unique_ptr<char, PartDeleter> owned(raw);
        out = raw;
        return true;
    };
    return part(CURLUPART_SCHEME, 0, scheme) && part(CURLUPART_HOST, 0, host) &&
           part(CURLUPART_PORT, CURLU_DEFAULT_PORT, port);
}

bool IsLoopback(const std::string& host) {
    return host == "127.0.0.1" || host == "[::1]" || strcasecmp(host.c_str(), "localhost") == 0;
}
}  // namespace

RedirectPolicy::RedirectPolicy(const std::string& url) : url_(url) {
    std::string scheme;
    if (Origin(url.c_str(), scheme, host_, port_)) {
        plain_loopback_ = strcasecmp(scheme.c_str(), "http") == 0 && IsLoopback(host_);
    }
}

CURLcode RedirectPolicy::Apply(CURL* curl) {
    curl_ = curl;
    CURLcode code = curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    if (code == CURLE_OK) {
        code = curl_easy_setopt(curl, CURLOPT_MAXREDIRS, kMaxRedirects);
    }
    if (code == CURLE_OK) {
        code = curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, plain_loopback_ ? "http,https" : "https");
    }
    if (code == CURLE_OK) {
        code = curl_easy_setopt(curl, CURLOPT_PREREQFUNCTION, &RedirectPolicy::BeforeRequest);
    }
    if (code == CURLE_OK) {
        code = curl_easy_setopt(curl, CURLOPT_PREREQDATA, this);
    }
    return code;
}

// Called before every request of the transfer, redirected ones included,
// before anything is sent: a request that left the original host is stopped.
int RedirectPolicy::BeforeRequest(void* self, char*, char*, int, int) {
    try {
        const auto* policy = static_cast<const RedirectPolicy*>(self);
        char* effective = nullptr;
        std::string scheme;
        std::string host;
        std::string port;
        if (curl_easy_getinfo(policy->curl_, CURLINFO_EFFECTIVE_URL, &effective) != CURLE_OK ||
            effective == nullptr) {
            return CURL_PREREQFUNC_ABORT;
        }
        if (policy->url_ == effective) {
            return CURL_PREREQFUNC_OK;  // not redirected (yet)
        }
        if (!Origin(effective, scheme, host, port)) {
            return CURL_PREREQFUNC_ABORT;
        }
        const bool same = strcasecmp(host.c_str(), policy->host_.c_str()) == 0 && port == policy->port_;
        return same ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
    } catch (...) {  // nothing may be thrown through libcurl
        return CURL_PREREQFUNC_ABORT;
    }
}

}  // namespace quilkova::internal
