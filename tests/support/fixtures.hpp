#ifndef QUILKOVA_TESTS_FIXTURES_HPP
#define QUILKOVA_TESTS_FIXTURES_HPP

#include <gtest/gtest.h>
#include <json/json.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "child_process.hpp"
#include "foundation/json_utils.hpp"
#include "foundation/result.hpp"
#include "foundation/waits.hpp"
#include "log_capture.hpp"
#include "platform_waits.hpp"
#include "quilkova/account_pkce_service.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/quilkova.h"
#include "quilkova/user.hpp"
#include "sim/simulator.hpp"
#include "temp_root.hpp"
#include "util/atomic_file.hpp"

namespace quilkova::test {

constexpr const char* kRedirect = "/pkce/login";
constexpr const char* kLogin = "/device/api/password_login";
constexpr const char* kQuery = "/device/api/user/query";

// The descriptors this process has open.
inline size_t OpenDescriptors() { return internal::DirectoryEntries("/proc/self/fd").size(); }

// A device file with a serial, a MAC, a model and a firmware; an empty
// argument leaves that key out.
inline void WriteDevice(const TempRoot& root, const std::string& serial = "2150ABCD1234",
                        const std::string& mac = "00:11:32:aa:bb:cc") {
    root.WriteFile(kDeviceFile, "model=\"QN-420\"\nfirmware=\"7.2.1\"\n" +
                                    (serial.empty() ? "" : "serial=\"" + serial + "\"\n") +
                                    (mac.empty() ? "" : "mac=\"" + mac + "\"\n"));
}

// An executable shell script.
inline void WriteScript(const TempRoot& root, const std::string& appliance_path, const std::string& body) {
    root.WriteFile(appliance_path, "#!/bin/sh\n" + body + "\n");
    ::chmod(root.Path(appliance_path).c_str(), 0755);
}

// MD5 hex through OpenSSL itself, independent of the library.
inline std::string Md5Hex(const std::string& text) {
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

// The device token of a seed (serial, account, password), counted here: 1 + the
// seed's first hex digit passes.
inline std::string DeviceTokenOf(const std::string& seed) {
    std::string x = seed;
    for (int i = 0, passes = 1 + std::stoi(Md5Hex(seed).substr(0, 1), nullptr, 16); i < passes; ++i) {
        x = Md5Hex(x + Md5Hex(x));
    }
    return x;
}

// Returns right after a new second begins, so that checks of a stamp made
// now run in the second it was made for.
inline void StartOfASecond() {
    for (const std::time_t now = std::time(nullptr); std::time(nullptr) == now;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// The code a flat call left in the error slot when it returned -1; for any
// other result 1000 + the result, which is no code.
inline int FailureCode(int result) {
    return result == -1 ? QUILKOVAErrGet() : 1000 + result;
}

// The code of the KovaException an action throws; 0 when it throws none.
inline KOVA_ERRCODE CodeOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const KovaException& error) {
        return error.GetCode();
    }
    return KOVA_ERR_SUCCESS;
}

// The code of a result's failure; 0 for a success.
template <typename T>
KOVA_ERRCODE CodeOf(const internal::Result<T>& result) {
    return result ? KOVA_ERR_SUCCESS : result.error().code;
}

// The text of that exception; "" when it throws none.
inline std::string WhatOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const KovaException& error) {
        return error.what();
    }
    return "";
}

// A PKCE verifier and its S256 challenge, as a browser login would make them.
struct PkcePair {
    PkcePair() {
        unsigned char random[32];
        RAND_bytes(random, sizeof(random));
        verifier = sim::Base64Url(random, sizeof(random));
        challenge = sim::S256(verifier);
    }
    std::string verifier;
    std::string challenge;
};

// The library's and the platform's waits cut short for the lifetime of the
// object: a lock another process holds fails a call after one second instead
// of thirty, a silent peer costs the flat sender a second per attempt and the
// classes two seconds, a
// plug-in that never ends is stopped after a second.
class ShortWaits {
public:
    ShortWaits() : saved_(internal::CurrentWaits()), saved_platform_(quilplatform::CurrentWaits()) {
        internal::Waits& waits = internal::CurrentWaits();
        waits.lock_seconds = 1;
        waits.ddns_answer = std::chrono::milliseconds(300);
        waits.sender_short_seconds = 1;
        waits.sender_long_seconds = 1;
        waits.sender_pause = std::chrono::milliseconds(100);
        waits.request_timeout = std::chrono::milliseconds(2000);
        quilplatform::Waits& platform = quilplatform::CurrentWaits();
        platform.directory_lock = std::chrono::milliseconds(1000);
        platform.plugin_limit = std::chrono::milliseconds(1000);
        platform.close_grace = std::chrono::milliseconds(300);
    }
    ~ShortWaits() {
        internal::CurrentWaits() = saved_;
        quilplatform::CurrentWaits() = saved_platform_;
    }
    ShortWaits(const ShortWaits&) = delete;
    ShortWaits& operator=(const ShortWaits&) = delete;

private:
    internal::Waits saved_;
    quilplatform::Waits saved_platform_;
};

