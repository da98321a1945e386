#ifndef QUILKOVA_UTIL_BASE64URL_HPP
#define QUILKOVA_UTIL_BASE64URL_HPP

#include <openssl/evp.h>

#include <cstddef>
#include <string>

// The PKCE encodings, shared by the platform (which makes pairs) and the
// simulator (which checks them).
namespace quilkova::internal {

// Unpadded base64url of `length` bytes.
inline std::string Base64Url(const unsigned char* bytes, size_t length) {
    static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
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

// The S256 code challenge of a verifier; "" when the digest fails.
inline std::string S256(const std::string& verifier) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(verifier.data(), verifier.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
        return "";
    }
    return Base64Url(digest, length);
}

}  // namespace quilkova::internal

#endif
