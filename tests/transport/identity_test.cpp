// The device token and identity, HosService and the plug-in events.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "fixtures.hpp"
#include "log_capture.hpp"
#include "quilkova/hos_service.hpp"
#include "quilkova/kova_plugin_manager.hpp"
#include "quilkova/quilkova.h"

namespace {

using quilkova::HosService;
using quilkova::KovaPluginManager;
using quilkova::test::CodeOf;
using quilkova::test::LogCapture;
using quilkova::test::TempRoot;
using quilkova::test::WriteDevice;
using quilkova::test::WriteScript;

// MD5 hex through OpenSSL's own digest, independent of the library.
std::string Md5(const std::string& text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(text.data(), text.size(), digest, &length, EVP_md5(), nullptr);
    std::string hex;
    for (unsigned int i = 0; i < length; ++i) {
        char pair[3];
        std::snprintf(pair, sizeof(pair), "%02x", digest[i]);
        hex += pair;
    }
    return hex;
}

std::string ExpectedToken(const std::string& seed) {
    const int passes = 1 + std::stoi(Md5(seed).substr(0, 1), nullptr, 16);
    std::string x = seed;
    for (int i = 0; i < passes; ++i) {
        x = Md5(x + Md5(x));
    }
    return x;
}

// A serial whose MD5 begins with `digit`.
std::string SerialWhoseMd5BeginsWith(char digit) {
    for (int n = 0;; ++n) {
        const std::string serial = "21Q" + std::to_string(n);
        if (Md5(serial)[0] == digit) {
            return serial;
        }
    }
}

TEST(DeviceToken, IsDerivedFromSerialAccountAndPasswordOnly) {
    TempRoot root;
    WriteDevice(root, "2150ABCD1234");
    // First hex digit 0: one pass; f: sixteen (ExpectedToken counts them independently).
    for (const std::string& serial : {SerialWhoseMd5BeginsWith('0'), SerialWhoseMd5BeginsWith('f')}) {
        char given[256];
        std::snprintf(given, sizeof(given), "%s", serial.c_str());
        char token[33] = {};
        QUILKOVAErrSet(9);
        ASSERT_EQ(QUILKOVAGenerateToken(nullptr, nullptr, given, sizeof(given), token, sizeof(token)), 0);
        EXPECT_EQ(token, ExpectedToken(serial));
        EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS) << "success clears the slot";
    }
    char serial[36] = {};
    char token[33] = {};
    ASSERT_EQ(QUILKOVAGenerateToken("owner@example.com", "secret", serial, sizeof(serial), token, sizeof(token)), 0);
    EXPECT_STREQ(serial, "2150ABCD1234") << "filled from the device";
    EXPECT_EQ(token, ExpectedToken("2150ABCD1234owner@example.comsecret"));
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
        EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SERIAL);
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
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_BAD_PARAM);
    WriteDevice(root);
    QUILKOVAErrSet(9);
    EXPECT_EQ(QUILKOVAGetSerialNumber(serial, sizeof(serial)), 0);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS);
}

TEST(UserAgent, IsTheDevicesOrEmptyButNeverAFailure) {
    TempRoot root;
    char agent[256] = "stale";
    LogCapture log;
    QUILKOVAErrSet(9);
    EXPECT_EQ(QUILKOVAUserAgentNameGet(agent, sizeof(agent)), 0);
    EXPECT_STREQ(agent, "");
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS);
    EXPECT_TRUE(log.Contains(" QLIBHsinfoUserAgentGet failed, quilerr=[0x")) << log.Dump();
    WriteDevice(root);
    EXPECT_EQ(QUILKOVAUserAgentNameGet(agent, sizeof(agent)), 0);
    EXPECT_STREQ(agent, "kova/7.2.1 (QN-420)");
    EXPECT_EQ(QUILKOVAUserAgentNameGet(nullptr, 256), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_BAD_PARAM);
    EXPECT_EQ(QUILKOVAUserAgentNameGet(agent, 0), -1);
}

