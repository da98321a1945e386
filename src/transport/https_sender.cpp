// The flat interface's one road to the account host: form parameters plus
// the device's identity, over libcurl, with retries for resolution and
// time-out failures.
#include <curl/curl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "device/identity.hpp"
#include "foundation/fixed_field.hpp"
#include "foundation/log.hpp"
#include "foundation/platform_handles.hpp"
#include "foundation/redact.hpp"
#include "foundation/result.hpp"
#include "foundation/waits.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_string.h"
#include "transport/curl_handles.hpp"
#include "transport/curl_policy.hpp"
#include "transport/curl_transfer.hpp"
#include "transport/https_sender.hpp"

namespace {

using namespace quilkova::internal;

constexpr size_t kQueryInitialSize = 1024;
constexpr size_t kRequestSerialSize = 256;  // "hs_sn" as given, or the flash's
constexpr size_t kUrlSize = 4096;
constexpr size_t kHostHeaderSize = 128;
constexpr int kKeyListCapacity = 512;
// Deliberately handed to CURLOPT_CAPATH, as the appliance has always done.
constexpr const char* kCaBundle = "/etc/ssl/certs/ca-certificates.crt";


struct TimeoutClass {
    long seconds;
    int attempts;
};

// "key=escaped value", preceded by "&" unless it is the first parameter.
bool AppendParameter(CURL* curl, HeapText& query, const char* key, const char* value, bool first) {
    const CurlText escaped(curl_easy_escape(curl, value, 0));
    if (!escaped) {
        KOVA_LOG(LOG_ERR, "URL encoding failed: %s", RedactedValue(key, value).c_str());
        return false;
    }
    if ((!first && !query.Append("&")) || !query.Append(key) || !query.Append("=") || !query.Append(escaped.get())) {
        KOVA_LOG(LOG_ERR, "Fail to concat string");
        return false;
    }
    return true;
}

// hs_sn and hs_token first, then the account, then every form field in order.
// A "hs_sn" form field is therefore sent twice; the service expects that.
bool BuildQuery(CURL* curl, HeapText& query, const KOVA_HTTPS_REQUEST& req, QLIBCSzList* keys, const char* serial,
                const char* token, const std::string& account_id, const std::string& account_password) {
    if (!AppendParameter(curl, query, "hs_sn", serial, true) ||
        !AppendParameter(curl, query, "hs_token", token, false)) {
        return false;
    }
    if (!account_id.empty() && !AppendParameter(curl, query, "kovaID", account_id.c_str(), false)) {
        return false;
    }
    if (!account_password.empty() && !AppendParameter(curl, query, "kovaPW", account_password.c_str(), false)) {
        return false;
    }
    for (int i = 0; i < QLIBCSzListCount(keys); ++i) {
        const char* key = QLIBCSzListGet(keys, i);
        const char* value = QLIBCSzHashGetValue(req.params, key);
        if (value != nullptr && !AppendParameter(curl, query, key, value, false)) {
            return false;
        }
    }
    return true;
}

// What the form becomes before anything is sent: the query (the body of a
// POST, the query string of a GET), the address, and what log lines show.
struct PreparedRequest {
    explicit PreparedRequest(size_t query_capacity) : query(query_capacity) {}
    HeapText query;
    std::string request_url;
    std::string shown_url;  // as log lines show it: a query without its secrets
    bool post = false;
    // The header list carries one empty line; "Host:" is written into the
    // buffer only after it was copied, and shows in failure messages only.
    char host_header[kHostHeaderSize] = {};
    CurlSlist headers;
    TimeoutClass timeouts = {0, 0};
};

// A URL as the appliance's fixed buffer always held it: cut to its size.
std::string Bounded(const std::string& text) {
    return text.substr(0, kUrlSize - 1);
}

// The device token, the query and the secrets of the request; 4 (logged) or
// 6 when the request cannot be put together.
Status Prepare(const KOVA_HTTPS_REQUEST& req, CurlTransfer& transfer, PreparedRequest& prepared) {
    prepared.headers.reset(curl_slist_append(nullptr, prepared.host_header));
    std::snprintf(prepared.host_header, sizeof(prepared.host_header), "Host: %s", req.host);

    char serial[kRequestSerialSize] = {};
    if (const char* given = QLIBCSzHashGetValue(req.params, "hs_sn")) {
        std::snprintf(serial, sizeof(serial), "%s", given);
    }
    const std::string account_id = FieldText(req.accountId);
    const std::string account_password = FieldText(req.accountPassword);
    char token[kDeviceTokenSize] = {};
    if (!GenerateDeviceToken(account_id.c_str(), account_password.c_str(), serial, sizeof(serial), token,
                             sizeof(token))) {
        return Error{KOVA_ERR_SEND};
    }

    const SzList keys(QLIBCSzListAlloc(kKeyListCapacity));
    if (!keys) {
        KOVA_LOG(LOG_ERR, "out of memory, ERR=[0x%04X %s:%d]", QLIBCErrGet(), QLIBCErrorGetFile(),
                 QLIBCErrorGetLine());
        return Error{KOVA_ERR_SEND};
    }
    if (QLIBCSzHashEnumKey(req.params, keys.get()) <= 0) {
        KOVA_LOG(LOG_ERR, "no key in the hash, ERR=[0x%04X %s:%d]", QLIBCErrGet(), QLIBCErrorGetFile(),
                 QLIBCErrorGetLine());
        return Error{KOVA_ERR_SEND};
    }
    if (!BuildQuery(transfer.handle(), prepared.query, req, keys.get(), serial, token, account_id,
                    account_password)) {
        return Error{KOVA_ERR_SEND};
    }
    // What the request carried that an answer must not repeat in a log line.
    transfer.NoteSent("hs_token", token);
    transfer.NoteSent("kovaPW", account_password);
    for (int i = 0; i < QLIBCSzListCount(keys.get()); ++i) {
        const char* key = QLIBCSzListGet(keys.get(), i);
        if (const char* value = QLIBCSzHashGetValue(req.params, key)) {
            transfer.NoteSent(key, value);
        }
    }

    const std::string base = std::string(req.host) + "/" + req.path;
    prepared.post = req.method != 1;
    if (prepared.post) {
        prepared.request_url = Bounded(base);
        prepared.shown_url = prepared.request_url;
    } else {
        prepared.request_url = Bounded(base + "?" + prepared.query.text());
        prepared.shown_url = Bounded(base + "?" + transfer.Redacted(prepared.query.text()));
    }
    const Waits& waits = CurrentWaits();
    prepared.timeouts = req.shortTimeout != 0 ? TimeoutClass{waits.sender_short_seconds, 2}
                                              : TimeoutClass{waits.sender_long_seconds, 3};
    return Done{};
}

// Sets the options in their fixed order; false (logged) on a fatal failure.
bool SetOptions(CurlTransfer& transfer, const KOVA_HTTPS_REQUEST& req, const PreparedRequest& prepared) {
    CURL* curl = transfer.handle();
    const char* shown_url = prepared.shown_url.c_str();
    CURLcode code = CURLE_OK;
    if (prepared.post && prepared.query.text()[0] != '\0') {
        code = curl_easy_setopt(curl, CURLOPT_POST, 1L);
        if (code == CURLE_OK) {
            code = curl_easy_setopt(curl, CURLOPT_POSTFIELDS, prepared.query.text());
        }
        if (code != CURLE_OK) {
            KOVA_LOG(LOG_ERR, "%s, Failed to set POST parameters, code=%d, err=%s", shown_url, code,
                     curl_easy_strerror(code));
            return false;
        }
    }
    if ((code = transfer.SetUrl(prepared.request_url)) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "Failed to set url to %s, code=%d, err=%s", shown_url, code, curl_easy_strerror(code));
        return false;
    }
    const std::string agent = UserAgent();
    if ((code = curl_easy_setopt(curl, CURLOPT_USERAGENT, agent.c_str())) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "failed to set agent=%s, return value=%d, err=%s", agent.c_str(), code,
                 curl_easy_strerror(code));
        return false;
    }
    if ((code = curl_easy_setopt(curl, CURLOPT_HTTPHEADER, prepared.headers.get())) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "failed to set req=%s, header=%s, return value=%d, err=%s", req.host, prepared.host_header,
                 code, curl_easy_strerror(code));
        return false;
    }
    // CURL_SSLVERSION_TLSv1 is a floor, not a pin: libcurl and OpenSSL agree
    // on the highest version both ends speak (OpenSSL's own policy refuses
    // anything older than TLS 1.2). It is the value the appliance has always
    // set; a higher floor would cut off nothing this library talks to.
    if ((code = transfer.VerifyPeer()) != CURLE_OK ||
        (code = curl_easy_setopt(curl, CURLOPT_CAPATH, kCaBundle)) != CURLE_OK ||
        (code = curl_easy_setopt(curl, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1))) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "Failed to set curl opt error:(%d)%s", code, curl_easy_strerror(code));
        return false;
    }
    // The speed limits are a nicety: a failure to set either is logged and passed over.
    if ((code = curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 128L)) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "Failed to set time-out, return value=%d, err=%s", code, curl_easy_strerror(code));
    }
    if ((code = curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, 60L)) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "Failed to set time-out, return value=%d, err=%s", code, curl_easy_strerror(code));
    }
    if ((code = curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, prepared.timeouts.seconds)) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "failed to set time-out, return value=%d, err=%s", code, curl_easy_strerror(code));
    }
    if ((code = curl_easy_setopt(curl, CURLOPT_TIMEOUT, prepared.timeouts.seconds)) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "failed to set time-out, return value=%d, err=%s", code, curl_easy_strerror(code));
        return false;
    }
    if ((code = transfer.CaptureAnswer()) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "failed to write function WriteMemoryCallback, return value=%d, err=%s", code,
                 curl_easy_strerror(code));
        return false;
    }
    curl_easy_setopt(curl, CURLOPT_IPRESOLVE, static_cast<long>(CURL_IPRESOLVE_WHATEVER));
    return true;
}

