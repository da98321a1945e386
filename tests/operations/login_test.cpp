// The three logins against the simulator.
#include "test_prelude.hpp"

#include "quilplatform/cloud_service.h"

namespace {

constexpr const char* kLaunch = "/good/user/launch";

class LoginTest : public quilkova::test::OperationsTest {
protected:
    int Login(const char* password = "s3cret", bool check_only = false) {
        answer_ = Json::Value();
        return QUILKOVAAccountLogin("owner@example.com", password, answer_, check_only);
    }
    std::string ApiKey() { return root().ReadFile(kApiKeyFile).substr(0, 64); }
    Json::Value answer_;
};

TEST_F(LoginTest, APasswordLoginStoresQueriesSchedulesFiresAndRecords) {
    LogCapture log;
    ASSERT_EQ(Login(), 0) << log.Dump();
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS);
    EXPECT_EQ(answer_["code"], "good");
    const User user;
    EXPECT_EQ(user.GetUserId() + "|" + user.GetAuthKey() + "|" + user.GetName(), "u-1|key-1|Ann Owner")
        << "the name filled by the query";
    EXPECT_LE(std::llabs(user.GetLastQueryTime() - std::time(nullptr)), 5);
    const auto login = sim().RequestsTo(kLogin).at(0);
    EXPECT_EQ(login.method + " " + login.FieldNames(), "POST hs_sn hs_token type email passwd serial_no api_key mac");
    EXPECT_EQ(login.Field("api_key"), ApiKey());
    EXPECT_EQ(Sent(kQuery), 1u);
    EXPECT_NE(root().ReadFile("/etc/cron.d/quil-kova").find("root /usr/quil/bin/quilkova --report_info"),
              std::string::npos);
    EXPECT_EQ(PluginCalls(), "login 5 [owner@example.com]\n");
    const std::string event = R"("args":["owner@example.com","","",""],"event":329252865)";
    EXPECT_NE(root().ReadFile("/var/log/quil/events.jsonl").find(event), std::string::npos);
    EXPECT_TRUE(log.Contains("login.cpp:") &&
                log.Contains(" Logged in KoVA Center as owner@example.com") && !log.Contains("key-1"))
        << "no auth key in any log line: " << log.Dump();
}

TEST_F(LoginTest, CheckOnlyChangesNoFileAndDisabledReportsInstallNoSchedule) {
    const std::string record = UserConf();
    ASSERT_EQ(Login("s3cret", true), 0);
    EXPECT_EQ(UserConf(), record);
    EXPECT_FALSE(root().Exists("/etc/cron.d/quil-kova") || root().Exists("/var/log/quil/events.jsonl"));
    EXPECT_EQ(PluginCalls() + std::to_string(Sent(kQuery)), "0");
    root().WriteFile("/etc/quilinfo.conf", "kova_disable_report=\"yes\"\n");
    ASSERT_EQ(Login(), 0);
    EXPECT_EQ(User().GetUserId(), "u-1");
    EXPECT_FALSE(root().Exists("/etc/cron.d/quil-kova"));
}

TEST_F(LoginTest, RefusalsAndBadParametersStoreNothing) {
    LogCapture log;
    EXPECT_EQ(FailureCode(Login("wrong")), KOVA_ERR_AUTH);
    EXPECT_TRUE(log.Contains(" Failed to login owner@example.com, resp={\"code\":\"badauth\"}")) << log.Dump();
    EXPECT_EQ(User().GetUserId(), "");
    EXPECT_EQ(PluginCalls(), "");
    Json::Value answer;
    for (const auto& call : {+[](Json::Value& a) { return QUILKOVAAccountLogin(nullptr, "x", a, false); },
                             +[](Json::Value& a) { return QUILKOVAAccountLogin("x", nullptr, a, false); },
                             +[](Json::Value& a) { return QUILKOVAAccountOauthLogin(a, nullptr); },
                             +[](Json::Value& a) { return QUILKOVAAccountLoginByKey(nullptr, "k", a); },
                             +[](Json::Value& a) { return QUILKOVAAccountLoginByKey("u-1", nullptr, a); }}) {
        EXPECT_EQ(FailureCode(call(answer)), KOVA_ERR_BAD_PARAM);
    }
    EXPECT_EQ(Sent(kLogin), 1u) << "bad parameters send nothing";
    EXPECT_TRUE(log.Contains(" Bad Parameters")) << log.Dump();
}

