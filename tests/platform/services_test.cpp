// The generic platform's device facts, cloud-service key, notifications,
// processes, scheduler, time zone and PKCE pair.
#include "test_prelude.hpp"

#include "quilplatform/cloud_service.h"
#include "quilplatform/crond.h"
#include "quilplatform/device.h"
#include "quilplatform/notify.h"
#include "quilplatform/pkce.h"
#include "quilplatform/plugin.h"
#include "quilplatform/process.h"
#include "quilplatform/qlibc_string.h"
#include "quilplatform/zone.h"
#include "util/atomic_file.hpp"
#include "util/cron_schedule.hpp"

namespace {

std::string Fact(int (*get)(char*, int)) {
    char buffer[64] = {};
    const int length = get(buffer, sizeof(buffer));
    return length > 0 ? buffer : length == -1 ? "<failed>" : "<returned " + std::to_string(length) + ">";
}

TEST(DeviceFacts, ComeFromTheDeviceFileWithTheirFallbacks) {
    TempRoot root;
    EXPECT_EQ(Fact(QLIBGetSerialNumber), "<failed>");
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_NOT_FOUND);
    WriteDevice(root, "2150ABCD1234", "");
    EXPECT_EQ(Fact(QLIBGetSerialNumber), "2150ABCD1234");
    EXPECT_EQ(Fact(QLIBGetOriginalSerialNumber), "2150ABCD1234");
    EXPECT_EQ(Fact(QUILHsinfoCloudServiceGetMacAddress), "<failed>");
    // No "mac" key: the first interface other than loopback, by name.
    root.WriteFile("/sys/class/net/lo/address", "00:00:00:00:00:00\n");
    root.WriteFile("/sys/class/net/eth1/address", "00:11:32:00:00:02\n");
    root.WriteFile("/sys/class/net/eth0/address", "00:11:32:00:00:01\n");
    EXPECT_EQ(Fact(QUILHsinfoCloudServiceGetMacAddress), "00:11:32:00:00:01");
    root.WriteFile(quilkova::test::kDeviceFile, "serial=\"NEW1\"\noriginal_serial=\"OLD1\"\nmac=\"a\"\n");
    EXPECT_EQ(Fact(QLIBGetOriginalSerialNumber), "OLD1");
    EXPECT_EQ(Fact(QUILHsinfoCloudServiceGetMacAddress), "a") << "one character is a fact";
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
    EXPECT_EQ(root.Mode(kApiKeyFile), 0600);
    ASSERT_EQ(QUILCloudServiceGetApiKey(key, 1), 0);
    EXPECT_EQ(first, key) << "a stored key is reused";
    ASSERT_EQ(QUILCloudServiceRegisterApiKey(key), 0);
    EXPECT_NE(first, key);

    char token[QUIL_CLOUD_SERVICE_DSTOKEN_SIZE] = {};
    ASSERT_EQ(QUILCloudServiceDstokenGenerateToken(token), 0);
    EXPECT_EQ(token, quilkova::test::Md5Hex("2150ABCD1234" + std::string(key))) << "MD5 of serial and key";

    for (int discarded = 0; discarded < 2; ++discarded) {  // a key already gone is no failure
        EXPECT_EQ(QUILCloudServiceActionHandler(QUIL_CLOUD_SERVICE_ACTION_APIKEY_EXPIRED, 0), 0);
        EXPECT_FALSE(root.Exists(kApiKeyFile));
    }
    root.WriteFile(quilkova::test::kDeviceFile, "");
    EXPECT_LT(QUILCloudServiceDstokenGenerateToken(token), 0) << "no serial";
}

