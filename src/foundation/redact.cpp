#include "foundation/redact.hpp"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <deque>
#include <iterator>
#include <mutex>
#include <unordered_set>

#include "foundation/json_utils.hpp"

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
// string, past the closing bracket of an object or array, else at the next
// delimiter of a scalar.
size_t JsonValueEnd(const std::string& text, size_t at) {
    if (at >= text.size()) {
        return at;
    }
    if (text[at] != '"' && text[at] != '{' && text[at] != '[') {
        size_t end = at;
        while (end < text.size() && std::strchr(",}] \t\r\n", text[end]) == nullptr) {
            ++end;
        }
        return end;
    }
    int depth = 0;
    bool in_string = false;
    for (size_t i = at; i < text.size(); ++i) {
        const char c = text[i];
        if (in_string) {
            if (c == '\\') {
                ++i;
            } else if (c == '"') {
                in_string = false;
                if (depth == 0) {
                    return i + 1;
                }
            }
        } else if (c == '"') {
            in_string = true;
        } else if (c == '{' || c == '[') {
            ++depth;
        } else if ((c == '}' || c == ']') && --depth == 0) {
            return i + 1;
        }
    }
    return text.size();
}

// Masks `"key" : value` members, whatever the value (a text, a number, an object, a list).
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

// The text as some encoding reads it, each byte with the span of the source it came from.
struct DecodedView {
    std::string text;
    std::vector<std::pair<uint32_t, uint32_t>> spans;  // answers are capped far below 4 GiB

    void Add(char c, size_t from, size_t to) {
        text += c;
        spans.emplace_back(static_cast<uint32_t>(from), static_cast<uint32_t>(to));
    }
};

int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// The value of `count` hex digits at `at`, or -1.
long HexAt(const std::string& text, size_t at, size_t count) {
    if (at + count > text.size()) {
        return -1;
    }
    long value = 0;
    for (size_t i = at; i < at + count; ++i) {
        const int digit = HexDigit(text[i]);
        if (digit < 0) {
            return -1;
        }
        value = value * 16 + digit;
    }
    return value;
}

void AddUtf8(DecodedView& view, unsigned long code, size_t from, size_t to) {
    const auto add = [&](unsigned long byte) { view.Add(static_cast<char>(byte), from, to); };
    if (code < 0x80) {
        add(code);
    } else if (code < 0x800) {
        add(0xc0 | (code >> 6));
        add(0x80 | (code & 0x3f));
    } else if (code < 0x10000) {
        add(0xe0 | (code >> 12));
        add(0x80 | ((code >> 6) & 0x3f));
        add(0x80 | (code & 0x3f));
    } else {
        add(0xf0 | (code >> 18));
        add(0x80 | ((code >> 12) & 0x3f));
        add(0x80 | ((code >> 6) & 0x3f));
        add(0x80 | (code & 0x3f));
    }
}

// JSON string escapes read: "\/", "\u00e4", surrogate pairs.
DecodedView JsonUnescaped(const std::string& text) {
    DecodedView view;
    for (size_t i = 0; i < text.size();) {
        const char* simple = i + 1 < text.size() && text[i] == '\\' ? std::strchr("\"\\/bfnrt", text[i + 1]) : nullptr;
        if (simple != nullptr && text[i + 1] != '\0') {
            static const std::string kDecoded = "\"\\/\b\f\n\r\t";
            view.Add(kDecoded[static_cast<size_t>(simple - "\"\\/bfnrt")], i, i + 2);
            i += 2;
            continue;
        }
        const long unit = text[i] == '\\' && i + 1 < text.size() && text[i + 1] == 'u' ? HexAt(text, i + 2, 4) : -1;
        if (unit < 0) {
            view.Add(text[i], i, i + 1);
            ++i;
            continue;
        }
        const long low = unit >= 0xd800 && unit < 0xdc00 && text.compare(i + 6, 2, "\\u") == 0 ? HexAt(text, i + 8, 4) : -1;
        if (low >= 0xdc00 && low < 0xe000) {
            AddUtf8(view, 0x10000 + ((static_cast<unsigned long>(unit) - 0xd800) << 10) + (low - 0xdc00), i, i + 12);
            i += 12;
        } else {
            AddUtf8(view, static_cast<unsigned long>(unit), i, i + 6);
            i += 6;
        }
    }
    return view;
}

// Form and URL encoding read: "%xx" in either case, "+" as a blank.
DecodedView UrlDecoded(const std::string& text) {
    DecodedView view;
    for (size_t i = 0; i < text.size();) {
        const long byte = text[i] == '%' ? HexAt(text, i + 1, 2) : -1;
        if (byte >= 0) {
            view.Add(static_cast<char>(byte), i, i + 3);
            i += 3;
        } else {
            view.Add(text[i] == '+' ? ' ' : text[i], i, i + 1);
            ++i;
        }
    }
    return view;
}