TEST_F(LoginTest, AnUnknownApiKeyIsReplacedOnceAndAnExpiredOneIsHandedBack) {
    char key[QUIL_CLOUD_SERVICE_APIKEY_SIZE];
    ASSERT_EQ(QUILCloudServiceGetApiKey(key, 1), 0);
    const std::string first_key = key;
    Answer(kLogin, R"({"code":"apikey_not_found"})");
    LogCapture log;
    ASSERT_EQ(Login(), 0);
    EXPECT_TRUE(log.Contains(" ApiKey not found. Register new one.")) << log.Dump();
    auto sent = sim().RequestsTo(kLogin);
    ASSERT_EQ(sent.size(), 2u) << "exactly one resend";
    EXPECT_EQ(sent[0].Field("api_key") + "|" + sent[1].Field("api_key"), first_key + "|" + ApiKey())
        << "then the newly registered key";
    EXPECT_NE(ApiKey(), first_key);
    // Refused again, or expired: the code, after two requests or after one.
    for (const auto& [code, expected, sends] :
         {std::tuple<const char*, int, size_t>{"apikey_not_found", 26, 2}, {"apikey_expired", 27, 1}}) {
        sim().Reset();
        Answer(kLogin, std::string(R"({"code":")") + code + "\"}");
        Answer(kLogin, std::string(R"({"code":")") + code + "\"}");
        EXPECT_EQ(FailureCode(Login()), expected);
        EXPECT_EQ(Sent(kLogin), sends) << code;
    }
    EXPECT_FALSE(root().Exists(kApiKeyFile)) << "the expired key was discarded";
}

TEST_F(LoginTest, BrokenAnswersEndInListedCodesAndAnyGoodAnswerIsStoredAsItStands) {
    const std::vector<std::pair<const char*, int>> broken = {{"<html>502 Bad Gateway</html>", KOVA_ERR_BAD_JSON},
        {R"({"id": "u-1"})", KOVA_ERR_RESPONSE}, {R"(["code", "good"])", KOVA_ERR_RESPONSE},
        {R"({"code": 5})", KOVA_ERR_UNKNOWN}, {R"({"code": {"nested": true}})", KOVA_ERR_UNKNOWN}};
    LogCapture log;
    for (const auto& [body, code] : broken) {
        Answer(kLogin, body);
        EXPECT_EQ(FailureCode(Login()), code) << body;
        EXPECT_EQ(User().GetUserId(), "") << body;
    }
    EXPECT_TRUE(log.Contains(" bad response, no code")) << log.Dump();
    // A "good" answer is stored as strings, whatever it holds; only a failed write fails.
    const std::vector<std::tuple<const char*, const char*, const char*>> good = {
        {R"({"code": "good", "id": 1234, "auth_key": "key-1"})", "1234", "key-1"},
        {R"({"code": "good", "id": "u-1"})", "u-1", ""},
        {R"({"code": "good", "id": "", "auth_key": null})", "", ""},
        {R"({"code": "good", "id": {}, "auth_key": "key-1"})", "", "key-1"}};
    for (const auto& [body, id, auth_key] : good) {
        Answer(kLogin, body);
        EXPECT_EQ(Login(), 0) << body;
        EXPECT_EQ(User().GetUserId(), id) << body;
        EXPECT_EQ(User().GetAuthKey(), auth_key) << body;
    }
}