// A fresh root for tests of the account record. Every access to the record
// raises the process to root, so these tests need root and are skipped otherwise.
class AccountTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "needs root: every access to the account record raises the process to root";
        }
        quiet_ = std::make_unique<QuietLog>();
        root_ = std::make_unique<TempRoot>();
    }
    TempRoot& root() { return *root_; }
    std::string UserConf() { return root_->ReadFile(kUserConf); }

private:
    std::unique_ptr<QuietLog> quiet_;
    std::unique_ptr<TempRoot> root_;
};

// The simulated service's two accounts and two packages.
constexpr const char* kSeed = R"({
  "accounts": [{"email": "owner@example.com", "password": "s3cret", "id": "u-1", "auth_key": "key-1",
                "access_token": "at-1", "full_name": "Ann Owner", "country": "NZ", "timezone": "Pacific/Auckland",
                "notify_language": "enu", "activated": true, "enews_local_promotion": true,
                "critical_version_list": "7.1,7.2", "purchases": ["Quillion Antivirus"]},
               {"email": "next@example.com", "password": "n3xt", "id": "u-2", "auth_key": "key-2",
                "full_name": "Ben Next"}],
  "packages": {
    "backup": {"client_id": "backup-client", "scope": "openid device:$sn$", "token_endpoint_path": "/oauth2/token",
               "login_redirect_path": "/pkce/backup"},
    "healthbeacon": {"client_id": "healthbeacon-client", "scope": "openid device:$sn$",
                     "token_endpoint_path": "/oauth2/token", "login_redirect_path": "/pkce/healthbeacon"}}})";

// An appliance under a fresh root whose hosts are a simulator holding
// owner@example.com (password "s3cret", id "u-1", auth key "key-1", access
// token "at-1") and the packages "backup" and "healthbeacon", with the login
// PKCE configuration in place and "kova/login" and "kova/logout" plug-ins
// that record their calls.
class OperationsTest : public AccountTest {
protected:
    void SetUp() override {
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
                        std::string("echo \"") + event + " $1 [$QUIL_PLUGIN_ACCOUNT]\" >> " +
                            root().Path("/plugin-calls"));
        }
    }
    sim::Simulator& sim() { return *sim_; }
    size_t Sent(const std::string& path) { return sim_->RequestsTo(path).size(); }
    void Answer(const std::string& path, const std::string& body, int status = 200) {
        sim_->Queue(path, {status, body, 0, {}});
    }
    std::string PluginCalls() { return root().ReadFile("/plugin-calls"); }
    // A browser login's authorization code for the login client.
    std::string BrowserCode(const PkcePair& pair) {
        return sim_->IssueAuthorizationCode("hos-client", pair.challenge, sim_->BaseUrl() + kRedirect);
    }
    // The owner logged in through a browser (PKCE); the request log then cleared.
    void BrowserLogin() {
        const PkcePair pair;
        AccountPkceService().Login({"", BrowserCode(pair), pair.verifier, sim_->BaseUrl() + kRedirect});
        sim_->Reset();
    }
    // Sets `member` of a JSON file to now - age.
    void Restamp(const char* path, long long age, const char* member = "created_at") {
        Json::Value content;
        ASSERT_TRUE(internal::LoadJsonFile(path, content));
        content[member] = static_cast<Json::Int64>(std::time(nullptr) - age);
        ASSERT_TRUE(internal::SaveJsonFile(path, content).ok());
    }
    // Requests of that grant type the token endpoint received.
    size_t TokenRequests(const char* grant_type) {
        size_t count = 0;
        for (const auto& request : sim_->RequestsTo("/oauth2/token")) {
            count += request.Field("grant_type") == grant_type ? 1 : 0;
        }
        return count;
    }
    // Runs `call` in that many processes started together; the distinct texts they returned.
    std::set<std::string> ResultsOf(int processes, const std::function<std::string()>& call) {
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
    // No record, no appliance token, no package token, no report schedule.
    bool LoggedOutLocally() {
        return !root().Exists(kUserConf) && !root().Exists(kHosToken) && !root().Exists(kBackupToken) &&
               !root().Exists("/etc/cron.d/quil-kova");
    }

private:
    std::unique_ptr<sim::Simulator> sim_;
};

}  // namespace quilkova::test

#endif
