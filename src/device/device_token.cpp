// The serial number and the device token derived from it.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "device/identity.hpp"
#include "foundation/log.hpp"
#include "foundation/platform_handles.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/device.h"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_string.h"

namespace quilkova::internal {

namespace {

constexpr size_t kMd5HexSize = kDeviceTokenSize;
constexpr size_t kSeedLimit = 4095;

bool IsValidSerial(const char* serial) {
    return std::isalnum(static_cast<unsigned char>(serial[0])) != 0;
}

Error InvalidSerial(const char* serial) {
    KOVA_LOG(LOG_ERR, "Serial number is invalid: [%s][0x%04X %s:%d]", serial, QLIBCErrGet(),
             QLIBCErrorGetFile(), QLIBCErrorGetLine());
    return Error{KOVA_ERR_SERIAL};
}

// The seed's first hex digit decides the number of passes (1 to 16); each
// pass hashes the text with its own hash appended. Every request derives the
// token anew, so the last one is kept per thread, keyed by the seed's hash
// (which the derivation computes first anyway), never by the seed itself.
bool DeriveToken(const char* seed, std::string& token) {
    char digest[kMd5HexSize];
    if (KoVAGetMd5String(seed, digest, sizeof(digest)) != 0) {
        KOVA_LOG(LOG_ERR, "Failed to get md5 string from \"%s\".", seed);
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

Status ReadCheckedSerial(char* buffer, size_t size) {
    if (buffer == nullptr) {
        KOVA_LOG(LOG_ERR, "Wrong parameters");
        return Error{KOVA_ERR_BAD_PARAM};
    }
    char serial[kSerialSize] = {};
    if (QLIBGetSerialNumber(serial, sizeof(serial)) < 0) {
        KOVA_LOG(LOG_ERR, "Failed to get serial number from flash. [0x%04X %s:%d]", QLIBCErrGet(),
                 QLIBCErrorGetFile(), QLIBCErrorGetLine());
        return Error{KOVA_ERR_SERIAL};
    }
    std::snprintf(buffer, size, "%s", serial);
    if (!IsValidSerial(serial)) {
        return InvalidSerial(serial);
    }
    return Done{};
}

Status GenerateDeviceToken(const char* account_id, const char* password, char* serial, size_t serial_size,
                           char* token, size_t token_size) {
    if (token == nullptr || token_size == 0) {
        return Error{KOVA_ERR_BAD_PARAM};
    }
    char own_serial[kSerialSize] = {};
    if (serial == nullptr || serial_size == 0) {
        serial = own_serial;
        serial_size = sizeof(own_serial);
    }
    if (serial[0] != '\0') {
        if (!IsValidSerial(serial)) {
            return InvalidSerial(serial);
        }
    } else if (const Status read = ReadCheckedSerial(serial, serial_size); !read) {
        return read;
    }

    HeapText seed(1024);
    if (seed.text() == nullptr) {
        KOVA_LOG(LOG_ERR, "Fail to allocate");
        return Error{KOVA_ERR_SYSTEM};
    }
    for (const char* part : {static_cast<const char*>(serial), account_id, password}) {
        if (part != nullptr && !seed.Append(part)) {
            KOVA_LOG(LOG_ERR, "Fail to concat string");
            return Error{KOVA_ERR_SYSTEM};
        }
    }
    std::string derived;
    try {
        if (!DeriveToken(seed.text(), derived)) {
            KOVA_LOG(LOG_ERR, "GenerateToken Failed, err=[0x%04X %s:%d]", QLIBCErrGet(), QLIBCErrorGetFile(),
                     QLIBCErrorGetLine());
            return Error{KOVA_ERR_TOKEN};
        }
    } catch (...) {
        return Error{KOVA_ERR_SYSTEM};  // the derivation's texts could not be had
    }
    std::snprintf(token, token_size, "%s", derived.c_str());
    return Done{};
}

}  // namespace quilkova::internal