// Every secret masked wherever it appears, as is, JSON-escaped or URL-encoded.
std::string MaskEverySpelling(const std::string& text, const std::vector<std::string>& secrets) {
    std::vector<std::pair<size_t, size_t>> masked;
    const auto find_all = [&secrets, &masked](const std::string& decoded, const auto& span_of) {
        for (const std::string& secret : secrets) {
            for (size_t at = secret.empty() ? std::string::npos : decoded.find(secret); at != std::string::npos;
                 at = decoded.find(secret, at + 1)) {
                masked.emplace_back(span_of(at).first, span_of(at + secret.size() - 1).second);
            }
        }
    };
    find_all(text, [](size_t at) { return std::pair<size_t, size_t>(at, at + 1); });
    // The decoded readings only where the text holds an escape: they cost memory.
    for (const auto& [present, decode] : {std::pair{"\\", &JsonUnescaped}, std::pair{"%+", &UrlDecoded}}) {
        if (text.find_first_of(present) != std::string::npos) {
            const DecodedView view = decode(text);
            find_all(view.text, [&view](size_t at) { return view.spans[at]; });
        }
    }
    if (masked.empty()) {
        return text;
    }
    std::sort(masked.begin(), masked.end());
    std::string result;
    size_t copied = 0;
    for (size_t i = 0; i < masked.size();) {
        const size_t begin = masked[i].first;
        size_t end = masked[i].second;
        for (++i; i < masked.size() && masked[i].first <= end; ++i) {
            end = std::max(end, masked[i].second);  // overlapping spellings become one mask
        }
        result.append(text, copied, begin - copied).append(kMask);
        copied = end;
    }
    return result.append(text, copied, std::string::npos);
}

// The texts of every value under a secret name (every leaf of an object or list there).
void CollectSecretValues(const Json::Value& value, bool secret, std::vector<std::string>& into) {
    if (value.isObject()) {
        for (auto member = value.begin(); member != value.end(); ++member) {
            const char* end = nullptr;
            const char* name = member.memberName(&end);
            CollectSecretValues(*member, secret || IsSecretKey(std::string_view(name, end - name)), into);
        }
    } else if (value.isArray()) {
        for (const Json::Value& each : value) {
            CollectSecretValues(each, secret, into);
        }
    } else if (secret && !value.isNull()) {
        std::string text = TextOf(value);
        if (text != kMask) {
            into.push_back(std::move(text));
        }
    }
}

// The secrets held, oldest first, and the same as a set: noted on every
// token read, so asking whether one is known must cost little.
struct Held {
    std::mutex mutex;
    std::deque<std::string> order;
    std::unordered_set<std::string> known;
};

Held& HeldSecretsKept() {
    static Held held;
    return held;
}

// With the held secrets' mutex taken.
void NoteHeld(Held& held, const std::string& value) {
    if (value.empty() || !held.known.insert(value).second) {
        return;
    }
    held.order.push_back(value);
    if (held.order.size() > kHeldSecretsKept) {
        held.known.erase(held.order.front());
        held.order.pop_front();
    }
}
}  // namespace

bool IsSecretKey(std::string_view key) {
    for (const char* secret : kSecretKeys) {
        if (key == secret) {
            return true;
        }
    }
    return false;
}

std::string Redacted(const std::string& body, const std::vector<std::string>& sent) {
    std::vector<std::string> secrets = HeldSecrets();
    secrets.insert(secrets.end(), sent.begin(), sent.end());
    for (const std::string& secret : secrets) {
        if (!secret.empty() && secret.size() < kShortestMaskable) {
            return "";  // masked one character at a time, it would spell itself out
        }
    }
    // Values under a secret name (in an object or list there, or under a name
    // spelt with escapes) are masked wherever else the body repeats them;
    // those too short for that are masked only where they stand.
    Json::Value parsed;
    if (TryParseJson(body, parsed)) {
        std::vector<std::string> found;
        CollectSecretValues(parsed, false, found);
        std::copy_if(found.begin(), found.end(), std::back_inserter(secrets),
                     [](const std::string& value) { return value.size() >= kShortestMaskable; });
    }
    std::string text = body;
    for (const char* key : kSecretKeys) {
        MaskJsonMembers(text, key);
        MaskFormFields(text, key);
    }
    text = MaskEverySpelling(text, secrets);
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

void NoteHeldSecret(const std::string& value) {
    Held& held = HeldSecretsKept();
    const std::lock_guard<std::mutex> guard(held.mutex);
    NoteHeld(held, value);
}

void NoteHeldSecrets(const Json::Value& value) {
    std::vector<std::string> found;
    CollectSecretValues(value, false, found);
    Held& held = HeldSecretsKept();
    const std::lock_guard<std::mutex> guard(held.mutex);
    for (const std::string& each : found) {
        NoteHeld(held, each);
    }
}

std::vector<std::string> HeldSecrets() {
    Held& held = HeldSecretsKept();
    const std::lock_guard<std::mutex> guard(held.mutex);
    return {held.order.begin(), held.order.end()};
}

}  // namespace quilkova::internal
