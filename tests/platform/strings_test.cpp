// The platform's string hash, list, growable append and trim.
#include "test_prelude.hpp"

#include <cstdlib>

#include "quilplatform/qlibc_string.h"

namespace {

TEST(Strings, TheHashKeepsInsertionOrderAndFailuresRecordWhereInTheirThread) {
    PQLIBCSzHash hash = QLIBCSzHashAlloc(2);
    for (const auto& [key, value] : {std::pair<const char*, const char*>{"hs_sn", "1"}, {"email", "a@b.c"},
                                     {"nothing", nullptr}, {"hs_sn", "2"}, {"passwd", "p&ss=word"}}) {
        EXPECT_EQ(QLIBCSzHashSetValue(hash, key, value), 0);  // grows past its capacity; replaces in place
    }
    EXPECT_STREQ(QLIBCSzHashGetValue(hash, "hs_sn"), "2");
    EXPECT_EQ(QLIBCSzHashGetValue(hash, "nothing"), nullptr);
    PQLIBCSzList keys = QLIBCSzListAlloc(1);
    ASSERT_EQ(QLIBCSzHashEnumKey(hash, keys), 4);
    EXPECT_EQ(QLIBCSzHashEnumKey(hash, nullptr), -1);
    EXPECT_EQ(std::string(QLIBCSzListGet(keys, 0)) + QLIBCSzListGet(keys, 3), "hs_snpasswd");
    EXPECT_EQ(QLIBCSzListGet(keys, 4), nullptr);
    QLIBCSzListFree(keys);
    EXPECT_EQ(QLIBCSzHashGetValue(hash, "missing"), nullptr);
    std::thread([] { QLIBCSzHashSetValue(nullptr, "k", "v"); }).join();
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_NOT_FOUND) << "the last error belongs to the thread that failed";
    QLIBCSzHashFree(hash);
    EXPECT_EQ(QLIBCSzHashAlloc(0), nullptr);
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_BAD_PARAMETERS);
    EXPECT_STREQ(QLIBCErrorGetFile(), "sz_containers.cpp");
    EXPECT_GT(QLIBCErrorGetLine(), 0);
}

TEST(Strings, AppendGrowsTheBufferAndTrimTakesBlanksAtBothEnds) {
    size_t capacity = 4;
    char* buffer = static_cast<char*>(std::calloc(capacity, 1));
    std::string expected;
    for (int i = 0; i < 200; ++i) {
        const std::string piece = "&key" + std::to_string(i) + "=value";
        expected += piece;
        ASSERT_EQ(QLIBCStrCat(&buffer, &capacity, piece.c_str()), static_cast<int>(expected.size()));
    }
    EXPECT_EQ(std::string(buffer), expected);
    EXPECT_EQ(QLIBCStrCat(&buffer, &capacity, nullptr), -1);
    std::free(buffer);
    char unterminated[3] = {'a', 'b', 'c'};
    char* pointer = unterminated;
    size_t size = sizeof(unterminated);
    EXPECT_EQ(QLIBCStrCat(&pointer, &size, "x"), -1);
    pointer = nullptr;
    EXPECT_EQ(QLIBCStrCat(&pointer, &size, "x"), -1);

    for (const auto& [in, out] : {std::pair<const char*, const char*>{"  {\"code\":\"good\"}\r\n", "{\"code\":\"good\"}"},
                                  {"\t\n ", ""}, {"", ""}, {"a b", "a b"}}) {
        char text[64];
        std::strcpy(text, in);
        EXPECT_STREQ(QLIBCStrTrimSpace(text), out) << '"' << in << '"';
    }
    EXPECT_EQ(QLIBCStrTrimSpace(nullptr), nullptr);
}

}  // namespace
