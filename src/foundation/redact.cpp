#include "foundation/redact.hpp"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace quilkova::internal {

namespace {
constexpr const char* kSecretKeys[] = {
    "access_token", "refresh_token", "id_token", "auth_key", "code_verifier", "passwd", "passwd_new",
    "passwd_confirmation", "password", "hs_token",
    // The same secrets under the names of the account record and the sender.
    "hs_auth_key", "kovaPW", "api_key",
};
constexpr const char* kMask = "***";

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// End of the JSON value that starts at `at`: past the closing quote of a
// string, else at the next delimiter of a scalar.
size_t JsonValueEnd(const std::string& text, size_t at) {
    if (at < text.size() && text[at] == '"') {
        for (size_t i = at + 1; i < text.size(); ++i) {
            if (text[i] == '\\') {
                ++i;
            } else if (text[i] == '"') {
                return i + 1;
            }
        }
        return text.size();
    }
    size_t end = at;
    while (end < text.size() && std::strchr(",}] \t\r\n", text[end]) == nullptr) {
        ++end;
    }
    return end;
}

// Masks `"key" : value` members.
void MaskJsonMembers(std::string& text, const std::string& key) {
    const std::string quoted = "\"" + key + "\"";
    for (size_t at = text.find(quoted); at != std::string::npos; at = text.find(quoted, at + 1)) {
        size_t colon = at + quoted.size();
        while (colon < text.size() && IsBlank(text[colon])) {
            ++colon;
        }
        if (colon >= text.size() || text[colon] != ':') {
            continue;
        }
        size_t value = colon + 1;
        while (value < text.size() && IsBlank(text[value])) {
            ++value;
        }
        const size_t end = JsonValueEnd(text, value);
        if (end > value) {
            text.replace(value, end - value, "\"" + std::string(kMask) + "\"");
        }
    }
}

// Masks `key=value` fields of a form or query string.
void MaskFormFields(std::string& text, const std::string& key) {
    const std::string field = key + "=";
    for (size_t at = text.find(field); at != std::string::npos; at = text.find(field, at + 1)) {
        if (at != 0 && text[at - 1] != '&' && text[at - 1] != '?') {
            continue;
        }
        const size_t value = at + field.size();
        size_t end = text.find('&', value);
        if (end == std::string::npos) {
            end = text.size();
        }
        text.replace(value, end - value, kMask);
    }
}
}  // namespace

bool IsSecretKey(const std::string& key) {
    for (const char* secret : kSecretKeys) {
        if (key == secret) {
            return true;
        }
    }
    return false;
}

std::string Redacted(const std::string& body, const std::vector<std::string>& sent) {
    std::string text = body;
    for (const char* key : kSecretKeys) {
        MaskJsonMembers(text, key);
        MaskFormFields(text, key);
    }
    // Longest first: a secret that holds another is masked whole.
    std::vector<std::string> values(sent);
    std::sort(values.begin(), values.end(),
              [](const std::string& a, const std::string& b) { return a.size() > b.size(); });
    for (const std::string& value : values) {
        for (size_t at = value.empty() ? std::string::npos : text.find(value); at != std::string::npos;
             at = text.find(value, at + std::strlen(kMask))) {
            text.replace(at, value.size(), kMask);
        }
    }
    if (text.size() > kMessageBodyLimit) {
        text.resize(kMessageBodyLimit);
    }
    return text;
}

void AddSentSecret(std::vector<std::string>& sent, const std::string& key, const std::string& value) {
    if (value.empty() || (key != "code" && !IsSecretKey(key))) {
        return;
    }
    sent.push_back(value);
    // As a form would carry it: everything but letters, digits and "-._~" as %XX.
    std::string escaped;
    for (const unsigned char c : value) {
        if (std::isalnum(c) != 0 || (c != '\0' && std::strchr("-._~", c) != nullptr)) {
            escaped += static_cast<char>(c);
        } else {
            escaped += '%';
            escaped += "0123456789ABCDEF"[c >> 4];
            escaped += "0123456789ABCDEF"[c & 15];
        }
    }
    if (escaped != value) {
        sent.push_back(escaped);
    }
}

std::string RedactedValue(const std::string& key, const std::string& value) {
    return IsSecretKey(key) ? kMask : value;
}

}  // namespace quilkova::internal
