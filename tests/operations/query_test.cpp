// The account query and its synchronisation through AccountService.
#include "test_prelude.hpp"

namespace {

// Every required member with a value that differs from what is on record, as the service sends it.
std::string QueryAnswer(const std::string& overrides = "") {
    return R"({"code": "good", "email": "remote@example.com", "full_name": "Remote Name", "country": "DE",
               "timezone": "Europe/Berlin", "notify_language": "deu", "activated": true, "disabled": true,
               "enews": true, "critical_release": true, "enews_local_promotion": true,
               "critical_version_list": "7.1,7.2")" +
           overrides + "}";
}

class QueryTest : public quilkova::test::OperationsTest {
protected:
    void SetUp() override {
        OperationsTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        const User user;
        user.SetUserId("u-1");
        user.SetAuthKey("key-1");
        user.SetName("Local Name");
    }
    // A record whose last query was `age` seconds ago (negative: in the future).
    void LastQueried(long long age) { User().SetLastQueryTime(static_cast<long long>(std::time(nullptr)) - age); }
    int Query(bool query_allowed = false) {
        result_ = Json::Value();
        return QUILKOVAAccountQueryInfo(result_, query_allowed, true);
    }
    // A query due (the last a day ago) that the service answers with `body`.
    int QueryAnswered(const std::string& body) {
        LastQueried(86400);
        Answer(kQuery, body);
        return Query();
    }
    Json::Value result_;
};

TEST_F(QueryTest, TheAgeOfTheLastQueryDecidesWhetherToAsk) {
    const struct {
        long long age;
        bool query_allowed;
        size_t sent;
    } rows[] = {{0, true, 0},      {299, true, 0},        {300, true, 1},         {7200, false, 0},  {7200, true, 1},
                {86400, false, 1}, {3 * 86400, false, 1}, {-2 * 86400, false, 1}, {-600, false, 0}};
    for (const auto& row : rows) {
        sim().Reset();
        StartOfASecond();  // a boundary age must not grow by a second before the query reads it
        LastQueried(row.age);
        ASSERT_EQ(Query(row.query_allowed), 0) << row.age;
        EXPECT_EQ(Sent(kQuery), row.sent) << "age " << row.age << ", allowed " << row.query_allowed;
    }
    // A query sets the time: the next call within 300 s does not ask again, whatever the flag.
    sim().Reset();
    LastQueried(86400);
    ASSERT_EQ(Query(false) + Query(true), 0);
    EXPECT_EQ(Sent(kQuery), 1u);
    EXPECT_EQ(result_["full_name"].asString() + "|" + result_["auth_key"].asString(), "Ann Owner|key-1");
    EXPECT_EQ(result_.size(), 11u);
    const auto sent = sim().RequestsTo(kQuery).at(0);
    EXPECT_EQ(sent.Field("auth_key") + "|" + sent.Field("serial_no"), "key-1|2150ABCD1234");
}

