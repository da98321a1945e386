#ifndef QUILKOVA_TESTS_LOG_CAPTURE_HPP
#define QUILKOVA_TESTS_LOG_CAPTURE_HPP

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/log.hpp"

namespace quilkova::test {

// The sink in place when no LogCapture is: a QuietLog's while one lives, else
// none (syslog).
inline internal::LogSink& DefaultLogSink() {
    static internal::LogSink sink;
    return sink;
}

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
    ~LogCapture() { internal::SetLogSink(DefaultLogSink()); }
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

// For its lifetime, fails the test when the library reports a failure of
// its own housekeeping (a restore, a removal, a mode, a record it could not
// keep whole) that the test did not provoke: a test that provokes one holds
// a LogCapture and checks the line itself.
class QuietLog {
public:
    QuietLog() {
        DefaultLogSink() = [this](int, const std::string& text) {
            static const char* const kPhrases[] = {
                "Failed to restore", "Failed to clear", "Failed to unlink", "Failed to close", "chmod failed",
                "chown failed", "ERROR: ", "WARNING: ", "Value of ", "Unexpected structure", "Failed to save json",
                "Failed to add crontab", "RegisterApiKey failed", "Send notification failed",
                "Failed to register apikey", "Failed to set user", "Cant set kova account", "to set time-out",
                "Failed to do plugin", "Failed to set notify param", "Failed to send notify"};
            if (std::any_of(std::begin(kPhrases), std::end(kPhrases),
                            [&text](const char* phrase) { return text.find(phrase) != std::string::npos; })) {
                const std::lock_guard<std::mutex> hold(mutex_);
                unexpected_ += "  " + text + "\n";
            }
        };
        internal::SetLogSink(DefaultLogSink());
    }
    ~QuietLog() {
        DefaultLogSink() = nullptr;
        internal::SetLogSink(nullptr);
        EXPECT_EQ(unexpected_, "") << "housekeeping failures nobody provoked";
    }
    QuietLog(const QuietLog&) = delete;
    QuietLog& operator=(const QuietLog&) = delete;

private:
    std::mutex mutex_;
    std::string unexpected_;
};

}  // namespace quilkova::test

#endif
