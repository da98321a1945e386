// One PKCE client's configuration, token file, renewal and exchange.
#include "test_prelude.hpp"

#include "services/backoff.hpp"

namespace {

Json::Value RawConfig() {
    Json::Value raw;
    internal::TryParseJson(R"({"auth_endpoint_path": "/oauth2/auth_endpoint", "token_endpoint_path": "/oauth2/token",
        "end_session_endpoint_path": "/oauth2/end_session_endpoint", "client_id": "hos-client",
        "scope": "openid device:$sn$ mac:$mac$ $sn$", "login_redirect_path": "/pkce/login",
        "logout_redirect_path": "/pkce/logout", "ignored": "not carried over"})",
                           raw);
    return raw;
}

class PkceClientTest : public OperationsTest {
protected:
    void SetUp() override {
        OperationsTest::SetUp();
        if (!IsSkipped()) {
            client_.SetPkceConfig(client_.FormatPkceConfig(RawConfig()));
        }
    }
    void Exchange() {
        const PkcePair pair;
        client_.ExchangeToken(BrowserCode(pair), sim().BaseUrl() + kRedirect, pair.verifier);
    }
    void Stamp(const Json::Value& created_at, const Json::Value& expires_in) {
        Json::Value token;
        ASSERT_TRUE(quilkova::internal::LoadJsonFile(kHosToken, token));
        token["created_at"] = created_at;
        token["expires_in"] = expires_in;
        ASSERT_TRUE(quilkova::internal::SaveJsonFile(kHosToken, token).ok());
    }
    PkceClient client_{"hos"};
};

TEST_F(PkceClientTest, FormattingFillsTheDeviceJoinsHostsAndPathsAndRefusesForeignPaths) {
    const Json::Value config = client_.FormatPkceConfig(RawConfig());
    EXPECT_EQ(config["scope"], "openid device:2150ABCD1234 mac:00:11:32:aa:bb:cc 2150ABCD1234");
    EXPECT_EQ(config["token_endpoint"], sim().BaseUrl() + "/oauth2/token");
    EXPECT_EQ(config["login_redirect_uri"], sim().BaseUrl() + "/pkce/login");
    EXPECT_EQ(config.size(), 8u) << "nothing else is carried over";
    // A user-defined identity host moves the three endpoints only; an empty raw object gives bare hosts.
    quilkova::User().SetIdentityHost("https://id.example");
    const Json::Value empty = client_.FormatPkceConfig(Json::Value());
    for (const char* endpoint : {"auth_endpoint", "token_endpoint", "end_session_endpoint"}) {
        EXPECT_EQ(empty[endpoint], "https://id.example") << endpoint;
    }
    EXPECT_EQ(empty["login_redirect_uri"], sim().BaseUrl());
    EXPECT_EQ(empty["client_id"], "");
    for (const char* path : {"@127.0.0.1:9/token", ".evil.example/x", "token"}) {
        Json::Value raw = RawConfig();
        raw["token_endpoint_path"] = path;
        EXPECT_EQ(CodeOf([&] { client_.FormatPkceConfig(raw); }), KOVA_ERR_BAD_JSON) << path;
    }
    WriteDevice(root(), "2150ABCD1234", "");  // the MAC is looked up even when the scope does not use it
    EXPECT_EQ(CodeOf([&] { client_.FormatPkceConfig(Json::Value()); }), KOVA_ERR_MAC);
}

