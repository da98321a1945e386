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


struct ReceiveBuffer {
    KOVA_MEMORY memory = {nullptr, 0};
    ~ReceiveBuffer() { std::free(memory.memory); }
    void Clear() {
        std::free(memory.memory);
        memory = {nullptr, 0};
    }
};

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

// Sets the options in their fixed order; false (logged) on a fatal failure.
bool SetOptions(CURL* curl, const KOVA_HTTPS_REQUEST& req, const char* url, const char* shown_url, curl_slist* headers,
                const char* host_header, const TimeoutClass& timeouts, ReceiveBuffer& received,
                RedirectPolicy& redirects) {
    CURLcode code = curl_easy_setopt(curl, CURLOPT_URL, url);
    // Redirects are followed, but only a few and never away from the host the form was meant for.
    if (code == CURLE_OK) {
        code = redirects.Apply(curl);
    }
    if (code != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "Failed to set url to %s, code=%d, err=%s", shown_url, code,
                 curl_easy_strerror(code));
        return false;
    }
    char agent[kUserAgentSize] = {};
    (void)ReadUserAgent(agent, sizeof(agent));
    if ((code = curl_easy_setopt(curl, CURLOPT_USERAGENT, agent)) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "failed to set agent=%s, return value=%d, err=%s", agent, code,
                 curl_easy_strerror(code));
        return false;
    }
    if ((code = curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers)) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "failed to set req=%s, header=%s, return value=%d, err=%s", req.host, host_header,
                 code, curl_easy_strerror(code));
        return false;
    }
    // CURL_SSLVERSION_TLSv1 is a floor, not a pin: libcurl and OpenSSL agree
    // on the highest version both ends speak (OpenSSL's own policy refuses
    // anything older than TLS 1.2). It is the value the appliance has always
    // set; a higher floor would cut off nothing this library talks to.
    if ((code = curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L)) != CURLE_OK ||
        (code = curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L)) != CURLE_OK ||
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
    if ((code = curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, timeouts.seconds)) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "failed to set time-out, return value=%d, err=%s", code, curl_easy_strerror(code));
    }
    if ((code = curl_easy_setopt(curl, CURLOPT_TIMEOUT, timeouts.seconds)) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "failed to set time-out, return value=%d, err=%s", code, curl_easy_strerror(code));
        return false;
    }
    if ((code = curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, WriteMemoryCallback)) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "failed to write function WriteMemoryCallback, return value=%d, err=%s", code,
                 curl_easy_strerror(code));
        return false;
    }
    if ((code = curl_easy_setopt(curl, CURLOPT_WRITEDATA, &received.memory)) != CURLE_OK) {
        KOVA_LOG(LOG_ERR, "failed to write data, return value=%d, err=%s", code, curl_easy_strerror(code));
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
CURLcode PerformWithRetries(CURL* curl, int attempts, ReceiveBuffer& received, bool& exhausted) {
    exhausted = false;
    for (int attempt = 0;;) {
        received.Clear();
        const CURLcode code = curl_easy_perform(curl);
        if (!IsRetried(code)) {
            return code;
        }
        if (attempt == attempts - 2) {
            curl_easy_setopt(curl, CURLOPT_IPRESOLVE, static_cast<long>(CURL_IPRESOLVE_V4));
        }
        ++attempt;
        std::this_thread::sleep_for(CurrentWaits().sender_pause);
        if (attempt >= attempts) {
            exhausted = true;
            return code;
        }
    }
}

Status Send(const KOVA_HTTPS_REQUEST& req, KOVA_HTTPS_RESPONSE& resp) {
    HeapText query(kQueryInitialSize);
    if (query.text() == nullptr) {
        return Error{KOVA_ERR_SYSTEM};
    }

    const CurlEasy curl(curl_easy_init());
    if (!curl) {
        KOVA_LOG(LOG_ERR, "failed to init pCurl");
        return Error{KOVA_ERR_SEND};
    }
    ReceiveBuffer received;
    // The header list carries one empty line; "Host:" is written into the
    // buffer only after it was copied, and shows in failure messages only.
    char host_header[kHostHeaderSize] = {};
    const CurlSlist headers(curl_slist_append(nullptr, host_header));
    std::snprintf(host_header, sizeof(host_header), "Host: %s", req.host);

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
    if (!BuildQuery(curl.get(), query, req, keys.get(), serial, token, account_id, account_password)) {
        return Error{KOVA_ERR_SEND};
    }
    // What the request carried that an answer must not repeat in a log line.
    std::vector<std::string> secrets;
    AddSentSecret(secrets, "hs_token", token);
    AddSentSecret(secrets, "kovaPW", account_password);
    for (int i = 0; i < QLIBCSzListCount(keys.get()); ++i) {
        const char* key = QLIBCSzListGet(keys.get(), i);
        if (const char* value = QLIBCSzHashGetValue(req.params, key)) {
            AddSentSecret(secrets, key, value);
        }
    }

    const bool is_get = req.method == 1;
    char request_url[kUrlSize];
    char url[kUrlSize];  // as log lines show it: a query without its secrets
    if (is_get) {
        std::snprintf(request_url, sizeof(request_url), "%s/%s?%s", req.host, req.path, query.text());
        std::snprintf(url, sizeof(url), "%s/%s?%s", req.host, req.path, Redacted(query.text(), secrets).c_str());
    } else {
        std::snprintf(request_url, sizeof(request_url), "%s/%s", req.host, req.path);
        std::snprintf(url, sizeof(url), "%s", request_url);
    }
    if (!is_get && query.text()[0] != '\0') {
        CURLcode code = curl_easy_setopt(curl.get(), CURLOPT_POST, 1L);
        if (code == CURLE_OK) {
            code = curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, query.text());
        }
        if (code != CURLE_OK) {
            KOVA_LOG(LOG_ERR, "%s, Failed to set POST parameters, code=%d, err=%s", url, code,
                     curl_easy_strerror(code));
            return Error{KOVA_ERR_SEND};
        }
    }
    const Waits& waits = CurrentWaits();
    const TimeoutClass timeouts = req.shortTimeout != 0 ? TimeoutClass{waits.sender_short_seconds, 2}
                                                       : TimeoutClass{waits.sender_long_seconds, 3};
    RedirectPolicy redirects(request_url);
    if (!SetOptions(curl.get(), req, request_url, url, headers.get(), host_header, timeouts, received, redirects)) {
        return Error{KOVA_ERR_SEND};
    }

    bool exhausted = false;
    const CURLcode performed = PerformWithRetries(curl.get(), timeouts.attempts, received, exhausted);
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
    const CURLcode info = curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
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
    if (!delivered_status) {
        KOVA_LOG(LOG_ERR, "%s, Failed to request packages, httpResponseCode=%ld, data=%s", url, status,
                 Redacted(received.memory.memory != nullptr ? received.memory.memory : "", secrets)
                     .c_str());
        return Error{KOVA_ERR_SEND};
    }
    if (received.memory.memory == nullptr) {
        KOVA_LOG(LOG_ERR, "%s, Failed to get response", url);
        return Error{KOVA_ERR_SEND};
    }
    resp.data = strdup(received.memory.memory);
    if (resp.data != nullptr) {
        QLIBCStrTrimSpace(resp.data);
    }
    return Done{};
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
