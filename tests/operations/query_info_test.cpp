#include <gtest/gtest.h>

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "child_process.hpp"
#include "log_capture.hpp"
#include "operations_fixture.hpp"
#include "quilkova/quilkova.h"

namespace {

using quilkova::User;
using quilkova::test::LogCapture;

constexpr const char* kQuery = "/device/api/user/query";

// Everything a query answer must hold, as the service sends it.
std::string QueryAnswer(const std::string& overrides = "") {
    return R"({"code": "good", "email": "owner@example.com", "full_name": "Remote Name", "country": "NZ",
               "timezone": "Pacific/Auckland", "notify_language": "enu", "activated": true, "disabled": false,
               "enews": true, "critical_release": false, "enews_local_promotion": true,
               "critical_version_list": "7.1,7.2")" +
           overrides + "}";
}

class QueryInfoTest : public quilkova::test::OperationsTest {
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
    int Query(bool query_allowed) {
        result_ = Json::Value();
        return QUILKOVAAccountQueryInfo(result_, query_allowed, true);
    }
    Json::Value result_;
};

TEST_F(QueryInfoTest, TheAgeOfTheLastQueryDecidesWhetherToAsk) {
    const struct {
        long long age;
        bool query_allowed;
        size_t sent;
    } rows[] = {
        {0, true, 0},           {299, true, 0},         {7200, false, 0},          {7200, true, 1},
        {86400, false, 1},      {3 * 86400, false, 1},  {-2 * 86400, false, 1},    {-600, false, 0},
    };
    for (const auto& row : rows) {
        sim().Reset();
        LastQueried(row.age);
        ASSERT_EQ(Query(row.query_allowed), 0) << row.age;
        EXPECT_EQ(Sent(kQuery), row.sent) << "age " << row.age << ", allowed " << row.query_allowed;
    }
    // A query sets the time: the next call within 300 s does not ask again, whatever the flag.
    sim().Reset();
    LastQueried(86400);
    ASSERT_EQ(Query(false), 0);
    ASSERT_EQ(Query(true), 0);
    EXPECT_EQ(Sent(kQuery), 1u);
    EXPECT_EQ(result_["full_name"], "Ann Owner");
    EXPECT_EQ(result_["auth_key"], "key-1");
    EXPECT_EQ(result_["enews_local_promotion"], true);
    EXPECT_EQ(result_.size(), 11u);
}

TEST_F(QueryInfoTest, TheAnswerIsStoredWithItsOptionalMembers) {
    LastQueried(86400);
    Answer(kQuery, QueryAnswer(R"(, "realname_validation_pass": "yes", "report_cron_timestring": "0 3 * * *",
                              "critical_version_list": [{"version": "7.2", "domain": "updates.example"}, "7.3"])"));
    ASSERT_EQ(Query(false), 0);
    const User user;
    EXPECT_EQ(user.GetName(), "Remote Name");
    EXPECT_TRUE(user.GetIsRealnameValidationPass());
    EXPECT_EQ(user.GetReportCronTimestring(), "0 3 * * *");
    EXPECT_EQ(user.GetCriticalVersionList(), "7.2,7.3");
    EXPECT_EQ(user.GetCriticalVersionDomain(), "updates.example");
    EXPECT_LE(std::llabs(user.GetLastQueryTime() - std::time(nullptr)), 5);
    const auto sent = sim().RequestsTo(kQuery).at(0);
    EXPECT_EQ(sent.Field("auth_key"), "key-1");
    EXPECT_EQ(sent.Field("serial_no"), "2150ABCD1234");
}

TEST_F(QueryInfoTest, BadauthRemovesTheAccount) {
    LastQueried(86400);
    Answer(kQuery, R"({"code": "badauth"})");
    LogCapture log;
    EXPECT_EQ(Query(false), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_NO_ACCOUNT);
    EXPECT_FALSE(root().Exists(quilkova::test::kUserConf));
    EXPECT_EQ(PluginCalls(), "logout 4 []\n");
    EXPECT_TRUE(log.Contains(" Logged out KoVA due to authentication failure.")) << log.Dump();
    EXPECT_EQ(Query(true), -1) << "no account any more";
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_NO_ACCOUNT);
}

TEST_F(QueryInfoTest, IncompleteWronglyTypedOrRefusedAnswersStoreNothing) {
    const struct {
        std::string body;
        int code;
    } answers[] = {
        {R"({"code": "good", "email": "owner@example.com"})", KOVA_ERR_RESPONSE},
        {QueryAnswer(R"(, "enews_local_promotion": null)"), KOVA_ERR_RESPONSE},
        {QueryAnswer(R"(, "activated": "maybe")"), KOVA_ERR_RESPONSE},
        {QueryAnswer(R"(, "email": {})"), KOVA_ERR_RESPONSE},
        {QueryAnswer(R"(, "critical_version_list": [1, 2])"), KOVA_ERR_RESPONSE},
        {"[1, 2, 3]", KOVA_ERR_RESPONSE},
        {"not json", KOVA_ERR_BAD_JSON},
        {QueryAnswer(R"(, "code": "account_not_found")"), KOVA_ERR_ACCOUNT_NOT_FOUND},
        {QueryAnswer(R"(, "code": 5)"), KOVA_ERR_UNKNOWN},
    };
    LogCapture log;
    for (const auto& each : answers) {
        LastQueried(86400);
        Answer(kQuery, each.body);
        EXPECT_EQ(Query(false), -1) << each.body;
        EXPECT_EQ(QUILKOVAErrGet(), each.code) << each.body;
        EXPECT_EQ(User().GetName(), "Local Name") << each.body;
    }
    EXPECT_TRUE(log.Contains(" Server returned insufficient data. resp={\"code\": \"good\"")) << log.Dump();
    EXPECT_TRUE(log.Contains(" Failed to query ")) << log.Dump();
}

TEST_F(QueryInfoTest, ConcurrentCallersOnAStaleRecordSendOneRequest) {
    LastQueried(2 * 86400);
    constexpr int kCallers = 6;
    std::vector<std::unique_ptr<quilkova::test::ChildProcess>> callers;
    for (int i = 0; i < kCallers; ++i) {
        callers.push_back(std::make_unique<quilkova::test::ChildProcess>([] {
            Json::Value result;
            return QUILKOVAAccountQueryInfo(result, false, true) == 0 && result["full_name"] == "Ann Owner" ? 0 : 1;
        }));
    }
    for (auto& caller : callers) {
        EXPECT_EQ(caller->Wait(), 0);
    }
    EXPECT_EQ(Sent(kQuery), 1u);
}

}  // namespace
