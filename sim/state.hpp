#ifndef QUILKOVA_SIM_STATE_HPP
#define QUILKOVA_SIM_STATE_HPP

#include <json/json.h>

#include <ctime>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "sim/simulator.hpp"

namespace quilkova::sim {

// What a one-time code was issued for.
struct Grant {
    std::string client_id;
    std::string challenge;  // empty: no PKCE (the monitoring service's codes)
    std::string redirect_uri;
    std::string account_id;
};

// Who a token was issued to.
struct TokenOwner {
    std::string client_id;
    std::string account_id;
    std::time_t expires_at = 0;
};

// Accounts, codes, tokens, canned answers and the request log, shared by the
// server's threads. Every method takes the lock.
class State {
public:
    explicit State(const Json::Value& seed);

    void Reset();
    void Record(const ReceivedRequest& request);
    std::vector<ReceivedRequest> Requests() const;
    void Queue(const std::string& path, const CannedAnswer& answer);
    bool TakeCanned(const std::string& path, CannedAnswer& answer);

    // The first account whose `member` equals a non-empty `value`; null when none.
    Json::Value Find(const char* member, const std::string& value) const;
    // The account of that e-mail, the first one for "".
    Json::Value Account(const std::string& email) const;
    void Add(const Json::Value& account);
    void Update(const std::string& id, const std::function<void(Json::Value&)>& change);
    // The account's auth key, issued afresh when it was revoked.
    std::string CurrentAuthKey(const std::string& id);
    // Revokes the account's auth key and every refresh token issued to it.
    void Logout(const std::string& id);
    void RevokeAuthKey(const std::string& email);

    Json::Value Package(const std::string& name) const;
    // The name of the seeded package whose client id is `client_id`; "" when none.
    std::string PackageOfClient(const std::string& client_id) const;

    std::string IssueCode(const Grant& grant);
    // The grant of a code, which is spent whatever the outcome; false when unknown or spent.
    bool TakeCode(const std::string& code, Grant& grant);
    Json::Value IssueTokens(const std::string& client_id, const std::string& account_id);
    // Spends a refresh token (it rotates); false when unknown, spent or revoked.
    bool TakeRefreshToken(const std::string& token, const std::string& client_id, std::string& account_id);
    // The owner of a valid access token; false when unknown or expired.
    bool FindAccessToken(const std::string& token, TokenOwner& owner) const;
    void SetTokenLifetime(int seconds);
    void RevokeRefreshTokens();

private:
    std::string Next(const char* prefix);

    mutable std::mutex mutex_;
    const Json::Value seed_;
    Json::Value accounts_;
    std::map<std::string, Grant> codes_;
    std::map<std::string, TokenOwner> access_tokens_;
    std::map<std::string, TokenOwner> refresh_tokens_;
    int token_lifetime_ = 3600;
    unsigned long serial_ = 0;
    std::map<std::string, std::deque<CannedAnswer>> canned_;
    std::vector<ReceivedRequest> requests_;
};

}  // namespace quilkova::sim

#endif