TEST(Processes, RunWithoutAShellWithTheLibrarysEnvironment) {
    TempRoot root;
    EXPECT_EQ(QLIBCExecl("/bin/sh", "-c", "exit 3", nullptr), 3);
    EXPECT_EQ(QLIBCExecl("/no/such/program", nullptr), -1);
    EXPECT_EQ(QLIBCExecl("/bin/echo", "$HOME; rm -rf /", nullptr), 0) << "arguments are not shell text";

    // An appliance program is looked for under the root first; its stream is closed with it.
    quilkova::test::WriteScript(root, "/usr/quil/sbin/quilddnsinfo", "echo \"account:$1\"");
    const size_t before = OpenDescriptors();
    FILE* out = QLIBCPopen("/usr/quil/sbin/quilddnsinfo", "r", "--get-quil-account", nullptr);
    ASSERT_NE(out, nullptr);
    char line[256] = {};
    ASSERT_NE(std::fgets(line, sizeof(line), out), nullptr);
    EXPECT_STREQ(line, "account:--get-quil-account\n");
    EXPECT_EQ(QLIBCPclose(out), 0);
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(QLIBCPclose(out), -1) << "closed already";
    // What a piped program leaves running in the background ends with it.
    quilkova::test::WriteScript(root, "/usr/quil/sbin/quilddnsinfo",
                                "sleep 3000 & echo $! > " + root.Path("/background") + "; echo one; exit 0");
    out = QLIBCPopen("/usr/quil/sbin/quilddnsinfo", "r", nullptr);
    ASSERT_NE(out, nullptr);
    ASSERT_NE(std::fgets(line, sizeof(line), out), nullptr);
    EXPECT_EQ(QLIBCPclose(out), 0);
    const pid_t background = std::stoi(root.ReadFile("/background"));
    const std::string stat = "/proc/" + std::to_string(background) + "/stat";
    bool ended = false;
    for (int i = 0; i < 200 && !ended; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(10))) {
        std::ifstream status(stat);
        std::string pid, name, state;
        ended = !(status >> pid >> name >> state) || state == "Z";
    }
    EXPECT_TRUE(ended) << "the background child still runs";
    if (!ended) {
        ::kill(background, SIGKILL);  // nothing of the test outlives it
    }
    EXPECT_EQ(QLIBCPopen("/bin/true", "w", nullptr), nullptr);
    EXPECT_EQ(QLIBCPclose(stdin), -1) << "not a stream it opened";

    // The plug-ins see the account the library gives, whatever the caller's environment says.
    quilkova::test::WriteScript(root, "/usr/quil/lib/plugins/kova/login.d/10-record",
                                "echo \"$1 [$QUIL_PLUGIN_ACCOUNT] "
                                "$(tr '\\0' '\\n' </proc/$$/environ | grep -c ^QUIL_PLUGIN_ACCOUNT=) $INHERITED\" >> " +
                                    root.Path("/calls"));
    ::setenv("QUIL_PLUGIN_ACCOUNT", "intruder@example.com", 1);
    ::setenv("INHERITED", "kept", 1);
    PQLIBPLUGIN handle = nullptr;
    ASSERT_EQ(QLIBPluginSDKInit("kova", "kova/login", &handle, "owner@example.com"), 0);
    EXPECT_EQ(QLIBPluginAction(5, handle), 0);
    QLIBPluginExit(handle);
    ::unsetenv("QUIL_PLUGIN_ACCOUNT");
    ::unsetenv("INHERITED");
    EXPECT_EQ(root.ReadFile("/calls"), "5 [owner@example.com] 1 kept\n")
        << "one account in the environment it was started with, the rest as it was";
}

