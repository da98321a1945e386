// The account record, its flat face and the service hosts.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "fixtures.hpp"
#include "internal/default_hosts.hpp"
#include "internal/server_info_impl.hpp"
#include "log_capture.hpp"
#include "quilkova/quilkova.h"
#include "quilkova/server_info.hpp"
#include "quilkova/user.hpp"

namespace {

namespace hosts = quilkova::internal;
using quilkova::User;
using quilkova::test::CodeOf;
using quilkova::test::kUserConf;
using quilkova::test::LogCapture;

class AccountTest : public quilkova::test::AccountTest {};

KOVA_INFO Profile() {
    KOVA_INFO info = {};
    std::strcpy(info.email, "owner@example.com");
    std::strcpy(info.password, "never stored");
    std::strcpy(info.user_id, "u-1234");
    std::strcpy(info.auth_key, "0123456789abcdef");
    std::strcpy(info.full_name, "Ann Owner");
    std::strcpy(info.country, "NZ");
    std::strcpy(info.timezone, "Pacific/Auckland");
    std::strcpy(info.notify_language, "enu");
    std::strcpy(info.critical_version_list, "7.1,7.2");
    std::strcpy(info.critical_version_domain, "updates.example");
    info.activated = 1;
    info.enews = 1;
    info.enews_local_promotion = 1;
    info.last_query_time = 1700000000;
    return info;
}

std::vector<std::string> Keys(const std::string& content) {
    std::vector<std::string> keys;
    std::istringstream in(content);
    for (std::string line; std::getline(in, line);) {
        keys.push_back(line.substr(0, line.find('=')));
    }
    return keys;
}

TEST_F(AccountTest, AMissingRecordGivesEveryDefaultAndReadingCreatesNothing) {
    const User user;
    for (const std::string& value :
         {user.GetAccountHost(), user.GetIdentityHost(), user.GetEmail(), user.GetUserId(), user.GetAuthKey(),
          user.GetName(), user.GetCountry(), user.GetTimezone(), user.GetNotifyLanguage(),
          user.GetCriticalVersionList(), user.GetCriticalVersionDomain()}) {
        EXPECT_EQ(value, "");
    }
    EXPECT_EQ(user.GetReportCronTimestring(), "~ 9~16 * * 1~5");
    EXPECT_EQ(user.GetLastQueryTime(), 0);
    for (bool value : {user.GetIsActivated(), user.GetIsDisabled(), user.GetIsEnews(), user.GetIsCriticalRelease(),
                       user.GetIsEnewsLocalPromotion(), user.GetIsRealnameValidationPass()}) {
        EXPECT_FALSE(value);
    }
    EXPECT_FALSE(user.Exists());
    EXPECT_FALSE(root().Exists(kUserConf));
}

TEST_F(AccountTest, WritesTheDocumentedLinesAndReadsStoredTextsAsDocumented) {
    LogCapture log;
    const User user;
    user.SetUserId("u-1234");
    user.SetIsEnews(true);
    user.SetIsDisabled(false);
    user.SetLastQueryTime(1700000000);
    EXPECT_EQ(UserConf(), "kovaIDSerial=\"u-1234\"\nenews=\"yes\"\ndisabled=\"no\"\nlast_query_time=\"1700000000\"\n");
    EXPECT_TRUE(log.lines().empty()) << "root changes no ids and logs nothing: " << log.Dump();
    // One-character values and quotes round-trip.
    for (const std::string& value : {std::string("X"), std::string("Ann \"the admin\" O'Neil"), std::string(2047, 'n')}) {
        user.SetCountry(value);
        EXPECT_EQ(user.GetCountry(), value);
    }
    user.SetLastQueryTime(-5);
    EXPECT_EQ(user.GetLastQueryTime(), -5);

    root().WriteFile(kUserConf,
                     "enews=\"true\"\nactivated=\"1\"\ndisabled=\"YES\"\ncritical_release=\"\"\n"
                     "last_query_time=\"abc\"\nreport_cron_timestring=\"\"\nkovaIDSerial=\"\"\n"
                     "full_name=\"  padded  \"\n");
    EXPECT_TRUE(user.GetIsEnews());
    EXPECT_FALSE(user.GetIsActivated());
    EXPECT_FALSE(user.GetIsDisabled());
    EXPECT_FALSE(user.GetIsCriticalRelease());
    EXPECT_EQ(user.GetLastQueryTime(), 0);
    EXPECT_EQ(user.GetReportCronTimestring(), "~ 9~16 * * 1~5") << "an empty value gives the default";
    EXPECT_FALSE(user.Exists());
    EXPECT_EQ(user.GetName(), "  padded  ");
    for (const auto& [stored, read] : {std::pair<const char*, long long>{"99999999999999999999", 0},
                                       {" 42 seconds", 42}}) {
        root().WriteFile(kUserConf, std::string("last_query_time=\"") + stored + "\"\n");
        EXPECT_EQ(user.GetLastQueryTime(), read) << stored;
    }
}

TEST_F(AccountTest, WhatCouldNotBeReadBackWholeIsRefusedAndOtherKeysStayIntact) {
    const User user;
    user.SetEmail("owner@example.com");
    user.SetAuthKey("key-1");
    const std::string before = UserConf();
    LogCapture log;
    const std::vector<std::pair<const char*, std::string>> refused = {
        {"full_name", "x\"\nkovaIDSerial=\"hijacked"}, {"full_name", std::string(2048, 'n')},
        {"hs_auth_key", "secret\nvalue"}};
    for (const auto& [key, value] : refused) {
        EXPECT_EQ(CodeOf([&] {
                      if (std::string(key) == "full_name") {
                          user.SetName(value);
                      } else {
                          user.SetAuthKey(value);
                      }
                  }),
                  KOVA_ERR_CONFIG_WRITE)
            << key;
    }
    EXPECT_EQ(UserConf(), before);
    EXPECT_TRUE(log.Contains("Failed to set kova config for full_name:x\"")) << log.Dump();
    EXPECT_TRUE(log.Contains("Failed to set kova config for hs_auth_key:***")) << log.Dump();
    EXPECT_FALSE(log.Contains("secret")) << log.Dump();
}

TEST_F(AccountTest, EveryWriteLeavesTheFileRootsOnlyAndNeverActsThroughALink) {
    const User user;
    user.SetEmail("owner@example.com");
    const std::string path = root().Path(kUserConf);
    ASSERT_EQ(::chmod(path.c_str(), 0644), 0);
    ASSERT_EQ(::chown(path.c_str(), 65534, 65534), 0);
    EXPECT_EQ(CodeOf([&] { user.SetName("two\nlines"); }), KOVA_ERR_CONFIG_WRITE);
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600u) << "even after a failed write";
    EXPECT_EQ(info.st_uid, 0u);
    EXPECT_EQ(info.st_gid, 0u);

