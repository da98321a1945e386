#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>

#include "device_files.hpp"
#include "kova_code.hpp"
#include "log_capture.hpp"
#include "quilkova/hos_service.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/kova_plugin_manager.hpp"
#include "quilplatform/plugin.h"

namespace {

using quilkova::HosService;
using quilkova::KovaException;
using quilkova::test::CodeOf;
using quilkova::KovaPluginManager;
using quilkova::test::LogCapture;
using quilkova::test::TempRoot;
using quilkova::test::WriteDevice;
using quilkova::test::WriteScript;

TEST(HosService, GivesTheDeviceFactsOrThrowsTheirCodes) {
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
    ASSERT_EQ(::mkdir(key_file.c_str(), 0700), 0);  // a directory where the key belongs
    EXPECT_EQ(CodeOf([&] { hos.NewApiKey(); }), KOVA_ERR_UNKNOWN);
    EXPECT_TRUE(log.Contains(" Failed to register apikey")) << log.Dump();
}

TEST(HosService, SendsNotificationsEvenWithoutParameters) {
    TempRoot root;
    const HosService hos;
    hos.SendSysNotify("KoVALoggedOut", {});
    hos.SendSysNotify("KoVAPasswordChanged", {{"%KOVA_ACCOUNT%", "owner@example.com"}});
    EXPECT_EQ(root.ReadFile("/var/log/quil/notifications.jsonl"),
              "{\"params\":{},\"tag\":\"KoVALoggedOut\"}\n"
              "{\"params\":{\"%KOVA_ACCOUNT%\":\"owner@example.com\"},\"tag\":\"KoVAPasswordChanged\"}\n");

    // A directory where the log file belongs: the notification cannot be written.
    ASSERT_EQ(::unlink(root.Path("/var/log/quil/notifications.jsonl").c_str()), 0);
    ASSERT_EQ(::mkdir(root.Path("/var/log/quil/notifications.jsonl").c_str(), 0755), 0);
    LogCapture log;
    hos.SendSysNotify("KoVALoggedOut", {});
    EXPECT_TRUE(log.Contains(" Failed to send notify by QUILSysNotifySendNotifiction")) << log.Dump();
}

constexpr const char* kLoginPlugins = "/usr/quil/lib/plugins/kova/login.d";

TEST(Plugins, PreAndPostRunTheEventsPluginsInNameOrderWithActionsFourAndFive) {
    TempRoot root;
    const std::string record = root.Path("/plugin-calls");
    WriteScript(root, std::string(kLoginPlugins) + "/20-second", "echo \"second $1\" >> " + record);
    WriteScript(root, std::string(kLoginPlugins) + "/10-first", "echo \"first $1 [$QUIL_PLUGIN_ACCOUNT]\" >> " + record);
    root.WriteFile(std::string(kLoginPlugins) + "/30-not-executable", "echo never >> " + record);

    LogCapture log;
    const KovaPluginManager plugins;
    plugins.Pre("kova/login");
    plugins.Post("kova/login");
    plugins.Post("kova/logout");  // an event without plug-ins
    EXPECT_EQ(root.ReadFile("/plugin-calls"), "first 4 []\nsecond 4\nfirst 5 []\nsecond 5\n");
    EXPECT_TRUE(log.lines().empty()) << log.Dump();

    // The account reaches the plug-ins through the SDK.
    PQLIBPLUGIN handle = nullptr;
    ASSERT_EQ(QLIBPluginSDKInit("kova", "kova/login", &handle, "owner@example.com"), 0);
    EXPECT_EQ(QLIBPluginAction(5, handle), 0);
    QLIBPluginExit(handle);
    EXPECT_NE(root.ReadFile("/plugin-calls").find("first 5 [owner@example.com]"), std::string::npos);
}

TEST(Plugins, FailingOrHangingPluginsAreLoggedAndNeverStopTheOperation) {
    TempRoot root;
    const std::string record = root.Path("/plugin-calls");
    WriteScript(root, std::string(kLoginPlugins) + "/10-fails", "exit 1");
    WriteScript(root, std::string(kLoginPlugins) + "/20-hangs", "exec sleep 1000");
    WriteScript(root, std::string(kLoginPlugins) + "/30-runs", "echo \"ran $1\" >> " + record);

    LogCapture log;
    const auto start = std::chrono::steady_clock::now();
    KovaPluginManager().Post("kova/login");
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(root.ReadFile("/plugin-calls"), "ran 5\n") << "later plug-ins still run";
    EXPECT_TRUE(log.Contains(" Failed to do plugin kova/login, action=5")) << log.Dump();
    EXPECT_LT(waited, std::chrono::seconds(45)) << "the hanging plug-in was cut off";

    // An event the SDK refuses: logged, the action skipped, the handle still released.
    KovaPluginManager().Pre("");
    EXPECT_TRUE(log.Contains(" Failed to init plugin: ")) << log.Dump();
    EXPECT_FALSE(log.Contains(" Failed to do plugin , action=4")) << log.Dump();
}

}  // namespace
