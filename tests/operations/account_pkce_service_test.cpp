// The appliance's PKCE account against the simulator: login, the rescue
// ladder of its token, remote and local logout.
#include <optional>

#include "test_prelude.hpp"
#include "tls_server.hpp"

#include "operations/account_pkce_service_impl.hpp"
#include "quilkova/package_pkce_client.hpp"

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
    // The hosts the service was made with are the ones the record keeps.
    const AccountPkceService service(sim().BaseUrl(), sim().BaseUrl());
    root().WriteFile(kUserConf, "");
    const Json::Value account = service.Login({"state-1", BrowserCode(pair), pair.verifier, Redirect()});
    EXPECT_EQ(account["email"], "owner@example.com");
    const User user;
    EXPECT_EQ(user.GetAccountHost() + "|" + user.GetIdentityHost() + "|" + user.GetUserId() + "|" + user.GetAuthKey() +
                  "|" + user.GetName(),
              sim().BaseUrl() + "|" + sim().BaseUrl() + "|u-1|key-1|Ann Owner")
        << "the name synchronised";
    EXPECT_EQ(root().Mode(kHosToken), 0600);
    EXPECT_TRUE(root().Exists("/etc/cron.d/quil-kova"));
    EXPECT_EQ(PluginCalls(), "login 4 []\nlogin 5 []\n");
    EXPECT_TRUE(log.Contains(" Logged in Quillion Account as [owner@example.com]") && !log.Contains("key-1") &&
                !log.Contains("Failed"))
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

// A change of owner: A sells the appliance and revokes its auth key, the
// query unbinds it, B binds it. No token of A's is ever returned, renewed or
// used as a bearer from then on: not the appliance's, not a package's, not
// the monitoring package's; a browser login that fails half-way leaves A's own.
TEST_F(AccountPkceTest, ANewOwnerNeverGetsThePreviousOwnersTokens) {
    using quilkova::test::kBackupToken;
    const AccountPkceService appliance;
    const auto owner_of = [this](const std::string& token) { return sim().OwnerOfAccessToken(token); };
    const auto package_token = [](const char* package) { return PackagePkceClient(package).GetAccessToken(); };
    BrowserLogin();
    for (const char* package : {"backup", "healthbeacon"}) {
        ASSERT_EQ(owner_of(package_token(package)), "u-1");
    }
    // A browser login of B whose auth key exchange fails keeps A's token A's,
    // and its log never shows the tokens just obtained.
    const PkcePair pair;
    Answer("/oauth2/token", R"({"access_token": "at-pending-7", "id_token": "it-pending-7",
                                "refresh_token": "rt-pending-7", "expires_in": 3600})");
    Answer(kExchange, R"({"echo": "rt-pending-7"})");
    LogCapture log;
    EXPECT_EQ(CodeOf([&] {
                  appliance.Login({"", sim().IssueAuthorizationCode("hos-client", pair.challenge, Redirect(),
                                                                     "next@example.com"),
                                   pair.verifier, Redirect()});
              }),
              KOVA_ERR_TOKEN);
    EXPECT_TRUE(log.Contains(R"({"echo": "***"})") && !log.Contains("rt-pending-7")) << log.Dump();
    EXPECT_EQ(owner_of(appliance.GetAccessToken()), "u-1");

    Restamp(kHosToken, 7200);  // A's tokens expired: a renewal would spend A's refresh token
    Restamp(kBackupToken, 7200);
    sim().RevokeAuthKey("owner@example.com");
    User().SetLastQueryTime(0);
    Json::Value account;
    EXPECT_EQ(FailureCode(QUILKOVAAccountQueryInfo(account, true, false)), KOVA_ERR_NO_ACCOUNT);
    ASSERT_FALSE(root().Exists(kUserConf));
    ASSERT_TRUE(root().Exists(kHosToken) && root().Exists(kBackupToken)) << "the removal takes the record only";
    sim().Reset();
    // Unbound: A's files count as absent, and nothing of A's is spent.
    EXPECT_EQ(CodeOf([&] { appliance.GetAccessToken(); }), KOVA_ERR_TOKEN);
    EXPECT_EQ(CodeOf([&] { package_token("backup"); }), KOVA_ERR_TOKEN);
    EXPECT_EQ(TokenRequests("refresh_token"), 0u);

    const User user;
    user.SetAccountHost(sim().BaseUrl());
    user.SetIdentityHost(sim().BaseUrl());
    Json::Value answer;
    ASSERT_EQ(QUILKOVAAccountLogin("next@example.com", "n3xt", answer, 0), 0);
    EXPECT_FALSE(root().Exists(kBackupToken)) << "the binding discarded A's files";
    EXPECT_EQ(owner_of(appliance.GetAccessToken()), "u-2");
    for (const char* package : {"backup", "healthbeacon"}) {
        EXPECT_EQ(owner_of(package_token(package)), "u-2") << package;
    }
    for (const auto& request : sim().Requests()) {
        const std::string bearer = request.Header("Authorization");
        EXPECT_NE(owner_of(bearer.substr(bearer.find(' ') + 1)), "u-1") << request.path;
    }
    EXPECT_EQ(TokenRequests("refresh_token"), 0u);
}