bool IsRetried(CURLcode code) {
    return code == CURLE_COULDNT_RESOLVE_PROXY || code == CURLE_COULDNT_RESOLVE_HOST ||
           code == CURLE_OPERATION_TIMEDOUT;
}

// Resolution failures and time-outs are tried again one second later, the
// last attempt over IPv4 only. Gives the last result; `exhausted` tells
// whether every attempt was used up that way. Each attempt starts with an
// empty buffer: what a failed one received is no part of the answer.
CURLcode PerformWithRetries(CurlTransfer& transfer, int attempts, bool& exhausted) {
    exhausted = false;
    for (int attempt = 0;;) {
        const CURLcode code = transfer.Perform();
        if (!IsRetried(code)) {
            return code;
        }
        if (attempt == attempts - 2) {
            curl_easy_setopt(transfer.handle(), CURLOPT_IPRESOLVE, static_cast<long>(CURL_IPRESOLVE_V4));
        }
        ++attempt;
        std::this_thread::sleep_for(CurrentWaits().sender_pause);
        if (attempt >= attempts) {
            exhausted = true;
            return code;
        }
    }
}

// The verdict on what the attempts ended with: only a 200 or a 400 whose
// transfer completed is delivered, its body a trimmed heap copy in `resp`.
Status Judge(const CurlTransfer& transfer, const PreparedRequest& prepared, CURLcode performed, bool exhausted,
             KOVA_HTTPS_RESPONSE& resp) {
    const char* url = prepared.shown_url.c_str();
    // Attempts used up by resolution failures or time-outs go on to the status
    // instead: a host that never resolved is then reported with its status 0
    // on the "Failed to request packages" line, as the appliance always logged
    // it; an answer cut by a time-out is refused once the status is known.
    if (performed != CURLE_OK && !exhausted) {
        KOVA_LOG(LOG_ERR, "%s, Failed to curl perform, code=%d, err=%s", url, performed,
                 curl_easy_strerror(performed));
        resp.curlCode = performed;
        return Error{KOVA_ERR_SEND};
    }
    long status = 0;
    const CURLcode info = curl_easy_getinfo(transfer.handle(), CURLINFO_RESPONSE_CODE, &status);
    if (info != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "%s, Failed to curl_easy_getinfo, code=%d, err=%s", url, info,
                 curl_easy_strerror(info));
        resp.curlCode = info;
        return Error{KOVA_ERR_SEND};
    }
    resp.httpCode = status;
    // A 400 is delivered: its body says what the service refused.
    const bool delivered_status = status == 200 || status == 400;
    // An answer is delivered only when its transfer completed: the last of the
    // attempts may have timed out after its status line.
    if (delivered_status && performed != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "%s, Failed to curl perform, code=%d, err=%s", url, performed,
                 curl_easy_strerror(performed));
        resp.curlCode = performed;
        return Error{KOVA_ERR_SEND};
    }
    // The body as text: up to its first NUL, as the service's answers are read.
    const std::string body = transfer.answer().c_str();
    if (!delivered_status) {
        KOVA_LOG(LOG_ERR, "%s, Failed to request packages, httpResponseCode=%ld, data=%s", url, status,
                 transfer.Redacted(body).c_str());
        return Error{KOVA_ERR_SEND};
    }
    if (transfer.answer().empty()) {
        KOVA_LOG(LOG_ERR, "%s, Failed to get response", url);
        return Error{KOVA_ERR_SEND};
    }
    resp.data = strdup(body.c_str());
    if (resp.data != nullptr) {
        QLIBCStrTrimSpace(resp.data);
    }
    return Done{};
}

