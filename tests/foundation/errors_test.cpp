#include <gtest/gtest.h>

#include <string>

#include "quilkova/quilkova.h"

namespace {

TEST(KeywordTable, HoldsTheServiceRowsAndMapsByPrefixInTableOrder) {
    const struct {
        const char* keyword;
        int code;
    } table[] = {
        {"good", 0},           {"badparam", 1},       {"badauth", 14},          {"badsys", 6},
        {"badnetwork", 15},    {"account_inused", 16}, {"serial_exceed_max_account_register", 17},
        {"account_unverified", 18}, {"account_userid", 0}, {"account_not_found", 25},
        {"apikey_not_found", 26},   {"apikey_expired", 27},
    };
    size_t row = 0;
    for (; gErrorCodeMap[row].keyword != nullptr; ++row) {
        ASSERT_LT(row, std::size(table));
        EXPECT_STREQ(gErrorCodeMap[row].keyword, table[row].keyword);
        EXPECT_EQ(gErrorCodeMap[row].code, table[row].code);
        EXPECT_EQ(GetErrorCodeFromAccountError(table[row].keyword), table[row].code);
    }
    EXPECT_EQ(row, std::size(table));

    const struct {
        const char* keyword;
        int code;
    } others[] = {
        {"badauth_expired_session", 14}, {"badnetwork timeout", 15}, {"goodbye", 0},  // prefixes match
        {"", 24}, {"bad", 24}, {"GOOD", 24}, {"account_", 24}, {"something else", 24},
    };
    for (const auto& each : others) {
        EXPECT_EQ(GetErrorCodeFromAccountError(each.keyword), each.code) << '"' << each.keyword << '"';
    }
    EXPECT_EQ(GetErrorCodeFromAccountError(nullptr), 24);
}

TEST(ErrorSlot, StoresTheLastCodeAndKeywordMappingFillsIt) {
    EXPECT_EQ(QUILKOVAErrSet(17), 17);
    EXPECT_EQ(QUILKOVAErrGet(), 17);

    // The pure mapping leaves the slot alone; the Map... variant stores.
    EXPECT_EQ(GetErrorCodeFromAccountError("badauth"), 14);
    EXPECT_EQ(QUILKOVAErrGet(), 17);
    EXPECT_EQ(MapLibKovaCenterErrorCode("apikey_expired"), 27);
    EXPECT_EQ(QUILKOVAErrGet(), 27);
    EXPECT_EQ(MapLibKovaCenterErrorCode(nullptr), 24);
    EXPECT_EQ(QUILKOVAErrGet(), 24);
    QUILKOVAErrSet(0);
}

TEST(ErrorText, EveryCodeHasItsText) {
    const char* const system_error = "System error";
    for (int code = -2; code <= 40; ++code) {
        std::string expected = system_error;
        switch (code) {
            case 0: expected = "Success"; break;
            case 1: expected = "Wrong parameters"; break;
            case 2: expected = "Wrong JSON format"; break;
            case 3: expected = "Failed to get kova account"; break;
            case 4: expected = "Failed to send the request"; break;
            case 5: expected = "Failed to get the response"; break;
            case 7: expected = "Failed to get the payment config (url)"; break;
            case 14: expected = "Failed to auth"; break;
            default: break;
        }
        EXPECT_EQ(GetKovaErrorMsg(code), expected) << "code " << code;
    }
    EXPECT_STREQ(GetKovaErrorMsg(99), system_error);
}

TEST(ErrorText, PrintErrCodeWritesTheTextToStandardErrorOnlyForFailures) {
    testing::internal::CaptureStderr();
    printErrCode(0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    testing::internal::CaptureStderr();
    printErrCode(3);
    printErrCode(6);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Failed to get kova account\nSystem error\n");
}

}  // namespace