// Any local user can plant a link or a file of their own at a lock's path in
// /tmp, or hold the lock. Root replaces what was planted; a held lock fails
// the call with 22 before any refresh token or grant is spent. Neither ever
// costs the owner the record, the tokens or the report schedule.
TEST_F(AccountPkceTest, NoLockAnyoneCanPlantOrHoldCostsTheAccount) {
    const ShortWaits waits;
    BrowserLogin();
    enum Trap { kLink, kForeignFile, kHeld, kNoRoom, kLittleRoom, kRoom };
    enum Due { kRenewal, kRescue, kNoTokenFile };
    const auto token = [] { return CodeOf([] { AccountPkceService().GetAccessToken(); }); };
    const auto key_login = [] {
        Json::Value output;
        return FailureCode(QUILKOVAAccountLoginByKey("u-1", "key-1", output)) % 1000;
    };
    const auto query = [] {
        Json::Value account;
        return FailureCode(QUILKOVAAccountQueryInfo(account, false, false)) % 1000;
    };
    // lock, trap, what is due, the call, its code (twice), grants spent in all (the recovery included)
    const std::vector<std::tuple<const char*, Trap, Due, std::function<int()>, int, size_t>> rows = {
        {"hos_save_token", kLink, kRenewal, token, 0, 0},
        {"hos_save_token", kForeignFile, kNoTokenFile, token, 0, 1},
        {"hos_save_token", kHeld, kRenewal, token, KOVA_ERR_TOKEN, 0},
        {"hos_save_token", kHeld, kNoTokenFile, token, KOVA_ERR_TOKEN, 1},
        {"hos_exchange_token", kLink, kRescue, token, 0, 1},
        {"hos_exchange_token", kHeld, kRescue, token, KOVA_ERR_TOKEN, 1},
        {"hos_rescue_token", kHeld, kRescue, token, KOVA_ERR_TOKEN, 1},
        {"hos_save_token", kNoRoom, kRenewal, token, KOVA_ERR_BAD_JSON, 0},
        {"hos_save_token", kNoRoom, kNoTokenFile, token, KOVA_ERR_BAD_JSON, 1},
        // Room for a small token set but not for the largest one accepted: nothing is spent.
        {"hos_save_token", kLittleRoom, kRenewal, token, KOVA_ERR_BAD_JSON, 0},
        {"hos_save_token", kRoom, kRenewal, token, 0, 0},
        {"query_info", kLink, kRenewal, key_login, 0, 0},
        {"query_info", kHeld, kRenewal, key_login, KOVA_ERR_TOKEN, 0},
        {"query_info", kHeld, kRenewal, query, KOVA_ERR_TOKEN, 0}};
    for (const auto& [name, trap, due, call, code, grants] : rows) {
        const std::string row = std::string(name) + " trap " + std::to_string(trap) + " due " + std::to_string(due);
        sim().Reset();
        Restamp(kHosToken, 7200);
        if (due == kRescue) {
            sim().RevokeRefreshTokens();
        } else if (due == kNoTokenFile) {
            ASSERT_EQ(::unlink(root().Path(kHosToken).c_str()), 0);
        }
        const std::string lock = std::string("/tmp/account_") + name + ".lock";
        ::unlink(root().Path(lock).c_str());
        std::unique_ptr<LockHolder> holder;
        if (trap == kLink) {
            ASSERT_EQ(::symlink(root().Path("/elsewhere").c_str(), root().Path(lock).c_str()), 0);
        } else if (trap == kForeignFile) {
            root().WriteFile(lock, "");
            ASSERT_EQ(::chown(root().Path(lock).c_str(), 4242, 4242), 0);
        } else if (trap == kHeld) {
            holder = std::make_unique<LockHolder>(lock);
            ASSERT_TRUE(holder->holding());
        }
        LogCapture log;
        // Twice, as two scheduled reports would; a held lock is tried once (it costs a second).
        for (int i = trap == kHeld ? 1 : 0; i < 2; ++i) {
            std::optional<NoRoomForFiles> full;
            if (trap >= kNoRoom) {
                // None, 20 KiB, or exactly the largest token file the library writes.
                full.emplace(trap == kNoRoom ? 0 : trap == kLittleRoom ? 20 * 1024 : 2 * 1024 * 1024);
            }
            EXPECT_EQ(call(), code) << row;
        }
        EXPECT_TRUE(User().Exists() && root().Exists("/etc/cron.d/quil-kova")) << row;
        EXPECT_EQ(root().Exists(kHosToken), due != kNoTokenFile || code == 0) << row;
        EXPECT_EQ(Sent(kLogout), 0u) << row;
        EXPECT_EQ(log.Contains(" Failed to lock file: " + lock), trap == kHeld && lock.find("query") != std::string::npos)
            << row << ": the query logs its lock failure" << log.Dump();
        EXPECT_EQ(PluginCalls().find("logout"), std::string::npos) << row;
        EXPECT_FALSE(root().Exists("/elsewhere")) << row;
        holder.reset();
        EXPECT_EQ(token(), 0) << row << ": the next call recovers";
        EXPECT_EQ(Sent(kGrant), grants) << row << ": no refresh token or grant spent in vain";
    }
}

