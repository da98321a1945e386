// The spacing of a client's network attempts while the service is down.
#include "test_prelude.hpp"

#include <algorithm>
#include <cctype>

#include "services/backoff.hpp"

namespace {

// Whether `text` ends in `shape`, a "0" of which stands for any digit.
bool EndsInShape(const std::string& text, const std::string& shape) {
    const auto matches = [](char wanted, char seen) {
        return wanted == '0' ? std::isdigit(static_cast<unsigned char>(seen)) != 0 : wanted == seen;
    };
    return text.size() >= shape.size() &&
           std::equal(shape.begin(), shape.end(), text.end() - static_cast<std::ptrdiff_t>(shape.size()), matches);
}

// The wait on record: believed only in the boot that wrote it and up to an
// hour; a 429 or 5xx sets at least what "Retry-After" asks (seconds or a date).
TEST(Backoff, ReadsOnlyBelievableWaitsAndHonoursRetryAfter) {
    TempRoot root;
    const internal::Backoff backoff("hos");
    const auto state = [](const std::string& boot_id, long long due_in_ms, const std::string& code = "4") {
        return "{\"failures\": 1, " + (code.empty() ? "" : "\"code\": " + code + ", ") +
               "\"message\": \"m\", \"boot_id\": \"" + boot_id +
               "\", \"failed_boot_ms\": " + std::to_string(internal::BootMillis()) +
               ", \"due_boot_ms\": " + std::to_string(internal::BootMillis() + due_in_ms) + "}";
    };
    std::ifstream kernel("/proc/sys/kernel/random/boot_id");  // a reboot gives another, which ends every wait
    std::string boot;
    std::getline(kernel, boot);
    // the file, the code of a call while it is on record (0: no wait)
    const std::vector<std::pair<std::string, int>> files = {
        {state(boot, 10000), KOVA_ERR_SEND}, {state(boot, 10000, ""), KOVA_ERR_RESPONSE},
        {state("another-boot", 10000), 0}, {state(internal::BootId(), 7200 * 1000), 0},
        {state(internal::BootId(), -1000), 0}, {"{broken", 0}, {"[]", 0}};
    for (const auto& [file, code] : files) {
        root.WriteFile(kHosBackoff, file);
        EXPECT_EQ(backoff.Read().left.count() > 0, code != 0) << file;
        const internal::Status due = backoff.RequireDue();
        EXPECT_EQ(CodeOf(due), code) << file;
        EXPECT_TRUE(code == 0 || EndsInShape(due.error().message, ", at 0000-00-00T00:00:00Z")) << due.error().message;
    }
    // A caller that waited reports a failure recorded while it waited, none from before.
    root.WriteFile(kHosBackoff, state(boot, 10000));
    EXPECT_EQ(CodeOf(backoff.RequireNoFailureSince(internal::BootMillis() - 60000)), KOVA_ERR_SEND);
    EXPECT_EQ(CodeOf(backoff.RequireNoFailureSince(internal::BootMillis() + 60000)), KOVA_ERR_SUCCESS);
    // What counts as the service not being there: no answer, 5xx, 429.
    LogCapture log;
    for (const auto& [status, unavailable] : std::vector<std::pair<long, bool>>{
             {0, true}, {500, true}, {599, true}, {429, true}, {499, false}, {428, false}, {400, false}}) {
        backoff.Clear();
        http::Response answer;
        answer.status_code = status;
        answer.error.code = status == 0 ? http::ErrorCode::CONNECTION_FAILURE : http::ErrorCode::OK;
        (void)backoff.Run([&]() -> internal::Status {
            backoff.Saw(answer);
            return internal::Error{KOVA_ERR_RESPONSE, "failed"};
        });
        EXPECT_EQ(backoff.Read().failures, unavailable ? 1 : 0) << status;
    }
    EXPECT_FALSE(log.Contains("Failed")) << "clearing a wait that is not there fails nothing" << log.Dump();
    char date[64];
    const std::time_t in_a_minute = std::time(nullptr) + 60;
    std::tm utc{};
    std::strftime(date, sizeof(date), "%a, %d %b %Y %H:%M:%S GMT", gmtime_r(&in_a_minute, &utc));
    for (const auto& [retry_after, seconds] : std::vector<std::pair<std::string, long long>>{
             {"120", 120}, {date, 60}, {"tomorrow", 0}, {std::string(date) + " or later", 0}}) {
        backoff.Clear();
        http::Response busy;
        busy.status_code = 429;
        busy.retry_after = retry_after;
        EXPECT_EQ(CodeOf(backoff.Run([&]() -> internal::Status {
                      backoff.Saw(busy);
                      return internal::Error{KOVA_ERR_AUTH, "busy"};
                  })),
                  KOVA_ERR_AUTH);
        const internal::Backoff::State recorded = backoff.Read();
        EXPECT_NEAR(static_cast<double>(recorded.left.count()) / 1000, seconds, 2.0) << retry_after;
        EXPECT_EQ(recorded.code, KOVA_ERR_RESPONSE) << "a refusal the service never made is recorded as 5";
    }
}

}  // namespace