TEST(Scheduler, RendersRangesToValuesWithinThemAndFailsWithItsError) {
    TempRoot root;
    Json::Value jobs;
    ASSERT_TRUE(internal::TryParseJson(
        R"([{"period": "crontab", "user": "root", "cmd_list": ["/usr/quil/bin/quilkova", "--report_info"]}])", jobs));
    QUIL::QUILCrond::ConfigManager kova("kova", false);
    EXPECT_EQ(QUILScheduleRemove("/usr/quil/bin/quilkova --report_info"), 0) << "no crontab at all";
    ASSERT_EQ(::mkdir(root.Path("/etc").c_str(), 0755) | ::mkdir(root.Path("/etc/crontab").c_str(), 0755), 0);
    EXPECT_EQ(QUILScheduleRemove("/usr/quil/bin/quilkova --report_info"), -1) << "a crontab it cannot read";
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_FILE_READ);
    ASSERT_EQ(::rmdir(root.Path("/etc/crontab").c_str()), 0);
    root.WriteFile("/etc/crontab", "0 3 * * * root /usr/bin/other\n");
    EXPECT_EQ(QUILScheduleRemove("/usr/quil/bin/quilkova --report_info"), 0) << "none of its lines";
    EXPECT_EQ(root.ReadFile("/etc/crontab"), "0 3 * * * root /usr/bin/other\n");
    // A crontab it cannot write back (here, a file size limit) stays whole.
    const std::string crontab = "0 3 * * * root /usr/bin/other " + std::string(2000, 'x') +
                                "\n0 3 * * * root /usr/quil/bin/quilkova --report_info\n";
    root.WriteFile("/etc/crontab", crontab);
    {
        const NoRoomForFiles room(1024);
        EXPECT_EQ(QUILScheduleRemove("/usr/quil/bin/quilkova --report_info"), -1);
        EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_FILE_WRITE);
    }
    EXPECT_EQ(root.ReadFile("/etc/crontab"), crontab);
    root.WriteFile("/etc/crontab", "0 3 * * * root /usr/bin/other\n");
    for (const char* crontab : {"~ ~ ~ ~ ~", "0~59 0~23 1~31 1~12 0~7", "7 9~16 1~31 1~12 1~5"}) {
        jobs[0]["crontab"] = crontab;
        std::set<std::string> minutes;
        for (int round = 0; round < 40; ++round) {
            ASSERT_TRUE(kova.Save(jobs)) << crontab;
            const std::string cron = root.ReadFile("/etc/cron.d/quil-kova");
            const std::string rendered = cron.substr(cron.find('\n') + 1, cron.find(" root") - cron.find('\n') - 1);
            EXPECT_TRUE(internal::IsValidSchedule(rendered) &&
                        rendered.find_first_not_of("0123456789 ") == std::string::npos)
                << "values within the ranges: " << cron;
            EXPECT_EQ(cron.substr(cron.find(" root")), " root /usr/quil/bin/quilkova --report_info\n");
            minutes.insert(rendered.substr(0, rendered.find(' ')));
        }
        EXPECT_GT(minutes.size(), std::string(crontab)[0] == '7' ? 0u : 1u) << "picked at random";
    }
    EXPECT_NE(root.ReadFile("/usr/quil/etc/crond/kova.json").find("\"7 9~16 1~31 1~12 1~5\""), std::string::npos)
        << "the job is kept as given";

    // A schedule, user or command it cannot render, or a rendering it cannot write: the scheduler says so.
    for (const auto& [member, value] : std::vector<std::pair<const char*, Json::Value>>{
             {"crontab", "* 24 * * *"}, {"user", "\x01\x02"}, {"user", "root\r* * * * * root evil"},
             {"user", "-x"}, {"user", 0}, {"user", "."}, {"user", ".."}, {"user", std::string(33, 'a')},
             {"period", "daily"}}) {
        Json::Value bad = jobs;
        bad[0]["crontab"] = "0 3 * * *";
        bad[0][member] = value;
        EXPECT_FALSE(kova.Save(bad)) << value;
        EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_BAD_PARAMETERS);
    }
    jobs[0]["cmd_list"][1] = "--report_info\x1b";
    EXPECT_FALSE(kova.Save(jobs));
    // Each argument one word for the shell, exactly as given; a % escaped for cron.
    for (const auto& [arg, rendered] : std::vector<std::pair<const char*, const char*>>{
             {"--report_info 50%", " '--report_info 50\\%'\n"}, {"a;touch X", " 'a;touch X'\n"},
             {"$(id -u)", " '$(id -u)'\n"}, {"it's", " 'it'\\''s'\n"}, {"--x=5%", " --x=5\\%\n"}}) {
        jobs[0]["cmd_list"][1] = arg;
        ASSERT_TRUE(kova.Save(jobs)) << arg;
        const std::string cron = root.ReadFile("/etc/cron.d/quil-kova");
        EXPECT_EQ(cron.substr(cron.find(" root") + 5), std::string(" /usr/quil/bin/quilkova") + rendered) << arg;
    }
    jobs[0]["cmd_list"][1] = "--report_info";
    jobs[0]["user"] = "A.report_Z-09az";
    EXPECT_TRUE(kova.Save(jobs)) << "letters, digits, \".\", \"_\" and \"-\" make a user";
    jobs[0]["user"] = std::string(32, 'a');
    EXPECT_TRUE(kova.Save(jobs)) << "32 characters";
    jobs[0]["user"] = "root";
    jobs[0]["crontab"] = "0 3 * * *";
    ASSERT_TRUE(kova.Remove());
    EXPECT_FALSE(kova.Remove()) << "nothing left to remove";
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_NOT_FOUND);
    ASSERT_EQ(::mkdir(root.Path("/etc/cron.d/quil-kova").c_str(), 0755), 0);
    EXPECT_FALSE(kova.Remove()) << "a rendering it cannot remove";
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_FILE_WRITE);
    ASSERT_EQ(::rmdir(root.Path("/etc/cron.d/quil-kova").c_str()), 0);
    ASSERT_EQ(::rmdir(root.Path("/etc/cron.d").c_str()), 0);
    root.WriteFile("/etc/cron.d", "a file where a directory belongs");
    EXPECT_FALSE(kova.Save(jobs));
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_FILE_WRITE);
}

