#ifndef QUILKOVA_TESTS_LOG_CAPTURE_HPP
#define QUILKOVA_TESTS_LOG_CAPTURE_HPP

#include <string>
#include <vector>

#include "foundation/log.hpp"

namespace quilkova::test {

// Collects the library's log lines instead of sending them to syslog.
class LogCapture {
public:
    struct Line {
        int priority;
        std::string text;
    };

    LogCapture() {
        internal::SetLogSink([this](int priority, const std::string& text) { lines_.push_back({priority, text}); });
    }
    ~LogCapture() { internal::SetLogSink(nullptr); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<Line>& lines() const { return lines_; }
    // True when some line contains `text`.
    bool Contains(const std::string& text) const {
        for (const Line& line : lines_) {
            if (line.text.find(text) != std::string::npos) {
                return true;
            }
        }
        return false;
    }
    // Every line, one per row, for failure messages.
    std::string Dump() const {
        std::string all;
        for (const Line& line : lines_) {
            all += "  [" + std::to_string(line.priority) + "] " + line.text + "\n";
        }
        return all;
    }

private:
    std::vector<Line> lines_;
};

}  // namespace quilkova::test

#endif
