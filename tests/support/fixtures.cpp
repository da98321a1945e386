#include "fixtures.hpp"

#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sys/stat.h>

#include <ctime>

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
Json::Value Seed() {
    Json::Value account;
    account["email"] = "owner@example.com";
    account["password"] = "s3cret";
    account["id"] = "u-1";
    account["auth_key"] = "key-1";
    account["access_token"] = "at-1";
    account["full_name"] = "Ann Owner";
    account["country"] = "NZ";
    account["timezone"] = "Pacific/Auckland";
    account["notify_language"] = "enu";
    account["activated"] = true;
    account["enews_local_promotion"] = true;
    account["critical_version_list"] = "7.1,7.2";
    account["purchases"].append("Quillion Antivirus");
    Json::Value seed;
    seed["accounts"].append(account);
    for (const char* package : {"backup", "healthbeacon"}) {
        Json::Value& config = seed["packages"][package];
        config["client_id"] = std::string(package) + "-client";
        config["scope"] = "openid device:$sn$";
        config["token_endpoint_path"] = "/oauth2/token";
        config["login_redirect_path"] = std::string("/pkce/") + package;
    }
    return seed;
}
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
    sim_ = std::make_unique<sim::Simulator>(Seed());
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

}  // namespace quilkova::test
