#ifndef QUILKOVA_FOUNDATION_LOG_HPP
#define QUILKOVA_FOUNDATION_LOG_HPP

#include <syslog.h>

#include <functional>
#include <string>

namespace quilkova::internal {

// Formats one diagnostic and sends it to syslog. The format begins with
// "%s:%d " for the source file's base name and line; KOVA_LOG writes that
// beginning and its values itself. errno is preserved, so "%m" shows the
// caller's error.
void LogLine(int priority, const char* fmt, ...) __attribute__((format(printf, 2, 3)));

const char* SourceBaseName(const char* path);

// Test hook: while a sink is installed, lines go to it instead of syslog.
using LogSink = std::function<void(int priority, const std::string& line)>;
void SetLogSink(LogSink sink);

// A source line a shared step logs as: the operation's own (KOVA_HERE), so
// that its log lines name the operation that failed, not the step.
struct Where {
    const char* file;
    int line;
};

}  // namespace quilkova::internal

// KOVA_LOG(priority, "message %s", value): the line "<file>:<line> message <value>".
#define KOVA_LOG(priority, fmt, ...)                                                                        \
    ::quilkova::internal::LogLine((priority), "%s:%d " fmt, ::quilkova::internal::SourceBaseName(__FILE__), \
                                  __LINE__, ##__VA_ARGS__)
#define KOVA_HERE (::quilkova::internal::Where{__FILE__, __LINE__})
// KOVA_LOG at priority error, as written at `where`.
#define KOVA_LOG_AT(where, fmt, ...)                                                                               \
    ::quilkova::internal::LogLine(LOG_ERR, "%s:%d " fmt, ::quilkova::internal::SourceBaseName((where).file), \
                                  (where).line, ##__VA_ARGS__)

#endif