TEST_F(LoginTest, AnOauthLoginSendsTheLocaleAndStoresTheAccount) {
    root().WriteFile("/etc/quilinfo.conf", "language=\"deu\"\n");
    Json::Value answer;
    ASSERT_EQ(QUILKOVAAccountOauthLogin(answer, "at-1"), 0);
    EXPECT_EQ(User().GetAuthKey(), "key-1");
    const auto launch = sim().RequestsTo(kLaunch).at(0);
    EXPECT_EQ(launch.FieldNames(), "hs_sn hs_token language access_token timezone api_key mac serial_no");
    EXPECT_EQ(launch.Field("language"), "deu");
    EXPECT_EQ(launch.Field("timezone"), "Pacific/Auckland");
    EXPECT_EQ(PluginCalls(), "login 5 []\n");

    LogCapture log;
    EXPECT_EQ(FailureCode(QUILKOVAAccountOauthLogin(answer, "stale")), KOVA_ERR_AUTH);
    EXPECT_TRUE(log.Contains(" Failed to login, resp={\"code\":\"badauth\"}")) << log.Dump();
    root().WriteFile("/etc/timezone", "Mars/Olympus_Mons\n");
    EXPECT_EQ(FailureCode(QUILKOVAAccountOauthLogin(answer, "at-1")), KOVA_ERR_SYSTEM);
    EXPECT_TRUE(log.Contains(" failed to get timezone info[0x")) << log.Dump();
    EXPECT_EQ(Sent(kLaunch), 2u) << "a zone that cannot be named sends nothing";
}

TEST_F(LoginTest, AKeyLoginIsProvenByAQueryOrLeavesTheRecordAsItWas) {
    Json::Value output;
    ASSERT_EQ(QUILKOVAAccountLoginByKey("u-1", "key-1", output), 0);
    EXPECT_EQ(output["email"], "owner@example.com");
    EXPECT_EQ(output["auth_key"], "key-1");
    EXPECT_EQ(output["activated"], true);
    EXPECT_EQ(Sent(kLogin), 0u);
    EXPECT_EQ(PluginCalls(), "login 5 []\n");
    EXPECT_TRUE(root().Exists("/etc/cron.d/quil-kova"));
    // A pair the service refuses (14), or whose query fails (its own code),
    // leaves the record byte for byte as it was: the account bound before, or none.
    const struct {
        bool bound_before;
        const char* user_id;
        const char* auth_key;
        int query_status;  // 0: the simulator's own answer
        KOVA_ERRCODE code;
    } cases[] = {
        {true, "u-1", "forged", 0, KOVA_ERR_AUTH},  {true, "", "key-1", 0, KOVA_ERR_AUTH},
        {true, "u-1", "key-1", 500, KOVA_ERR_SEND}, {false, "u-1", "forged", 0, KOVA_ERR_AUTH},
        {false, "u-1", "key-1", 500, KOVA_ERR_SEND},
    };
    for (const auto& each : cases) {
        if (!each.bound_before) {
            ASSERT_EQ(::unlink(root().Path(kUserConf).c_str()), 0);
            User().SetAccountHost(sim().BaseUrl());
        }
        User().SetLastQueryTime(0);
        if (each.query_status != 0) {
            Answer(kQuery, "{}", each.query_status);
        }
        const std::string before = UserConf();
        EXPECT_EQ(FailureCode(QUILKOVAAccountLoginByKey(each.user_id, each.auth_key, output)), each.code)
            << each.user_id << "/" << each.auth_key;
        EXPECT_EQ(UserConf(), before) << each.user_id << "/" << each.auth_key;
        EXPECT_EQ(User().Exists(), each.bound_before);
        struct stat record {};
        ASSERT_EQ(::stat(root().Path(kUserConf).c_str(), &record), 0);
        EXPECT_EQ(std::make_tuple(record.st_uid, record.st_gid, record.st_mode & 07777),
                  std::make_tuple(0u, 0u, 0600u)) << "root's, as every record";
        ASSERT_EQ(QUILKOVAAccountLoginByKey("u-1", "key-1", output), 0);
    }
}

}  // namespace
