#ifndef QUILKOVA_FOUNDATION_WAITS_HPP
#define QUILKOVA_FOUNDATION_WAITS_HPP

// How long the library waits for another process or for a peer. Production
// never changes these. The test programs link the library's objects, not the
// shared library (which does not export this), and shorten them so that a
// held lock or a silent peer costs them a second instead of half a minute.
#include <chrono>

namespace quilkova::internal {

struct Waits {
    unsigned int lock_seconds = 30;               // each of the library's own FileLocks
    std::chrono::milliseconds ddns_answer{3000};  // the DDNS tool's line, during the scan
    long sender_short_seconds = 15;               // the flat sender's short time-out class
    long sender_long_seconds = 120;               // and its long one
    std::chrono::milliseconds sender_pause{1000};  // between the sender's attempts
    std::chrono::milliseconds request_timeout{30000};  // each request of the classes
};

Waits& CurrentWaits();

}  // namespace quilkova::internal

#endif