// While the service is unavailable (no answer, 5xx, 429) the appliance gives
// it time, across processes: calls fail at once with the failure on record
// and say when the next attempt is due; a valid token is still returned; a
// new login or an answer of the service ends the wait. A caller that waited
// for another process's renewal reports that renewal's outcome.
TEST_F(AccountPkceTest, AnUnavailableServiceIsGivenTimeAcrossProcesses) {
    using quilkova::test::kHosBackoff;
    BrowserLogin();
    const auto code_elsewhere = [] {
        ChildProcess child([] { return static_cast<int>(CodeOf([] { AccountPkceService().GetAccessToken(); })); });
        return child.Wait();
    };
    Restamp(kHosToken, 7200);
    sim().Queue("/oauth2/token", {429, "", 0, {{"Retry-After", "30"}}});
    EXPECT_EQ(CodeOf([] { AccountPkceService().GetAccessToken(); }), KOVA_ERR_RESPONSE);
    ASSERT_TRUE(root().Exists(kHosBackoff));
    EXPECT_EQ(code_elsewhere(), KOVA_ERR_RESPONSE);
    const std::string waiting = WhatOf([] { AccountPkceService().GetAccessToken(); });
    EXPECT_NE(waiting.find("code=429, resp=; the service is given time: the next attempt is due in "), std::string::npos)
        << waiting;
    EXPECT_EQ(TokenRequests("refresh_token"), 1u) << "nothing sent while waiting";
    Restamp(kHosToken, 0);
    EXPECT_FALSE(AccountPkceService().GetAccessToken().empty()) << "a valid token whatever the state";

    BrowserLogin();
    EXPECT_FALSE(root().Exists(kHosBackoff)) << "a new login starts afresh";
    // The service's own answers, a refusal rescued by the auth key or a
    // renewal, end no wait because none begins.
    for (const bool refused : {true, false}) {
        Restamp(kHosToken, 7200);
        if (refused) {
            Answer("/oauth2/token", R"({"error": "invalid_grant"})", 400);
        }
        EXPECT_FALSE(AccountPkceService().GetAccessToken().empty()) << refused;
        EXPECT_FALSE(root().Exists(kHosBackoff)) << refused;
    }

    // A silent identity host: the second caller waits out the first one's renewal and reports its 5, not 22.
    const ShortWaits waits;
    const quilkova::test::SilentServer silent;
    User().SetIdentityHost("http://127.0.0.1:" + std::to_string(silent.port()));
    Restamp(kHosToken, 7200);
    auto callers = StartTogether(2, [](int i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(300 * i));
        return static_cast<int>(CodeOf([] { AccountPkceService().GetAccessToken(); }));
    });
    for (auto& caller : callers) {
        EXPECT_EQ(caller->Wait(), KOVA_ERR_RESPONSE);
    }
    EXPECT_TRUE(root().Exists(kHosBackoff));
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
    // The login configuration is read afresh by each call that uses it.
    root().WriteFile(quilkova::test::kLoginConfig, R"({"client_id": "hos-client-2"})");
    service.Logout();
    const auto sent = sim().RequestsTo(kLogout).back();
    EXPECT_EQ(sent.Header("X-Client-ID"), "hos-client-2");
    EXPECT_EQ(sent.Field("serial_no") + "|" + sent.Field("id") + "|" + sent.Field("auth_key"),
              "2150ABCD1234|u-1|key-1");
    EXPECT_EQ(sent.Field("access_token").rfind("at-", 0), 0u);
    EXPECT_TRUE(LoggedOutLocally());
    EXPECT_NE(root().ReadFile("/var/log/quil/events.jsonl").find(R"("event":329252866,"level":1,"type":2})"),
              std::string::npos);
    const size_t logouts = Sent(kLogout);
    root().WriteFile(kHosToken, "{}");
    service.Logout();
    EXPECT_EQ(Sent(kLogout), logouts) << "no record: no request at all";
    EXPECT_FALSE(root().Exists(kHosToken)) << "but the local logout all the same";
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

    EXPECT_EQ(Sent(kLogout), 0u) << "the local logouts asked the service nothing";
    EXPECT_EQ(QUILKOVAAccountLogout(true), 0);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS);
    EXPECT_TRUE(LoggedOutLocally() && Sent(kLogout) == 1u);
    LogCapture log;
    EXPECT_EQ(QUILKOVAAccountLogout(false), 0);
    EXPECT_TRUE(log.Contains(" Logged out Quillion Account") && !log.Contains("Account:")) << "no record" << log.Dump();
}