TEST_F(QueryTest, EveryMemberIsStoredThroughItsSetter) {
    ASSERT_EQ(QueryAnswered(QueryAnswer(R"(, "realname_validation_pass": "yes", "report_cron_timestring": "0 3 * * *",
                              "critical_version_list": [{"version": "7.2", "domain": "updates.example"}, "7.3"])")),
              0);
    const User user;
    EXPECT_EQ(std::vector<std::string>({user.GetEmail(), user.GetName(), user.GetCountry(), user.GetTimezone(),
                                        user.GetNotifyLanguage(), user.GetCriticalVersionList(),
                                        user.GetCriticalVersionDomain(), user.GetReportCronTimestring()}),
              std::vector<std::string>({"remote@example.com", "Remote Name", "DE", "Europe/Berlin", "deu", "7.2,7.3",
                                        "updates.example", "0 3 * * *"}));
    EXPECT_EQ(
        std::vector<bool>({user.GetIsActivated(), user.GetIsDisabled(), user.GetIsEnews(), user.GetIsCriticalRelease(),
                           user.GetIsEnewsLocalPromotion(), user.GetIsRealnameValidationPass()}),
        std::vector<bool>(6, true));
    EXPECT_LE(std::llabs(user.GetLastQueryTime() - std::time(nullptr)), 5);

    // A schedule the scheduler could not install keeps the one on record.
    for (const char* refused : {"99 99 99 99 99", "*/0 * * * *", "tomorrow"}) {
        ASSERT_EQ(QueryAnswered(QueryAnswer(std::string(R"(, "report_cron_timestring": ")") + refused + "\"")), 0);
        EXPECT_EQ(user.GetReportCronTimestring(), "0 3 * * *") << refused;
    }
}

// A service that changes a member's type must never cost the appliance its account.
TEST_F(QueryTest, PresentMembersOfAnyTypeAreStoredAsTheirText) {
    const std::vector<std::tuple<const char*, const char*, const char*>> values = {
        // value, as a text member, as a flag
        {"null", "", "no"},       {"49", "49", "yes"},      {"0", "0", "no"},     {"true", "true", "yes"},
        {"false", "false", "no"}, {"{\"a\": 1}", "", "no"}, {"[1, 2]", "", "no"}, {"1.5", "1.5", "no"}};
    LogCapture log;
    for (const auto& [value, text, flag] : values) {
        const std::string v = value;
        ASSERT_EQ(QueryAnswered(QueryAnswer(", \"country\": " + v + ", \"timezone\": " + v + ", \"enews\": " + v +
                                            ", \"activated\": " + v + ", \"realname_validation_pass\": " + v)),
                  0)
            << value;
        const User user;
        EXPECT_EQ(user.GetCountry() + "|" + user.GetTimezone() + "|" + user.GetUserId(),
                  std::string(text) + "|" + text + "|u-1")
            << value;
        const std::string conf = UserConf();
        for (const char* member : {"enews", "activated"}) {
            EXPECT_NE(conf.find(std::string(member) + "=\"" + flag + "\""), std::string::npos) << value << conf;
        }
    }
    EXPECT_TRUE(log.Contains(" Unexpected structure in country of the answer, stored as empty")) << log.Dump();
}

TEST_F(QueryTest, MissingMembersRefusalsAndUnwritableAnswersStoreNothing) {
    const std::vector<std::pair<std::string, int>> answers = {
        {R"({"code": "good", "email": "owner@example.com"})", KOVA_ERR_RESPONSE},
        {R"({"code": "good", "email": "a", "full_name": "b", "country": "c", "timezone": "d", "notify_language": "e",
             "activated": true, "disabled": false, "enews": true, "critical_release": false,
             "critical_version_list": ""})",
         KOVA_ERR_RESPONSE},
        {"[1, 2, 3]", KOVA_ERR_RESPONSE},
        {"not json", KOVA_ERR_BAD_JSON},
        {QueryAnswer(R"(, "code": "account_not_found")"), KOVA_ERR_ACCOUNT_NOT_FOUND},
        {QueryAnswer(R"(, "code": 5)"), KOVA_ERR_UNKNOWN},
        {R"({"code": "badparam", "message": "auth key key-1 is not known"})", KOVA_ERR_RESPONSE},
        {QueryAnswer(R"(, "code": "badparam", "message": "auth key key-1 is not known")"), KOVA_ERR_BAD_PARAM},
    };
    LogCapture log;
    for (const auto& [body, code] : answers) {
        EXPECT_EQ(FailureCode(QueryAnswered(body)), code) << body;
        EXPECT_EQ(User().GetName(), "Local Name") << body;
    }
    EXPECT_TRUE(log.Contains(" Server returned insufficient data. resp={\"code\": \"good\"")) << log.Dump();
    EXPECT_TRUE(log.Contains(" Failed to query ")) << log.Dump();
    EXPECT_FALSE(log.Contains("key-1")) << "the auth key the query sent is masked wherever it comes back";
    // Values the record cannot hold as they are: a line break is stored as a
    // blank (no other key rides in on it), a long text cut to what reads back.
    ASSERT_EQ(QueryAnswered(QueryAnswer(R"(, "country": "two\nlines\r\nkovaIDSerial=\"hijacked", "full_name": ")" +
                                        std::string(3000, 'n') + "\"")),
              0);
    EXPECT_EQ(User().GetCountry(), "two lines  kovaIDSerial=\"hijacked");
    EXPECT_EQ(User().GetName(), std::string(2047, 'n'));
    EXPECT_EQ(User().GetUserId(), "u-1");
}