Status Send(const KOVA_HTTPS_REQUEST& req, KOVA_HTTPS_RESPONSE& resp) {
    PreparedRequest prepared(kQueryInitialSize);
    if (prepared.query.text() == nullptr) {
        return Error{KOVA_ERR_SYSTEM};
    }
    CurlTransfer transfer;
    if (!transfer) {
        KOVA_LOG(LOG_ERR, "failed to init pCurl");
        return Error{KOVA_ERR_SEND};
    }
    KOVA_TRY_STATUS(Prepare(req, transfer, prepared));
    if (!SetOptions(transfer, req, prepared)) {
        return Error{KOVA_ERR_SEND};
    }
    bool exhausted = false;
    const CURLcode performed = PerformWithRetries(transfer, prepared.timeouts.attempts, exhausted);
    return Judge(transfer, prepared, performed, exhausted, resp);
}

}  // namespace

extern "C" {

size_t WriteMemoryCallback(void* contents, size_t size, size_t nmemb, void* userp) {
    const size_t bytes = size * nmemb;
    auto* memory = static_cast<KOVA_MEMORY*>(userp);
    // An answer beyond any the service gives is stopped, not buffered.
    if (!quilkova::internal::FitsAnswer(memory->size, bytes)) {
        return 0;
    }
    char* grown = static_cast<char*>(std::realloc(memory->memory, memory->size + bytes + 1));
    if (grown == nullptr) {
        std::free(memory->memory);
        memory->memory = nullptr;
        return 0;  // makes libcurl abort the transfer
    }
    memory->memory = grown;
    std::memcpy(memory->memory + memory->size, contents, bytes);
    memory->size += bytes;
    memory->memory[memory->size] = '\0';
    return bytes;
}

}  // extern "C"

namespace quilkova::internal {

Status SendHttpsRequest(KOVA_HTTPS_REQUEST* req, KOVA_HTTPS_RESPONSE* resp) {
    if (req == nullptr || resp == nullptr || req->host == nullptr || req->path == nullptr) {
        return Error{KOVA_ERR_BAD_PARAM};
    }
    resp->curlCode = 0;
    resp->httpCode = 0;
    resp->data = nullptr;
    try {
        return Send(*req, *resp);
    } catch (const std::bad_alloc&) {
        return Error{KOVA_ERR_SYSTEM};
    }
}

void FreeHttpsResponse(KOVA_HTTPS_RESPONSE* resp) {
    if (resp == nullptr) {
        return;
    }
    std::free(resp->data);
    resp->data = nullptr;
    resp->httpCode = 0;
}

}  // namespace quilkova::internal
