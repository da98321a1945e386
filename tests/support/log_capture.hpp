#ifndef QUILKOVA_TESTS_LOG_CAPTURE_HPP
#define QUILKOVA_TESTS_LOG_CAPTURE_HPP

#include <string>
#include <vector>

namespace quilkova::test {

// Collects the library's log lines instead of sending them to syslog.
class LogCapture {
public:
    struct Line {
        int priority;
        std::string text;
    };

    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<Line>& lines() const { return lines_; }
    // True when some line contains `text`.
    bool Contains(const std::string& text) const;
    // Every line, one per row, for failure messages.
    std::string Dump() const;

private:
    std::vector<Line> lines_;
};

}  // namespace quilkova::test

#endif
