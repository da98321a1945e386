#include <gtest/gtest.h>

#include <string>

#include "internal/string_utils.hpp"
#include "log_capture.hpp"

namespace {

using quilkova::format;

enum class TransportError { kOk = 0, kTimedOut = 28 };

TEST(Format, FormatsLikePrintfIntoAStringOfAnyLength) {
    EXPECT_EQ(format("%s", "abc"), "abc");
    EXPECT_EQ(format("Failed to lock file: %s", "/tmp/account_x.lock"), "Failed to lock file: /tmp/account_x.lock");
    EXPECT_EQ(format("code=%d, resp=%s", 400, "{}"), "code=400, resp={}");
    EXPECT_EQ(format("reqcode=%d, reqmsg=%s", TransportError::kTimedOut, "timed out"), "reqcode=28, reqmsg=timed out");
    EXPECT_EQ(format("no arguments"), "no arguments");
    const std::string long_text(5000, 'x');
    EXPECT_EQ(format("[%s]", long_text.c_str()), "[" + long_text + "]");
}

TEST(Format, AFormattingErrorLogsAndGivesEmptyText) {
    quilkova::test::LogCapture log;
    // An unpaired surrogate cannot be converted to a multibyte string: snprintf fails.
    const wchar_t invalid[] = {static_cast<wchar_t>(0xD800), 0};
    EXPECT_EQ(format("%ls", invalid), "");
    ASSERT_EQ(log.lines().size(), 1u) << log.Dump();
    EXPECT_EQ(log.lines()[0].priority, LOG_ERR);
    EXPECT_EQ(log.lines()[0].text.rfind("string_utils.hpp:", 0), 0u) << log.Dump();
    EXPECT_NE(log.lines()[0].text.find(" Failed to format: %ls"), std::string::npos) << log.Dump();
}

}  // namespace
