// The appliance's PKCE account against the simulator: login, the rescue
// ladder of its token, remote and local logout.
#include "test_prelude.hpp"

#include "internal/account_pkce_service_impl.hpp"

namespace {

constexpr const char* kExchange = "/oauth2/api/v1/device/core/authkey/exchange";
constexpr const char* kGrant = "/migration/api/v1/device/core/authorization_code/grant";
constexpr const char* kLogout = "/device/api/logout";

class AccountPkceTest : public quilkova::test::OperationsTest {
protected:
    std::string Redirect() { return sim().BaseUrl() + quilkova::test::kRedirect; }
};

TEST_F(AccountPkceTest, ABrowserLoginBindsTheAccountAsAnApplianceWould) {
    LogCapture log;
    const PkcePair pair;
    const Json::Value account = AccountPkceService().Login({"state-1", BrowserCode(pair), pair.verifier, Redirect()});
    EXPECT_EQ(account["email"], "owner@example.com");
    const User user;
    EXPECT_EQ(user.GetAccountHost() + "|" + user.GetIdentityHost() + "|" + user.GetUserId() + "|" + user.GetAuthKey() +
                  "|" + user.GetName(),
              sim().BaseUrl() + "|" + sim().BaseUrl() + "|u-1|key-1|Ann Owner")
        << "the name synchronised";
    EXPECT_EQ(root().Mode(kHosToken), 0600);
    EXPECT_TRUE(root().Exists("/etc/cron.d/quil-kova"));
    EXPECT_EQ(PluginCalls(), "login 4 []\nlogin 5 []\n");
    EXPECT_TRUE(log.Contains(" Logged in Quillion Account as [owner@example.com]") && !log.Contains("key-1"))
        << log.Dump();
    // The exchange carries only the bearer token: the second header set replaced the first.
    const auto exchange = sim().RequestsTo(kExchange).at(0);
    EXPECT_EQ(exchange.Header("Authorization").rfind("Bearer at-", 0), 0u);
    EXPECT_FALSE(exchange.HasHeader("X-Client-ID"));
    EXPECT_EQ(exchange.body, "");
}

TEST_F(AccountPkceTest, TheRescueLadderRecreatesTheTokenFromTheAuthKeyOrLogsOut) {
    BrowserLogin();
    const AccountPkceService service;
    // A lost token file is made again silently.
    ASSERT_EQ(::unlink(root().Path(kHosToken).c_str()), 0);
    EXPECT_FALSE(service.GetAccessToken().empty());
    ASSERT_EQ(Sent(kGrant), 1u);
    const auto grant = sim().RequestsTo(kGrant).at(0);
    EXPECT_EQ(grant.FieldNames(),
              "client_id redirect_url state code_challenge auth_key scopes[] scopes[] scopes[] scopes[]");
    EXPECT_EQ(grant.Field("redirect_url"), Redirect());
    EXPECT_EQ(grant.Header("X-Client-ID"), "hos-client");
    EXPECT_EQ(grant.Joined("scopes[]"), "openid profile device:2150ABCD1234 mac:00:11:32:aa:bb:cc");

    // A refused renewal is rescued by the auth key, once.
    LogCapture log;
    Restamp(kHosToken, 7200);
    sim().RevokeRefreshTokens();
    const std::string rescued = service.GetIdToken();
    EXPECT_EQ(rescued.rfind("id-", 0), 0u);
    EXPECT_EQ(Sent(kGrant), 2u);
    EXPECT_TRUE(log.Contains(" Rescue hos renew pkce token by authkey")) << log.Dump();
    EXPECT_TRUE(service.HasToken());

    // An auth key the service refuses forces the local logout; the call fails.
    root().WriteFile(quilkova::test::kBackupToken, "{}");
    Restamp(kHosToken, 7200);
    sim().RevokeRefreshTokens();
    sim().RevokeAuthKey("owner@example.com");
    EXPECT_EQ(CodeOf([&] { service.GetAccessToken(); }), KOVA_ERR_TOKEN);
    EXPECT_TRUE(log.Contains(" Failed to rescue by authkey, force logout")) << log.Dump();
    EXPECT_TRUE(LoggedOutLocally());
    EXPECT_FALSE(service.HasToken()) << "22 is no token";
    EXPECT_EQ(PluginCalls(), "login 4 []\nlogin 5 []\nlogout 4 []\n") << "the logout was told";
}

TEST_F(AccountPkceTest, SixteenProcessesRescueWithOneGrant) {
    BrowserLogin();
    Restamp(kHosToken, 7200);
    sim().RevokeRefreshTokens();
    EXPECT_EQ(ResultsOf(16, [] { return AccountPkceService().GetAccessToken(); }).size(), 1u);
    EXPECT_EQ(Sent(kGrant), 1u);
}

TEST_F(AccountPkceTest, ARemoteLogoutClearsLocallyOnlyAfterTheServiceAgreed) {
    BrowserLogin();
    const AccountPkceService service;
    // The code travels in the message: "[code=N]".
    const std::vector<std::tuple<const char*, int, const char*>> refusals = {
        {R"({"code": "badparam"})", 200, "Failed to logout with success code [code=1]"},
        {R"({"code": {}})", 200, "Failed to logout with success code [code=24]"},
        {"[1]", 200, "Failed to parse logout resp, code=200, resp=[1] [code=2]"},
        {"not json", 200, "Wrong JSON format [code=2]"},
        {"", 500, "Failed to logout, code=500, resp= [code=5]"}};
    for (const auto& [body, status, message] : refusals) {
        Answer(kLogout, body, status);
        const std::string what = WhatOf([&] { service.Logout(); });
        EXPECT_EQ(what.rfind(message, 0), 0u) << what;
        EXPECT_TRUE(root().Exists(kUserConf) && root().Exists(kHosToken)) << body;
    }
    service.Logout();
    const auto sent = sim().RequestsTo(kLogout).back();
    EXPECT_EQ(sent.Field("serial_no") + "|" + sent.Field("id") + "|" + sent.Field("auth_key"),
              "2150ABCD1234|u-1|key-1");
    EXPECT_EQ(sent.Field("access_token").rfind("at-", 0), 0u);
    EXPECT_TRUE(LoggedOutLocally());
    EXPECT_TRUE(root().ReadFile("/var/log/quil/events.jsonl").find("\"event\":329252866") != std::string::npos);
    const size_t logouts = Sent(kLogout);
    service.Logout();
    EXPECT_EQ(Sent(kLogout), logouts) << "no record: no request at all";
}

TEST_F(AccountPkceTest, TheFlatLogoutAndTheLocalRemovalUnderAnyRoot) {
    BrowserLogin();
    // A root with a blank and a quote: the removal acts inside it and nowhere else.
    const std::string odd_root = root().Path("/odd root's");
    ::setenv("QUILKOVA_ROOT", odd_root.c_str(), 1);
    root().WriteFile("/odd", "decoy next to the odd root");
    root().WriteFile("/odd root's/usr/quil/etc/quillion-account/private/hos_token.json", "{}");
    root().WriteFile("/odd root's/usr/quil/etc/quillion-account/private/keep.json", "{}");
    EXPECT_EQ(FailureCode(QUILKOVAAccountLogout(false)), KOVA_ERR_BAD_JSON) << "no login configuration under that root";
    root().WriteFile("/odd root's/usr/quil/etc.defaults/quillion-account/config/pkce_login.conf", "{}");
    root().WriteFile("/odd root's/etc.defaults/quilinfo.conf", root().ReadFile("/etc.defaults/quilinfo.conf"));
    EXPECT_EQ(QUILKOVAAccountLogout(false), 0);
    EXPECT_FALSE(root().Exists("/odd root's/usr/quil/etc/quillion-account/private/hos_token.json"));
    EXPECT_TRUE(root().Exists("/odd root's/usr/quil/etc/quillion-account/private/keep.json"));
    EXPECT_TRUE(root().Exists("/odd"));
    ::setenv("QUILKOVA_ROOT", root().root().c_str(), 1);
    EXPECT_TRUE(root().Exists(kHosToken)) << "the real root was not touched";

    EXPECT_EQ(QUILKOVAAccountLogout(true), 0);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS);
    EXPECT_TRUE(LoggedOutLocally());
}

