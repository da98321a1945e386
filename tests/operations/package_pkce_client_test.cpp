// Package PKCE clients and the monitoring-service grant against the simulator.
#include "test_prelude.hpp"

#include "util/atomic_file.hpp"

namespace {

constexpr const char* kConfigEndpoint = "/oauth2/api/v1/device/package/config/pkce/client";
constexpr const char* kGrant = "/oauth2/api/v1/device/package/authorization_code/grant";
constexpr const char* kBeaconGrant = "/oauth2/api/v1/device/healthbeacon/authorization_code/grant";
constexpr const char* kCache = "/tmp/account_backup_pkce_client.conf";

class PackageTest : public quilkova::test::OperationsTest {
protected:
    void SetUp() override {
        OperationsTest::SetUp();
        if (!IsSkipped()) {
            BrowserLogin();
        }
    }
};

TEST_F(PackageTest, APackageIsGrantedRenewedAndReGrantedOnTheAppliancesWord) {
    const PackagePkceClient backup("backup");
    const std::string first = backup.GetAccessToken();
    ASSERT_EQ(Sent(kConfigEndpoint), 1u);
    const auto fetch = sim().RequestsTo(kConfigEndpoint).at(0);
    EXPECT_EQ(fetch.method + " " + fetch.query, "GET package_name=backup");
    EXPECT_EQ(fetch.Header("Authorization").rfind("Bearer at-", 0), 0u);
    const auto grant = sim().RequestsTo(kGrant).at(0);
    EXPECT_FALSE(grant.HasHeader("X-Client-ID")) << "replaced by the bearer header set";
    EXPECT_EQ(grant.FieldNames(), "client_id redirect_url state code_challenge scopes[] scopes[]") << "no auth key";
    EXPECT_EQ(grant.Field("client_id") + " " + grant.Field("redirect_url") + " " + grant.Joined("scopes[]"),
              "backup-client " + sim().BaseUrl() + "/pkce/backup openid device:2150ABCD1234");
    EXPECT_EQ(std::make_pair(root().Mode(kCache), root().Mode(kBackupToken)), std::make_pair(0600u, 0600u));
    EXPECT_EQ(backup.GetAccessToken(), first) << "valid: nothing asked";
    EXPECT_EQ(Sent(kGrant), 1u);

    Restamp(kBackupToken, 7200);
    const std::string renewed = backup.GetAccessToken();
    EXPECT_NE(renewed, first);
    EXPECT_EQ(Sent(kGrant), 1u) << "renewed, not granted";

    LogCapture log;
    Restamp(kBackupToken, 7200);
    sim().RevokeRefreshTokens();
    EXPECT_NE(backup.GetIdToken(), "");
    EXPECT_EQ(Sent(kGrant), 2u);
    EXPECT_TRUE(log.Contains(" Rescue package[backup] renew pkce token by hos token")) << log.Dump();
    backup.ForceRenewToken();
    EXPECT_EQ(Sent(kGrant), 3u);

    quilkova::AccountPkceService().LogoutLocal();
    EXPECT_FALSE(root().Exists(kBackupToken)) << "the appliance's logout takes the package's token";
    EXPECT_TRUE(root().Exists(kCache)) << "and leaves its cached configuration";
}

TEST_F(PackageTest, TheCachedConfigurationLivesThirtyHoursAndMustBeOurs) {
    PackagePkceClient("backup").GetAccessToken();
    ASSERT_EQ(Sent(kConfigEndpoint), 1u);
    StartOfASecond();
    Restamp(kCache, 108000);
    PackagePkceClient("backup");
    EXPECT_EQ(Sent(kConfigEndpoint), 1u) << "exactly 30 hours old: used";
    Restamp(kCache, 108001);
    PackagePkceClient("backup");
    EXPECT_EQ(Sent(kConfigEndpoint), 2u) << "one second older: fetched again";

    const std::vector<std::function<void()>> unusable = {
        [this] { root().WriteFile(kCache, R"({"client_id": "backup-client"})"); },
        [this] { root().WriteFile(kCache, "not json"); },
        [this] { ASSERT_EQ(::chown(root().Path(kCache).c_str(), 65534, 65534), 0); },
        [this] { ASSERT_EQ(::chmod(root().Path(kCache).c_str(), 0666), 0); },
        [this] {
            root().WriteFile("/tmp/planted", R"({"client_id": "evil", "created_at": 9999999999})");
            ASSERT_EQ(::unlink(root().Path(kCache).c_str()), 0);
            ASSERT_EQ(::symlink(root().Path("/tmp/planted").c_str(), root().Path(kCache).c_str()), 0);
        }};
    for (size_t i = 0; i < unusable.size(); ++i) {
        unusable[i]();
        PackagePkceClient("backup");
        EXPECT_EQ(Sent(kConfigEndpoint), 3 + i) << "case " << i;
        EXPECT_EQ(root().Mode(kCache), 0600) << "replaced by one of our own";
    }
    EXPECT_EQ(root().ReadFile("/tmp/planted"), R"({"client_id": "evil", "created_at": 9999999999})");

    Restamp(kCache, 200000);
    for (const auto& [status, body, code] : {std::tuple<int, const char*, int>{500, "", KOVA_ERR_RESPONSE},
                                             {200, "[1]", KOVA_ERR_RESPONSE},
                                             {200, "oops", KOVA_ERR_BAD_JSON}}) {
        Answer(kConfigEndpoint, body, status);
        EXPECT_EQ(CodeOf([] { PackagePkceClient("backup"); }), code) << status << " " << body;
    }
    // A refusal that repeats the appliance's bearer token shows none of it.
    const std::string bearer = quilkova::AccountPkceService().GetAccessToken();
    Answer(kConfigEndpoint, "token " + bearer + " refused", 403);
    const std::string refused = WhatOf([] { PackagePkceClient("backup"); });
    EXPECT_NE(refused.find("code=403, resp=token *** refused"), std::string::npos) << refused;
    // Names of letters, digits, ".", "_" and "-" are the packages' own: asked for, not refused.
    for (const char* name : {"nothing-seeded", "Az09.a_z-Z"}) {
        EXPECT_EQ(CodeOf([name] { PackagePkceClient client(name); }), KOVA_ERR_RESPONSE) << name << ": 404";
    }
}

TEST_F(PackageTest, ProcessesOfOnePackageShareOneFetchAndOneGrantAndPackagesDoNotWaitOnEachOther) {
    EXPECT_EQ(ResultsOf(16, [] { return PackagePkceClient("backup").GetAccessToken(); }).size(), 1u);
    EXPECT_EQ(Sent(kConfigEndpoint), 1u);
    EXPECT_EQ(Sent(kGrant), 1u);

    quilkova::test::LockHolder holder("/tmp/account_backup_package_get_token.lock");
    ASSERT_TRUE(holder.holding());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(PackagePkceClient("healthbeacon").GetAccessToken(), "");
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    // A fresh configuration is used without waiting for anyone's fetch.
    const quilkova::test::ShortWaits waits;
    quilkova::test::LockHolder fetching("/tmp/account_backup_package_retrieve_config.lock");
    EXPECT_EQ(CodeOf([] { PackagePkceClient("backup"); }), KOVA_ERR_SUCCESS);
}

TEST_F(PackageTest, ANameThatCouldLeaveItsDirectoryIsRefusedBeforeAnyFile) {
    for (const std::string& name :
         {std::string(""), std::string("../backup"), std::string("a/b"), std::string(".."), std::string(".hidden"),
          std::string("hos"), std::string("a b"), std::string("a\0b", 3), std::string("tab\t"), std::string("\xc3\xbc")}) {
        EXPECT_EQ(CodeOf([&] { PackagePkceClient client(name); }), KOVA_ERR_BAD_PARAM) << name;
    }
    for (const std::string& made : internal::DirectoryEntries(root().Path("/tmp"))) {
        EXPECT_TRUE(made.find("pkce_client") == std::string::npos && made.find("package") == std::string::npos) << made;
    }
    EXPECT_EQ(Sent(kConfigEndpoint), 0u);
}

TEST_F(PackageTest, TheMonitoringServiceGetsItsRedirectWithTheCode) {
    const quilkova::AccountHealthBeaconService beacon;
    const std::string url = beacon.Grant("beacon-web", "read write", "https://beacon.example/cb?x=1", "s t&1");
    const auto grant = sim().RequestsTo(kBeaconGrant).at(0);
    EXPECT_EQ(grant.body,
              "client_id=beacon-web&redirect_url=https%3A%2F%2Fbeacon.example%2Fcb%3Fx%3D1"
              "&state=s%20t%261&scopes%5B%5D=read%20write");
    EXPECT_FALSE(grant.HasHeader("X-Client-ID"));
    EXPECT_EQ(grant.Header("Authorization").rfind("Bearer at-", 0), 0u) << "the healthbeacon package's token";
    const std::string prefix = "https://beacon.example/cb?x=1?scope=read%20write&state=s%20t%261&code=code-";
    EXPECT_EQ(url.rfind(prefix, 0), 0u) << url;
    for (const auto& [status, body] :
         {std::pair<int, const char*>{401, "{}"}, {500, "{}"}, {200, R"({"code": "x"})"}}) {
        Answer(kBeaconGrant, body, status);
        EXPECT_EQ(CodeOf([&] { beacon.Grant("beacon-web", "read", "https://b.example", "s"); }), KOVA_ERR_RESPONSE)
            << status;
    }
}

}  // namespace
