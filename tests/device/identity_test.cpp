// The device token and identity, HosService and the plug-in events.
#include "test_prelude.hpp"

namespace {

std::string SerialWhoseMd5BeginsWith(char digit) {
    for (int n = 0;; ++n) {
        if (Md5Hex("21Q" + std::to_string(n))[0] == digit) {
            return "21Q" + std::to_string(n);
        }
    }
}

TEST(DeviceToken, IsDerivedFromSerialAccountAndPasswordOnly) {
    TempRoot root;
    WriteDevice(root, "2150ABCD1234");
    for (const std::string& serial : {SerialWhoseMd5BeginsWith('0'), SerialWhoseMd5BeginsWith('f')}) {
        char given[256];
        std::snprintf(given, sizeof(given), "%s", serial.c_str());
        char token[33] = {};
        QUILKOVAErrSet(9);
        ASSERT_EQ(QUILKOVAGenerateToken(nullptr, nullptr, given, sizeof(given), token, sizeof(token)), 0);
        EXPECT_EQ(token, DeviceTokenOf(serial)) << "one pass for 0, sixteen for f";
        EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS) << "success clears the slot";
    }
    char serial[36] = {};
    char token[33] = {};
    ASSERT_EQ(QUILKOVAGenerateToken("owner@example.com", "secret", serial, sizeof(serial), token, 9), 0);
    EXPECT_STREQ(serial, "2150ABCD1234") << "filled from the device";
    EXPECT_EQ(token, DeviceTokenOf("2150ABCD1234owner@example.comsecret").substr(0, 8)) << "bounded by the output";
    char no_room[8] = "junk";
    ASSERT_EQ(QUILKOVAGenerateToken("a", "b", no_room, 0, token, sizeof(token)), 0);
    EXPECT_EQ(token, DeviceTokenOf("2150ABCD1234ab")) << "a serial buffer of no size: the device's own";
    EXPECT_STREQ(no_room, "junk");
    for (char* no_token : {static_cast<char*>(nullptr), token}) {
        EXPECT_EQ(FailureCode(QUILKOVAGenerateToken("a", "b", serial, sizeof(serial), no_token, no_token ? 0 : 33)),
                  KOVA_ERR_BAD_PARAM);
    }
    // The device's own serial is read into 36 bytes: its first 35 characters.
    for (const std::string& own : {std::string(35, 'S'), std::string(36, 'S')}) {
        WriteDevice(root, own);
        ASSERT_EQ(QUILKOVAGenerateToken("a", "b", nullptr, 0, token, sizeof(token)), 0);
        EXPECT_EQ(token, DeviceTokenOf(std::string(35, 'S') + "ab")) << own.size();
    }

    // A serial not beginning with a letter or digit, read or given, is refused.
    LogCapture log;
    for (const char* bad : {"-2150ABCD", " 2150ABCD"}) {
        WriteDevice(root, bad);
        char read[36] = {};
        EXPECT_EQ(FailureCode(QUILKOVAGetSerialNumber(read, sizeof(read))), KOVA_ERR_SERIAL) << bad;
        char given[36];
        std::snprintf(given, sizeof(given), "%s", bad);
        EXPECT_EQ(QUILKOVAGenerateToken(nullptr, nullptr, given, sizeof(given), token, sizeof(token)), -1) << bad;
        EXPECT_TRUE(log.Contains(std::string(" Serial number is invalid: [") + bad + "]")) << log.Dump();
    }
    root.WriteFile(kDeviceFile, "");
    EXPECT_EQ(QUILKOVAGetSerialNumber(serial, sizeof(serial)), -1);
    EXPECT_TRUE(log.Contains(" Failed to get serial number from flash. [0x0600 device.cpp:")) << log.Dump();
    EXPECT_EQ(FailureCode(QUILKOVAGetSerialNumber(nullptr, 36)), KOVA_ERR_BAD_PARAM);
    EXPECT_TRUE(log.Contains(" Wrong parameters")) << log.Dump();
}