TEST_F(AccountPkceTest, BrokenConfigurationsAndAnswersGiveTheirCodesNeverACrash) {
    root().WriteFile(quilkova::test::kLoginConfig, "{not json");
    EXPECT_EQ(CodeOf([] { AccountPkceService(); }), KOVA_ERR_BAD_JSON);
    root().WriteFile(quilkova::test::kLoginConfig, R"({"scope": "openid", "token_endpoint_path": "/oauth2/token"})");
    const quilkova::AccountPkceServiceImpl service("", "");
    EXPECT_EQ(service.GetClientId(), "") << "no client id is no error";

    // status, body, code of the exchange; then of the grant
    using Answers = std::vector<std::tuple<int, const char*, int>>;
    for (const auto& [status, body, code] : Answers{{200, R"({"user_id": "u-1"})", KOVA_ERR_TOKEN},
             {200, "[]", KOVA_ERR_TOKEN}, {200, "oops", KOVA_ERR_TOKEN}, {401, "", KOVA_ERR_RESPONSE}}) {
        Answer(kExchange, body, status);
        EXPECT_EQ(CodeOf([&] { service.ExchangeAuthKey("at-x"); }), code) << status << " " << body;
    }
    EXPECT_FALSE(sim().RequestsTo(kExchange).back().HasHeader("X-Client-ID"));
    User().SetAuthKey("key-1");
    for (const auto& [status, body, code] : Answers{{200, R"({"grant": "x"})", KOVA_ERR_RESPONSE},
             {200, "[1]", KOVA_ERR_RESPONSE}, {200, "oops", KOVA_ERR_BAD_JSON},
             {200, R"({"grant_code": 5})", KOVA_ERR_RESPONSE}, {401, "{}", KOVA_ERR_AUTH},
             {403, "{}", KOVA_ERR_RESPONSE}}) {
        Answer(kGrant, body, status);
        EXPECT_EQ(CodeOf([&] { service.GrantByAuthKey(); }), code) << status << " " << body;
    }
    EXPECT_EQ(sim().RequestsTo(kGrant).back().Joined("scopes[]"), "openid");
}

}  // namespace
