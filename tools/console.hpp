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

class Console {
public:
    explicit Console(bool json) : json_(json) {}

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
    bool json_;
};

// A secret read from standard input: a line of it when it is not a terminal,
// else typed at a prompt on the terminal without echo. False at end of input.
bool ReadSecret(const char* prompt, std::string& secret);

}  // namespace quilkova::tool

#endif
