#ifndef QUILKOVA_TESTS_PKCE_PAIR_HPP
#define QUILKOVA_TESTS_PKCE_PAIR_HPP

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <string>

namespace quilkova::test {

inline std::string Base64Url(const unsigned char* bytes, size_t length) {
    static const char* const kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string text;
    unsigned int bits = 0;
    int count = 0;
    for (size_t i = 0; i < length; ++i) {
        bits = (bits << 8) | bytes[i];
        count += 8;
        while (count >= 6) {
            count -= 6;
            text += kAlphabet[(bits >> count) & 0x3F];
        }
    }
    if (count > 0) {
        text += kAlphabet[(bits << (6 - count)) & 0x3F];
    }
    return text;
}

// base64url(SHA-256(verifier)), unpadded: the S256 code challenge.
inline std::string S256(const std::string& verifier) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(verifier.data(), verifier.size(), digest, &length, EVP_sha256(), nullptr);
    return Base64Url(digest, length);
}

// A PKCE verifier and its S256 challenge, as a browser login would make them.
struct PkcePair {
    std::string verifier;
    std::string challenge;

    PkcePair() {
        unsigned char random[32];
        RAND_bytes(random, sizeof(random));
        verifier = Base64Url(random, sizeof(random));
        challenge = S256(verifier);
    }
};

}  // namespace quilkova::test

#endif
