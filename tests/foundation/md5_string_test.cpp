#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "quilkova/quilkova.h"

namespace {

TEST(Md5String, GivesLowercaseHexOfKnownVectors) {
    const struct {
        const char* text;
        const char* hex;
    } vectors[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"The quick brown fox jumps over the lazy dog", "9e107d9d372bb6826bd81d3542a419d6"},
    };
    for (const auto& each : vectors) {
        char out[33];
        std::memset(out, 'Z', sizeof(out));
        ASSERT_EQ(KoVAGetMd5String(each.text, out, sizeof(out)), 0);
        EXPECT_STREQ(out, each.hex);
    }
}

TEST(Md5String, RefusesShortBuffersAndNullTextWithoutTouchingTheOutput) {
    char out[40];
    std::memset(out, 'Z', sizeof(out));
    EXPECT_EQ(KoVAGetMd5String("", out, 31), -1);
    EXPECT_EQ(KoVAGetMd5String(nullptr, out, sizeof(out)), -1);
    EXPECT_EQ(std::string(out, sizeof(out)), std::string(sizeof(out), 'Z'));

    // 32 is let through (the terminator then lands at index 32).
    EXPECT_EQ(KoVAGetMd5String("", out, 32), 0);
    EXPECT_STREQ(out, "d41d8cd98f00b204e9800998ecf8427e");
    // Bytes past out_size stay as they were.
    EXPECT_EQ(out[33], 'Z');
}

}  // namespace
