#include "quilkova/backtrace.hpp"

#include <cxxabi.h>
#include <execinfo.h>

#include <cstdlib>
#include <memory>

namespace quilkova {

namespace {
constexpr const char* kEmpty = "- empty";

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};

// "module(name+offset) [address]" -> "- module: name +offset"; anything
// else (no name, no offset) is kept as it stands behind "- ".
std::string FrameLine(const Backtrace& self, const std::string& text) {
    const size_t open = text.find('(');
    const size_t plus = open == std::string::npos ? std::string::npos : text.find('+', open);
    const size_t close = plus == std::string::npos ? std::string::npos : text.find(')', plus);
    if (close == std::string::npos || plus == open + 1) {
        return "- " + text;
    }
    const std::string module = text.substr(0, open);
    const std::string name = text.substr(open + 1, plus - open - 1);
    const std::string offset = text.substr(plus + 1, close - plus - 1);
    return "- " + module + ": " + self.FormatFunctionName(name.c_str()) + " +" + offset;
}
}  // namespace

void Backtrace::Capture(int depth) {
    lines_.clear();
    std::unique_ptr<void*[]> frames(new void*[depth > 0 ? depth : 1]);
    const int count = depth > 0 ? ::backtrace(frames.get(), depth) : 0;
    if (count <= 0) {
        lines_.emplace_back(kEmpty);
        return;
    }
    std::unique_ptr<char*, FreeDeleter> symbols(::backtrace_symbols(frames.get(), count));
    if (count < 2 || !symbols) {
        lines_.emplace_back(kEmpty);
        return;
    }
    // Frame 0 is Capture itself.
    for (int i = 1; i < count; ++i) {
        lines_.push_back(FrameLine(*this, symbols.get()[i]));
    }
}

void Backtrace::EachLine(std::function<void(const std::string&)> fn) const {
    if (!fn) {
        throw std::bad_function_call();
    }
    for (const std::string& line : lines_) {
        fn(line);
    }
}

std::string Backtrace::FormatFunctionName(const char* symbol) const {
    if (symbol == nullptr) {
        return "";
    }
    int status = 0;
    std::unique_ptr<char, FreeDeleter> demangled(abi::__cxa_demangle(symbol, nullptr, nullptr, &status));
    if (status != 0 || !demangled) {
        return symbol;
    }
    return demangled.get();
}

std::ostream& operator<<(std::ostream& out, const Backtrace& backtrace) {
    backtrace.EachLine([&out](const std::string& line) { out << line << std::endl; });
    return out;
}

}  // namespace quilkova
