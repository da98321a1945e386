#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <ctime>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "child_process.hpp"
#include "internal/json_utils.hpp"
#include "internal/pkce_client_impl.hpp"
#include "kova_code.hpp"
#include "log_capture.hpp"
#include "operations_fixture.hpp"
#include "pkce_pair.hpp"
#include "quilkova/pkce_client.hpp"
#include "tls_server.hpp"

namespace {

using namespace std::chrono_literals;
using quilkova::PkceClient;
using quilkova::User;
using quilkova::test::CodeOf;
using quilkova::test::LogCapture;
using quilkova::test::PkcePair;

constexpr const char* kTokenFile = "/usr/quil/etc/quillion-account/private/hos_token.json";
constexpr const char* kRedirect = "https://account.example/pkce/login";

Json::Value RawConfig() {
    Json::Value raw;
    raw["client_id"] = "hos-client";
    raw["scope"] = "openid device:$sn$ mac:$mac$ $sn$";
    raw["audience"] = "quillion";
    raw["auth_endpoint_path"] = "/oauth2/auth";
    raw["token_endpoint_path"] = "/oauth2/token";
    raw["end_session_endpoint_path"] = "/oauth2/logout";
    raw["login_redirect_path"] = "/pkce/login";
    raw["logout_redirect_path"] = "/pkce/logout";
    raw["ignored"] = "not carried over";
    return raw;
}

class PkceClientTest : public quilkova::test::OperationsTest {
protected:
    void SetUp() override {
        OperationsTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        User().SetIdentityHost(sim().BaseUrl());
        client_ = std::make_unique<PkceClient>("hos");
        client_->SetPkceConfig(client_->FormatPkceConfig(RawConfig()));
    }
    void Exchange() {
        const PkcePair pair;
        client_->ExchangeToken(sim().IssueAuthorizationCode("hos-client", pair.challenge, kRedirect), kRedirect,
                               pair.verifier);
    }
    // Rewrites the token file as if it had been saved `age` seconds ago.
    void AgeToken(long long age, const Json::Value& expires_in = Json::Value(3600)) {
        Json::Value token;
        ASSERT_TRUE(quilkova::internal::LoadJsonFile(kTokenFile, token));
        token["created_at"] = static_cast<Json::Int64>(std::time(nullptr) - age);
        token["expires_in"] = expires_in;
        quilkova::internal::SaveJsonFile(kTokenFile, token);
    }
    size_t TokenRequests(const char* grant_type) {
        size_t count = 0;
        for (const auto& request : sim().RequestsTo("/oauth2/token")) {
            count += request.Field("grant_type") == grant_type ? 1 : 0;
        }
        return count;
    }
    std::unique_ptr<PkceClient> client_;
};

TEST_F(PkceClientTest, FormattingFillsTheDeviceAndJoinsHostsAndPaths) {
    const Json::Value config = client_->FormatPkceConfig(RawConfig());
    EXPECT_EQ(config["scope"], "openid device:2150ABCD1234 mac:00:11:32:aa:bb:cc 2150ABCD1234");
    EXPECT_EQ(config["token_endpoint"], sim().BaseUrl() + "/oauth2/token");
    EXPECT_EQ(config["login_redirect_uri"], sim().BaseUrl() + "/pkce/login");
    EXPECT_FALSE(config.isMember("ignored"));
    EXPECT_EQ(config.size(), 8u);

    // A user-defined identity host moves the three endpoints only.
    User().SetIdentityHost("https://id.example");
    const Json::Value empty = client_->FormatPkceConfig(Json::Value());
    for (const char* endpoint : {"auth_endpoint", "token_endpoint", "end_session_endpoint"}) {
        EXPECT_EQ(empty[endpoint], "https://id.example") << endpoint;
    }
    for (const char* redirect : {"login_redirect_uri", "logout_redirect_uri"}) {
        EXPECT_EQ(empty[redirect], sim().BaseUrl()) << redirect;
    }
    EXPECT_EQ(empty["client_id"], "");
    EXPECT_EQ(empty["scope"], "");

    // The MAC is looked up even when the scope does not use it.
    quilkova::test::WriteDevice(root(), "2150ABCD1234", "");
    EXPECT_EQ(CodeOf([&] { client_->FormatPkceConfig(Json::Value()); }), KOVA_ERR_MAC);
}

TEST_F(PkceClientTest, ATokenIsValidThroughItsLastSecondAndUnreadableMeansExpired) {
    EXPECT_TRUE(client_->IsTokenExpired()) << "no token file";
    EXPECT_EQ(client_->GetExpiredAt(), 0);
    EXPECT_EQ(CodeOf([&] { client_->GetPkceTokenVal("access_token"); }), KOVA_ERR_TOKEN);

    Json::Value answer;
    answer["access_token"] = "a";
    answer["expires_in"] = "3600";
    answer["created_at"] = 5;
    client_->SaveToken(answer);
    EXPECT_EQ(root().Mode(kTokenFile), 0600);
    EXPECT_LE(std::llabs(std::stoll(client_->GetPkceTokenVal("created_at")) - std::time(nullptr)), 2)
        << "created_at is the local save time";

    // Right after a new second begins, so that the check runs in the second it was written for.
    for (const std::time_t now = std::time(nullptr); std::time(nullptr) == now;) {
        std::this_thread::sleep_for(1ms);
    }
    AgeToken(3600);
    EXPECT_FALSE(client_->IsTokenExpired()) << "the expiry second itself is valid";
    EXPECT_EQ(client_->GetExpiredAt(), static_cast<long long>(std::time(nullptr)));
    AgeToken(3601);
    EXPECT_TRUE(client_->IsTokenExpired());
    for (const Json::Value& bad : {Json::Value("soon"), Json::Value("99999999999999999999"), Json::Value("36 00"),
                                   Json::Value(""), Json::Value(Json::objectValue)}) {
        AgeToken(0, bad);
        EXPECT_EQ(client_->GetExpiredAt(), 0) << bad;
        EXPECT_TRUE(client_->IsTokenExpired()) << bad;
    }
    AgeToken(0, Json::Value("+3600"));
    EXPECT_FALSE(client_->IsTokenExpired());
    EXPECT_EQ(CodeOf([&] { client_->GetPkceTokenVal("nothing"); }), KOVA_ERR_TOKEN);
    root().WriteFile(kTokenFile, "{broken");
    EXPECT_EQ(CodeOf([&] { client_->GetPkceTokenVal("access_token"); }), KOVA_ERR_BAD_JSON);
}

TEST_F(PkceClientTest, ExchangesACodeThenRenewsAnExpiredToken) {
    Exchange();
    const std::string first = client_->GetPkceTokenVal("access_token");
    const std::string first_refresh = client_->GetPkceTokenVal("refresh_token");
    EXPECT_EQ(client_->GetAccessToken(), first) << "still valid: no renewal";
    EXPECT_EQ(TokenRequests("refresh_token"), 0u);
    const auto exchange = sim().RequestsTo("/oauth2/token").at(0);
    EXPECT_EQ(exchange.headers.at("X-Client-ID"), "hos-client");
    EXPECT_EQ(exchange.body.rfind("grant_type=authorization_code&code=", 0), 0u) << exchange.body;

    AgeToken(7200);
    const std::string renewed = client_->GetAccessToken();
    EXPECT_NE(renewed, first);
    EXPECT_NE(client_->GetPkceTokenVal("refresh_token"), first_refresh) << "refresh tokens rotate";
    EXPECT_EQ(client_->GetIdToken(), client_->GetPkceTokenVal("id_token"));
    EXPECT_EQ(TokenRequests("refresh_token"), 1u);
}

TEST_F(PkceClientTest, RefusedOrIncompleteAnswersGiveTheirCodes) {
    LogCapture log;
    const PkcePair pair;
    const std::string code = sim().IssueAuthorizationCode("hos-client", pair.challenge, kRedirect);
    EXPECT_EQ(CodeOf([&] { client_->ExchangeToken(code, kRedirect, PkcePair().verifier); }), KOVA_ERR_RESPONSE)
        << "wrong verifier";
    EXPECT_EQ(CodeOf([&] { client_->ExchangeToken(code, kRedirect, pair.verifier); }), KOVA_ERR_RESPONSE)
        << "the code was spent";
    EXPECT_FALSE(client_->HasTokenFile());

    sim().Queue("/oauth2/token", {200, R"({"access_token": "a", "refresh_token": "r"})", 0});
    EXPECT_EQ(CodeOf([&] { Exchange(); }), KOVA_ERR_TOKEN);
    EXPECT_FALSE(client_->HasTokenFile()) << "an incomplete answer saves nothing";
    EXPECT_TRUE(log.Contains(" Failed to PkceLogin by [hos|" + sim().BaseUrl() + "/oauth2/token]")) << log.Dump();

    Exchange();
    const std::string saved = root().ReadFile(kTokenFile);
    AgeToken(7200);
    const std::string aged = root().ReadFile(kTokenFile);
    sim().RevokeRefreshTokens();
    try {
        client_->GetAccessToken();
        FAIL() << "renewed with a revoked refresh token";
    } catch (const quilkova::KovaException& error) {
        EXPECT_EQ(error.GetCode(), KOVA_ERR_AUTH);
        EXPECT_NE(std::string(error.what()).find("refresh_token is expired or revoked, code=400, resp="),
                  std::string::npos);
    }
    sim().Queue("/oauth2/token", {502, "<html>bad gateway</html>", 0});
    EXPECT_EQ(CodeOf([&] { client_->GetAccessToken(); }), KOVA_ERR_RESPONSE) << "not JSON";
    sim().Queue("/oauth2/token", {200, R"({"access_token": "a", "refresh_token": "r"})", 0});
    EXPECT_EQ(CodeOf([&] { client_->GetAccessToken(); }), KOVA_ERR_TOKEN);
    EXPECT_EQ(root().ReadFile(kTokenFile), aged) << "failed renewals leave the token file as it was";
    EXPECT_NE(saved, aged);
}

TEST_F(PkceClientTest, AnUnreachableIdentityHostIsATransportFailure) {
    Json::Value config = client_->FormatPkceConfig(RawConfig());
    config["token_endpoint"] = "http://127.0.0.1:" + std::to_string(quilkova::test::UnusedLoopbackPort()) + "/oauth2/token";
    client_->SetPkceConfig(config);
    try {
        client_->ExchangeToken("code", kRedirect, "verifier");
        FAIL() << "no exception";
    } catch (const quilkova::KovaException& error) {
        EXPECT_EQ(error.GetCode(), KOVA_ERR_RESPONSE);
        EXPECT_NE(std::string(error.what()).find("Failed to exchange token, reqcode=1, reqmsg="), std::string::npos)
            << error.what();
    }
}

TEST_F(PkceClientTest, ConcurrentReadersOfAnExpiredTokenRenewItOnce) {
    Exchange();
    AgeToken(7200);
    constexpr int kReaders = 8;
    std::vector<std::unique_ptr<quilkova::test::ChildProcess>> readers;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kReaders; ++i) {
        const std::string result = root().Path("/reader-" + std::to_string(i));
        readers.push_back(std::make_unique<quilkova::test::ChildProcess>([this, result, start] {
            const std::string token = client_->GetAccessToken();
            const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(
                std::chrono::steady_clock::now() - start);
            std::ofstream(result) << token << " " << waited.count();
            return 0;
        }));
    }
    long long longest_ms = 0;
    std::string first_token;
    for (int i = 0; i < kReaders; ++i) {
        ASSERT_EQ(readers[i]->Wait(), 0);
        std::ifstream in(root().Path("/reader-" + std::to_string(i)));
        std::string token;
        long long waited = 0;
        in >> token >> waited;
        longest_ms = std::max(longest_ms, waited);
        first_token = first_token.empty() ? token : first_token;
        EXPECT_EQ(token, first_token) << "reader " << i;
    }
    EXPECT_EQ(TokenRequests("refresh_token"), 1u);
    EXPECT_EQ(first_token, client_->GetPkceTokenVal("access_token"));
    std::printf("[ measured ] the last of %d concurrent readers had its token after %lld ms\n", kReaders, longest_ms);
}

