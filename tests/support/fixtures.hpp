#ifndef QUILKOVA_TESTS_FIXTURES_HPP
#define QUILKOVA_TESTS_FIXTURES_HPP

#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <set>
#include <string>

#include "quilkova/kova_exception.hpp"
#include "quilkova/quilkova.h"
#include "sim/simulator.hpp"
#include "temp_root.hpp"

namespace quilkova::test {

constexpr const char* kRedirect = "/pkce/login";
constexpr const char* kLogin = "/device/api/password_login";
constexpr const char* kQuery = "/device/api/user/query";

// A device file with a serial, a MAC, a model and a firmware; an empty
// argument leaves that key out.
void WriteDevice(const TempRoot& root, const std::string& serial = "2150ABCD1234",
                 const std::string& mac = "00:11:32:aa:bb:cc");
// An executable shell script.
void WriteScript(const TempRoot& root, const std::string& appliance_path, const std::string& body);

// MD5 hex through OpenSSL itself, independent of the library.
std::string Md5Hex(const std::string& text);
// The device token of a seed (serial, account, password), counted here: 1 + the
// seed's first hex digit passes.
std::string DeviceTokenOf(const std::string& seed);

// The code a flat call left in the error slot when it returned -1; for any
// other result 1000 + the result, which is no code.
inline int FailureCode(int result) {
    return result == -1 ? QUILKOVAErrGet() : 1000 + result;
}

// The code of the KovaException an action throws; 0 when it throws none.
KOVA_ERRCODE CodeOf(const std::function<void()>& action);
// The text of that exception; "" when it throws none.
std::string WhatOf(const std::function<void()>& action);

// A PKCE verifier and its S256 challenge, as a browser login would make them.
struct PkcePair {
    PkcePair();
    std::string verifier;
    std::string challenge;
};

// A fresh root for tests of the account record. Every access to the record
// raises the process to root, so these tests need root and are skipped otherwise.
class AccountTest : public ::testing::Test {
protected:
    void SetUp() override;
    TempRoot& root() { return *root_; }
    std::string UserConf() { return root_->ReadFile(kUserConf); }

private:
    std::unique_ptr<TempRoot> root_;
};

// An appliance under a fresh root whose hosts are a simulator holding
// owner@example.com (password "s3cret", id "u-1", auth key "key-1", access
// token "at-1") and the packages "backup" and "healthbeacon", with the login
// PKCE configuration in place and "kova/login" and "kova/logout" plug-ins
// that record their calls.
class OperationsTest : public AccountTest {
protected:
    void SetUp() override;
    sim::Simulator& sim() { return *sim_; }
    size_t Sent(const std::string& path) { return sim_->RequestsTo(path).size(); }
    void Answer(const std::string& path, const std::string& body, int status = 200) {
        sim_->Queue(path, {status, body, 0, {}});
    }
    std::string PluginCalls() { return root().ReadFile("/plugin-calls"); }
    // A browser login's authorization code for the login client.
    std::string BrowserCode(const PkcePair& pair);
    // The owner logged in through a browser (PKCE); the request log then cleared.
    void BrowserLogin();
    // Sets `member` of a JSON file to now - age.
    void Restamp(const char* path, long long age, const char* member = "created_at");
    // Requests of that grant type the token endpoint received.
    size_t TokenRequests(const char* grant_type);
    // Runs `call` in that many processes started together; the distinct texts they returned.
    std::set<std::string> ResultsOf(int processes, const std::function<std::string()>& call);
    // No record, no appliance token, no package token, no report schedule.
    bool LoggedOutLocally();

private:
    std::unique_ptr<sim::Simulator> sim_;
};

}  // namespace quilkova::test

#endif
