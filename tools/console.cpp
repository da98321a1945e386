#include "console.hpp"

#include <termios.h>
#include <unistd.h>

#include <csignal>
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

// The terminal as it was before the echo went off, for the signal handler.
termios g_saved_terminal;

void RestoreTerminalAndDie(int signal) {
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &g_saved_terminal);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// Echo off for the lifetime of the object, when standard input is a terminal;
// an interrupt, a hang-up or a termination meanwhile gives the echo back first.
class QuietTerminal {
public:
    QuietTerminal() : active_(::tcgetattr(STDIN_FILENO, &g_saved_terminal) == 0) {
        if (active_) {
            for (const int signal : kSignals) {
                std::signal(signal, RestoreTerminalAndDie);
            }
            termios quiet = g_saved_terminal;
            quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
        }
    }
    ~QuietTerminal() {
        if (active_) {
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &g_saved_terminal);
            for (const int signal : kSignals) {
                std::signal(signal, SIG_DFL);
            }
            std::fputs("\n", stderr);
        }
    }
    QuietTerminal(const QuietTerminal&) = delete;
    QuietTerminal& operator=(const QuietTerminal&) = delete;

private:
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
    bool active_;
};

// The text without control characters (ESC among them, and the C1 controls
// U+0080-U+009F): what a server sent must not move the cursor or retitle the
// terminal.
std::string Printable(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
            static_cast<unsigned char>(text[i + 1]) <= 0x9f) {
            ++i;
            out += '?';
        } else if (c < 0x20 || c == 0x7f) {
            out += '?';
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}
}  // namespace

const char* CodeName(int code) {
    // Each name written once: the enumerator, stringized.
#define QUILKOVA_CODE_NAME(name) \
    case name:                   \
        return #name;
    switch (code) {
        QUILKOVA_CODE_NAME(KOVA_ERR_SUCCESS)
        QUILKOVA_CODE_NAME(KOVA_ERR_BAD_PARAM)
        QUILKOVA_CODE_NAME(KOVA_ERR_BAD_JSON)
        QUILKOVA_CODE_NAME(KOVA_ERR_NO_ACCOUNT)
        QUILKOVA_CODE_NAME(KOVA_ERR_SEND)
        QUILKOVA_CODE_NAME(KOVA_ERR_RESPONSE)
        QUILKOVA_CODE_NAME(KOVA_ERR_SYSTEM)
        QUILKOVA_CODE_NAME(KOVA_ERR_PAYMENT_CONFIG)
        QUILKOVA_CODE_NAME(KOVA_ERR_SERIAL)
        QUILKOVA_CODE_NAME(KOVA_ERR_AUTH)
        QUILKOVA_CODE_NAME(KOVA_ERR_NETWORK)
        QUILKOVA_CODE_NAME(KOVA_ERR_ACCOUNT_IN_USE)
        QUILKOVA_CODE_NAME(KOVA_ERR_SERIAL_MAX_ACCOUNTS)
        QUILKOVA_CODE_NAME(KOVA_ERR_ACCOUNT_UNVERIFIED)
        QUILKOVA_CODE_NAME(KOVA_ERR_CONFIG_WRITE)
        QUILKOVA_CODE_NAME(KOVA_ERR_MAC)
        QUILKOVA_CODE_NAME(KOVA_ERR_TOKEN)
        QUILKOVA_CODE_NAME(KOVA_ERR_SERVER_CONFIG)
        QUILKOVA_CODE_NAME(KOVA_ERR_UNKNOWN)
        QUILKOVA_CODE_NAME(KOVA_ERR_ACCOUNT_NOT_FOUND)
        QUILKOVA_CODE_NAME(KOVA_ERR_APIKEY_NOT_FOUND)
        QUILKOVA_CODE_NAME(KOVA_ERR_APIKEY_EXPIRED)
        default:
            return "KOVA_ERR_UNKNOWN";
    }
#undef QUILKOVA_CODE_NAME
}

int Console::Error(int code, const std::string& text) const {
    if (json_) {
        Json::Value error;
        error["error"]["code"] = code;
        error["error"]["name"] = CodeName(code);
        error["error"]["text"] = text;
        std::cerr << OneLine(error) << std::endl;
    } else {
        std::cerr << "quilkova: error " << code << " (" << CodeName(code) << "): " << Printable(text) << std::endl;
    }
    return 1;
}

int Console::Failed(int code) const {
    return Error(code, GetKovaErrorMsg(code));
}

void Console::Print(const Json::Value& value) const {
    if (show_auth_key_ || !value.isObject() || !value.isMember("auth_key")) {
        std::cout << OneLine(value) << std::endl;
        return;
    }
    Json::Value shown = value;
    shown.removeMember("auth_key");
    std::cout << OneLine(shown) << std::endl;
}

void Console::Show(const Json::Value& value, const std::vector<std::pair<std::string, std::string>>& lines) const {
    if (json_) {
        Print(value);
        return;
    }
    for (const auto& [label, text] : lines) {
        std::cout << label << ": " << Printable(text) << "\n";
    }
    std::cout.flush();
}

void Console::Say(const std::string& line, const Json::Value& json) const {
    if (json_) {
        Print(json);
    } else {
        std::cout << Printable(line) << std::endl;
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
