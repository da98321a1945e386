#include "log_capture.hpp"

#include "internal/log.hpp"

namespace quilkova::test {

LogCapture::LogCapture() {
    internal::SetLogSink([this](int priority, const std::string& text) { lines_.push_back({priority, text}); });
}

LogCapture::~LogCapture() {
    internal::SetLogSink(nullptr);
}

bool LogCapture::Contains(const std::string& text) const {
    for (const Line& line : lines_) {
        if (line.text.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::string LogCapture::Dump() const {
    std::string all;
    for (const Line& line : lines_) {
        all += "  [" + std::to_string(line.priority) + "] " + line.text + "\n";
    }
    return all;
}

}  // namespace quilkova::test
