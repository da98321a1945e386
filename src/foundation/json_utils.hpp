#ifndef QUILKOVA_FOUNDATION_JSON_UTILS_HPP
#define QUILKOVA_FOUNDATION_JSON_UTILS_HPP

#include <json/json.h>

#include <cstdint>
#include <string>

#include "foundation/log.hpp"
#include "foundation/redact.hpp"
#include "foundation/result.hpp"

namespace quilkova::internal {

// Strict parse (an object or an array at the root, nothing after it),
// comments allowed. Never throws; hostile input gives false.
bool TryParseJson(const std::string& text, Json::Value& out);

// The styled text of a value, as the JSON files hold it.
std::string JsonToText(const Json::Value& value);
// The text of a value on one line, as requests carry it.
std::string CompactJson(const Json::Value& value);

// The largest token file the library writes: the room a token set is
// reserved before it is asked for. Answers are capped at 1 MiB; what they
// hold is stored escaped, so a file may be larger than its answer.
constexpr size_t kLargestTokenFile = 2 * 1024 * 1024;

// Writes `value` to the library path `path` (under the root prefix)
// atomically; mode 0600 for private and /tmp/account_* files, 0644 otherwise.
// 0 or an errno value; EFBIG, with nothing written, when its text is larger than `largest`.
int WriteJsonFile(const std::string& path, const Json::Value& value, size_t largest = SIZE_MAX);
// 0 when the library path `path` could take a JSON file of kLargestTokenFile
// bytes now, else an errno value (see ProbeReplaceable).
int ProbeJsonFile(const std::string& path);

// Reads the whole file at the library path `path`, never through a link.
// False when it is missing or unreadable (no log).
bool ReadJsonFileText(const std::string& path, std::string& text);

// Lenient readers of members of untrusted documents; they never throw.
// Texts as they are, numbers and booleans as their text, anything else "".
std::string TextOf(const Json::Value& value);
bool IsText(const Json::Value& value);
// true and false, integers (non-zero is true), "true"/"yes"/"1"; anything else false.
bool FlagOf(const Json::Value& value);

inline bool ParseJson(const std::string& text, Json::Value& out) {
    if (TryParseJson(text, out)) {
        return true;
    }
    KOVA_LOG(LOG_ERR, "Failed to parse json: %s", Redacted(text).c_str());
    return false;
}

// Loads a JSON file; a missing file or a parse failure gives false.
inline bool LoadJsonFile(const std::string& path, Json::Value& out) {
    std::string text;
    return ReadJsonFileText(path, text) && ParseJson(text, out);
}

// A save's failure (`error` not 0) logged and given as code 2.
inline Status SaveOutcome(int error, const std::string& path) {
    if (error != 0) {
        KOVA_LOG(LOG_ERR, "Failed to save json: %s", path.c_str());
        return Error{KOVA_ERR_BAD_JSON};
    }
    return Done{};
}

// Saves a JSON file atomically; failure logs and gives code 2.
[[nodiscard]] inline Status SaveJsonFile(const std::string& path, const Json::Value& value,
                                         size_t largest = SIZE_MAX) {
    return SaveOutcome(WriteJsonFile(path, value, largest), path);
}

// What SaveJsonFile would give when `path` cannot take a file now: asked
// before a token set is obtained, which must not be obtained only to be lost.
[[nodiscard]] inline Status RequireSavable(const std::string& path) {
    return SaveOutcome(ProbeJsonFile(path), path);
}

}  // namespace quilkova::internal

#endif