TEST_F(PkceClientTest, ReadersNeverSeeAHalfWrittenFileAndAKilledRenewalChangesNothing) {
    Exchange();
    Json::Value big;
    big["access_token"] = std::string(256 * 1024, 'a');
    big["id_token"] = "i";
    big["refresh_token"] = "r";
    big["expires_in"] = 3600;
    client_->SaveToken(big);
    quilkova::test::ChildProcess writer([this, &big] {
        for (int i = 0; i < 200; ++i) {
            big["access_token"] = std::string(256 * 1024, static_cast<char>('a' + i % 26));
            client_->SaveToken(big);
        }
        return 0;
    });
    for (int i = 0; i < 300; ++i) {
        const std::string token = client_->GetPkceTokenVal("access_token");  // throws 2 on a torn file
        ASSERT_EQ(token.find_first_not_of(token[0]), std::string::npos);
    }
    EXPECT_EQ(writer.Wait(), 0);

    Exchange();
    AgeToken(7200);
    const std::string before = root().ReadFile(kTokenFile);
    const size_t sent_before = sim().RequestsTo("/oauth2/token").size();
    sim().Queue("/oauth2/token", {200, "", 1500});  // a slow identity host
    quilkova::test::ChildProcess renewal([this] {
        client_->GetAccessToken();
        return 0;
    });
    for (int i = 0; i < 200 && sim().RequestsTo("/oauth2/token").size() == sent_before; ++i) {
        std::this_thread::sleep_for(10ms);
    }
    renewal.Kill();
    EXPECT_EQ(root().ReadFile(kTokenFile), before);
    EXPECT_NE(client_->GetAccessToken(), "") << "the killed renewal left no lock behind";
}

}  // namespace