TEST_F(QueryTest, BadauthRemovesTheAccountAndConcurrentCallersSendOneRequest) {
    LastQueried(2 * 86400);
    EXPECT_EQ(ResultsOf(6,
                        [] {
                            Json::Value result;
                            return QUILKOVAAccountQueryInfo(result, false, true) == 0 ? result["full_name"].asString()
                                                                                      : "failed";
                        }),
              std::set<std::string>{"Ann Owner"});
    EXPECT_EQ(Sent(kQuery), 1u);

    LastQueried(86400);
    Answer(kQuery, R"({"code": "badauth"})");
    LogCapture log;
    for (bool query_allowed : {false, true}) {  // the second finds no account any more
        EXPECT_EQ(FailureCode(Query(query_allowed)), KOVA_ERR_NO_ACCOUNT);
    }
    EXPECT_FALSE(root().Exists(kUserConf));
    EXPECT_EQ(PluginCalls(), "logout 4 []\n");
    EXPECT_TRUE(log.Contains(" Logged out KoVA due to authentication failure.")) << log.Dump();
}

TEST_F(QueryTest, TheServiceLogsInAndSyncsAndOnlyTheHostsRefusalUnbindsTheAccount) {
    const AccountService service;
    EXPECT_EQ(service.GetAccountHost() + "|" + AccountService("https://a.example", "").GetAccountHost(),
              sim().BaseUrl() + "|https://a.example");
    {
        LogCapture log;
        EXPECT_EQ(CodeOf([&] { service.Login("owner@example.com", "wrong"); }), KOVA_ERR_AUTH);
        EXPECT_TRUE(log.Contains(" QUILKOVAAccountLogin failed, email=owner@example.com")) << log.Dump();
    }
    EXPECT_EQ(service.Login("owner@example.com", "s3cret")["auth_key"], "key-1");
    EXPECT_EQ(service.GetLocalJsonAccount()["full_name"], "Ann Owner");

    // Local and transport failures: a lock another process holds, an unreachable host. The record stays.
    {
        const ShortWaits waits;
        const LockHolder holder("/tmp/account_query_info.lock");
        LastQueried(86400);
        EXPECT_EQ(CodeOf([&] { service.GetAndSyncRemoteJsonAccount(); }), KOVA_ERR_TOKEN);
    }
    User().SetAccountHost("http://127.0.0.1:" + std::to_string(quilkova::test::UnusedLoopbackPort()));
    EXPECT_EQ(CodeOf([] { AccountService().GetAndSyncRemoteJsonAccount(); }), KOVA_ERR_SEND);
    EXPECT_TRUE(User().Exists());

    // The host's own refusals: the record goes.
    User().SetAccountHost(sim().BaseUrl());
    const AccountService refused_by;
    for (const auto& [body, code] : {std::pair<std::string, int>{QueryAnswer(R"(, "code": "account_not_found")"), 25},
                                     {R"({"code": "badauth"})", KOVA_ERR_NO_ACCOUNT}}) {
        User().SetUserId("u-1");
        User().SetAuthKey("key-1");
        LastQueried(86400);
        Answer(kQuery, body);
        LogCapture log;
        EXPECT_EQ(CodeOf([&] { refused_by.GetAndSyncRemoteJsonAccount(); }), code) << body;
        EXPECT_FALSE(root().Exists(kUserConf)) << body;
        EXPECT_FALSE(log.Contains("Failed to unlink")) << log.Dump();
        User().SetAccountHost(sim().BaseUrl());  // gone with the record
    }
    EXPECT_EQ(CodeOf([&] { service.GetLocalJsonAccount(); }), KOVA_ERR_NO_ACCOUNT);
}

}  // namespace
