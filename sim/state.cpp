#include "sim/state.hpp"

#include <openssl/rand.h>

namespace quilkova::sim {

State::State(const Json::Value& seed) : seed_(seed.isObject() ? seed : Json::Value(Json::objectValue)) {
    Reset();
}

void State::Reset() {
    const std::lock_guard<std::mutex> lock(mutex_);
    accounts_ = seed_["accounts"].isArray() ? seed_["accounts"] : Json::Value(Json::arrayValue);
    canned_.clear();
    requests_.clear();
}

void State::Record(const ReceivedRequest& request) {
    const std::lock_guard<std::mutex> lock(mutex_);
    requests_.push_back(request);
}

std::vector<ReceivedRequest> State::Requests() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

void State::Queue(const std::string& path, const CannedAnswer& answer) {
    const std::lock_guard<std::mutex> lock(mutex_);
    canned_[path].push_back(answer);
}

bool State::TakeCanned(const std::string& path, CannedAnswer& answer) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = canned_.find(path);
    if (found == canned_.end() || found->second.empty()) {
        return false;
    }
    answer = found->second.front();
    found->second.pop_front();
    return true;
}

Json::Value State::Find(const char* member, const std::string& value) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const Json::Value& account : accounts_) {
        if (!value.empty() && account[member].isString() && account[member].asString() == value) {
            return account;
        }
    }
    return Json::Value();
}

Json::Value State::Account(const std::string& email) const {
    if (!email.empty()) {
        return Find("email", email);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    return accounts_.empty() ? Json::Value() : accounts_[0];
}

void State::Add(const Json::Value& account) {
    const std::lock_guard<std::mutex> lock(mutex_);
    accounts_.append(account);
}

void State::Update(const std::string& id, const std::function<void(Json::Value&)>& change) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (Json::Value& account : accounts_) {
        if (account["id"].asString() == id) {
            change(account);
        }
    }
}

std::string State::CurrentAuthKey(const std::string& id) {
    std::string key;
    Update(id, [this, &key](Json::Value& account) {
        if (account["auth_key"].asString().empty()) {
            account["auth_key"] = Next("key-");
        }
        key = account["auth_key"].asString();
    });
    return key;
}

namespace {
// A revoked key is remembered: logging out with it again is no error.
void Revoke(Json::Value& account) {
    if (!account["auth_key"].asString().empty()) {
        account["revoked_auth_keys"].append(account["auth_key"]);
    }
    account["auth_key"] = "";
}
}  // namespace

void State::Logout(const std::string& id) {
    Update(id, Revoke);
    const std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = refresh_tokens_.begin(); it != refresh_tokens_.end();) {
        it = it->second.account_id == id ? refresh_tokens_.erase(it) : std::next(it);
    }
}

void State::RevokeAuthKey(const std::string& email) {
    const Json::Value account = Find("email", email);
    Update(account["id"].asString(), Revoke);
}

Json::Value State::Package(const std::string& name) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return seed_["packages"].isObject() ? seed_["packages"].get(name, Json::Value()) : Json::Value();
}

std::string State::PackageOfClient(const std::string& client_id) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!seed_["packages"].isObject()) {
        return "";
    }
    for (const std::string& name : seed_["packages"].getMemberNames()) {
        if (!client_id.empty() && seed_["packages"][name]["client_id"].asString() == client_id) {
            return name;
        }
    }
    return "";
}

// Called with the lock held or from a locked caller's Update.
std::string State::Next(const char* prefix) {
    unsigned char random[12];
    RAND_bytes(random, sizeof(random));
    return prefix + std::to_string(++serial_) + "-" + Base64Url(random, sizeof(random));
}

std::string State::IssueCode(const Grant& grant) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::string code = Next("code-");
    codes_[code] = grant;
    return code;
}

bool State::TakeCode(const std::string& code, Grant& grant) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = codes_.find(code);
    if (found == codes_.end()) {
        return false;
    }
    grant = found->second;
    codes_.erase(found);
    return true;
}

Json::Value State::IssueTokens(const std::string& client_id, const std::string& account_id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Json::Value tokens;
    tokens["access_token"] = Next("at-");
    tokens["id_token"] = Next("id-");
    tokens["refresh_token"] = Next("rt-");
    tokens["token_type"] = "Bearer";
    tokens["expires_in"] = token_lifetime_;
    const TokenOwner owner{client_id, account_id, std::time(nullptr) + token_lifetime_};
    access_tokens_[tokens["access_token"].asString()] = owner;
    refresh_tokens_[tokens["refresh_token"].asString()] = owner;
    return tokens;
}

bool State::TakeRefreshToken(const std::string& token, const std::string& client_id, std::string& account_id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = refresh_tokens_.find(token);
    if (found == refresh_tokens_.end() || found->second.client_id != client_id) {
        return false;
    }
    account_id = found->second.account_id;
    refresh_tokens_.erase(found);
    return true;
}

bool State::FindAccessToken(const std::string& token, TokenOwner& owner) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = access_tokens_.find(token);
    if (found == access_tokens_.end() || found->second.expires_at < std::time(nullptr)) {
        return false;
    }
    owner = found->second;
    return true;
}

void State::SetTokenLifetime(int seconds) {
    const std::lock_guard<std::mutex> lock(mutex_);
    token_lifetime_ = seconds;
}

void State::RevokeRefreshTokens() {
    const std::lock_guard<std::mutex> lock(mutex_);
    refresh_tokens_.clear();
}

}  // namespace quilkova::sim
