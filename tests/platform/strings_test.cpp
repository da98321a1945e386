#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_string.h"

namespace {

TEST(StringHash, KeepsInsertionOrderAndReplacesInPlace) {
    PQLIBCSzHash hash = QLIBCSzHashAlloc(2);
    ASSERT_NE(hash, nullptr);
    EXPECT_EQ(QLIBCSzHashSetValue(hash, "hs_sn", "1234ABC"), 0);
    EXPECT_EQ(QLIBCSzHashSetValue(hash, "email", "a@b.c"), 0);
    EXPECT_EQ(QLIBCSzHashSetValue(hash, "nothing", nullptr), 0);
    EXPECT_EQ(QLIBCSzHashSetValue(hash, "hs_sn", "5678DEF"), 0);  // replaced where it stands
    EXPECT_EQ(QLIBCSzHashSetValue(hash, "passwd", "p&ss=word"), 0);  // grows past its capacity
    EXPECT_EQ(QLIBCSzHashCount(hash), 4);

    EXPECT_STREQ(QLIBCSzHashGetValue(hash, "hs_sn"), "5678DEF");
    EXPECT_STREQ(QLIBCSzHashGetValue(hash, "passwd"), "p&ss=word");
    EXPECT_EQ(QLIBCSzHashGetValue(hash, "nothing"), nullptr);
    EXPECT_EQ(QLIBCSzHashGetValue(hash, "missing"), nullptr);
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_NOT_FOUND);

    PQLIBCSzList keys = QLIBCSzListAlloc(1);
    ASSERT_EQ(QLIBCSzHashEnumKey(hash, keys), 4);
    const char* expected[] = {"hs_sn", "email", "nothing", "passwd"};
    ASSERT_EQ(QLIBCSzListCount(keys), 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_STREQ(QLIBCSzListGet(keys, i), expected[i]);
    }
    EXPECT_EQ(QLIBCSzListGet(keys, 4), nullptr);
    EXPECT_EQ(QLIBCSzListGet(keys, -1), nullptr);
    QLIBCSzListFree(keys);
    QLIBCSzHashFree(hash);
    QLIBCSzHashFree(nullptr);
    QLIBCSzListFree(nullptr);
}

TEST(StringHash, BadArgumentsFailAndRecordWhere) {
    EXPECT_EQ(QLIBCSzHashAlloc(0), nullptr);
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_BAD_PARAMETERS);
    EXPECT_STREQ(QLIBCErrorGetFile(), "sz_containers.cpp");
    EXPECT_GT(QLIBCErrorGetLine(), 0);
    EXPECT_EQ(QLIBCSzListAlloc(-1), nullptr);
    EXPECT_EQ(QLIBCSzHashSetValue(nullptr, "k", "v"), -1);
    EXPECT_EQ(QLIBCSzHashEnumKey(nullptr, nullptr), -1);

    // The last error belongs to the thread that failed.
    std::thread([] { QLIBCSzHashSetValue(nullptr, "k", "v"); }).join();
    PQLIBCSzHash hash = QLIBCSzHashAlloc(1);
    EXPECT_EQ(QLIBCSzHashGetValue(hash, "missing"), nullptr);
    std::thread([] { QLIBCSzListAlloc(0); }).join();
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_NOT_FOUND);
    QLIBCSzHashFree(hash);
}

TEST(StrCat, AppendsAndGrowsTheBuffer) {
    size_t capacity = 4;
    char* buffer = static_cast<char*>(std::malloc(capacity));
    buffer[0] = '\0';
    std::string expected;
    for (int i = 0; i < 200; ++i) {
        const std::string piece = "&key" + std::to_string(i) + "=value";
        expected += piece;
        ASSERT_EQ(QLIBCStrCat(&buffer, &capacity, piece.c_str()), static_cast<int>(expected.size()));
    }
    EXPECT_EQ(std::string(buffer), expected);
    EXPECT_GT(capacity, expected.size());
    EXPECT_EQ(QLIBCStrCat(&buffer, &capacity, nullptr), -1);
    EXPECT_EQ(QLIBCStrCat(nullptr, &capacity, "x"), -1);
    std::free(buffer);

    char unterminated[3] = {'a', 'b', 'c'};
    char* pointer = unterminated;
    size_t size = sizeof(unterminated);
    EXPECT_EQ(QLIBCStrCat(&pointer, &size, "x"), -1);
}

TEST(StrTrim, RemovesBlanksAtBothEndsOnly) {
    const struct {
        const char* in;
        const char* out;
    } rows[] = {{"  {\"code\":\"good\"}\r\n", "{\"code\":\"good\"}"}, {"\t\n ", ""}, {"", ""},
                {"a b", "a b"}, {" x", "x"}, {"x ", "x"}};
    for (const auto& row : rows) {
        char buffer[64];
        std::strcpy(buffer, row.in);
        EXPECT_STREQ(QLIBCStrTrimSpace(buffer), row.out) << '"' << row.in << '"';
    }
    EXPECT_EQ(QLIBCStrTrimSpace(nullptr), nullptr);
}

}  // namespace