TEST(Zone, ComesFromTheSettingsOrTheLocaltimeLinkAndIsCheckedAgainstZoneinfo) {
    TempRoot root;
    char zone[256] = {};
    int needed = 0;
    EXPECT_LT(QUILZoneGet(zone, sizeof(zone), &needed), 0);
    root.WriteFile("/etc/placeholder", "");
    ASSERT_EQ(::symlink("/usr/share/zoneinfo/Europe/Berlin", root.Path("/etc/localtime").c_str()), 0);
    ASSERT_EQ(QUILZoneGet(zone, sizeof(zone), &needed), 0);
    EXPECT_STREQ(zone, "Europe/Berlin");
    root.WriteFile("/etc/timezone", "Pacific/Auckland\n");
    ASSERT_EQ(QUILZoneGet(zone, sizeof(zone), &needed), 0);
    EXPECT_STREQ(zone, "Pacific/Auckland");
    root.WriteFile("/etc/timezone", " \tPacific/Auckland \r\n");
    ASSERT_EQ(QUILZoneGet(zone, sizeof(zone), &needed), 0);
    EXPECT_STREQ(zone, "Pacific/Auckland") << "blanks around it dropped";
    char small[17];
    EXPECT_LT(QUILZoneGet(small, 16, &needed), 0);
    EXPECT_EQ(needed, 17) << "tells the size it needs";
    EXPECT_EQ(QUILZoneGet(small, 17, &needed), 0) << "and that size is enough";

    root.WriteFile("/usr/share/zoneinfo/Quil/Only_Here", "TZif");  // the root's database first
    for (const char* zone_name : {"Pacific/Auckland", "Quil/Only_Here", "Mars/Olympus_Mons", "../../etc/passwd",
                                  "/etc/passwd", "/Pacific/Auckland", ""}) {
        PQLIBCSzHash info = QLIBCSzHashAlloc(4);
        const bool known = QUILZoneGetInfo(zone_name, info) == 0 && QLIBCSzHashGetValue(info, "nameInTZDB") != nullptr;
        EXPECT_EQ(known, zone_name[0] == 'P' || zone_name[0] == 'Q') << zone_name;
        QLIBCSzHashFree(info);
    }
}

// Notifications and events are lines appended, with no descriptor left open.
TEST(Notifications, AreLinesAppendedKeepingNoDescriptor) {
    TempRoot root;
    const size_t before = OpenDescriptors();
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(QUILSysNotifySendNotifiction("Tag", nullptr), 0);
        ASSERT_EQ(QUILLogSet1(1, 2, 3, "a", nullptr, "", ""), 0);
    }
    EXPECT_EQ(OpenDescriptors(), before);
    const std::string notification = R"({"params":{},"tag":"Tag"})" "\n";
    EXPECT_EQ(root.ReadFile("/var/log/quil/notifications.jsonl"), notification + notification);
    const std::string event = R"({"args":["a","","",""],"event":3,"level":2,"type":1})" "\n";
    EXPECT_EQ(root.ReadFile("/var/log/quil/events.jsonl"), event + event);
    // A link planted at the path is not written through.
    root.WriteFile("/victim", "");
    ASSERT_EQ(::unlink(root.Path("/var/log/quil/events.jsonl").c_str()), 0);
    ASSERT_EQ(::symlink(root.Path("/victim").c_str(), root.Path("/var/log/quil/events.jsonl").c_str()), 0);
    EXPECT_EQ(QUILLogSet1(1, 2, 3, "a", nullptr, "", ""), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_FILE_OPEN);
    EXPECT_EQ(root.ReadFile("/victim"), "");
}

TEST(PkcePair, IsFreshEachTimeAndTheChallengeIsTheVerifiersS256) {
    std::set<std::string> verifiers;
    char challenge[44];
    char verifier[44];
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(quil_challenge_verifier_no_save(challenge, sizeof(challenge), verifier, sizeof(verifier)), 0);
        EXPECT_EQ(std::strlen(verifier), 43u);
        EXPECT_EQ(challenge, quilkova::sim::S256(verifier));
        verifiers.insert(verifier);
    }
    EXPECT_EQ(verifiers.size(), 20u);
    EXPECT_EQ(quilkova::sim::S256("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk"), "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM")
        << "the S256 of RFC 7636's example";
    char roomy[46];
    std::memset(roomy, '#', sizeof(roomy));
    ASSERT_EQ(quil_challenge_verifier_no_save(roomy, sizeof(roomy), verifier, sizeof(verifier)), 0);
    EXPECT_EQ(std::string(roomy, sizeof(roomy)), quilkova::sim::S256(verifier) + '\0' + "##") << "nothing past its end";
    EXPECT_LT(quil_challenge_verifier_no_save(challenge, 43, verifier, sizeof(verifier)), 0);
    EXPECT_LT(quil_challenge_verifier_no_save(challenge, sizeof(challenge), nullptr, 44), 0);
}

}  // namespace
