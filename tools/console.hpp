#ifndef QUILKOVA_TOOLS_CONSOLE_HPP
#define QUILKOVA_TOOLS_CONSOLE_HPP

#include <json/json.h>

#include <string>
#include <utility>
#include <vector>

// What the quilkova program says, and how it asks for secrets.
namespace quilkova::tool {

// The enumerator's name of a code, e.g. "KOVA_ERR_AUTH".
const char* CodeName(int code);

// Results go to standard output: as JSON with --json, else as lines whose
// values are stripped of control characters (a server's text must not drive
// the terminal). The auth key is left out unless asked for.
class Console {
public:
    Console(bool json, bool show_auth_key) : json_(json), show_auth_key_(show_auth_key) {}

    // One failure on standard error: code, name and text (as a JSON object
    // with --json). The program's status for it: 1.
    int Error(int code, const std::string& text) const;
    // A library failure: the code and its text from the error slot.
    int Failed(int code) const;
    // A result: "label: value" lines, or the JSON value itself with --json.
    void Show(const Json::Value& value, const std::vector<std::pair<std::string, std::string>>& lines) const;
    void Say(const std::string& line, const Json::Value& json) const;
    bool json() const { return json_; }

private:
    void Print(const Json::Value& value) const;

    bool json_;
    bool show_auth_key_;
};

// The longest line of standard input taken as a secret.
constexpr size_t kLongestSecretLine = 4096;

enum class SecretLine { kRead, kMissing, kTooLong };

// A secret read from standard input: a line of it when it is not a terminal,
// else typed at a prompt on the terminal without echo (restored also when the
// program is interrupted there). kMissing at end of input; kTooLong for a line
// longer than kLongestSecretLine, of which no more than that is read.
SecretLine ReadSecret(const char* prompt, std::string& secret);

}  // namespace quilkova::tool

#endif