TEST(HosService, GivesTheDeviceFactsOrThrowsTheirCodesAndNotifiesWhatever) {
    TempRoot root;
    const HosService hos;
    LogCapture log;
    EXPECT_EQ(CodeOf([&] { hos.GetSerialNo(); }), KOVA_ERR_SERIAL);
    EXPECT_TRUE(log.Contains(" Failed to get serial number, err=[0x0600 device.cpp:")) << log.Dump();
    EXPECT_EQ(CodeOf([&] { hos.GetMac(); }), KOVA_ERR_MAC);
    EXPECT_TRUE(log.Contains(" Failed to get mac address")) << log.Dump();
    EXPECT_EQ(hos.GetUserAgent(), "") << "a device without a user agent still has an (empty) one";
    WriteDevice(root);
    EXPECT_EQ(hos.GetSerialNo(), "2150ABCD1234");
    EXPECT_EQ(hos.GetUserAgent(), "kova/7.2.1 (QN-420)");
    const std::string key = hos.GetApiKey();
    EXPECT_NE(hos.NewApiKey(), key);
    // An API key that cannot be stored: the cloud-service error, mapped.
    const std::string key_file = root.Path("/usr/quil/etc/quillion-account/private/apikey");
    ASSERT_EQ(::unlink(key_file.c_str()), 0);
    ASSERT_EQ(::mkdir(key_file.c_str(), 0700), 0);
    EXPECT_EQ(CodeOf([&] { hos.NewApiKey(); }), KOVA_ERR_UNKNOWN);
    EXPECT_TRUE(log.Contains(" Failed to register apikey")) << log.Dump();

    hos.SendSysNotify("KoVALoggedOut", {});
    hos.SendSysNotify("KoVAPasswordChanged", {{"%KOVA_ACCOUNT%", "owner@example.com"}});
    EXPECT_EQ(root.ReadFile("/var/log/quil/notifications.jsonl"),
              "{\"params\":{},\"tag\":\"KoVALoggedOut\"}\n"
              "{\"params\":{\"%KOVA_ACCOUNT%\":\"owner@example.com\"},\"tag\":\"KoVAPasswordChanged\"}\n");
    ASSERT_EQ(::unlink(root.Path("/var/log/quil/notifications.jsonl").c_str()), 0);
    ASSERT_EQ(::mkdir(root.Path("/var/log/quil/notifications.jsonl").c_str(), 0755), 0);
    hos.SendSysNotify("KoVALoggedOut", {});
    EXPECT_TRUE(log.Contains(" Failed to send notify by QUILSysNotifySendNotifiction")) << log.Dump();
}

constexpr const char* kLoginPlugins = "/usr/quil/lib/plugins/kova/login.d";

TEST(Plugins, RunInNameOrderWithTheirActionAndNeverStopTheOperation) {
    TempRoot root;
    const std::string record = root.Path("/plugin-calls");
    WriteScript(root, std::string(kLoginPlugins) + "/20-second", "echo \"second $1\" >> " + record);
    WriteScript(root, std::string(kLoginPlugins) + "/10-first", "echo \"first $1\" >> " + record);
    root.WriteFile(std::string(kLoginPlugins) + "/30-not-executable", "echo never >> " + record);
    LogCapture log;
    const KovaPluginManager plugins;
    plugins.Pre("kova/login");
    plugins.Post("kova/login");
    plugins.Post("kova/logout");  // an event without plug-ins
    EXPECT_EQ(root.ReadFile("/plugin-calls"), "first 4\nsecond 4\nfirst 5\nsecond 5\n");
    EXPECT_TRUE(log.lines().empty()) << log.Dump();

    // A failing and a hanging plug-in: logged, cut off after 30 s, the rest still run.
    WriteScript(root, std::string(kLoginPlugins) + "/05-fails", "exit 1");
    WriteScript(root, std::string(kLoginPlugins) + "/06-hangs", "exec sleep 1000");
    const auto start = std::chrono::steady_clock::now();
    plugins.Post("kova/login");
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_NE(root.ReadFile("/plugin-calls").find("second 4\nfirst 5\nsecond 5\nfirst 5\nsecond 5\n"),
              std::string::npos);
    EXPECT_TRUE(log.Contains(" Failed to do plugin kova/login, action=5")) << log.Dump();
    EXPECT_GE(waited, std::chrono::seconds(30));
    EXPECT_LT(waited, std::chrono::seconds(45)) << "the hanging plug-in was cut off";
    // An event the SDK refuses: logged, the action skipped.
    plugins.Pre("");
    EXPECT_TRUE(log.Contains(" Failed to init plugin: ")) << log.Dump();
    EXPECT_FALSE(log.Contains(" Failed to do plugin , action=4")) << log.Dump();
}

}  // namespace
