#include "console.hpp"

#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "quilkova/quilkova.h"

namespace quilkova::tool {

namespace {
std::string OneLine(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

// Echo off for the lifetime of the object, when standard input is a terminal.
class QuietTerminal {
public:
    QuietTerminal() : active_(::tcgetattr(STDIN_FILENO, &saved_) == 0) {
        if (active_) {
            termios quiet = saved_;
            quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
        }
    }
    ~QuietTerminal() {
        if (active_) {
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved_);
            std::fputs("\n", stderr);
        }
    }
    QuietTerminal(const QuietTerminal&) = delete;
    QuietTerminal& operator=(const QuietTerminal&) = delete;

private:
    termios saved_{};
    bool active_;
};
}  // namespace

const char* CodeName(int code) {
    switch (code) {
        case KOVA_ERR_SUCCESS: return "KOVA_ERR_SUCCESS";
        case KOVA_ERR_BAD_PARAM: return "KOVA_ERR_BAD_PARAM";
        case KOVA_ERR_BAD_JSON: return "KOVA_ERR_BAD_JSON";
        case KOVA_ERR_NO_ACCOUNT: return "KOVA_ERR_NO_ACCOUNT";
        case KOVA_ERR_SEND: return "KOVA_ERR_SEND";
        case KOVA_ERR_RESPONSE: return "KOVA_ERR_RESPONSE";
        case KOVA_ERR_SYSTEM: return "KOVA_ERR_SYSTEM";
        case KOVA_ERR_PAYMENT_CONFIG: return "KOVA_ERR_PAYMENT_CONFIG";
        case KOVA_ERR_SERIAL: return "KOVA_ERR_SERIAL";
        case KOVA_ERR_AUTH: return "KOVA_ERR_AUTH";
        case KOVA_ERR_NETWORK: return "KOVA_ERR_NETWORK";
        case KOVA_ERR_ACCOUNT_IN_USE: return "KOVA_ERR_ACCOUNT_IN_USE";
        case KOVA_ERR_SERIAL_MAX_ACCOUNTS: return "KOVA_ERR_SERIAL_MAX_ACCOUNTS";
        case KOVA_ERR_ACCOUNT_UNVERIFIED: return "KOVA_ERR_ACCOUNT_UNVERIFIED";
        case KOVA_ERR_CONFIG_WRITE: return "KOVA_ERR_CONFIG_WRITE";
        case KOVA_ERR_MAC: return "KOVA_ERR_MAC";
        case KOVA_ERR_TOKEN: return "KOVA_ERR_TOKEN";
        case KOVA_ERR_SERVER_CONFIG: return "KOVA_ERR_SERVER_CONFIG";
        case KOVA_ERR_UNKNOWN: return "KOVA_ERR_UNKNOWN";
        case KOVA_ERR_ACCOUNT_NOT_FOUND: return "KOVA_ERR_ACCOUNT_NOT_FOUND";
        case KOVA_ERR_APIKEY_NOT_FOUND: return "KOVA_ERR_APIKEY_NOT_FOUND";
        case KOVA_ERR_APIKEY_EXPIRED: return "KOVA_ERR_APIKEY_EXPIRED";
        default: return "KOVA_ERR_UNKNOWN";
    }
}

int Console::Error(int code, const std::string& text) const {
    if (json_) {
        Json::Value error;
        error["error"]["code"] = code;
        error["error"]["name"] = CodeName(code);
        error["error"]["text"] = text;
        std::cerr << OneLine(error) << std::endl;
    } else {
        std::cerr << "quilkova: error " << code << " (" << CodeName(code) << "): " << text << std::endl;
    }
    return 1;
}

int Console::Failed(int code) const {
    return Error(code, GetKovaErrorMsg(code));
}

void Console::Show(const Json::Value& value, const std::vector<std::pair<std::string, std::string>>& lines) const {
    if (json_) {
        std::cout << OneLine(value) << std::endl;
        return;
    }
    for (const auto& [label, text] : lines) {
        std::cout << label << ": " << text << "\n";
    }
    std::cout.flush();
}

void Console::Say(const std::string& line, const Json::Value& json) const {
    if (json_) {
        std::cout << OneLine(json) << std::endl;
    } else {
        std::cout << line << std::endl;
    }
}

bool ReadSecret(const char* prompt, std::string& secret) {
    const bool terminal = ::isatty(STDIN_FILENO) == 1;
    if (terminal) {
        std::fputs(prompt, stderr);
    }
    const QuietTerminal quiet;
    return static_cast<bool>(std::getline(std::cin, secret));
}

}  // namespace quilkova::tool
