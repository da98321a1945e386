// The serial number and the device token derived from it.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "foundation/log.hpp"
#include "foundation/platform_handles.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/device.h"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_string.h"

namespace {

constexpr size_t kSerialSize = 36;
constexpr size_t kMd5HexSize = 33;
constexpr size_t kSeedLimit = 4095;

int Fail(KOVA_ERRCODE code) {
    QUILKOVAErrSet(code);
    return -1;
}

bool IsValidSerial(const char* serial) {
    return std::isalnum(static_cast<unsigned char>(serial[0])) != 0;
}

int InvalidSerial(const char* serial) {
    KOVA_LOG(LOG_ERR, "%s:%d Serial number is invalid: [%s][0x%04X %s:%d]", serial, QLIBCErrGet(),
             QLIBCErrorGetFile(), QLIBCErrorGetLine());
    return Fail(KOVA_ERR_SERIAL);
}

// The seed's first hex digit decides the number of passes (1 to 16); each
// pass hashes the text with its own hash appended. Every request derives the
// token anew, so the last one is kept per thread, keyed by the seed's hash
// (which the derivation computes first anyway), never by the seed itself.
bool DeriveToken(const char* seed, std::string& token) {
    char digest[kMd5HexSize];
    if (KoVAGetMd5String(seed, digest, sizeof(digest)) != 0) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to get md5 string from \"%s\".", seed);
        return false;
    }
    thread_local std::string last_digest;
    thread_local std::string last_token;
    if (last_digest == digest) {
        token = last_token;
        return true;
    }
    const int passes = 1 + static_cast<int>(std::strtol(std::string(1, digest[0]).c_str(), nullptr, 16));
    std::string text(seed, strnlen(seed, kSeedLimit));
    for (int pass = 0; pass < passes; ++pass) {
        char inner[kMd5HexSize];
        char outer[kMd5HexSize];
        if (KoVAGetMd5String(text.c_str(), inner, sizeof(inner)) != 0 ||
            KoVAGetMd5String((text + inner).c_str(), outer, sizeof(outer)) != 0) {
            return false;
        }
        text = outer;
    }
    token = text;
    last_digest = digest;
    last_token = token;
    return true;
}

}  // namespace

extern "C" int QUILKOVAGetSerialNumber(char* buffer, size_t size) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (buffer == nullptr) {
        KOVA_LOG(LOG_ERR, "%s:%d Wrong parameters");
        return Fail(KOVA_ERR_BAD_PARAM);
    }
    char serial[kSerialSize] = {};
    if (QLIBGetSerialNumber(serial, sizeof(serial)) < 0) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to get serial number from flash. [0x%04X %s:%d]", QLIBCErrGet(),
                 QLIBCErrorGetFile(), QLIBCErrorGetLine());
        return Fail(KOVA_ERR_SERIAL);
    }
    std::snprintf(buffer, size, "%s", serial);
    if (!IsValidSerial(serial)) {
        return InvalidSerial(serial);
    }
    return 0;
}

extern "C" int QUILKOVAGenerateToken(const char* accountId, const char* password, char* serial, size_t serialSize,
                                     char* token, size_t tokenSize) {
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    if (token == nullptr || tokenSize == 0) {
        return Fail(KOVA_ERR_BAD_PARAM);
    }
    char own_serial[kSerialSize] = {};
    if (serial == nullptr || serialSize == 0) {
        serial = own_serial;
        serialSize = sizeof(own_serial);
    }
    if (serial[0] != '\0') {
        if (!IsValidSerial(serial)) {
            return InvalidSerial(serial);
        }
    } else if (QUILKOVAGetSerialNumber(serial, serialSize) != 0) {
        return -1;
    }

    quilkova::internal::HeapText seed(1024);
    if (seed.text() == nullptr) {
        KOVA_LOG(LOG_ERR, "%s:%d Fail to allocate");
        return Fail(KOVA_ERR_SYSTEM);
    }
    for (const char* part : {static_cast<const char*>(serial), accountId, password}) {
        if (part != nullptr && !seed.Append(part)) {
            KOVA_LOG(LOG_ERR, "%s:%d Fail to concat string");
            return Fail(KOVA_ERR_SYSTEM);
        }
    }
    std::string derived;
    try {
        if (!DeriveToken(seed.text(), derived)) {
            KOVA_LOG(LOG_ERR, "%s:%d GenerateToken Failed, err=[0x%04X %s:%d]", QLIBCErrGet(), QLIBCErrorGetFile(),
                     QLIBCErrorGetLine());
            return Fail(KOVA_ERR_TOKEN);
        }
    } catch (...) {
        return Fail(KOVA_ERR_SYSTEM);
    }
    std::snprintf(token, tokenSize, "%s", derived.c_str());
    return 0;
}
