#ifndef QUILKOVA_UTIL_BACKOFF_STATE_HPP
#define QUILKOVA_UTIL_BACKOFF_STATE_HPP

#include <chrono>
#include <string>

// The state file of a client's backoff (see pkce/backoff.hpp), read by the
// library and shown by the administrator's program.
namespace quilkova::internal {

// The longest wait the library records; a longer one is not believed.
constexpr std::chrono::seconds kLongestBackoffWait{3600};

struct BackoffState {
    int failures = 0;                    // in a row, since the last answer of the service
    long long due_at = 0;                // seconds since the epoch of the next attempt, for people
    long long due_boot_ms = 0;           // the same on the boot-time clock
    long long failed_boot_ms = 0;        // when the last failure was recorded, on that clock
    std::chrono::milliseconds left{0};   // before the next attempt; 0 when it is due
    int code = 0;                        // the last failure's code
    std::string message;                 // and its message
};

// Milliseconds since boot: one clock for every process, not moved by setting the time.
long long BootMillis();
// The boot this process runs in: a wait recorded in another one is over.
const std::string& BootId();

// The state in the file at the real path `path`; all empty when there is
// none or it cannot be read.
BackoffState ReadBackoffState(const std::string& path);
// Its text for the file.
std::string BackoffStateText(const BackoffState& state);

}  // namespace quilkova::internal

#endif
