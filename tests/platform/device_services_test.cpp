#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>

#include "device_files.hpp"
#include "quilplatform/cloud_service.h"
#include "quilplatform/device.h"
#include "quilplatform/notify.h"
#include "quilplatform/process.h"
#include "quilplatform/qlibc_string.h"

namespace {

using quilkova::test::TempRoot;
using quilkova::test::WriteDevice;

constexpr const char* kApiKeyFile = "/usr/quil/etc/quillion-account/private/apikey";

std::string Fact(int (*get)(char*, int)) {
    char buffer[64] = {};
    return get(buffer, sizeof(buffer)) > 0 ? buffer : "<failed>";
}

TEST(DeviceFacts, ComeFromTheDeviceFileWithTheirFallbacks) {
    TempRoot root;
    EXPECT_EQ(Fact(QLIBGetSerialNumber), "<failed>");
    EXPECT_EQ(Fact(QUILHsinfoCloudServiceGetMacAddress), "<failed>");

    WriteDevice(root, "2150ABCD1234", "");
    EXPECT_EQ(Fact(QLIBGetSerialNumber), "2150ABCD1234");
    EXPECT_EQ(Fact(QLIBGetOriginalSerialNumber), "2150ABCD1234");
    EXPECT_EQ(Fact(QUILHsinfoCloudServiceGetMacAddress), "<failed>");

    // No "mac" key: the first interface other than loopback, by name.
    root.WriteFile("/sys/class/net/lo/address", "00:00:00:00:00:00\n");
    root.WriteFile("/sys/class/net/eth1/address", "00:11:32:00:00:02\n");
    root.WriteFile("/sys/class/net/eth0/address", "00:11:32:00:00:01\n");
    EXPECT_EQ(Fact(QUILHsinfoCloudServiceGetMacAddress), "00:11:32:00:00:01");

    root.WriteFile(quilkova::test::kDeviceFile, "serial=\"NEW1\"\noriginal_serial=\"OLD1\"\nmac=\"aa:bb\"\n");
    EXPECT_EQ(Fact(QLIBGetOriginalSerialNumber), "OLD1");
    EXPECT_EQ(Fact(QUILHsinfoCloudServiceGetMacAddress), "aa:bb");

    char agent[256] = "stale";
    EXPECT_LT(QLIBHsinfoUserAgentGet("kova", agent, sizeof(agent)), 0) << "no model or firmware";
    EXPECT_STREQ(agent, "");
    WriteDevice(root);
    EXPECT_GT(QLIBHsinfoUserAgentGet("kova", agent, sizeof(agent)), 0);
    EXPECT_STREQ(agent, "kova/7.2.1 (QN-420)");
}

TEST(CloudService, KeepsOneApiKeyUntilItExpires) {
    TempRoot root;
    WriteDevice(root);
    char key[QUIL_CLOUD_SERVICE_APIKEY_SIZE] = {};
    EXPECT_LT(QUILCloudServiceGetApiKey(key, 0), 0) << "none stored, none registered";
    EXPECT_EQ(QUILCloudServiceGetErrorCode(), QUIL_CLOUD_SERVICE_ERR_LOCAL);

    ASSERT_EQ(QUILCloudServiceGetApiKey(key, 1), 0);
    EXPECT_EQ(QUILCloudServiceGetErrorCode(), QUIL_CLOUD_SERVICE_ERR_NONE);
    const std::string first = key;
    EXPECT_EQ(first.size(), 64u);
    EXPECT_EQ(first.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_EQ(root.Mode(kApiKeyFile), 0600);
    ASSERT_EQ(QUILCloudServiceGetApiKey(key, 1), 0);
    EXPECT_EQ(first, key) << "a stored key is reused";

    ASSERT_EQ(QUILCloudServiceRegisterApiKey(key), 0);
    EXPECT_NE(first, key);
    const std::string second = key;

    // The device token is the MD5 of serial and key.
    char token[QUIL_CLOUD_SERVICE_DSTOKEN_SIZE] = {};
    ASSERT_EQ(QUILCloudServiceDstokenGenerateToken(token), 0);
    const std::string seed = "2150ABCD1234" + second;
    FILE* pipe = ::popen(("printf %s '" + seed + "' | openssl md5").c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    char line[128] = {};
    ASSERT_NE(std::fgets(line, sizeof(line), pipe), nullptr);
    ::pclose(pipe);
    EXPECT_NE(std::string(line).find(std::string("= ") + token), std::string::npos) << line;

    EXPECT_EQ(QUILCloudServiceActionHandler(QUIL_CLOUD_SERVICE_ACTION_APIKEY_EXPIRED, 0), 0);
    EXPECT_FALSE(root.Exists(kApiKeyFile));
    EXPECT_EQ(QUILCloudServiceActionHandler(QUIL_CLOUD_SERVICE_ACTION_APIKEY_EXPIRED, 0), 0) << "nothing to discard";

    root.WriteFile(quilkova::test::kDeviceFile, "");
    EXPECT_LT(QUILCloudServiceDstokenGenerateToken(token), 0) << "no serial";
    EXPECT_EQ(QUILCloudServiceGetErrorCode(), QUIL_CLOUD_SERVICE_ERR_LOCAL);
}

TEST(Notifications, AreAppendedAsJsonLines) {
    TempRoot root;
    PQLIBCSzHash params = QLIBCSzHashAlloc(4);
    QLIBCSzHashSetValue(params, "%KOVA_ACCOUNT%", "owner@example.com");
    ASSERT_EQ(QUILSysNotifySendNotifiction("KoVAPasswordChanged", params), 0);
    QLIBCSzHashFree(params);
    ASSERT_EQ(QUILSysNotifySendNotifiction("Empty", nullptr), 0);
    ASSERT_EQ(QUILLogSet1(2, 1, 0x13A00001, "owner@example.com", "", nullptr, ""), 0);

    std::istringstream notifications(root.ReadFile("/var/log/quil/notifications.jsonl"));
    std::string line;
    Json::Value record;
    Json::CharReaderBuilder builder;
    std::string errors;
    ASSERT_TRUE(std::getline(notifications, line));
    std::istringstream first(line);
    ASSERT_TRUE(Json::parseFromStream(builder, first, &record, &errors));
    EXPECT_EQ(record["tag"], "KoVAPasswordChanged");
    EXPECT_EQ(record["params"]["%KOVA_ACCOUNT%"], "owner@example.com");
    ASSERT_TRUE(std::getline(notifications, line));
    EXPECT_NE(line.find("\"params\":{}"), std::string::npos) << line;

    std::istringstream events(root.ReadFile("/var/log/quil/events.jsonl"));
    ASSERT_TRUE(Json::parseFromStream(builder, events, &record, &errors));
    EXPECT_EQ(record["event"].asUInt(), 0x13A00001u);
    EXPECT_EQ(record["args"].size(), 4u);
    EXPECT_EQ(record["args"][0], "owner@example.com");
}

TEST(Processes, RunWithoutAShellAndReportTheirStatus) {
    TempRoot root;
    EXPECT_EQ(QLIBCExecl("/bin/sh", "-c", "exit 3", nullptr), 3);
    EXPECT_EQ(QLIBCExecl("/bin/true", nullptr), 0);
    EXPECT_EQ(QLIBCExecl("/no/such/program", nullptr), -1);
    EXPECT_EQ(QLIBCExecl("/bin/echo", "$HOME; rm -rf /", nullptr), 0) << "arguments are not shell text";

    // An appliance program is looked for under the root first.
    quilkova::test::WriteScript(root, "/usr/quil/sbin/quilddnsinfo", "echo \"account:$1\"");
    FILE* out = QLIBCPopen("/usr/quil/sbin/quilddnsinfo", "r", "--get-quil-account", nullptr);
    ASSERT_NE(out, nullptr);
    char line[256] = {};
    ASSERT_NE(std::fgets(line, sizeof(line), out), nullptr);
    EXPECT_STREQ(line, "account:--get-quil-account\n");
    EXPECT_EQ(QLIBCPclose(out), 0);
    EXPECT_EQ(QLIBCPopen("/bin/true", "w", nullptr), nullptr);
    EXPECT_EQ(QLIBCPclose(stdin), -1) << "not a stream of ours";
}

}  // namespace
