// The scheduled report run against the simulator.
#include "test_prelude.hpp"

namespace {

constexpr const char* kReport = "/device/api/report";

class ReportTest : public quilkova::test::OperationsTest {};

TEST_F(ReportTest, ReportsTheDeviceKeepsTheTokenFreshAndOnlyTheServicesRefusalLogsOut) {
    EXPECT_EQ(FailureCode(QUILKOVAReportInfo()), KOVA_ERR_NO_ACCOUNT);
    EXPECT_EQ(Sent(kReport), 0u) << "no account: nothing sent";

    BrowserLogin();
    Restamp(kHosToken, 7200);
    ASSERT_EQ(QUILKOVAReportInfo(), 0);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS);
    const auto sent = sim().RequestsTo(kReport).at(0);
    std::string fields;
    for (const auto& [name, value] : sent.fields) {
        fields += name + "=" + (name == "hs_token" ? "..." : value) + " ";
    }
    EXPECT_EQ(fields,
              "hs_sn=2150ABCD1234 hs_token=... id=u-1 auth_key=key-1 timezone=Pacific/Auckland model=QN-420 "
              "firmware=7.2.1 mac=00:11:32:aa:bb:cc orig_serial_no=2150ABCD1234 ");
    EXPECT_EQ(Sent("/oauth2/token"), 1u) << "the expired token was renewed";
    ASSERT_EQ(::unlink(root().Path(kHosToken).c_str()), 0);
    ASSERT_EQ(QUILKOVAReportInfo(), 0);
    EXPECT_TRUE(root().Exists(kHosToken)) << "none at all: made again from the auth key";

    // A token that cannot be renewed is logged with its message and code; the report went out all the same.
    LogCapture log;
    Restamp(kHosToken, 7200);
    Answer("/oauth2/token", "", 502);
    ASSERT_EQ(QUILKOVAReportInfo(), 0);
    const auto renewal = std::find_if(log.lines().begin(), log.lines().end(),
                                      [](const auto& line) { return line.text.find("appliance token") != std::string::npos; });
    ASSERT_NE(renewal, log.lines().end()) << log.Dump();
    EXPECT_EQ(renewal->text.substr(renewal->text.find(' ')),
              " Failed to renew the appliance token: Failed to parse renew token resp, code=502, resp= [code=5]");

    const std::string record = UserConf();
    // A network failure, another refusal: nothing changes on disk.
    Answer(kReport, R"({"code": "badparam"})");
    EXPECT_EQ(FailureCode(QUILKOVAReportInfo()), KOVA_ERR_BAD_PARAM);
    User().SetAccountHost("http://127.0.0.1:" + std::to_string(quilkova::test::UnusedLoopbackPort()));
    const std::string unreachable = UserConf();
    EXPECT_EQ(FailureCode(QUILKOVAReportInfo()), KOVA_ERR_SEND);
    EXPECT_EQ(UserConf(), unreachable);
    EXPECT_TRUE(root().Exists(kHosToken));
    EXPECT_FALSE(root().Exists("/var/log/quil/notifications.jsonl"));

    User().SetAccountHost(sim().BaseUrl());
    for (const auto& [code_text, code] : {std::pair<const char*, int>{"account_not_found", 25}, {"badauth", 14}}) {
        Answer(kReport, std::string("{\"code\": \"") + code_text + "\"}");
        EXPECT_EQ(FailureCode(QUILKOVAReportInfo()), code) << code_text;
        EXPECT_TRUE(LoggedOutLocally());
        EXPECT_EQ(root().ReadFile("/var/log/quil/notifications.jsonl"),
                  "{\"params\":{\"%KOVA_ACCOUNT%\":\"owner@example.com\"},\"tag\":\"KoVAAccountLoggedOut\"}\n");
        ::unlink(root().Path("/var/log/quil/notifications.jsonl").c_str());
        root().WriteFile(kUserConf, record);
        root().WriteFile(kHosToken, "{}");
    }
}

TEST_F(ReportTest, TheScheduleIsReplacedRegisteredAndRemoved) {
    // The old schedule's lines leave /etc/crontab; nothing else does.
    const std::string kept =
        "# m h dom mon dow user command\n5 4 * * * root /usr/bin/other --report_info\n"
        "#0 3 * * * root /usr/quil/bin/quilkova --report_info\n";
    root().WriteFile("/etc/crontab", kept +
                                         "0 3 * * * root /usr/quil/bin/quilkova --report_info\n"
                                         "7 9 * * 1 root   /usr/quil/bin/quilkova   --report_info\n");
    User().SetReportCronTimestring("30 4 * * 0");
    AccountService().SetReportCrontab();
    EXPECT_EQ(root().ReadFile("/etc/crontab"), kept);
    EXPECT_NE(root().ReadFile("/etc/cron.d/quil-kova").find("30 4 * * 0 root /usr/quil/bin/quilkova --report_info"),
              std::string::npos);
    QUILKOVAErrSet(KOVA_ERR_SUCCESS);
    EXPECT_EQ(QUILKOVAAccountRegisterCrond(), 1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS) << "a saved job leaves the slot alone";
    EXPECT_EQ(QUILKOVAAccountUnregisterCrond(), 1u);
    EXPECT_EQ(QUILKOVAAccountUnregisterCrond(), 0u) << "nothing left";
    ASSERT_EQ(::rmdir(root().Path("/etc/cron.d").c_str()), 0);
    root().WriteFile("/etc/cron.d", "a file where a directory belongs");
    EXPECT_EQ(QUILKOVAAccountRegisterCrond(), 0) << "a save that fails is no success";
    root().WriteFile("/etc/quilinfo.conf", "kova_disable_report=\"yes\"\n");
    LogCapture log;
    AccountService().SetReportCrontab();
    EXPECT_FALSE(log.Contains("Failed to add crontab for kova")) << "disabled: not even tried";

    EXPECT_EQ(QUILKOVAAccountRemove(), 0);
    EXPECT_FALSE(root().Exists(kUserConf));
    EXPECT_EQ(QUILKOVAAccountRemove(), 0) << "already gone";
    EXPECT_EQ(PluginCalls(), "logout 4 []\nlogout 4 []\n");
}

}  // namespace
