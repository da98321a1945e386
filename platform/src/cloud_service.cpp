// The cloud-service library of the generic platform: the API key lives in a
// root-only file; registration makes a random key locally.
#include "quilplatform/cloud_service.h"

#include <openssl/evp.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "quilplatform/device.h"
#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

namespace {

constexpr const char* kApiKeyFile = "/usr/quil/etc/quillion-account/private/apikey";
constexpr size_t kKeyBytes = 32;

thread_local int t_cloud_service_error = QUIL_CLOUD_SERVICE_ERR_NONE;

int Fail() {
    t_cloud_service_error = QUIL_CLOUD_SERVICE_ERR_LOCAL;
    return -1;
}

int Succeed() {
    t_cloud_service_error = QUIL_CLOUD_SERVICE_ERR_NONE;
    return 0;
}

std::string StoredKey() {
    std::string key;
    if (quilkova::internal::ReadFileNoFollow(quilkova::internal::RootedPath(kApiKeyFile), key) != 0) {
        return "";
    }
    key.erase(key.find_last_not_of(" \r\n\t") + 1);
    return key;
}

bool HexOfRandomBytes(std::string& hex) {
    unsigned char bytes[kKeyBytes];
    if (::getrandom(bytes, sizeof(bytes), 0) != static_cast<ssize_t>(sizeof(bytes))) {
        return false;
    }
    char digits[3];
    for (unsigned char byte : bytes) {
        std::snprintf(digits, sizeof(digits), "%02x", byte);
        hex += digits;
    }
    return true;
}

bool Md5Hex(const std::string& text, char* out) {
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (!context || EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) != 1 ||
        EVP_DigestUpdate(context.get(), text.data(), text.size()) != 1 ||
        EVP_DigestFinal_ex(context.get(), digest, &length) != 1) {
        return false;
    }
    for (unsigned int i = 0; i < length; ++i) {
        std::snprintf(out + 2 * i, 3, "%02x", digest[i]);
    }
    return true;
}

}  // namespace

extern "C" {

int QUILCloudServiceRegisterApiKey(char* apikey) {
    if (apikey == nullptr) {
        return Fail();
    }
    try {
        std::string key;
        if (!HexOfRandomBytes(key) ||
            quilkova::internal::ReplaceFileAtomically(quilkova::internal::RootedPath(kApiKeyFile), key + "\n", 0600) !=
                0) {
            return Fail();
        }
        std::snprintf(apikey, QUIL_CLOUD_SERVICE_APIKEY_SIZE, "%s", key.c_str());
        return Succeed();
    } catch (const std::bad_alloc&) {
        return Fail();
    }
}

int QUILCloudServiceGetApiKey(char* apikey, int registerIfMissing) {
    if (apikey == nullptr) {
        return Fail();
    }
    try {
        const std::string key = StoredKey();
        if (key.empty()) {
            return registerIfMissing ? QUILCloudServiceRegisterApiKey(apikey) : Fail();
        }
        std::snprintf(apikey, QUIL_CLOUD_SERVICE_APIKEY_SIZE, "%s", key.c_str());
        return Succeed();
    } catch (const std::bad_alloc&) {
        return Fail();
    }
}

int QUILCloudServiceActionHandler(int action, int /*flags*/) {
    if (action == QUIL_CLOUD_SERVICE_ACTION_APIKEY_EXPIRED) {
        try {
            if (::unlink(quilkova::internal::RootedPath(kApiKeyFile).c_str()) != 0 && errno != ENOENT) {
                return Fail();
            }
        } catch (const std::bad_alloc&) {
            return Fail();
        }
    }
    return Succeed();
}

int QUILCloudServiceDstokenGenerateToken(char* token) {
    if (token == nullptr) {
        return Fail();
    }
    char serial[36] = {};
    char apikey[QUIL_CLOUD_SERVICE_APIKEY_SIZE] = {};
    if (QLIBGetSerialNumber(serial, sizeof(serial)) < 0 || QUILCloudServiceGetApiKey(apikey, 1) < 0) {
        return Fail();
    }
    try {
        return Md5Hex(std::string(serial) + apikey, token) ? Succeed() : Fail();
    } catch (const std::bad_alloc&) {
        return Fail();
    }
}

int QUILCloudServiceGetErrorCode(void) {
    return t_cloud_service_error;
}

}  // extern "C"