TEST(Identity, TheUserAgentNeverFailsAndHosServiceThrowsTheFactsCodes) {
    TempRoot root;
    char agent[256] = "stale";
    LogCapture log;
    QUILKOVAErrSet(9);
    EXPECT_EQ(QUILKOVAUserAgentNameGet(agent, sizeof(agent)), 0);
    EXPECT_STREQ(agent, "");
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS);
    EXPECT_TRUE(log.Contains(" QLIBHsinfoUserAgentGet failed, quilerr=[0x")) << log.Dump();
    EXPECT_EQ(FailureCode(QUILKOVAUserAgentNameGet(nullptr, 256)), KOVA_ERR_BAD_PARAM);

    const quilkova::HosService hos;
    EXPECT_EQ(CodeOf([&] { hos.GetSerialNo(); }), KOVA_ERR_SERIAL);
    EXPECT_EQ(CodeOf([&] { hos.GetMac(); }), KOVA_ERR_MAC);
    EXPECT_TRUE(log.Contains(" Failed to get mac address")) << log.Dump();
    EXPECT_EQ(hos.GetUserAgent(), "") << "a device without a user agent still has an (empty) one";
    WriteDevice(root);
    EXPECT_EQ(hos.GetSerialNo() + " " + hos.GetUserAgent(), "2150ABCD1234 kova/7.2.1 (QN-420)");
    const std::string key = hos.GetApiKey();
    const size_t lines = log.lines().size();
    EXPECT_NE(hos.NewApiKey(), key);
    EXPECT_EQ(log.lines().size(), lines) << "a key registered is nothing to log";
    const std::string key_file = root.Path("/usr/quil/etc/quillion-account/private/apikey");
    ASSERT_EQ(::unlink(key_file.c_str()), 0);
    ASSERT_EQ(::mkdir(key_file.c_str(), 0700), 0);  // a directory where the key belongs
    EXPECT_EQ(CodeOf([&] { hos.NewApiKey(); }), KOVA_ERR_UNKNOWN) << "a cloud-service error of 0 is still a failure";
    // Notifications go out with or without parameters; a failure to send is logged only.
    hos.SendSysNotify("KoVALoggedOut", {});
    EXPECT_EQ(root.ReadFile("/var/log/quil/notifications.jsonl"), "{\"params\":{},\"tag\":\"KoVALoggedOut\"}\n");
    ASSERT_EQ(::unlink(root.Path("/var/log/quil/notifications.jsonl").c_str()), 0);
    ASSERT_EQ(::mkdir(root.Path("/var/log/quil/notifications.jsonl").c_str(), 0755), 0);
    hos.SendSysNotify("KoVALoggedOut", {{"%KOVA_ACCOUNT%", "owner@example.com"}});
    EXPECT_TRUE(log.Contains(" Failed to send notify by QUILSysNotifySendNotifiction")) << log.Dump();
}

TEST(Plugins, RunInNameOrderWithTheirActionAndNeverStopTheOperation) {
    TempRoot root;
    const std::string plugins = "/usr/quil/lib/plugins/kova/login.d";
    const std::string record = root.Path("/plugin-calls");
    WriteScript(root, plugins + "/20-second", "echo \"second $1\" >> " + record);
    WriteScript(root, plugins + "/10-first", "echo \"first $1\" >> " + record);
    root.WriteFile(plugins + "/30-not-executable", "echo never >> " + record);
    LogCapture log;
    const quilkova::KovaPluginManager manager;
    manager.Pre("kova/login");
    manager.Post("kova/logout");  // an event without plug-ins
    EXPECT_EQ(root.ReadFile("/plugin-calls"), "first 4\nsecond 4\n");
    EXPECT_TRUE(log.lines().empty()) << log.Dump();
    // A failing and a hanging plug-in: logged, cut off after its time (30 s, here 1 s), the rest still run.
    WriteScript(root, plugins + "/05-fails", "exit 1");
    WriteScript(root, plugins + "/06-hangs", "exec sleep 1000");
    const ShortWaits waits;
    const auto start = std::chrono::steady_clock::now();
    manager.Post("kova/login");
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(root.ReadFile("/plugin-calls"), "first 4\nsecond 4\nfirst 5\nsecond 5\n");
    EXPECT_TRUE(log.Contains(" Failed to do plugin kova/login, action=5")) << log.Dump();
    EXPECT_GE(waited, std::chrono::seconds(1));
    EXPECT_LT(waited, std::chrono::seconds(10)) << "the hanging plug-in was cut off";
    manager.Pre("");  // an event the SDK refuses: logged, the action skipped
    EXPECT_TRUE(log.Contains(" Failed to init plugin: ")) << log.Dump();
    EXPECT_FALSE(log.Contains(" Failed to do plugin , action=4")) << log.Dump();
}

}  // namespace
