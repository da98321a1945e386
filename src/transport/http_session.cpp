// quilkova::http over the libcurl easy interface.
#include <curl/curl.h>

#include <memory>
#include <new>

#include "foundation/redact.hpp"
#include "foundation/string_utils.hpp"
#include "transport/curl_handles.hpp"
#include "transport/curl_transfer.hpp"
#include "transport/http.hpp"

namespace quilkova::http {

namespace {

ErrorCode ErrorCodeOf(CURLcode code) {
    switch (code) {
        case CURLE_OK:
            return ErrorCode::OK;
        case CURLE_UNSUPPORTED_PROTOCOL:
            return ErrorCode::UNSUPPORTED_PROTOCOL;
        case CURLE_URL_MALFORMAT:
            return ErrorCode::INVALID_URL_FORMAT;
        case CURLE_COULDNT_RESOLVE_PROXY:
            return ErrorCode::PROXY_RESOLUTION_FAILURE;
        case CURLE_COULDNT_RESOLVE_HOST:
            return ErrorCode::HOST_RESOLUTION_FAILURE;
        case CURLE_COULDNT_CONNECT:
            return ErrorCode::CONNECTION_FAILURE;
        case CURLE_OPERATION_TIMEDOUT:
            return ErrorCode::OPERATION_TIMEDOUT;
        case CURLE_SSL_CONNECT_ERROR:
            return ErrorCode::SSL_CONNECT_ERROR;
        case CURLE_ABORTED_BY_CALLBACK:
        case CURLE_WRITE_ERROR:
            return ErrorCode::REQUEST_CANCELLED;
        case CURLE_TOO_MANY_REDIRECTS:
            return ErrorCode::TOO_MANY_REDIRECTS;
        case CURLE_GOT_NOTHING:
            return ErrorCode::EMPTY_RESPONSE;
        case CURLE_SEND_ERROR:
            return ErrorCode::NETWORK_SEND_FAILURE;
        case CURLE_RECV_ERROR:
            return ErrorCode::NETWORK_RECEIVE_ERROR;
        case CURLE_SSL_CERTPROBLEM:
            return ErrorCode::SSL_LOCAL_CERTIFICATE_ERROR;
        case CURLE_PEER_FAILED_VERIFICATION:
            return ErrorCode::SSL_REMOTE_CERTIFICATE_ERROR;
        case CURLE_SSL_CACERT_BADFILE:
            return ErrorCode::SSL_CACERT_ERROR;
        case CURLE_SSL_CIPHER:
        case CURLE_USE_SSL_FAILED:
        case CURLE_SSL_ENGINE_NOTFOUND:
        case CURLE_SSL_ENGINE_SETFAILED:
            return ErrorCode::GENERIC_SSL_ERROR;
        default:
            return ErrorCode::UNKNOWN_ERROR;
    }
}

// A header value with a line break or NUL would add a header of its own.
internal::Status RefuseUnsafeHeader(const std::string& name, const std::string& value) {
    if (value.find_first_of(std::string("\r\n\0", 3)) != std::string::npos) {
        return internal::Error{KOVA_ERR_BAD_JSON, format("Refused header %s: it holds a line break", name.c_str())};
    }
    return internal::Done{};
}

// What of the request must never come back in a message.
void NoteSecrets(const Request& request, internal::CurlTransfer& transfer) {
    for (const Pairs* pairs : {static_cast<const Pairs*>(&request.payload), static_cast<const Pairs*>(&request.parameters)}) {
        for (const auto& [key, value] : pairs->pairs()) {
            transfer.NoteSent(key, value);
        }
    }
    const auto authorization = request.header.find("Authorization");
    if (authorization != request.header.end()) {
        const std::string& value = authorization->second;
        transfer.NoteSent("access_token", value.substr(value.find(' ') + 1));
    }
}

// The request's headers as libcurl takes them; 2 for a value that would
// split into a header of its own.
internal::Result<internal::CurlSlist> HeaderList(const Request& request) {
    KOVA_TRY_STATUS(RefuseUnsafeHeader("User-Agent", request.user_agent));
    internal::CurlSlist headers;
    const auto grow = [&headers](const std::string& line) {
        curl_slist* grown = curl_slist_append(headers.get(), line.c_str());
        if (grown == nullptr) {
            throw std::bad_alloc();
        }
        headers.release();
        headers.reset(grown);
    };
    for (const auto& [name, value] : request.header) {
        KOVA_TRY_STATUS(RefuseUnsafeHeader(name, value));
        // libcurl takes "Name: " with nothing after it as "remove this header";
        // "Name;" is how it sends one that is empty.
        grow(value.empty() ? name + ";" : name + ": " + value);
    }
    if (request.has_body) {
        grow("Content-Type: " + request.body.content_type);
    }
    return headers;
}

std::string UrlOf(const Request& request) {
    std::string url = request.url;
    if (!request.parameters.pairs().empty()) {
        url += (url.find('?') == std::string::npos ? "?" : "&") + Encode(request.parameters);
    }
    return url;
}

}  // namespace

std::string Encode(const Pairs& pairs) {
    std::string text;
    for (const auto& [key, value] : pairs.pairs()) {
        // The handle argument has been ignored since libcurl 7.82.
        const internal::CurlText escaped_key(curl_easy_escape(nullptr, key.c_str(), static_cast<int>(key.size())));
        const internal::CurlText escaped_value(
            curl_easy_escape(nullptr, value.c_str(), static_cast<int>(value.size())));
        if (!escaped_key || !escaped_value) {
            throw std::bad_alloc();
        }
        text += (text.empty() ? "" : "&") + std::string(escaped_key.get()) + "=" + escaped_value.get();
    }
    return text;
}

internal::Result<Response> Perform(const Request& request, bool post) {
    Response response;
    const std::string url = UrlOf(request);
    internal::CurlTransfer transfer;
    NoteSecrets(request, transfer);
    response.sent_secrets = transfer.sent_secrets();
    if (!transfer) {
        response.error = {ErrorCode::INTERNAL_ERROR, "failed to start a transfer"};
        return response;
    }
    KOVA_TRY(headers, HeaderList(request));
    const std::string body = request.has_body ? request.body.text : request.has_payload ? Encode(request.payload) : "";
    char error_text[CURL_ERROR_SIZE] = {};

    CURL* handle = transfer.handle();
    transfer.SetUrl(url);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, error_text);
    transfer.VerifyPeer();
    if (request.timeout_ms > 0) {
        curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, request.timeout_ms);
    }
    if (!request.user_agent.empty()) {
        curl_easy_setopt(handle, CURLOPT_USERAGENT, request.user_agent.c_str());
    }
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get());
    if (post) {
        curl_easy_setopt(handle, CURLOPT_POST, 1L);
        curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body.c_str());
    } else {
        curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
    }
    transfer.CaptureAnswer();

    const CURLcode result = transfer.Perform();
    response.text = transfer.answer();
    if (result != CURLE_OK) {
        response.error = {ErrorCodeOf(result), error_text[0] != '\0' ? error_text : curl_easy_strerror(result)};
        return response;
    }
    response.status_code = transfer.Status();
    response.retry_after = transfer.Header("Retry-After");
    return response;
}

}  // namespace quilkova::http
