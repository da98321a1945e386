#include "services/backoff.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <random>

#include "foundation/appliance_paths.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/json_utils.hpp"
#include "foundation/log.hpp"
#include "foundation/string_utils.hpp"
#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

namespace quilkova::internal {

namespace {
// "Retry-After" as seconds or as an HTTP date; 0 when absent or unreadable.
std::chrono::seconds RetryAfterOf(const std::string& value) {
    long long seconds = 0;
    if (!value.empty() && value.find_first_not_of("0123456789") == std::string::npos) {
        seconds = value.size() > 7 ? Backoff::kLongestRetryAfter.count() : std::stoll(value);
    } else if (!value.empty()) {
        std::tm date{};
        const char* end = ::strptime(value.c_str(), "%a, %d %b %Y %H:%M:%S GMT", &date);
        if (end != nullptr && *end == '\0') {
            seconds = static_cast<long long>(::timegm(&date)) - static_cast<long long>(std::time(nullptr));
        }
    }
    return std::chrono::seconds(std::clamp<long long>(seconds, 0, Backoff::kLongestRetryAfter.count()));
}

std::string UtcText(long long seconds) {
    const std::time_t when = static_cast<std::time_t>(seconds);
    std::tm date{};
    char text[32] = {};
    if (::gmtime_r(&when, &date) == nullptr || std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &date) == 0) {
        return "?";
    }
    return text;
}

// The failure on record, as given again (5 should a file hold no code).
Error FailureOf(const Backoff::State& state, const std::string& message) {
    return Error{state.code != 0 ? static_cast<KOVA_ERRCODE>(state.code) : KOVA_ERR_RESPONSE, message};
}

// A wait drawn at random up to the failure's step: a fleet that failed
// together does not come back together.
std::chrono::milliseconds JitteredStep(int failures) {
    const int doublings = std::min(failures - 1, 20);
    const auto step = std::min<std::chrono::milliseconds>(Backoff::kFirstStep * (1LL << doublings), Backoff::kLongestStep);
    static thread_local std::mt19937_64 random{std::random_device{}()};
    return std::chrono::milliseconds(std::uniform_int_distribution<long long>(0, step.count())(random));
}
}  // namespace

Backoff::Backoff(const std::string& client) : client_(client) {}

Backoff::State Backoff::Read() const {
    return ReadBackoffState(RootedPath(BackoffFilePath(client_)));
}

Status Backoff::RequireDue() const {
    const State state = Read();
    if (state.left.count() <= 0) {
        return Done{};
    }
    const long long seconds = (state.left.count() + 999) / 1000;
    return FailureOf(state, format("%s; the service is given time: the next attempt is due in %lld s, at %s",
                                  state.message.c_str(), seconds,
                                  UtcText(static_cast<long long>(std::time(nullptr)) + seconds).c_str()));
}

Status Backoff::RequireNoFailureSince(long long since_boot_ms) const {
    const State state = Read();
    if (state.failed_boot_ms >= since_boot_ms && state.failures > 0) {
        return FailureOf(state, state.message);
    }
    return Done{};
}

void Backoff::Saw(const http::Response& response) const {
    if (response.error.code != http::ErrorCode::OK || response.status_code >= 500 || response.status_code == 429) {
        unavailable_ = true;
        retry_after_ = std::max(retry_after_, RetryAfterOf(response.retry_after));
    }
}

void Backoff::Lengthen(const Error& failure) const {
    const int failures = Read().failures + 1;
    const std::chrono::milliseconds wait =
        std::max<std::chrono::milliseconds>(JitteredStep(failures), retry_after_);
    // The service was not there to refuse the account: what waits must never
    // read as its refusal (which would end the binding).
    const KOVA_ERRCODE code =
        failure.code == KOVA_ERR_AUTH || failure.code == KOVA_ERR_ACCOUNT_NOT_FOUND ? KOVA_ERR_RESPONSE : failure.code;
    State next;
    next.failures = failures;
    next.code = static_cast<int>(code);
    next.message = failure.message.empty() ? GetKovaErrorMsg(failure.code) : failure.message;
    next.failed_boot_ms = BootMillis();
    next.due_boot_ms = next.failed_boot_ms + wait.count();
    next.due_at = static_cast<long long>(std::time(nullptr)) + (wait.count() + 999) / 1000;
    const std::string path = RootedPath(BackoffFilePath(client_));
    if (ReplaceFileAtomically(path, BackoffStateText(next), 0600) != 0) {
        KOVA_LOG(LOG_ERR, "Failed to save json: %s", path.c_str());
    }
}

void Backoff::Clear() const {
    const std::string path = RootedPath(BackoffFilePath(client_));
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
        KOVA_LOG(LOG_ERR, "Failed to unlink %s", path.c_str());
    }
}

void Backoff::ClearAll() {
    for (const std::string& client : StemsEndingIn(RootedPath(kPrivateDirectory), "_backoff.json")) {
        Backoff(client).Clear();
    }
}

}  // namespace quilkova::internal