TEST_F(PkceClientTest, ATokenIsValidThroughItsLastSecondAndUnreadableMeansExpired) {
    EXPECT_TRUE(client_.IsTokenExpired()) << "no token file";
    EXPECT_EQ(CodeOf([&] { client_.GetPkceTokenVal("access_token"); }), KOVA_ERR_TOKEN);
    Json::Value answer;
    answer["created_at"] = 5;
    client_.SaveToken(answer);
    EXPECT_EQ(root().Mode(kHosToken), 0600);
    EXPECT_LE(std::llabs(std::stoll(client_.GetPkceTokenVal("created_at")) - std::time(nullptr)), 2)
        << "created_at is the local save time";
    StartOfASecond();
    const auto ago = [](long long age) { return Json::Value(static_cast<Json::Int64>(std::time(nullptr) - age)); };
    Stamp(ago(3600), 3600);
    EXPECT_FALSE(client_.IsTokenExpired()) << "the expiry second itself is valid";
    Stamp(ago(3601), 3600);
    EXPECT_TRUE(client_.IsTokenExpired());
    // Signs are read; anything but a sign and digits is no number.
    const std::vector<std::tuple<Json::Value, Json::Value, long long>> stamps = {
        {"1000", "+3600", 4600}, {1000, "-600", 400}, {"-1000", 3600, 2600}, {"+1000", "-1000", 0},
        {1000, "soon", 0},       {1000, "36 00", 0},  {1000, "99999999999999999999", 0}, {1000, "-", 0},
        {1000, Json::Value(Json::objectValue), 0}};
    for (const auto& [created_at, expires_in, expiry] : stamps) {
        Stamp(created_at, expires_in);
        EXPECT_EQ(client_.GetExpiredAt(), expiry) << created_at << " + " << expires_in;
    }
    EXPECT_EQ(CodeOf([&] { client_.GetPkceTokenVal("nothing"); }), KOVA_ERR_TOKEN);
    root().WriteFile(kHosToken, "{broken");
    EXPECT_EQ(CodeOf([&] { client_.GetPkceTokenVal("access_token"); }), KOVA_ERR_BAD_JSON);
    root().WriteFile("/tmp/planted.json", R"({"access_token": "planted"})");
    ASSERT_EQ(::unlink(root().Path(kHosToken).c_str()), 0);
    ASSERT_EQ(::symlink(root().Path("/tmp/planted.json").c_str(), root().Path(kHosToken).c_str()), 0);
    EXPECT_EQ(CodeOf([&] { client_.GetPkceTokenVal("access_token"); }), KOVA_ERR_TOKEN) << "a link is no file of ours";
    std::filesystem::remove_all(root().Path("/usr/quil/etc/quillion-account/private"));
    root().WriteFile("/usr/quil/etc/quillion-account/private", "a file where the directory belongs");
    EXPECT_EQ(CodeOf([&] { client_.GetPkceTokenVal("access_token"); }), KOVA_ERR_TOKEN) << "no token file";
}

