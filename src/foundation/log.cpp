#include "foundation/log.hpp"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

namespace quilkova::internal {

namespace {
LogSink& Sink() {
    static LogSink sink;
    return sink;
}
}  // namespace

const char* SourceBaseName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

void SetLogSink(LogSink sink) {
    Sink() = std::move(sink);
}

void LogLine(int priority, const char* fmt, ...) {
    const int saved_errno = errno;
    // A fixed buffer: logging must work when nothing else can be allocated.
    char line[2048];
    va_list args;
    va_start(args, fmt);
    errno = saved_errno;
    std::vsnprintf(line, sizeof(line), fmt, args);
    va_end(args);

    if (Sink()) {
        try {
            Sink()(priority, line);
        } catch (...) {
            // A test sink that fails must not turn a log line into a failure.
        }
    } else {
        syslog(priority, "%s", line);
    }
    errno = saved_errno;
}

}  // namespace quilkova::internal
