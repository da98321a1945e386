// The PKCE pair of the generic platform.
#include "quilplatform/pkce.h"

#include <sys/random.h>

#include <cstring>
#include <new>
#include <string>

#include "last_error.hpp"
#include "quilplatform/qlibc_error.h"
#include "util/base64url.hpp"

namespace {
constexpr size_t kVerifierBytes = 32;
constexpr size_t kTextSize = 44;  // 43 characters and the terminator
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
    try {
        const std::string text = quilkova::internal::Base64Url(random, sizeof(random));
        const std::string digest = quilkova::internal::S256(text);
        if (digest.empty()) {
            QLIBC_FAIL(QLIBC_ERR_SYSTEM);
            return -1;
        }
        std::memcpy(verifier, text.c_str(), text.size() + 1);
        std::memcpy(challenge, digest.c_str(), digest.size() + 1);
        return 0;
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
}
