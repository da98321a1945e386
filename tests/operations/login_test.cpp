#include <gtest/gtest.h>
#include <ftw.h>

#include <ctime>
#include <map>
#include <sstream>
#include <string>

#include "log_capture.hpp"
#include "operations_fixture.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/cloud_service.h"

namespace {

using quilkova::User;
using quilkova::test::LogCapture;

constexpr const char* kLogin = "/device/api/password_login";
constexpr const char* kLaunch = "/good/user/launch";
constexpr const char* kApiKeyFile = "/usr/quil/etc/quillion-account/private/apikey";

class LoginTest : public quilkova::test::OperationsTest {
protected:
    int Login(const char* password = "s3cret", bool check_only = false) {
        answer_ = Json::Value();
        return QUILKOVAAccountLogin("owner@example.com", password, answer_, check_only);
    }
    std::string ApiKey() { return root().ReadFile(kApiKeyFile); }
    Json::Value answer_;
};

std::string FieldNames(const quilkova::sim::ReceivedRequest& request) {
    std::string names;
    for (const auto& [name, value] : request.fields) {
        names += name + " ";
    }
    return names;
}

// Every file under the root with its content.
std::map<std::string, std::string> Snapshot(const quilkova::test::TempRoot& root) {
    static std::map<std::string, std::string>* files;
    std::map<std::string, std::string> result;
    files = &result;
    ::nftw(root.root().c_str(),
           [](const char* path, const struct stat* info, int type, struct FTW*) {
               if (type == FTW_F) {
                   std::ostringstream text;
                   text << info->st_size << ":" << info->st_mtim.tv_nsec;
                   (*files)[path] = text.str();
               }
               return 0;
           },
           16, FTW_PHYS);
    return result;
}

TEST_F(LoginTest, APasswordLoginStoresQueriesSchedulesFiresAndRecords) {
    LogCapture log;
    ASSERT_EQ(Login(), 0) << log.Dump();
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS);
    EXPECT_EQ(answer_["code"], "good");

    const User user;
    EXPECT_EQ(user.GetUserId(), "u-1");
    EXPECT_EQ(user.GetAuthKey(), "key-1");
    EXPECT_EQ(user.GetName(), "Ann Owner") << "filled by the query";
    EXPECT_TRUE(user.GetIsEnewsLocalPromotion());
    EXPECT_LE(std::llabs(user.GetLastQueryTime() - std::time(nullptr)), 5);

    const auto login = sim().RequestsTo(kLogin);
    ASSERT_EQ(login.size(), 1u);
    EXPECT_EQ(FieldNames(login[0]), "hs_sn hs_token type email passwd serial_no api_key mac ");
    EXPECT_EQ(login[0].Field("api_key"), ApiKey().substr(0, 64));
    EXPECT_EQ(Sent("/device/api/user/query"), 1u);

    EXPECT_NE(root().ReadFile("/usr/quil/etc/crond/kova.json").find("\"~ 9~16 * * 1~5\""), std::string::npos);
    EXPECT_NE(root().ReadFile("/etc/cron.d/quil-kova").find("root /usr/quil/bin/quilkova --report_info"),
              std::string::npos);
    EXPECT_EQ(PluginCalls(), "login 5 [owner@example.com]\n");
    EXPECT_NE(root().ReadFile("/var/log/quil/events.jsonl").find("\"args\":[\"owner@example.com\",\"\",\"\",\"\"]"),
              std::string::npos);
    EXPECT_NE(root().ReadFile("/var/log/quil/events.jsonl").find(std::to_string(0x13A00001)), std::string::npos);
    EXPECT_TRUE(log.Contains("kova_account_login.cpp:")) << log.Dump();
    EXPECT_TRUE(log.Contains(" Logged in KoVA Center as owner@example.com")) << log.Dump();
}

TEST_F(LoginTest, CheckOnlyChangesNoFileAndDisabledReportsInstallNoSchedule) {
    char key[QUIL_CLOUD_SERVICE_APIKEY_SIZE];
    ASSERT_EQ(QUILCloudServiceGetApiKey(key, 1), 0);
    const auto before = Snapshot(root());
    ASSERT_EQ(Login("s3cret", true), 0);
    EXPECT_EQ(Snapshot(root()), before);
    EXPECT_EQ(Sent(kLogin), 1u);
    EXPECT_EQ(Sent("/device/api/user/query"), 0u);

    root().WriteFile("/etc/quilinfo.conf", "kova_disable_report=\"yes\"\n");
    ASSERT_EQ(Login(), 0);
    EXPECT_EQ(User().GetUserId(), "u-1");
    EXPECT_FALSE(root().Exists("/etc/cron.d/quil-kova"));
    EXPECT_FALSE(root().Exists("/usr/quil/etc/crond/kova.json"));
}

TEST_F(LoginTest, RefusedCredentialsStoreNothing) {
    LogCapture log;
    EXPECT_EQ(Login("wrong"), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_AUTH);
    EXPECT_TRUE(log.Contains(" Failed to login owner@example.com, resp={\"code\":\"badauth\"}")) << log.Dump();
    EXPECT_EQ(User().GetUserId(), "");
    EXPECT_EQ(root().ReadFile("/plugin-calls"), "");

    Json::Value answer;
    EXPECT_EQ(QUILKOVAAccountLogin(nullptr, "x", answer, false), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_BAD_PARAM);
    EXPECT_EQ(QUILKOVAAccountOauthLogin(answer, nullptr), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_BAD_PARAM);
    EXPECT_EQ(QUILKOVAAccountLoginByKey("u-1", nullptr, answer), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_BAD_PARAM);
    EXPECT_EQ(Sent(kLogin), 1u) << "bad parameters send nothing";
}

