#include "transport/curl_transfer.hpp"

#include "foundation/redact.hpp"

namespace quilkova::internal {

CurlTransfer::CurlTransfer() : handle_(curl_easy_init()) {}

CURLcode CurlTransfer::SetUrl(const std::string& url) {
    const CURLcode code = curl_easy_setopt(handle(), CURLOPT_URL, url.c_str());
    // Redirects are followed, but only a few and never away from the host the request was meant for.
    redirects_.emplace(url);
    return code == CURLE_OK ? redirects_->Apply(handle()) : code;
}

CURLcode CurlTransfer::VerifyPeer() {
    const CURLcode code = curl_easy_setopt(handle(), CURLOPT_SSL_VERIFYPEER, 1L);
    return code == CURLE_OK ? curl_easy_setopt(handle(), CURLOPT_SSL_VERIFYHOST, 2L) : code;
}

CURLcode CurlTransfer::CaptureAnswer() {
    const CURLcode code = curl_easy_setopt(handle(), CURLOPT_WRITEFUNCTION, &CurlTransfer::Append);
    return code == CURLE_OK ? curl_easy_setopt(handle(), CURLOPT_WRITEDATA, this) : code;
}

CURLcode CurlTransfer::Perform() {
    answer_.clear();
    return curl_easy_perform(handle());
}

long CurlTransfer::Status() const {
    long status = 0;  // stays 0 when no answer was read
    curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
    return status;
}

std::string CurlTransfer::Header(const char* name) const {
    curl_header* header = nullptr;
    if (curl_easy_header(handle(), name, 0, CURLH_HEADER, -1, &header) != CURLHE_OK) {
        return "";
    }
    return header->value;
}

void CurlTransfer::NoteSent(const std::string& key, const std::string& value) {
    AddSentSecret(sent_secrets_, key, value);
}

std::string CurlTransfer::Redacted(const std::string& text) const {
    return internal::Redacted(text, sent_secrets_);
}

// Stops the transfer (by taking nothing) when the answer outgrows the limit
// or memory runs out: nothing is thrown through libcurl.
size_t CurlTransfer::Append(char* data, size_t size, size_t count, void* self) {
    std::string& answer = static_cast<CurlTransfer*>(self)->answer_;
    if (!FitsAnswer(answer.size(), size * count)) {
        return 0;
    }
    try {
        answer.append(data, size * count);
    } catch (...) {
        return 0;
    }
    return size * count;
}

}  // namespace quilkova::internal
