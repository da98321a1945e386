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
constexpr const char* kLoginEvent = "kova/login";

// Rescues of the appliance's token, one at a time across processes: the
// second of two callers whose renewal was refused finds the token the first
// one got, instead of spending another grant.
class RescueLock {
public:
    RescueLock() : lock_(internal::LockPath(internal::RescueLockName())) { internal::LockOrThrow(lock_); }

private:
    FileLock lock_;
};

bool IsRefusalOfTheAccount(int code) {
    return code == KOVA_ERR_AUTH || code == KOVA_ERR_ACCOUNT_NOT_FOUND;
}
}  // namespace

AccountPkceServiceImpl::AccountPkceServiceImpl(const std::string& account_host, const std::string& identity_host)
    : account_(account_host, identity_host), client_(internal::kApplianceClient) {
    client_.SetPkceConfig(GetLoginPkceConfig());
}

Json::Value AccountPkceServiceImpl::GetPkceConfig(const std::string& path) const {
    Json::Value raw;
    if (!internal::LoadJsonFile(path, raw)) {
        throw KovaException(KOVA_ERR_BAD_JSON);
    }
    return client_.FormatPkceConfig(raw);
}

// Read afresh, as every use of the login configuration: an update of the
// file reaches long-lived objects too.
std::string AccountPkceServiceImpl::GetClientId() const {
    return internal::TextOf(GetLoginPkceConfig()["client_id"]);
}

Json::Value AccountPkceServiceImpl::ExchangeAuthKey(const std::string& access_token) const {
    // The second header set replaces the first: only "Authorization" is sent.
    const http::Response response =
        http::Post(http::Url{GetAccountHost() + "/oauth2/api/v1/device/core/authkey/exchange"},
                   internal::RequestTimeout(), http::UserAgent{internal::UserAgent()},
                   http::Header{{"X-Client-ID", GetClientId()}}, http::Header{{"Authorization", "Bearer " + access_token}});
    internal::RequireDelivered(response, "Failed to exchange authkey", "Failed to exchange authkey");
    Json::Value answer;
    if (internal::ParseAnswer(response, answer) && answer.isObject() && answer.isMember("user_id") &&
        answer.isMember("auth_key")) {
        return answer;
    }
    KOVA_LOG(LOG_ERR, "Failed to ExchangeAuthKey by [%s], code=%d, resp=%s",
             internal::RedactedValue("access_token", access_token).c_str(), static_cast<int>(response.status_code),
             internal::Redacted(response).c_str());
    throw KovaException(KOVA_ERR_TOKEN, internal::StatusMessage("Failed to parse exchange authkey resp", response));
}

Json::Value AccountPkceServiceImpl::Login(const ParamPkceLogin& param) const {
    internal::RunPluginsBefore(kLoginEvent);
    // Whose tokens these are is known only from the auth key's exchange: until
    // then they are no account's, so a failed login never hands them to the
    // account bound now.
    const Json::Value token = client_.ExchangeToken(PkceClientImpl::ExchangeLocks(client_),
                                                    PkceClientImpl::PendingOwner(), param.code,
                                                    param.redirect_uri, param.code_verifier);
    const Json::Value identity = ExchangeAuthKey(internal::TextOf(token["access_token"]));
    const std::string user_id = internal::TextOf(identity["user_id"]);
    const UserImpl user;
    user.SetAccountHost(GetAccountHost());
    user.SetIdentityHost(GetIdentityHost());
    user.SetUserId(user_id);
    user.SetAuthKey(internal::TextOf(identity["auth_key"]));
    client_.ClaimFor(user_id);
    internal::ForgetOtherAccountsTokens(user_id);
    const Json::Value account = internal::Unwrap(account_.GetAndSyncRemoteJsonAccount());
    KOVA_LOG(LOG_ERR, "Logged in Quillion Account as [%s]", internal::TextOf(account["email"]).c_str());
    account_.SetReportCrontab();
    internal::RunPluginsAfter(kLoginEvent);
    return account;
}

