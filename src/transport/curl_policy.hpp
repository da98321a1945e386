#ifndef QUILKOVA_TRANSPORT_CURL_POLICY_HPP
#define QUILKOVA_TRANSPORT_CURL_POLICY_HPP

#include <curl/curl.h>

#include <string>

// What both HTTP layers allow an answer to do: be at most 1 MiB, and
// redirect at most 3 times, to the same host only, over https (plain http
// only when the original request was plain http to the loopback interface).
namespace quilkova::internal {

constexpr size_t kAnswerLimit = 1024 * 1024;

// Whether `received` more bytes still fit an answer of `size` bytes.
inline bool FitsAnswer(size_t size, size_t received) {
    return received <= kAnswerLimit && size <= kAnswerLimit - received;
}

class RedirectPolicy {
public:
    explicit RedirectPolicy(const std::string& url);
    RedirectPolicy(const RedirectPolicy&) = delete;
    RedirectPolicy& operator=(const RedirectPolicy&) = delete;

    // Turns redirect following on for `curl` with these limits; `curl` must
    // not outlive this object. The first failing option's code, or CURLE_OK.
    CURLcode Apply(CURL* curl);

private:
    static int BeforeRequest(void* self, char* primary_ip, char* local_ip, int primary_port, int local_port);

    CURL* curl_ = nullptr;
    std::string url_;
    std::string host_;
    std::string port_;
    bool plain_loopback_ = false;
};

}  // namespace quilkova::internal

#endif
