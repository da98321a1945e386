#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "quilkova/backtrace.hpp"

// Exported from the test program (it is linked with -rdynamic), so its frame
// has a symbol name to demangle.
namespace quilkova_test {
__attribute__((noinline, visibility("default"))) std::vector<std::string> CaptureInNamedFrame(int depth) {
    quilkova::Backtrace backtrace;
    backtrace.Capture(depth);
    std::vector<std::string> lines;
    backtrace.EachLine([&lines](const std::string& line) { lines.push_back(line); });
    asm volatile("" ::: "memory");  // keeps this frame from becoming a tail call
    return lines;
}
}  // namespace quilkova_test

namespace {

using quilkova::Backtrace;

TEST(Backtrace, CapturesReadableLinesWithinTheDepth) {
    const auto lines = quilkova_test::CaptureInNamedFrame(16);
    ASSERT_FALSE(lines.empty());
    EXPECT_LE(lines.size(), 15u);
    for (const std::string& line : lines) {
        EXPECT_EQ(line.rfind("- ", 0), 0u) << line;
    }
    // The caller of Capture is the innermost frame, demangled (under the
    // address sanitizer its interceptor of backtrace() adds one frame first).
    ASSERT_GE(lines.size(), 2u);
    const std::string& caller = lines[0].find("CaptureInNamedFrame") != std::string::npos ? lines[0] : lines[1];
    EXPECT_NE(caller.find(": quilkova_test::CaptureInNamedFrame"), std::string::npos) << lines[0] << "\n" << lines[1];
    EXPECT_NE(caller.find("(int) +0x"), std::string::npos) << caller;

    EXPECT_LE(quilkova_test::CaptureInNamedFrame(4).size(), 3u);
}

TEST(Backtrace, TooFewFramesGiveTheSingleEmptyLine) {
    for (int depth : {0, 1, -5}) {
        Backtrace backtrace;
        backtrace.Capture(depth);
        std::ostringstream out;
        out << backtrace;
        EXPECT_EQ(out.str(), "- empty\n") << "depth " << depth;
    }
}

TEST(Backtrace, FormatFunctionNameDemanglesOrKeepsTheText) {
    const Backtrace backtrace;
    EXPECT_EQ(backtrace.FormatFunctionName("_ZN8quilkova9Backtrace7CaptureEi"), "quilkova::Backtrace::Capture(int)");
    EXPECT_EQ(backtrace.FormatFunctionName("main"), "main");
    EXPECT_EQ(backtrace.FormatFunctionName("_Z not mangled"), "_Z not mangled");
    EXPECT_EQ(backtrace.FormatFunctionName(""), "");
}

TEST(Backtrace, EachLineRefusesAnEmptyFunction) {
    Backtrace backtrace;
    backtrace.Capture(8);
    EXPECT_THROW(backtrace.EachLine(std::function<void(const std::string&)>()), std::bad_function_call);
}

}  // namespace
