#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "quilkova/kova_exception.hpp"

namespace {

using quilkova::KovaException;

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The stack part: non-empty "- " lines, at most 15 (16 frames less Capture).
void ExpectStackLines(const std::vector<std::string>& lines, size_t first, size_t end) {
    ASSERT_LT(first, end);
    EXPECT_LE(end - first, 15u);
    for (size_t i = first; i < end; ++i) {
        EXPECT_EQ(lines[i].rfind("- ", 0), 0u) << "line " << i << ": " << lines[i];
    }
}

TEST(KovaException, WhatIsTheShortMessageThenTheStack) {
    const KovaException error(KOVA_ERR_SEND);
    EXPECT_EQ(error.GetCode(), KOVA_ERR_SEND);
    const std::string text = error.what();
    const auto lines = Lines(text);
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[0], "Failed to send the request [code=4]");
    ExpectStackLines(lines, 1, lines.size() - 1);
    // The stack is followed by one more end of line.
    EXPECT_EQ(lines.back(), "");
    EXPECT_EQ(text.substr(text.size() - 2), "\n\n");
}

TEST(KovaException, MessageAloneIsUnknownAndCodeWithMessageKeepsBoth) {
    const KovaException bare("Something broke");
    EXPECT_EQ(bare.GetCode(), KOVA_ERR_UNKNOWN);
    EXPECT_EQ(Lines(bare.what())[0], "Something broke [code=24]");

    const KovaException with_code(KOVA_ERR_TOKEN, "Failed to lock file: /tmp/account_hos_get_token.lock");
    EXPECT_EQ(with_code.GetCode(), KOVA_ERR_TOKEN);
    EXPECT_EQ(Lines(with_code.what())[0], "Failed to lock file: /tmp/account_hos_get_token.lock [code=22]");

    EXPECT_EQ(Lines(KovaException(KOVA_ERR_AUTH).what())[0], "Failed to auth [code=14]");
    EXPECT_EQ(Lines(KovaException(KOVA_ERR_SYSTEM).what())[0], "System error [code=6]");
}

TEST(KovaException, CopyingNestsTheSourceTextInsteadOfSharingIt) {
    const KovaException original(KOVA_ERR_BAD_JSON, "bad");
    const std::string original_text = original.what();

    const KovaException copy(original);
    EXPECT_EQ(copy.GetCode(), KOVA_ERR_BAD_JSON);
    const std::string copy_text = copy.what();
    ASSERT_EQ(copy_text.rfind(original_text, 0), 0u) << copy_text;
    const auto tail = Lines(copy_text.substr(original_text.size()));
    ASSERT_GE(tail.size(), 2u);
    EXPECT_EQ(tail[0], " [code=2]");
    ExpectStackLines(tail, 1, tail.size() - 1);
    // The source is unchanged and independent of the copy.
    EXPECT_EQ(original.what(), original_text);

    KovaException assigned(KOVA_ERR_AUTH);
    assigned = original;
    EXPECT_EQ(assigned.GetCode(), KOVA_ERR_BAD_JSON);
    EXPECT_EQ(std::string(assigned.what()).rfind(original_text + " [code=2]\n", 0), 0u);
}

}  // namespace
