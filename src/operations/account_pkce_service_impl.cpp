// The appliance's PKCE account: login, the rescue ladder of its tokens, and
// the remote logout.
#include "operations/account_pkce_service_impl.hpp"

#include "account/user_impl.hpp"
#include "device/identity.hpp"
#include "device/plugin_events.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/json_utils.hpp"
#include "foundation/log.hpp"
#include "foundation/string_utils.hpp"
#include "operations/account_operations.hpp"
#include "operations/account_pkce_service_impl.hpp"
#include "operations/appliance_tokens.hpp"
#include "services/backoff.hpp"
#include "services/token_requests.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/quilkova.h"
#include "quilplatform/notify.h"
#include "quilplatform/process.h"
#include "services/report_job.hpp"
#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

namespace quilkova {

namespace {
using internal::Done;
using internal::Error;
using internal::Result;
using internal::Status;

constexpr const char* kLoginEvent = "kova/login";

// Rescues of the appliance's token, one at a time across processes: the
// second of two callers whose renewal was refused finds the token the first
// one got, instead of spending another grant.
class RescueLock {
public:
    RescueLock() : lock_(internal::LockPath(internal::RescueLockName())) {}
    Status Take() { return internal::TakeLock(lock_); }

private:
    FileLock lock_;
};

bool IsRefusalOfTheAccount(int code) {
    return code == KOVA_ERR_AUTH || code == KOVA_ERR_ACCOUNT_NOT_FOUND;
}
}  // namespace

AccountPkceServiceImpl::AccountPkceServiceImpl(const std::string& account_host, const std::string& identity_host)
    : account_(account_host, identity_host), client_(internal::kApplianceClient) {}

Result<std::unique_ptr<AccountPkceServiceImpl>> AccountPkceServiceImpl::Make(const std::string& account_host,
                                                                              const std::string& identity_host) {
    auto service = std::make_unique<AccountPkceServiceImpl>(account_host, identity_host);
    KOVA_TRY(config, service->GetLoginPkceConfig());
    service->client_.SetPkceConfig(config);
    return service;
}

Result<Json::Value> AccountPkceServiceImpl::GetPkceConfig(const std::string& path) const {
    Json::Value raw;
    if (!internal::LoadJsonFile(path, raw)) {
        return Error{KOVA_ERR_BAD_JSON};
    }
    return client_.FormatPkceConfig(raw);
}

// Read afresh, as every use of the login configuration: an update of the
// file reaches long-lived objects too.
Result<std::string> AccountPkceServiceImpl::GetClientId() const {
    KOVA_TRY(config, GetLoginPkceConfig());
    return internal::TextOf(config["client_id"]);
}

Result<Json::Value> AccountPkceServiceImpl::ExchangeAuthKey(const std::string& access_token) const {
    KOVA_TRY(client_id, GetClientId());
    // The second header set replaces the first: only "Authorization" is sent.
    KOVA_TRY(response, http::Post(http::Url{GetAccountHost() + "/oauth2/api/v1/device/core/authkey/exchange"},
                                  internal::RequestTimeout(), http::UserAgent{internal::UserAgent()},
                                  http::Header{{"X-Client-ID", client_id}},
                                  http::Header{{"Authorization", "Bearer " + access_token}}));
    KOVA_TRY_STATUS(internal::RequireDelivered(response, "Failed to exchange authkey", "Failed to exchange authkey"));
    Json::Value answer;
    if (internal::ParseAnswer(response, answer) && answer.isObject() && answer.isMember("user_id") &&
        answer.isMember("auth_key")) {
        return answer;
    }
    KOVA_LOG(LOG_ERR, "Failed to ExchangeAuthKey by [%s], code=%d, resp=%s",
             internal::RedactedValue("access_token", access_token).c_str(), static_cast<int>(response.status_code),
             internal::Redacted(response).c_str());
    return Error{KOVA_ERR_TOKEN, internal::StatusMessage("Failed to parse exchange authkey resp", response)};
}

Result<Json::Value> AccountPkceServiceImpl::ExchangePendingToken(const ParamPkceLogin& param) const {
    PkceClientImpl::ExchangeLocks held(client_);  // released before the token is claimed
    KOVA_TRY_STATUS(held.Take());
    return client_.ExchangeToken(held, PkceClientImpl::PendingOwner(), param.code, param.redirect_uri,
                                 param.code_verifier);
}

Result<Json::Value> AccountPkceServiceImpl::Login(const ParamPkceLogin& param) const {
    internal::RunPluginsBefore(kLoginEvent);
    // Whose tokens these are is known only from the auth key's exchange: until
    // then they are no account's, so a failed login never hands them to the
    // account bound now.
    KOVA_TRY(token, ExchangePendingToken(param));
    KOVA_TRY(identity, ExchangeAuthKey(internal::TextOf(token["access_token"])));
    const std::string user_id = internal::TextOf(identity["user_id"]);
    const UserImpl user;
    KOVA_TRY_STATUS(user.SetAccountHost(GetAccountHost()));
    KOVA_TRY_STATUS(user.SetIdentityHost(GetIdentityHost()));
    KOVA_TRY_STATUS(user.SetUserId(user_id));
    KOVA_TRY_STATUS(user.SetAuthKey(internal::TextOf(identity["auth_key"])));
    client_.ClaimFor(user_id);
    internal::ForgetOtherAccountsTokens(user_id);
    KOVA_TRY(account, account_.GetAndSyncRemoteJsonAccount());
    KOVA_LOG(LOG_ERR, "Logged in Quillion Account as [%s]", internal::TextOf(account["email"]).c_str());
    account_.SetReportCrontab();
    internal::RunPluginsAfter(kLoginEvent);
    return account;
}

Status AccountPkceServiceImpl::GrantByAuthKey() const {
    KOVA_TRY(config, GetLoginPkceConfig());
    KOVA_TRY(auth_key, UserImpl().GetAuthKey());
    return internal::GrantToken(client_, config,
                                {GetAccountHost() + "/migration/api/v1/device/core/authorization_code/grant",
                                 {{"auth_key", auth_key}}, "", "by authkey", true});
}

Status AccountPkceServiceImpl::RescueWithoutTokenFile() const {
    if (client_.HasTokenFile() || !HasAuthKey()) {
        return Done{};
    }
    RescueLock serialised;
    KOVA_TRY_STATUS(serialised.Take());
    if (client_.HasTokenFile()) {
        return Done{};  // another process made it meanwhile
    }
    return GrantByAuthKey();
}

Status AccountPkceServiceImpl::RescueRefusedRenewal() const {
    KOVA_LOG(LOG_ERR, "Rescue hos renew pkce token by authkey");
    RescueLock serialised;  // a lock not taken fails the call, never logs the appliance out
    KOVA_TRY_STATUS(serialised.Take());
    if (!client_.IsTokenExpired()) {
        return Done{};
    }
    const Status granted = GrantByAuthKey();
    // Only the account host's own refusal of the auth key ends the binding. A
    // lock, a save, the network or a server error fail this call and keep the
    // account, its tokens and its schedule.
    if (granted || !IsRefusalOfTheAccount(granted.error().code)) {
        return granted;
    }
    KOVA_LOG(LOG_ERR, "Failed to rescue by authkey, force logout");
    return Logout(false);
}

Result<std::string> AccountPkceServiceImpl::GetToken(const char* key) const {
    if (std::optional<std::string> valid = client_.ValidToken(key)) {
        return *valid;
    }
    KOVA_TRY_STATUS(RescueWithoutTokenFile());
    Result<std::string> token = client_.GetToken(key);
    if (token || token.error().code != KOVA_ERR_AUTH) {
        return token;
    }
    // The refresh token was refused: a new token from the auth key, or out.
    KOVA_TRY_STATUS(RescueRefusedRenewal());
    return client_.GetToken(key);
}

Result<std::string> AccountPkceServiceImpl::GetAccessToken() const {
    return GetToken("access_token");
}

Result<std::string> AccountPkceServiceImpl::GetIdToken() const {
    return GetToken("id_token");
}

Result<bool> AccountPkceServiceImpl::HasToken() const {
    const Result<std::string> token = GetAccessToken();
    if (token) {
        return true;
    }
    if (token.error().code == KOVA_ERR_TOKEN) {
        return false;
    }
    return token.error();
}

bool AccountPkceServiceImpl::HasAuthKey() const {
    const Result<std::string> key = UserImpl().GetAuthKey();
    return key && !key.value().empty();
}

Status AccountPkceServiceImpl::Logout(bool send_access_token) const {
    const UserImpl user;
    KOVA_TRY(exists, user.Exists());
    if (!exists) {
        LogoutLocal();
        return Done{};
    }
    KOVA_TRY(serial, internal::ReadSerial(KOVA_HERE));
    KOVA_TRY(user_id, user.GetUserId());
    KOVA_TRY(auth_key, user.GetAuthKey());
    http::Payload form{{"serial_no", serial}, {"id", user_id}, {"auth_key", auth_key}};
    // Without the token when the token's own rescue ends here: that breaks the recursion.
    if (send_access_token) {
        KOVA_TRY(access_token, GetAccessToken());
        form.Add("access_token", access_token);
    }
    KOVA_TRY(client_id, GetClientId());
    KOVA_TRY(response, http::Post(http::Url{GetAccountHost() + "/device/api/logout"}, form,
                                  http::UserAgent{internal::UserAgent()}, http::Header{{"X-Client-ID", client_id}},
                                  internal::RequestTimeout()));
    KOVA_TRY_STATUS(internal::RequireDelivered(response, "Failed to logout", "Failed to logout"));
    KOVA_TRY(answer, internal::RequireObject(response, "Failed to parse logout resp", KOVA_ERR_BAD_JSON));
    if (answer.isMember("code")) {
        const int code = GetErrorCodeFromAccountError(internal::TextOf(answer["code"]).c_str());
        if (code != KOVA_ERR_SUCCESS) {
            return Error{static_cast<KOVA_ERRCODE>(code), "Failed to logout with success code"};
        }
    }
    LogoutLocal();
    return Done{};
}

void AccountPkceServiceImpl::LogoutLocal() const {
    internal::LogoutLocally();
}

}  // namespace quilkova