    root().WriteFile("/etc/passwd-like", "root:x:0:0\n");
    ::chmod(root().Path("/etc/passwd-like").c_str(), 0644);
    ASSERT_EQ(::unlink(path.c_str()), 0);
    ASSERT_EQ(::symlink(root().Path("/etc/passwd-like").c_str(), path.c_str()), 0);
    LogCapture log;
    EXPECT_EQ(CodeOf([] { User().SetEmail("attacker@example.com"); }), KOVA_ERR_CONFIG_WRITE);
    EXPECT_EQ(root().ReadFile("/etc/passwd-like"), "root:x:0:0\n");
    EXPECT_EQ(root().Mode("/etc/passwd-like"), 0644);
    EXPECT_TRUE(log.Contains("chmod failed, path=" + path)) << log.Dump();
}

TEST_F(AccountTest, TheFlatRecordRoundTripsAndWritesTheProfileOnlyFromAQuery) {
    for (const auto call : {+[] { return QUILKOVAAccountGet(nullptr); }, +[] { return QUILKOVAAccountSet(nullptr); }}) {
        QUILKOVAErrSet(9);
        EXPECT_EQ(call(), -1);
        EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_BAD_PARAM);
    }
    // No account bound (nothing, or an auth key alone): 3, the record untouched.
    KOVA_INFO record;
    std::memset(&record, 'Z', sizeof(record));
    const KOVA_INFO before = record;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(QUILKOVAAccountGet(&record), -1);
        EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_NO_ACCOUNT);
        EXPECT_EQ(std::memcmp(&record, &before, sizeof(record)), 0);
        User().SetAuthKey("key-only");
    }

    KOVA_INFO written = Profile();
    ASSERT_EQ(QUILKOVAAccountSet(&written), 0);
    EXPECT_EQ(Keys(UserConf()),
              (std::vector<std::string>{"hs_auth_key", "kovaID", "kovaIDSerial", "full_name", "country", "timezone",
                                        "notify_language", "activated", "disabled", "enews", "enews_local_promotion",
                                        "critical_release", "critical_version_list", "critical_version_domain",
                                        "last_query_time"}));
    KOVA_INFO read;
    std::memset(&read, 'Z', sizeof(read));
    ASSERT_EQ(QUILKOVAAccountGet(&read), 0);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS);
    for (const auto& [got, want] : {std::pair<const char*, const char*>{read.email, written.email},
                                    {read.user_id, written.user_id}, {read.auth_key, written.auth_key},
                                    {read.full_name, written.full_name}, {read.country, written.country},
                                    {read.timezone, written.timezone}, {read.notify_language, written.notify_language},
                                    {read.critical_version_list, written.critical_version_list},
                                    {read.critical_version_domain, written.critical_version_domain}}) {
        EXPECT_STREQ(got, want);
    }
    EXPECT_EQ(std::vector<int>({read.activated, read.disabled, read.enews, read.critical_release,
                                read.enews_local_promotion}),
              std::vector<int>({1, 0, 1, 0, 1}));
    EXPECT_EQ(read.last_query_time, 1700000000);
    EXPECT_EQ(read.password[0], 'Z') << "the password field is not the account record's";

    // Without a query time, only the identity changes (written even when empty).
    KOVA_INFO identity = {};
    std::strcpy(identity.email, "new@example.com");
    std::strcpy(identity.full_name, "Ignored Name");
    ASSERT_EQ(QUILKOVAAccountSet(&identity), 0);
    const User user;
    EXPECT_EQ(user.GetEmail(), "new@example.com");
    EXPECT_EQ(user.GetUserId(), "");
    EXPECT_EQ(user.GetName(), "Ann Owner");
    EXPECT_TRUE(user.GetIsEnews());

    // Texts are cut to their fields; unterminated input is bounded.
    written = Profile();
    std::memset(written.full_name, 'n', sizeof(written.full_name));
    ASSERT_EQ(QUILKOVAAccountSet(&written), 0);
    EXPECT_EQ(user.GetName(), std::string(sizeof(written.full_name), 'n'));
    user.SetName(std::string(2000, 'm'));
    ASSERT_EQ(QUILKOVAAccountGet(&read), 0);
    EXPECT_EQ(std::string(read.full_name), std::string(1023, 'm'));
}