void AccountPkceServiceImpl::GrantByAuthKey() const {
    internal::GrantToken(client_, GetLoginPkceConfig(),
                         {GetAccountHost() + "/migration/api/v1/device/core/authorization_code/grant",
                          {{"auth_key", UserImpl().GetAuthKey()}}, "", "by authkey", true});
}

std::string AccountPkceServiceImpl::GetToken(const char* key) const {
    if (std::optional<std::string> valid = client_.ValidToken(key)) {
        return *valid;
    }
    if (!client_.HasTokenFile() && HasAuthKey()) {
        const RescueLock serialised;
        if (!client_.HasTokenFile()) {  // another process may have made it meanwhile
            GrantByAuthKey();
        }
    }
    try {
        return client_.GetToken(key);
    } catch (const KovaException& error) {
        if (error.GetCode() != KOVA_ERR_AUTH) {
            throw;
        }
    }
    // The refresh token was refused: a new token from the auth key, or out.
    KOVA_LOG(LOG_ERR, "Rescue hos renew pkce token by authkey");
    {
        const RescueLock serialised;  // a lock not taken fails the call, never logs the appliance out
        if (client_.IsTokenExpired()) {
            try {
                GrantByAuthKey();
            } catch (const KovaException& error) {
                // Only the account host's own refusal of the auth key ends the
                // binding. A lock, a save, the network or a server error fail
                // this call and keep the account, its tokens and its schedule.
                if (!IsRefusalOfTheAccount(error.GetCode())) {
                    throw;
                }
                KOVA_LOG(LOG_ERR, "Failed to rescue by authkey, force logout");
                Logout(false);
            }
        }
    }
    return client_.GetToken(key);
}

std::string AccountPkceServiceImpl::GetAccessToken() const {
    return GetToken("access_token");
}

std::string AccountPkceServiceImpl::GetIdToken() const {
    return GetToken("id_token");
}

bool AccountPkceServiceImpl::HasToken() const {
    try {
        GetAccessToken();
        return true;
    } catch (const KovaException& error) {
        if (error.GetCode() == KOVA_ERR_TOKEN) {
            return false;
        }
        throw;
    }
}

bool AccountPkceServiceImpl::HasAuthKey() const {
    try {
        return !UserImpl().GetAuthKey().empty();
    } catch (const KovaException&) {
        return false;
    }
}

void AccountPkceServiceImpl::Logout(bool send_access_token) const {
    const UserImpl user;
    if (!user.Exists()) {
        LogoutLocal();
        return;
    }
    http::Payload form{{"serial_no", internal::Unwrap(internal::ReadSerial(KOVA_HERE))}, {"id", user.GetUserId()},
                       {"auth_key", user.GetAuthKey()}};
    // Without the token when the token's own rescue ends here: that breaks the recursion.
    if (send_access_token) {
        form.Add("access_token", GetAccessToken());
    }
    const http::Response response =
        http::Post(http::Url{GetAccountHost() + "/device/api/logout"}, form,
                   http::UserAgent{internal::UserAgent()}, http::Header{{"X-Client-ID", GetClientId()}},
                   internal::RequestTimeout());
    internal::RequireDelivered(response, "Failed to logout", "Failed to logout");
    const Json::Value answer = internal::RequireObject(response, "Failed to parse logout resp", KOVA_ERR_BAD_JSON);
    if (answer.isMember("code")) {
        const int code = GetErrorCodeFromAccountError(internal::TextOf(answer["code"]).c_str());
        if (code != KOVA_ERR_SUCCESS) {
            throw KovaException(static_cast<KOVA_ERRCODE>(code), "Failed to logout with success code");
        }
    }
    LogoutLocal();
}

void AccountPkceServiceImpl::LogoutLocal() const {
    internal::LogoutLocally();
}

}  // namespace quilkova