TEST_F(PkceClientTest, RefusedOrIncompleteAnswersGiveTheirCodesWithoutSecrets) {
    quilkova::test::LogCapture log;
    const PkcePair pair;
    const std::string redirect = sim().BaseUrl() + kRedirect;
    const std::string code = BrowserCode(pair);
    // A refusal that repeats what was sent, in free text too, shows none of it.
    const std::string refused = WhatOf([&] { client_.ExchangeToken(code, redirect, PkcePair().verifier); });
    EXPECT_EQ(refused.find("Failed to exchange token, code=400, resp="), 0u) << refused;
    EXPECT_EQ(CodeOf([&] { client_.ExchangeToken(code, redirect, pair.verifier); }), KOVA_ERR_RESPONSE)
        << "the code was spent";
    Answer("/oauth2/token", "{\"error\": \"invalid_grant\", \"error_description\": \"verifier " + pair.verifier +
                                " does not match\"}", 400);
    EXPECT_EQ(WhatOf([&] { client_.ExchangeToken(BrowserCode(pair), redirect, pair.verifier); }).find(pair.verifier),
              std::string::npos);
    Answer("/oauth2/token", R"({"access_token": "leaked-token", "refresh_token": "r"})");
    const std::string what = WhatOf([&] { Exchange(); });
    EXPECT_EQ(what.find("Failed to parse exchange authkey resp, code=200, resp={\"access_token\": \"***\", "), 0u);
    EXPECT_EQ(what.find("leaked-token"), std::string::npos) << what;
    EXPECT_TRUE(log.Contains(" Failed to PkceLogin by [hos|" + sim().BaseUrl() + "/oauth2/token]")) << log.Dump();

    // Hostile token answers: a missing token is an incomplete answer (22);
    // tokens that are no usable text are a refused answer (5). Neither is
    // saved, by the exchange or by a renewal.
    const std::vector<std::pair<std::string, KOVA_ERRCODE>> answers = {
        {R"({"access_token": "a", "refresh_token": "r"})", KOVA_ERR_TOKEN},
        {"[1]", KOVA_ERR_TOKEN},
        {R"({"access_token": null, "id_token": "i", "refresh_token": "r"})", KOVA_ERR_RESPONSE},
        {R"({"access_token": "", "id_token": "i", "refresh_token": "r"})", KOVA_ERR_RESPONSE},
        {R"({"access_token": "a", "id_token": {}, "refresh_token": "r"})", KOVA_ERR_RESPONSE},
        {R"({"access_token": "a", "id_token": "i", "refresh_token": []})", KOVA_ERR_RESPONSE},
        {R"({"access_token": "a", "id_token": "i", "refresh_token": 7})", KOVA_ERR_RESPONSE}};
    for (const auto& [body, expected] : answers) {
        Answer("/oauth2/token", body);
        EXPECT_EQ(CodeOf([&] { Exchange(); }), expected) << body;
    }
    EXPECT_FALSE(client_.HasTokenFile()) << "a refused or incomplete answer saves nothing";

    Exchange();
    Restamp(kHosToken, 7200);
    const std::string aged = root().ReadFile(kHosToken);
    const std::string refresh = client_.GetPkceTokenVal("refresh_token");
    Answer("/oauth2/token", "{\"error\": \"invalid_grant\", \"error_description\": \"token " + refresh + " revoked\"}",
           400);
    const std::string revoked = WhatOf([&] { client_.GetAccessToken(); });
    EXPECT_NE(revoked.find("refresh_token is expired or revoked, code=400, resp={\"error\": \"invalid_grant\""),
              std::string::npos);
    EXPECT_EQ(revoked.find(refresh), std::string::npos) << revoked;
    EXPECT_FALSE(log.Contains(refresh) || log.Contains(pair.verifier)) << log.Dump();
    std::vector<std::pair<std::string, KOVA_ERRCODE>> renewals = {{"{}", KOVA_ERR_AUTH}};
    renewals.insert(renewals.end(), answers.begin(), answers.end());
    for (const auto& [body, expected] : renewals) {
        Answer("/oauth2/token", body, expected == KOVA_ERR_AUTH ? 400 : 200);
        EXPECT_EQ(CodeOf([&] { client_.GetAccessToken(); }), expected) << body;
    }
    // Secrets under a secret name, or the stored refresh token echoed by an
    // exchange, reach neither the exception nor the log, on exchange or renewal.
    const std::string nested = R"({"access_token": {"x": "hidden-7"}, "id_token": "i", "refresh_token": "r", "m": "hidden-7"})";
    const std::vector<std::tuple<std::string, int, std::function<void()>>> echoes = {
        {nested, 200, [&] { Exchange(); }},
        {nested, 200, [&] { client_.GetAccessToken(); }},
        {R"({"error": "invalid_grant", "m": ")" + refresh + "\"}", 400, [&] { Exchange(); }}};
    for (const auto& [body, status, call] : echoes) {
        Answer("/oauth2/token", body, status);
        const std::string text = WhatOf(call);
        EXPECT_TRUE(!text.empty() && text.find("hidden-7") == std::string::npos && text.find(refresh) == std::string::npos)
            << text;
    }
    EXPECT_FALSE(log.Contains("hidden-7") || log.Contains(refresh)) << log.Dump();
    Answer("/oauth2/token", "<html>bad gateway</html>", 502);
    EXPECT_EQ(CodeOf([&] { client_.GetAccessToken(); }), KOVA_ERR_RESPONSE);
    EXPECT_TRUE(log.Contains(" Failed to parse renew token resp, code=502, resp=<html>bad gateway</html>"))
        << log.Dump();
    EXPECT_EQ(root().ReadFile(kHosToken), aged) << "failed renewals leave the token file as it was";

    // A token file that is not ours, or that others may write, is not used.
    for (const auto& [owner, mode] : {std::pair<uid_t, mode_t>{4242, 0600}, {0, 0620}}) {
        ASSERT_EQ(::chown(root().Path(kHosToken).c_str(), owner, 0) | ::chmod(root().Path(kHosToken).c_str(), mode), 0);
        EXPECT_FALSE(client_.HasTokenFile()) << owner;
        EXPECT_EQ(CodeOf([&] { client_.GetPkceTokenVal("access_token"); }), KOVA_ERR_TOKEN) << owner;
    }

    Json::Value config = client_.FormatPkceConfig(RawConfig());
    config["token_endpoint"] = "http://127.0.0.1:" + std::to_string(UnusedLoopbackPort()) + "/t";
    client_.SetPkceConfig(config);
    const std::string unreachable = WhatOf([&] { client_.ExchangeToken("code", redirect, "verifier"); });
    EXPECT_NE(unreachable.find("Failed to exchange token, reqcode=1, reqmsg="), std::string::npos) << unreachable;
    EXPECT_NE(unreachable.find("Couldn't connect to server"), std::string::npos) << unreachable;
}

