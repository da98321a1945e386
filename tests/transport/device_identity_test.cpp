#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstdio>
#include <string>

#include "device_files.hpp"
#include "log_capture.hpp"
#include "quilkova/quilkova.h"

namespace {

using quilkova::test::LogCapture;
using quilkova::test::TempRoot;
using quilkova::test::WriteDevice;

// MD5 hex through the openssl command, independent of the library.
std::string OpensslMd5(const std::string& hex_or_alnum) {
    FILE* pipe = ::popen(("printf %s '" + hex_or_alnum + "' | openssl md5").c_str(), "r");
    char line[128] = {};
    const bool read = pipe != nullptr && std::fgets(line, sizeof(line), pipe) != nullptr;
    if (pipe != nullptr) {
        ::pclose(pipe);
    }
    const std::string text = read ? line : "";
    const size_t equals = text.find("= ");
    return equals == std::string::npos ? "" : text.substr(equals + 2, 32);
}

std::string ExpectedToken(const std::string& seed, int passes) {
    std::string x = seed;
    for (int i = 0; i < passes; ++i) {
        x = OpensslMd5(x + OpensslMd5(x));
    }
    return x;
}

// A serial whose MD5 begins with `digit`, found with OpenSSL's own digest.
std::string SerialWhoseMd5BeginsWith(char digit) {
    for (int n = 0; n < 100000; ++n) {
        const std::string serial = "21Q" + std::to_string(n);
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned int length = 0;
        EVP_Digest(serial.data(), serial.size(), digest, &length, EVP_md5(), nullptr);
        char first[3];
        std::snprintf(first, sizeof(first), "%02x", digest[0]);
        if (first[0] == digit) {
            return serial;
        }
    }
    return "";
}

TEST(DeviceToken, TheSeedsFirstHexDigitSetsTheNumberOfPasses) {
    for (const auto& [digit, passes] : {std::pair<char, int>{'0', 1}, std::pair<char, int>{'f', 16}}) {
        const std::string serial = SerialWhoseMd5BeginsWith(digit);
        ASSERT_FALSE(serial.empty());
        char serial_buffer[256];
        std::snprintf(serial_buffer, sizeof(serial_buffer), "%s", serial.c_str());
        char token[33] = {};
        ASSERT_EQ(QUILKOVAGenerateToken(nullptr, nullptr, serial_buffer, sizeof(serial_buffer), token, sizeof(token)), 0);
        EXPECT_EQ(token, ExpectedToken(serial, passes)) << serial;
        EXPECT_NE(token, ExpectedToken(serial, passes + 1)) << serial;
    }
}

TEST(DeviceToken, MixesInTheAccountAndReadsTheSerialWhenNoneIsGiven) {
    TempRoot root;
    WriteDevice(root, "2150ABCD1234");
    char serial[36] = {};
    char token[33] = {};
    ASSERT_EQ(QUILKOVAGenerateToken("owner@example.com", "secret", serial, sizeof(serial), token, sizeof(token)), 0);
    EXPECT_STREQ(serial, "2150ABCD1234") << "filled from the device";
    const std::string seed = "2150ABCD1234owner@example.comsecret";
    const int passes = 1 + std::stoi(OpensslMd5(seed).substr(0, 1), nullptr, 16);
    EXPECT_EQ(token, ExpectedToken(seed, passes));

    char cut[9] = {};
    ASSERT_EQ(QUILKOVAGenerateToken("owner@example.com", "secret", serial, sizeof(serial), cut, sizeof(cut)), 0);
    EXPECT_EQ(std::string(cut), std::string(token).substr(0, 8)) << "bounded by the output's size";
}

TEST(DeviceToken, ASerialNotBeginningWithALetterOrDigitIsRefused) {
    TempRoot root;
    for (const char* bad : {"-2150ABCD", " 2150ABCD"}) {
        WriteDevice(root, bad);
        LogCapture log;
        char serial[36] = {};
        EXPECT_EQ(QUILKOVAGetSerialNumber(serial, sizeof(serial)), -1) << bad;
        char empty[36] = {};
        char token[33] = {};
        EXPECT_EQ(QUILKOVAGenerateToken(nullptr, nullptr, empty, sizeof(empty), token, sizeof(token)), -1) << bad;
        EXPECT_TRUE(log.Contains(std::string(" Serial number is invalid: [") + bad + "]")) << log.Dump();

        char given[36];
        std::snprintf(given, sizeof(given), "%s", bad);
        EXPECT_EQ(QUILKOVAGenerateToken(nullptr, nullptr, given, sizeof(given), token, sizeof(token)), -1) << bad;
    }
    root.WriteFile(quilkova::test::kDeviceFile, "");
    LogCapture log;
    char serial[36] = {};
    EXPECT_EQ(QUILKOVAGetSerialNumber(serial, sizeof(serial)), -1);
    EXPECT_TRUE(log.Contains(" Failed to get serial number from flash. [0x0600 device.cpp:")) << log.Dump();
    EXPECT_EQ(QUILKOVAGetSerialNumber(nullptr, 36), -1);
}

TEST(UserAgent, IsTheDevicesOrEmptyButNeverAFailure) {
    TempRoot root;
    char agent[256] = "stale";
    LogCapture log;
    EXPECT_EQ(QUILKOVAUserAgentNameGet(agent, sizeof(agent)), 0);
    EXPECT_STREQ(agent, "");
    EXPECT_TRUE(log.Contains(" QLIBHsinfoUserAgentGet failed, quilerr=[0x")) << log.Dump();
    WriteDevice(root);
    EXPECT_EQ(QUILKOVAUserAgentNameGet(agent, sizeof(agent)), 0);
    EXPECT_STREQ(agent, "kova/7.2.1 (QN-420)");

    QUILKOVAErrSet(0);
    EXPECT_EQ(QUILKOVAUserAgentNameGet(nullptr, 256), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_BAD_PARAM);
    EXPECT_EQ(QUILKOVAUserAgentNameGet(agent, 0), -1);
}

}  // namespace
