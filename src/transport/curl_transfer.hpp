#ifndef QUILKOVA_TRANSPORT_CURL_TRANSFER_HPP
#define QUILKOVA_TRANSPORT_CURL_TRANSFER_HPP

#include <curl/curl.h>

#include <optional>
#include <string>
#include <vector>

#include "transport/curl_handles.hpp"
#include "transport/curl_policy.hpp"

// The one libcurl core under both HTTP layers: one transfer's handle, its
// redirect policy, the peer's verification, the answer captured up to the
// limit, and the secrets the request carried, which no message may repeat.
// Each layer adds its own options (headers, body, time-outs) through handle().
namespace quilkova::internal {

class CurlTransfer {
public:
    CurlTransfer();
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    // False when libcurl could not start a transfer.
    explicit operator bool() const { return handle_ != nullptr; }
    CURL* handle() const { return handle_.get(); }
    // The URL, and the redirect policy that keeps to its host: the first
    // failing option's code.
    CURLcode SetUrl(const std::string& url);
    // The peer's certificate and name checked.
    CURLcode VerifyPeer();
    // The answer's body kept in answer(), at most kAnswerLimit bytes: a larger
    // one (or a lack of memory) stops the transfer.
    CURLcode CaptureAnswer();
    // One attempt; what an earlier one received is dropped first.
    CURLcode Perform();

    long Status() const;
    // The value of the answer's header `name`; "" when it has none.
    std::string Header(const char* name) const;
    const std::string& answer() const { return answer_; }

    // A field the request carried: its value is masked wherever an answer or
    // a URL repeats it (see redact.hpp for which fields count as secret).
    void NoteSent(const std::string& key, const std::string& value);
    const std::vector<std::string>& sent_secrets() const { return sent_secrets_; }
    // `text` without the request's secrets, fit for a log line.
    std::string Redacted(const std::string& text) const;

private:
    static size_t Append(char* data, size_t size, size_t count, void* self);

    CurlEasy handle_;
    std::optional<RedirectPolicy> redirects_;
    std::string answer_;
    std::vector<std::string> sent_secrets_;
};

}  // namespace quilkova::internal

#endif