// An exchange saves once the save lock is free; an expired token is then
// renewed once for all readers, and the refresh token rotates.
TEST_F(PkceClientTest, ExchangingWaitsForAHeldSaveLockAndReadersRenewOnce) {
    {
        const quilkova::test::ShortWaits waits;
        LockHolder holder("/tmp/account_hos_save_token.lock");
        Json::Value token;
        token["access_token"] = "a";
        EXPECT_EQ(CodeOf([&] { client_.SaveToken(token); }), KOVA_ERR_TOKEN);
        EXPECT_FALSE(root().Exists(kHosToken)) << "no save past a lock it could not take";
    }
    {
        LockHolder holder("/tmp/account_hos_save_token.lock");
        ASSERT_TRUE(holder.holding());
        std::thread release([&holder] {
            std::this_thread::sleep_for(1s);
            holder.Release();
        });
        const auto start = std::chrono::steady_clock::now();
        Exchange();
        EXPECT_GE(std::chrono::steady_clock::now() - start, 900ms);
        release.join();
    }
    const std::string first = client_.GetPkceTokenVal("access_token");
    const std::string first_refresh = client_.GetPkceTokenVal("refresh_token");
    // A file saved before token files named their account is the bound account's, and renewed as its.
    quilkova::User().SetUserId("u-1");
    Json::Value unnamed;
    ASSERT_TRUE(quilkova::internal::LoadJsonFile(kHosToken, unnamed));
    unnamed.removeMember("bound_user_id");
    ASSERT_TRUE(quilkova::internal::SaveJsonFile(kHosToken, unnamed).ok());
    EXPECT_EQ(client_.GetAccessToken(), first) << "still valid: no renewal";
    const auto exchange = sim().RequestsTo("/oauth2/token").at(0);
    EXPECT_EQ(exchange.Header("X-Client-ID") + "|" + exchange.Header("Content-Type"),
              "hos-client|application/x-www-form-urlencoded");
    EXPECT_EQ(exchange.body.rfind("grant_type=authorization_code&code=", 0), 0u) << exchange.body;
    Restamp(kHosToken, 7200);
    const auto tokens = ResultsOf(8, [this] { return client_.GetAccessToken(); });
    EXPECT_EQ(tokens, std::set<std::string>{client_.GetPkceTokenVal("access_token")});
    EXPECT_EQ(TokenRequests("refresh_token"), 1u);
    EXPECT_NE(tokens, std::set<std::string>{first});
    EXPECT_NE(client_.GetPkceTokenVal("refresh_token"), first_refresh) << "refresh tokens rotate";
    EXPECT_EQ(client_.GetPkceTokenVal("bound_user_id"), "u-1");
    EXPECT_EQ(client_.GetIdToken(), client_.GetPkceTokenVal("id_token"));
}

TEST_F(PkceClientTest, ReadersNeverSeeAHalfWrittenFileAndAKilledRenewalChangesNothing) {
    Json::Value big;
    big["access_token"] = std::string(256 * 1024, 'a');
    client_.SaveToken(big);
    ChildProcess writer([this, &big] {
        for (int i = 0; i < 200; ++i) {
            big["access_token"] = std::string(256 * 1024, static_cast<char>('a' + i % 26));
            client_.SaveToken(big);
        }
        return 0;
    });
    for (int i = 0; i < 300; ++i) {
        const std::string token = client_.GetPkceTokenVal("access_token");  // throws 2 on a torn file
        ASSERT_EQ(token.find_first_not_of(token[0]), std::string::npos);
    }
    EXPECT_EQ(writer.Wait(), 0);

    Exchange();
    Restamp(kHosToken, 7200);
    const std::string before = root().ReadFile(kHosToken);
    const size_t sent_before = Sent("/oauth2/token");
    sim().Queue("/oauth2/token", {200, "", 1500, {}});  // a slow identity host
    ChildProcess renewal([this] {
        client_.GetAccessToken();
        return 0;
    });
    for (int i = 0; i < 200 && Sent("/oauth2/token") == sent_before; ++i) {
        std::this_thread::sleep_for(10ms);
    }
    renewal.Kill();
    EXPECT_EQ(root().ReadFile(kHosToken), before);
    EXPECT_NE(client_.GetAccessToken(), "") << "the killed renewal left no lock behind";
}

}  // namespace
