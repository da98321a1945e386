#include <gtest/gtest.h>

#include <string>

#include "kova_code.hpp"
#include "operations_fixture.hpp"
#include "quilkova/account_service.hpp"
#include "quilkova/quilkova.h"

namespace {

using quilkova::AccountService;
using quilkova::User;
using quilkova::test::CodeOf;

class AccountServiceTest : public quilkova::test::OperationsTest {};

TEST_F(AccountServiceTest, LogsInAndThrowsTheFlatCodes) {
    const AccountService service;
    EXPECT_EQ(service.GetAccountHost(), sim().BaseUrl());
    EXPECT_EQ(AccountService("https://a.example", "").GetAccountHost(), "https://a.example");
    EXPECT_EQ(CodeOf([&] { service.Login("owner@example.com", "wrong"); }), KOVA_ERR_AUTH);
    EXPECT_EQ(service.Login("owner@example.com", "s3cret")["auth_key"], "key-1");
    EXPECT_EQ(service.GetLocalJsonAccount()["full_name"], "Ann Owner");
    EXPECT_EQ(service.GetAndSyncRemoteJsonAccount()["email"], "owner@example.com");
}

TEST_F(AccountServiceTest, AFailedSyncDeletesTheRecordButALocalReadDoesNot) {
    const AccountService service;
    EXPECT_EQ(CodeOf([&] { service.GetLocalJsonAccount(); }), KOVA_ERR_NO_ACCOUNT);
    EXPECT_TRUE(root().Exists(quilkova::test::kUserConf));
    EXPECT_EQ(CodeOf([&] { service.GetAndSyncRemoteJsonAccount(); }), KOVA_ERR_NO_ACCOUNT);
    EXPECT_FALSE(root().Exists(quilkova::test::kUserConf));
}

TEST_F(AccountServiceTest, SetReportCrontabReplacesTheLegacyEntryUnlessReportsAreDisabled) {
    root().WriteFile("/etc/crontab", "0 3 * * * root /usr/quil/bin/quilkova --report_info\n");
    User().SetReportCronTimestring("30 4 * * 0");
    AccountService().SetReportCrontab();
    EXPECT_EQ(root().ReadFile("/etc/crontab"), "");
    EXPECT_NE(root().ReadFile("/etc/cron.d/quil-kova").find("30 4 * * 0 root /usr/quil/bin/quilkova --report_info"),
              std::string::npos);
    EXPECT_EQ(QUILKOVAAccountUnregisterCrond(), 1u);
    EXPECT_EQ(QUILKOVAAccountUnregisterCrond(), 0u) << "nothing left";

    root().WriteFile("/etc/quilinfo.conf", "kova_disable_report=\"yes\"\n");
    AccountService().SetReportCrontab();
    EXPECT_FALSE(root().Exists("/etc/cron.d/quil-kova"));
}

TEST_F(AccountServiceTest, RemovalTellsThePluginsAndToleratesAMissingRecord) {
    EXPECT_EQ(QUILKOVAAccountRemove(), 0);
    EXPECT_FALSE(root().Exists(quilkova::test::kUserConf));
    EXPECT_EQ(QUILKOVAAccountRemove(), 0);
    EXPECT_EQ(PluginCalls(), "logout 4 []\nlogout 4 []\n");
}

}  // namespace