TEST_F(AccountTest, HostsFollowTheModeAndTheRecordsOverrides) {
    const std::vector<std::pair<const char*, bool>> rows = {
        {nullptr, false}, {"quilpkg_server=\"test\"\n", true}, {"quilpkg_server=test\n", true},
        {"quilpkg_server=\"Test\"\n", false}, {"quilpkg_server=\" test\"\n", false},
        {"quilpkg_server=\"testing\"\n", false}, {"other=\"test\"\n", false}};
    for (const auto& [content, test] : rows) {
        if (content != nullptr) {
            root().WriteFile("/etc.defaults/quilinfo.conf", content);
        }
        const quilkova::ServerInfo info;
        EXPECT_EQ(quilkova::ServerInfoImpl().IsTest(), test) << (content ? content : "no file");
        EXPECT_EQ(info.GetAccountHost(), test ? hosts::kAccountHostTest : hosts::kAccountHost);
        EXPECT_EQ(info.GetIdentityHost(), test ? hosts::kIdentityHostTest : hosts::kIdentityHost);
        EXPECT_EQ(info.GetPaymentHost(), test ? hosts::kPaymentHostTest : hosts::kPaymentHost);
    }
    User().SetAccountHost("http://127.0.0.1:8080");
    User().SetIdentityHost("");
    for (bool test : {false, true}) {
        root().WriteFile("/etc.defaults/quilinfo.conf", test ? "quilpkg_server=\"test\"\n" : "");
        const quilkova::ServerInfo info;
        EXPECT_EQ(info.GetAccountHost(), "http://127.0.0.1:8080");
        EXPECT_EQ(info.GetIdentityHost(), test ? hosts::kIdentityHostTest : hosts::kIdentityHost);
        EXPECT_EQ(info.GetPaymentHost(), test ? hosts::kPaymentHostTest : hosts::kPaymentHost);
    }

    root().WriteFile("/etc.defaults/quilinfo.conf", "");
    for (const auto call : {+[] { return QUILKOVAServerConfigGet(nullptr); }, +[] { return QUILPaymentConfigGet(nullptr); }}) {
        EXPECT_EQ(call(), -1);
        EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_BAD_PARAM);
    }
    KOVA_SERVER_CONFIG config;
    std::memset(&config, 'Z', sizeof(config));
    const std::string long_host = "https://" + std::string(2039, 'h');  // the longest the record holds
    User().SetAccountHost(long_host);
    ASSERT_EQ(QUILKOVAServerConfigGet(&config), 0);
    EXPECT_EQ(std::string(config.account_url), long_host);
    EXPECT_STREQ(config.payment_url, hosts::kPaymentHost);
    char url[2048];
    ASSERT_EQ(QUILPaymentConfigGet(url), 0);
    EXPECT_STREQ(url, hosts::kPaymentHost);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS);
}

}  // namespace