TEST_F(AccountPkceTest, BrokenConfigurationsAndAnswersGiveTheirCodesNeverACrash) {
    root().WriteFile(quilkova::test::kLoginConfig, "{not json");
    EXPECT_EQ(CodeOf([] { AccountPkceService(); }), KOVA_ERR_BAD_JSON);
    root().WriteFile(quilkova::test::kLoginConfig, R"({"scope": "openid", "token_endpoint_path": "/oauth2/token"})");
    const auto service = quilkova::AccountPkceServiceImpl::Make("", "").value();
    EXPECT_EQ(service->GetClientId().value(), "") << "no client id is no error";

    // status, body, code of the exchange; then of the grant
    using Answers = std::vector<std::tuple<int, const char*, int>>;
    for (const auto& [status, body, code] : Answers{{200, R"({"user_id": "u-1"})", KOVA_ERR_TOKEN},
             {200, "[]", KOVA_ERR_TOKEN}, {200, "oops", KOVA_ERR_TOKEN}, {401, "", KOVA_ERR_RESPONSE}}) {
        Answer(kExchange, body, status);
        EXPECT_EQ(CodeOf(service->ExchangeAuthKey("at-x")), code) << status << " " << body;
    }
    EXPECT_FALSE(sim().RequestsTo(kExchange).back().HasHeader("X-Client-ID"));
    User().SetAuthKey("key-1");
    for (const auto& [status, body, code] : Answers{{200, R"({"grant": "x"})", KOVA_ERR_RESPONSE},
             {200, "[1]", KOVA_ERR_RESPONSE}, {200, "oops", KOVA_ERR_BAD_JSON},
             {200, R"({"grant_code": 5})", KOVA_ERR_RESPONSE}, {401, "{}", KOVA_ERR_AUTH},
             {403, "{}", KOVA_ERR_RESPONSE}}) {
        Answer(kGrant, body, status);
        EXPECT_EQ(CodeOf(service->GrantByAuthKey()), code) << status << " " << body;
    }
    EXPECT_EQ(sim().RequestsTo(kGrant).back().Joined("scopes[]"), "openid");
}

}  // namespace
