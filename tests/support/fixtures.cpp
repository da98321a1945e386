#include "fixtures.hpp"

#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sys/stat.h>

#include <ctime>
#include <fstream>

#include "child_process.hpp"
#include "internal/json_utils.hpp"
#include "quilkova/account_pkce_service.hpp"
#include "quilkova/user.hpp"

namespace quilkova::test {

void WriteDevice(const TempRoot& root, const std::string& serial, const std::string& mac) {
    std::string content = "model=\"QN-420\"\nfirmware=\"7.2.1\"\n";
    if (!serial.empty()) {
        content += "serial=\"" + serial + "\"\n";
    }
    if (!mac.empty()) {
        content += "mac=\"" + mac + "\"\n";
    }
    root.WriteFile(kDeviceFile, content);
}

void WriteScript(const TempRoot& root, const std::string& appliance_path, const std::string& body) {
    root.WriteFile(appliance_path, "#!/bin/sh\n" + body + "\n");
    ::chmod(root.Path(appliance_path).c_str(), 0755);
}

std::string Md5Hex(const std::string& text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(text.data(), text.size(), digest, &length, EVP_md5(), nullptr);
    std::string hex;
    for (unsigned int i = 0; i < length; ++i) {
        hex += "0123456789abcdef"[digest[i] >> 4];
        hex += "0123456789abcdef"[digest[i] & 15];
    }
    return hex;
}

std::string DeviceTokenOf(const std::string& seed) {
    std::string x = seed;
    for (int i = 0, passes = 1 + std::stoi(Md5Hex(seed).substr(0, 1), nullptr, 16); i < passes; ++i) {
        x = Md5Hex(x + Md5Hex(x));
    }
    return x;
}

KOVA_ERRCODE CodeOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const KovaException& error) {
        return error.GetCode();
    }
    return KOVA_ERR_SUCCESS;
}

std::string WhatOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const KovaException& error) {
        return error.what();
    }
    return "";
}

PkcePair::PkcePair() {
    unsigned char random[32];
    RAND_bytes(random, sizeof(random));
    verifier = sim::Base64Url(random, sizeof(random));
    challenge = sim::S256(verifier);
}

void AccountTest::SetUp() {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root: every access to the account record raises the process to root";
    }
    root_ = std::make_unique<TempRoot>();
}

namespace {
// The simulated service's one account and two packages.
constexpr const char* kSeed = R"({
  "accounts": [{"email": "owner@example.com", "password": "s3cret", "id": "u-1", "auth_key": "key-1",
                "access_token": "at-1", "full_name": "Ann Owner", "country": "NZ", "timezone": "Pacific/Auckland",
                "notify_language": "enu", "activated": true, "enews_local_promotion": true,
                "critical_version_list": "7.1,7.2", "purchases": ["Quillion Antivirus"]}],
  "packages": {
    "backup": {"client_id": "backup-client", "scope": "openid device:$sn$", "token_endpoint_path": "/oauth2/token",
               "login_redirect_path": "/pkce/backup"},
    "healthbeacon": {"client_id": "healthbeacon-client", "scope": "openid device:$sn$",
                     "token_endpoint_path": "/oauth2/token", "login_redirect_path": "/pkce/healthbeacon"}}})";
}  // namespace

void OperationsTest::SetUp() {
    AccountTest::SetUp();
    if (IsSkipped()) {
        return;
    }
    WriteDevice(root());
    root().WriteFile("/etc/timezone", "Pacific/Auckland\n");
    root().WriteFile(kLoginConfig,
                     R"({"client_id": "hos-client", "scope": "openid profile device:$sn$ mac:$mac$",
                         "token_endpoint_path": "/oauth2/token", "login_redirect_path": "/pkce/login"})");
    Json::Value seed;
    ASSERT_TRUE(internal::TryParseJson(kSeed, seed));
    sim_ = std::make_unique<sim::Simulator>(seed);
    ASSERT_GT(sim_->Start(), 0);
    const User user;
    user.SetAccountHost(sim_->BaseUrl());
    user.SetIdentityHost(sim_->BaseUrl());
    for (const char* event : {"login", "logout"}) {
        WriteScript(root(), std::string("/usr/quil/lib/plugins/kova/") + event + ".d/10-record",
                    std::string("echo \"") + event + " $1 [$QUIL_PLUGIN_ACCOUNT]\" >> " + root().Path("/plugin-calls"));
    }
}

std::string OperationsTest::BrowserCode(const PkcePair& pair) {
    return sim_->IssueAuthorizationCode("hos-client", pair.challenge, sim_->BaseUrl() + kRedirect);
}

void OperationsTest::BrowserLogin() {
    const PkcePair pair;
    AccountPkceService().Login({"", BrowserCode(pair), pair.verifier, sim_->BaseUrl() + kRedirect});
    sim_->Reset();
}

void OperationsTest::Restamp(const char* path, long long age, const char* member) {
    Json::Value content;
    ASSERT_TRUE(internal::LoadJsonFile(path, content));
    content[member] = static_cast<Json::Int64>(std::time(nullptr) - age);
    internal::SaveJsonFile(path, content);
}

size_t OperationsTest::TokenRequests(const char* grant_type) {
    size_t count = 0;
    for (const auto& request : sim_->RequestsTo("/oauth2/token")) {
        count += request.Field("grant_type") == grant_type ? 1 : 0;
    }
    return count;
}

std::set<std::string> OperationsTest::ResultsOf(int processes, const std::function<std::string()>& call) {
    const std::string results = root().Path("/result-");
    auto children = StartTogether(processes, [&results, &call](int i) {
        std::ofstream(results + std::to_string(i)) << call();
        return 0;
    });
    std::set<std::string> distinct;
    for (int i = 0; i < processes; ++i) {
        EXPECT_EQ(children[i]->Wait(), 0) << "process " << i;
        distinct.insert(root().ReadFile("/result-" + std::to_string(i)));
    }
    return distinct;
}

bool OperationsTest::LoggedOutLocally() {
    return !root().Exists(kUserConf) && !root().Exists(kHosToken) && !root().Exists(kBackupToken) &&
           !root().Exists("/etc/cron.d/quil-kova");
}

}  // namespace quilkova::test
