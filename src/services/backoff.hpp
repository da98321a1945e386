#ifndef QUILKOVA_INTERNAL_BACKOFF_HPP
#define QUILKOVA_INTERNAL_BACKOFF_HPP

#include <chrono>
#include <string>

#include "foundation/result.hpp"
#include "transport/http.hpp"
#include "util/backoff_state.hpp"

// A very large fleet shares one service. When it is down (no answer, a reset,
// a time-out, 5xx, 429), every appliance spaces its attempts for a client out
// exponentially, with full jitter, across calls and processes: the state is
// a small file beside the client's token file, replaced whole. The wait is
// measured on the boot-time clock, which all processes share and setting the
// clock does not move; a reboot ends it.
namespace quilkova::internal {

class Backoff {
public:
    static constexpr std::chrono::seconds kFirstStep{1};
    static constexpr std::chrono::seconds kLongestStep{300};
    static constexpr std::chrono::seconds kLongestRetryAfter = kLongestBackoffWait;

    using State = BackoffState;

    explicit Backoff(const std::string& client);

    State Read() const;
    // The recorded failure (its code; a message saying when the next attempt
    // is due) while the wait after it lasts.
    Status RequireDue() const;
    // The failure recorded since `since_boot_ms` (BootMillis), if one was,
    // whether or not its wait is over: the outcome of an attempt another
    // process made while this one waited for it.
    Status RequireNoFailureSince(long long since_boot_ms) const;
    // Notes an answer of the attempt under way: whether the service was
    // unavailable, and for how long it asked to be left alone.
    void Saw(const http::Response& response) const;

    // One network attempt for the client: refused at once while a wait
    // lasts; a failure after an unavailable service lengthens the wait, any
    // other outcome ends it. The caller holds the client's save lock.
    template <typename Attempt>
    Status Run(Attempt&& attempt) const {
        KOVA_TRY_STATUS(RequireDue());
        unavailable_ = false;
        retry_after_ = std::chrono::seconds(0);
        Status outcome = attempt();
        if (!outcome && unavailable_) {
            Lengthen(outcome.error());
        } else {
            Clear();
        }
        return outcome;
    }

    void Clear() const;
    // Every client's state goes: a new login or a logout starts afresh.
    static void ClearAll();

private:
    void Lengthen(const Error& failure) const;

    std::string client_;
    mutable bool unavailable_ = false;
    mutable std::chrono::seconds retry_after_{0};
};

}  // namespace quilkova::internal

#endif
