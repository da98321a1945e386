// The PKCE pair of the generic platform.
#include "quilplatform/pkce.h"

#include <openssl/evp.h>
#include <sys/random.h>

#include <cstring>

#include "last_error.hpp"
#include "quilplatform/qlibc_error.h"

namespace {
constexpr size_t kVerifierBytes = 32;
constexpr size_t kTextSize = 44;  // 43 characters and the terminator

// Unpadded base64url; `out` holds 4 * ceil(length / 3) + 1 bytes at least.
void Base64Url(const unsigned char* bytes, size_t length, char* out) {
    static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    unsigned int bits = 0;
    int count = 0;
    size_t at = 0;
    for (size_t i = 0; i < length; ++i) {
        bits = (bits << 8) | bytes[i];
        count += 8;
        while (count >= 6) {
            count -= 6;
            out[at++] = kAlphabet[(bits >> count) & 0x3F];
        }
    }
    if (count > 0) {
        out[at++] = kAlphabet[(bits << (6 - count)) & 0x3F];
    }
    out[at] = '\0';
}
}  // namespace

extern "C" int quil_challenge_verifier_no_save(char* challenge, size_t challengeSize, char* verifier,
                                               size_t verifierSize) {
    if (challenge == nullptr || verifier == nullptr || challengeSize < kTextSize || verifierSize < kTextSize) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    unsigned char random[kVerifierBytes];
    if (::getrandom(random, sizeof(random), 0) != static_cast<ssize_t>(sizeof(random))) {
        QLIBC_FAIL(QLIBC_ERR_SYSTEM);
        return -1;
    }
    char text[kTextSize];
    Base64Url(random, sizeof(random), text);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(text, std::strlen(text), digest, &length, EVP_sha256(), nullptr) != 1) {
        QLIBC_FAIL(QLIBC_ERR_SYSTEM);
        return -1;
    }
    std::memcpy(verifier, text, sizeof(text));
    Base64Url(digest, length, challenge);
    return 0;
}
