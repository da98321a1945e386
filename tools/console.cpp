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

// Whether a code point must not reach a terminal: C0 and C1 controls, DEL,
// and the marks and overrides that reorder text (U+061C, U+200E, U+200F,
// U+202A-U+202E, U+2066-U+2069), which could make a line read otherwise.
bool IsHidden(unsigned long code) {
    return code < 0x20 || (code >= 0x7f && code <= 0x9f) || code == 0x61c || code == 0x200e || code == 0x200f ||
           (code >= 0x202a && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
}

// The length of the UTF-8 sequence at `at` and its code point; 0 when none is there.
size_t Utf8At(const std::string& text, size_t at, unsigned long& code) {
    const auto byte = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    const size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xe ? 3 : (lead >> 3) == 0x1e ? 4 : 0;
    if (length == 0 || at + length > text.size()) {
        return 0;
    }
    code = length == 1 ? lead : lead & (0x7f >> length);
    for (size_t i = at + 1; i < at + length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) {
            return 0;
        }
        code = (code << 6) | (byte(i) & 0x3f);
    }
    return length;
}

// The text with every character that could move the cursor, retitle the
// terminal or reorder what it shows as "?", and every byte that is no UTF-8.
std::string Printable(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size();) {
        unsigned long code = 0;
        const size_t length = Utf8At(text, i, code);
        if (length == 0 || IsHidden(code)) {
            out += '?';
            i += length == 0 ? 1 : length;
        } else {
            out.append(text, i, length);
            i += length;
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

SecretLine ReadSecret(const char* prompt, std::string& secret) {
    const bool terminal = ::isatty(STDIN_FILENO) == 1;
    if (terminal) {
        std::fputs(prompt, stderr);
    }
    const QuietTerminal quiet;
    secret.clear();
    for (char c = 0; std::cin.get(c);) {
        if (c == '\n') {
            return SecretLine::kRead;
        }
        if (secret.size() == kLongestSecretLine) {
            secret.clear();
            return SecretLine::kTooLong;
        }
        secret += c;
    }
    return secret.empty() ? SecretLine::kMissing : SecretLine::kRead;  // a last line without its break
}

}  // namespace quilkova::tool