TEST_F(LoginTest, AnUnknownApiKeyIsReplacedOnceAndAnExpiredOneIsHandedBack) {
    char key[QUIL_CLOUD_SERVICE_APIKEY_SIZE];
    ASSERT_EQ(QUILCloudServiceGetApiKey(key, 1), 0);
    const std::string first_key = key;

    Answer(kLogin, R"({"code":"apikey_not_found"})");
    ASSERT_EQ(Login(), 0);
    auto sent = sim().RequestsTo(kLogin);
    ASSERT_EQ(sent.size(), 2u) << "exactly one resend";
    EXPECT_EQ(sent[0].Field("api_key"), first_key);
    EXPECT_NE(sent[1].Field("api_key"), first_key);
    EXPECT_EQ(sent[1].Field("api_key"), ApiKey().substr(0, 64)) << "the newly registered key";

    sim().Reset();
    Answer(kLogin, R"({"code":"apikey_not_found"})");
    Answer(kLogin, R"({"code":"apikey_not_found"})");
    EXPECT_EQ(Login(), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_APIKEY_NOT_FOUND);
    EXPECT_EQ(Sent(kLogin), 2u);

    sim().Reset();
    Answer(kLogin, R"({"code":"apikey_expired"})");
    EXPECT_EQ(Login(), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_APIKEY_EXPIRED);
    EXPECT_EQ(Sent(kLogin), 1u) << "nothing more is sent";
    EXPECT_FALSE(root().Exists(kApiKeyFile)) << "the expired key was discarded";
}

TEST_F(LoginTest, BrokenOrHostileAnswersEndInListedCodes) {
    const struct {
        const char* body;
        int code;
    } answers[] = {
        {"<html>502 Bad Gateway</html>", KOVA_ERR_BAD_JSON},
        {R"({"id": "u-1"})", KOVA_ERR_RESPONSE},
        {R"(["code", "good"])", KOVA_ERR_RESPONSE},
        {R"({"code": 5})", KOVA_ERR_UNKNOWN},
        {R"({"code": {"nested": true}})", KOVA_ERR_UNKNOWN},
        {R"({"code": "good", "id": {}, "auth_key": "key-1"})", KOVA_ERR_BAD_JSON},
        {R"({"code": "good", "id": "u-1"})", KOVA_ERR_BAD_JSON},
    };
    for (const auto& each : answers) {
        Answer(kLogin, each.body);
        EXPECT_EQ(Login(), -1) << each.body;
        EXPECT_EQ(QUILKOVAErrGet(), each.code) << each.body;
        EXPECT_EQ(User().GetUserId(), "") << each.body;
    }
    // A numeric id is still an id.
    Answer(kLogin, R"({"code": "good", "id": 1234, "auth_key": "key-1"})");
    EXPECT_EQ(Login(), 0);
    EXPECT_EQ(User().GetUserId(), "1234");
}

TEST_F(LoginTest, AnOauthLoginSendsTheLocaleAndStoresTheAccount) {
    root().WriteFile("/etc/quilinfo.conf", "language=\"deu\"\n");
    Json::Value answer;
    ASSERT_EQ(QUILKOVAAccountOauthLogin(answer, "at-1"), 0);
    EXPECT_EQ(User().GetAuthKey(), "key-1");
    const auto launch = sim().RequestsTo(kLaunch).at(0);
    EXPECT_EQ(FieldNames(launch), "hs_sn hs_token language access_token timezone api_key mac serial_no ");
    EXPECT_EQ(launch.Field("language"), "deu");
    EXPECT_EQ(launch.Field("timezone"), "Pacific/Auckland");
    EXPECT_EQ(PluginCalls(), "login 5 []\n");

    LogCapture log;
    EXPECT_EQ(QUILKOVAAccountOauthLogin(answer, "stale"), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_AUTH);
    EXPECT_TRUE(log.Contains(" Failed to login, resp={\"code\":\"badauth\"}")) << log.Dump();

    root().WriteFile("/etc/timezone", "Mars/Olympus_Mons\n");
    EXPECT_EQ(QUILKOVAAccountOauthLogin(answer, "at-1"), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SYSTEM);
    EXPECT_TRUE(log.Contains(" failed to get timezone info[0x")) << log.Dump();
    EXPECT_EQ(Sent(kLaunch), 2u) << "a zone that cannot be named sends nothing";
}

TEST_F(LoginTest, AKeyLoginIsProvenByAQueryOrLeavesNoAccount) {
    Json::Value output;
    ASSERT_EQ(QUILKOVAAccountLoginByKey("u-1", "key-1", output), 0);
    EXPECT_EQ(output["email"], "owner@example.com");
    EXPECT_EQ(output["auth_key"], "key-1");
    EXPECT_EQ(output["activated"], true);
    EXPECT_EQ(Sent(kLogin), 0u);
    EXPECT_EQ(PluginCalls(), "login 5 []\n");
    EXPECT_TRUE(root().Exists("/etc/cron.d/quil-kova"));

    // A pair the service refuses: the query removes the account, the login says 14.
    User().SetLastQueryTime(0);
    EXPECT_EQ(QUILKOVAAccountLoginByKey("u-1", "forged", output), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_AUTH);
    EXPECT_FALSE(root().Exists(quilkova::test::kUserConf));
}

}  // namespace
