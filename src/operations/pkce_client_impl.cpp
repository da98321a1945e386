// One OAuth client's token file: reading, renewal, exchange and grants.
#include "operations/pkce_client_impl.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/algorithm/string/replace.hpp>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <mutex>

#include "account/user_impl.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/json_utils.hpp"
#include "foundation/log.hpp"
#include "foundation/redact.hpp"
#include "foundation/string_utils.hpp"
#include "foundation/waits.hpp"
#include "operations/account_service_impl.hpp"
#include "operations/pkce_client_impl.hpp"
#include "services/token_requests.hpp"
#include "quilkova/file_lock.hpp"
#include "device/identity.hpp"
#include "quilkova/kova_exception.hpp"
#include "transport/http.hpp"
#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

namespace quilkova {

namespace {

using internal::Done;
using internal::Error;
using internal::Result;
using internal::Status;
using internal::TakeLock;

// A sign and digits, nothing else, within 64 bits.
bool ParseInteger(const std::string& text, long long& value) {
    size_t at = text.empty() || (text[0] != '+' && text[0] != '-') ? 0 : 1;
    if (at == text.size()) {
        return false;
    }
    const bool negative = text[0] == '-';
    long long result = 0;
    for (; at < text.size(); ++at) {
        if (text[at] < '0' || text[at] > '9') {
            return false;
        }
        const int digit = text[at] - '0';
        if (__builtin_mul_overflow(result, 10, &result) ||
            __builtin_add_overflow(result, negative ? -digit : digit, &result)) {
            return false;
        }
    }
    value = result;
    return true;
}

// The member as text, or 22 "Failed to get key: <key>".
Result<std::string> TokenMember(const Json::Value& token, const std::string& key) {
    if (!token.isObject() || !token.isMember(key)) {
        return Error{KOVA_ERR_TOKEN, "Failed to get key: " + key};
    }
    return internal::TextOf(token[key]);
}

// "created_at" + "expires_in"; 0 when either is missing, no number, or the sum overflows.
long long ExpiryOf(const Json::Value& token) {
    long long created_at = 0;
    long long expires_in = 0;
    long long expired_at = 0;
    if (token.isObject() && token.isMember("created_at") && token.isMember("expires_in") &&
        ParseInteger(internal::TextOf(token["created_at"]), created_at) &&
        ParseInteger(internal::TextOf(token["expires_in"]), expires_in) &&
        !__builtin_add_overflow(created_at, expires_in, &expired_at)) {
        return expired_at;
    }
    return 0;
}

// No margin: the expiry second itself still counts as valid.
bool IsPast(long long expired_at) {
    return expired_at < static_cast<long long>(std::time(nullptr));
}

// What a token endpoint's answer is worth. One that lacks a token is
// incomplete; one whose tokens are there but are no usable text (null, "",
// an object or a list) is a refusal of the answer. Neither replaces the file.
enum class TokenAnswer { kComplete, kIncomplete, kUnusable };

TokenAnswer Judge(const Json::Value& answer) {
    constexpr const char* kTokens[] = {"access_token", "id_token", "refresh_token"};
    if (!answer.isObject()) {
        return TokenAnswer::kIncomplete;
    }
    for (const char* token : kTokens) {
        if (!answer.isMember(token)) {
            return TokenAnswer::kIncomplete;
        }
    }
    for (const char* token : kTokens) {
        if (!answer[token].isString() || answer[token].asString().empty()) {
            return TokenAnswer::kUnusable;
        }
    }
    return TokenAnswer::kComplete;
}

Result<http::Response> PostToTokenEndpoint(const std::string& endpoint, const std::string& client_id,
                                   const http::Payload& payload) {
    return http::Post(http::Url{endpoint}, internal::RequestTimeout(),
                      http::UserAgent{internal::UserAgent()},
                      http::Header{{"X-Client-ID", client_id}}, payload);
}

}  // namespace

PkceClientImpl::PkceClientImpl(const std::string& name) : name_(name), backoff_(name) {}

Result<Json::Value> PkceClientImpl::FormatPkceConfig(const Json::Value& raw) const {
    const auto member = [&raw](const char* key) { return raw.isObject() ? internal::TextOf(raw[key]) : std::string(); };
    // A path is joined to a host: one that does not start with "/" could name
    // another host ("@evil.example/x", ".evil.example/x").
    std::string scope = member("scope");
    // Both looked up whatever the scope holds: a device without a MAC cannot log in.
    KOVA_TRY(serial, internal::ReadSerial(KOVA_HERE));
    KOVA_TRY(mac, internal::ReadMac(KOVA_HERE));
    boost::algorithm::replace_all(scope, "$sn$", serial);
    boost::algorithm::replace_all(scope, "$mac$", mac);
    const AccountServiceImpl hosts("", "");
    const std::string identity = hosts.GetIdentityHost();
    const std::string account = hosts.GetAccountHost();
    constexpr const char* kPaths[] = {"auth_endpoint_path", "token_endpoint_path", "end_session_endpoint_path",
                                      "login_redirect_path", "logout_redirect_path"};
    for (const char* key : kPaths) {
        const std::string value = member(key);
        if (!value.empty() && value[0] != '/') {
            return Error{KOVA_ERR_BAD_JSON, format("Refused %s: a path must start with \"/\"", key)};
        }
    }

    Json::Value config(Json::objectValue);
    config["client_id"] = member("client_id");
    config["scope"] = scope;
    config["audience"] = member("audience");
    config["auth_endpoint"] = identity + member("auth_endpoint_path");
    config["token_endpoint"] = identity + member("token_endpoint_path");
    config["end_session_endpoint"] = identity + member("end_session_endpoint_path");
    config["login_redirect_uri"] = account + member("login_redirect_path");
    config["logout_redirect_uri"] = account + member("logout_redirect_path");
    return config;
}

std::string PkceClientImpl::GetTokenFilePath() const {
    return internal::TokenFilePath(name_);
}

namespace {
// The bound account's user id as last read, and the record's identity then:
// read again only when the record changed, since every token read asks for it
// (the platform keeps the record's text likewise, but each read of it there
// still costs the privileged section and a parse).
struct BoundAccountCache {
    std::mutex mutex;
    bool valid = false;
    struct stat record {};
    std::string user_id;
};
}  // namespace

std::string PkceClientImpl::BoundUserId() {
    static BoundAccountCache cache;
    struct stat record {};
    const bool seen = ::stat(internal::RootedPath(UserImpl::kPath).c_str(), &record) == 0;
    if (!seen && errno == ENOENT) {
        return "";  // no record: no account is bound
    }
    if (seen) {
        const std::lock_guard<std::mutex> guard(cache.mutex);
        if (cache.valid && internal::SameFileVersion(cache.record, record)) {
            return cache.user_id;
        }
    }
    const Result<std::string> read = UserImpl().GetUserId();
    if (!read) {
        return "";  // then only tokens obtained while no account was bound count
    }
    const std::string& user_id = read.value();
    if (seen) {
        const std::lock_guard<std::mutex> guard(cache.mutex);
        cache.valid = true;
        cache.record = record;
        cache.user_id = user_id;
    }
    return user_id;
}

// A token file counts only when it is ours, nobody else may write it, and it
// is not another account's (one that holds no JSON still counts: reading it says why).
bool PkceClientImpl::HasTokenFile() const {
    const Result<Json::Value> token = ReadToken();
    return token.ok() || token.error().code != KOVA_ERR_TOKEN;
}

const Json::Value* PkceClientImpl::OwnerOf(const Json::Value& token) {
    return token.find(kOwnerMember, kOwnerMember + std::strlen(kOwnerMember));
}

Result<Json::Value> PkceClientImpl::ReadToken() const {
    Result<Json::Value> token = ReadAnyToken();
    if (!token) {
        return token;
    }
    // A file that names no account (saved before files named theirs, or by
    // hand) is taken as the bound account's; the next binding removes it.
    const Json::Value* owner = OwnerOf(token.value());
    if (owner != nullptr && *owner != Json::Value(BoundUserId())) {
        return Error{KOVA_ERR_TOKEN, "Failed to find an existed token file"};
    }
    return token;
}

// One open and one parse: 22 when there is no file of ours, 2 when it holds no JSON.
Result<Json::Value> PkceClientImpl::ReadAnyToken() const {
    std::string text;
    struct stat info {};
    const int error = internal::ReadFileNoFollow(internal::RootedPath(GetTokenFilePath()), text, &info);
    const bool missing = error == ENOENT || error == ELOOP || error == EACCES || error == ENOTDIR;
    if (missing || (error == 0 && !internal::IsOwnFile(info))) {
        return Error{KOVA_ERR_TOKEN, "Failed to find an existed token file"};
    }
    Json::Value token;
    if (error != 0 || !internal::ParseJson(text, token)) {
        return Error{KOVA_ERR_BAD_JSON};
    }
    if (!token.isObject()) {
        token = Json::Value(Json::objectValue);  // no member to give, no owner
    }
    internal::NoteHeldSecrets(token);
    return token;
}

Result<std::string> PkceClientImpl::GetPkceTokenVal(const std::string& key) const {
    KOVA_TRY(token, ReadToken());
    return TokenMember(token, key);
}

long long PkceClientImpl::GetExpiredAt() const {
    const Result<Json::Value> token = ReadToken();
    return token ? ExpiryOf(token.value()) : 0;
}

bool PkceClientImpl::IsTokenExpired() const {
    return IsPast(GetExpiredAt());
}

Status PkceClientImpl::SaveToken(const Json::Value& answer) const {
    FileLock lock(LockPath("_save_token"));
    KOVA_TRY_STATUS(TakeLock(lock));
    KOVA_TRY_STATUS(WriteToken(answer, BoundUserId()));
    return Done{};
}

Result<Json::Value> PkceClientImpl::WriteToken(const Json::Value& answer, const Json::Value& owner) const {
    if (!answer.isObject()) {
        return Error{KOVA_ERR_BAD_JSON};
    }
    Json::Value token = answer;
    token["created_at"] = static_cast<Json::Int64>(std::time(nullptr));  // always the local save time
    token[kOwnerMember] = owner;
    internal::NoteHeldSecrets(token);
    KOVA_TRY_STATUS(StoreToken(token));
    return token;
}

Status PkceClientImpl::StoreToken(const Json::Value& token) const {
    return internal::SaveJsonFile(GetTokenFilePath(), token, internal::kLargestTokenFile);
}

Status PkceClientImpl::ClaimStoredToken(const std::string& user_id) const {
    FileLock lock(LockPath("_save_token"));
    KOVA_TRY_STATUS(TakeLock(lock));
    KOVA_TRY(token, ReadAnyToken());
    const Json::Value* owner = OwnerOf(token);
    if (owner == nullptr || *owner != PendingOwner()) {
        return Done{};  // replaced meanwhile (a rescue of the account bound before): not the login's to claim
    }
    token[kOwnerMember] = user_id;
    return StoreToken(token);
}

void PkceClientImpl::ClaimFor(const std::string& user_id) const {
    const Status claimed = ClaimStoredToken(user_id);
    if (!claimed) {
        // The binding stands; its token, still no account's, is rescued with the auth key when next asked for.
        KOVA_LOG(LOG_ERR, "Failed to claim the token of [%s] for the account, code=%d", name_.c_str(),
                 static_cast<int>(claimed.error().code));
    }
}

void PkceClientImpl::RemoveUnlessIssuedFor(const std::string& user_id) const {
    FileLock lock(LockPath("_save_token"));
    if (!lock.Lock(1)) {
        return;
    }
    const Result<Json::Value> token = ReadAnyToken();
    if (token) {
        const Json::Value* owner = OwnerOf(token.value());
        if (owner != nullptr && *owner == Json::Value(user_id)) {
            return;
        }
    } else if (token.error().code != KOVA_ERR_BAD_JSON) {
        return;  // none of ours
    }
    (void)::unlink(internal::RootedPath(GetTokenFilePath()).c_str());
}

Result<std::string> PkceClientImpl::OutcomeOfAnothersRenewal(const char* key, const std::string& lock_path,
                                                     long long waited_from) const {
    // Its request may last as long as this wait did: once it is over, what it
    // ended with is the answer (a token, or the failure the backoff keeps).
    FileLock renewing(LockPath("_renew_token"));
    const auto request = std::chrono::duration_cast<std::chrono::seconds>(internal::CurrentWaits().request_timeout);
    if (renewing.Lock(static_cast<unsigned int>(request.count()) + 1)) {
        renewing.Unlock();
    }
    if (std::optional<std::string> valid = ValidToken(key)) {
        return *valid;
    }
    KOVA_TRY_STATUS(backoff_.RequireNoFailureSince(waited_from));
    KOVA_TRY_STATUS(backoff_.RequireDue());
    // Nobody renewed under the lock: it is simply held.
    return Error{KOVA_ERR_TOKEN, format("Failed to lock file: %s", lock_path.c_str())};
}

std::optional<std::string> PkceClientImpl::ValidToken(const char* key) const {
    // None of the bound account's, or unreadable: the locked road says which.
    const Result<Json::Value> token = ReadToken();
    if (token && !IsPast(ExpiryOf(token.value())) && token.value().isMember(key)) {
        return internal::TextOf(token.value()[key]);
    }
    return std::nullopt;
}

Result<std::string> PkceClientImpl::GetToken(const char* key) const {
    // The lock serialises renewals; a valid token needs none, and readers
    // never wait behind a renewal for a token that is still good.
    if (std::optional<std::string> valid = ValidToken(key)) {
        return *valid;
    }
    FileLock lock(LockPath("_get_token"));
    const long long waited_from = internal::BootMillis();
    if (!lock.Lock(internal::CurrentWaits().lock_seconds)) {
        return OutcomeOfAnothersRenewal(key, lock.GetPath(), waited_from);
    }
    // Read once: a valid token is answered from this one reading; a missing
    // or unreadable one counts as expired, as IsTokenExpired says.
    Result<Json::Value> token = ReadToken();
    // Renewing inside the lock: concurrent readers renew once, one after another.
    if (!token || IsPast(ExpiryOf(token.value()))) {
        KOVA_TRY_STATUS(RenewToken());
        token = ReadToken();
    }
    if (!token) {
        return token.error();
    }
    return TokenMember(token.value(), key);
}

Result<std::string> PkceClientImpl::GetAccessToken() const {
    return GetToken("access_token");
}

Result<std::string> PkceClientImpl::GetIdToken() const {
    return GetToken("id_token");
}

Status PkceClientImpl::RenewToken() const {
    KOVA_TRY_STATUS(backoff_.RequireDue());  // before any lock or probe: a waiting call costs next to nothing
    FileLock lock(LockPath("_renew_token"));
    KOVA_TRY_STATUS(TakeLock(lock));
    // Taken before the refresh token is spent: a renewed token set is never
    // thrown away for want of the lock to save it.
    FileLock save(LockPath("_save_token"));
    KOVA_TRY_STATUS(TakeLock(save));
    KOVA_TRY_STATUS(internal::RequireSavable(GetTokenFilePath()));
    // Only the bound account's refresh token is spent, and its renewal stays that account's.
    KOVA_TRY(current, ReadToken());
    if (!IsPast(ExpiryOf(current))) {
        return Done{};  // made anew while this process waited (a rescue, a login): nothing to renew
    }
    return backoff_.Run([&] { return Renew(current); });
}

Status PkceClientImpl::Renew(const Json::Value& current) const {
    const std::string client_id = ConfigText("client_id");
    KOVA_TRY(refresh_token, TokenMember(current, "refresh_token"));
    KOVA_TRY(response, PostToTokenEndpoint(ConfigText("token_endpoint"), client_id,
                                           http::Payload{{"grant_type", "refresh_token"},
                                                         {"refresh_token", refresh_token},
                                                         {"client_id", client_id}}));
    backoff_.Saw(response);
    if (response.error.code != http::ErrorCode::OK) {
        return Error{KOVA_ERR_RESPONSE, format("Failed to renew token, reqcode=%d, reqmsg=%s", response.error.code,
                                               response.error.message.c_str())};
    }
    // Parsed before the status is looked at, so that a refusal is reported with its body.
    Json::Value answer;
    if (!internal::ParseAnswer(response, answer)) {
        const std::string message = internal::StatusMessage("Failed to parse renew token resp", response);
        KOVA_LOG(LOG_ERR, "%s", message.c_str());
        return Error{KOVA_ERR_RESPONSE, message};
    }
    if (response.status_code != 200) {
        const std::string message =
            internal::StatusMessage("Failed to renew token, refresh_token is expired or revoked", response);
        KOVA_LOG(LOG_ERR, "%s", message.c_str());
        return Error{KOVA_ERR_AUTH, message};
    }
    const TokenAnswer judged = Judge(answer);
    if (judged != TokenAnswer::kComplete) {
        KOVA_LOG(LOG_ERR, "Failed to RenewToken by [%s], resp=%s", name_.c_str(), internal::Redacted(response).c_str());
        return Error{judged == TokenAnswer::kUnusable ? KOVA_ERR_RESPONSE : KOVA_ERR_TOKEN,
                     internal::StatusMessage("Failed to parse renew token resp", response)};
    }
    // Renewed as the account it was issued for; a file that named none was the bound account's.
    const Json::Value* owner = OwnerOf(current);
    KOVA_TRY_STATUS(WriteToken(answer, owner != nullptr ? *owner : Json::Value(BoundUserId())));
    return Done{};
}

PkceClientImpl::ExchangeLocks::ExchangeLocks(const PkceClientImpl& client)
    : client_(client), exchange_(client.LockPath("_exchange_token")), save_(client.LockPath("_save_token")) {}

Status PkceClientImpl::ExchangeLocks::Take() {
    KOVA_TRY_STATUS(TakeLock(exchange_));
    KOVA_TRY_STATUS(TakeLock(save_));
    return internal::RequireSavable(client_.GetTokenFilePath());
}

Status PkceClientImpl::ExchangeToken(const std::string& code, const std::string& redirect_uri,
                                     const std::string& code_verifier) const {
    const std::string owner = BoundUserId();
    ExchangeLocks held(*this);
    KOVA_TRY_STATUS(held.Take());
    KOVA_TRY_STATUS(ExchangeToken(held, owner, code, redirect_uri, code_verifier));
    return Done{};
}

Result<Json::Value> PkceClientImpl::ExchangeToken(const ExchangeLocks&, const Json::Value& owner,
                                                  const std::string& code, const std::string& redirect_uri,
                                                  const std::string& code_verifier) const {
    (void)ReadAnyToken();  // the stored tokens become known secrets, should the answer repeat one
    const std::string client_id = ConfigText("client_id");
    const std::string endpoint = ConfigText("token_endpoint");
    KOVA_TRY(response, PostToTokenEndpoint(endpoint, client_id,
                                           http::Payload{{"grant_type", "authorization_code"},
                                                         {"code", code},
                                                         {"redirect_uri", redirect_uri},
                                                         {"code_verifier", code_verifier},
                                                         {"client_id", client_id}}));
    backoff_.Saw(response);
    // The status first: a refused exchange is a failed response, whatever its body.
    KOVA_TRY_STATUS(internal::RequireDelivered(response, "Failed to exchange token", "Failed to exchange token"));
    Json::Value answer;
    if (!internal::ParseAnswer(response, answer)) {
        return Error{KOVA_ERR_BAD_JSON};
    }
    const TokenAnswer judged = Judge(answer);
    if (judged != TokenAnswer::kComplete) {
        KOVA_LOG(LOG_ERR, "Failed to PkceLogin by [%s|%s], resp=%s", name_.c_str(), endpoint.c_str(),
                 internal::Redacted(response).c_str());
        return Error{judged == TokenAnswer::kUnusable ? KOVA_ERR_RESPONSE : KOVA_ERR_TOKEN,
                     internal::StatusMessage("Failed to parse exchange authkey resp", response)};
    }
    return WriteToken(answer, owner);
}

std::string PkceClientImpl::ConfigText(const char* key) const {
    return config_.isObject() ? internal::TextOf(config_[key]) : "";
}

std::string PkceClientImpl::LockPath(const char* suffix) const {
    return internal::LockPath(name_ + suffix);
}

namespace internal {

namespace {
// One grant request and the exchange of its code, with the locks held.
Status GrantAndExchange(const PkceClientImpl& client, const PkceClientImpl::ExchangeLocks& held,
                        const std::string& owner, const Json::Value& config, const Grant& grant) {
    const std::string redirect = TextOf(config["login_redirect_uri"]);
    const std::string client_id = TextOf(config["client_id"]);
    KOVA_TRY(pair, NewChallengePair());
    // A later header set replaces the earlier one: with a bearer, only "Authorization" is sent.
    const http::Header headers = grant.bearer.empty() ? http::Header{{"X-Client-ID", client_id}}
                                                      : http::Header{{"Authorization", grant.bearer}};
    KOVA_TRY(response, http::Post(http::Url{grant.url},
                                  GrantForm(client_id, redirect, pair.challenge, grant.extra, TextOf(config["scope"])),
                                  http::UserAgent{internal::UserAgent()}, headers, RequestTimeout()));
    client.backoff().Saw(response);
    if (grant.unauthorized_is_auth && response.error.code == http::ErrorCode::OK && response.status_code == 401) {
        return Error{KOVA_ERR_AUTH, StatusMessage("Failed to auth on grant " + grant.what, response)};
    }
    KOVA_TRY_STATUS(RequireDelivered(response, "Failed to grant " + grant.what, "Failed to grant " + grant.what));
    KOVA_TRY(answer, RequireObject(response, "Failed to parse grant " + grant.what + " resp", KOVA_ERR_RESPONSE,
                                   "grant_code"));
    // The grant code plays the authorization code, with this request's verifier.
    KOVA_TRY_STATUS(client.ExchangeToken(held, owner, TextOf(answer["grant_code"]), redirect, pair.verifier));
    return Done{};
}
}  // namespace

Status GrantToken(const PkceClientImpl& client, const Json::Value& config, const Grant& grant) {
    KOVA_TRY_STATUS(client.backoff().RequireDue());  // before any lock or probe: a waiting call costs next to nothing
    PkceClientImpl::ExchangeLocks held(client);
    KOVA_TRY_STATUS(held.Take());
    // The account whose credential vouches for the grant is the one bound now.
    const std::string owner = PkceClientImpl::BoundUserId();
    return client.backoff().Run([&] { return GrantAndExchange(client, held, owner, config, grant); });
}

}  // namespace internal

}  // namespace quilkova
