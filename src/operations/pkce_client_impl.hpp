#ifndef QUILKOVA_OPERATIONS_PKCE_CLIENT_IMPL_HPP
#define QUILKOVA_OPERATIONS_PKCE_CLIENT_IMPL_HPP

#include <json/json.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "foundation/result.hpp"
#include "services/backoff.hpp"
#include "quilkova/file_lock.hpp"

namespace quilkova {

class PkceClientImpl {
public:
    // The exchange and save locks taken, and the token file's place found able
    // to take it, before a one-time code is spent: a lock nobody can get or a
    // disk that cannot take the file costs the call, never a code or a grant.
    class ExchangeLocks {
    public:
        explicit ExchangeLocks(const PkceClientImpl& client);
        // Takes both (22 for one that cannot be had) and probes the token file's place (2).
        internal::Status Take();

    private:
        const PkceClientImpl& client_;
        FileLock exchange_;
        FileLock save_;
    };

    explicit PkceClientImpl(const std::string& name);

    // Whom a token file was issued for: the user id of the account bound when
    // it was obtained ("" when none was). A file of another account counts as
    // absent, so a previous owner's tokens never serve the next one.
    static constexpr const char* kOwnerMember = "bound_user_id";
    // The owner of a token set obtained for a binding not yet made: no account's.
    static Json::Value PendingOwner() { return Json::Value(false); }
    // The owner a token file names; null when it names none. Looked up, never
    // added: operator[] on a mutable value would make the member.
    static const Json::Value* OwnerOf(const Json::Value& token);
    // The bound account's user id; "" when none is bound or the record cannot be read.
    static std::string BoundUserId();

    internal::Result<Json::Value> FormatPkceConfig(const Json::Value& raw) const;
    void SetPkceConfig(const Json::Value& config) { config_ = config; }

    std::string GetTokenFilePath() const;
    bool HasTokenFile() const;
    internal::Result<std::string> GetPkceTokenVal(const std::string& key) const;
    long long GetExpiredAt() const;
    bool IsTokenExpired() const;
    internal::Status SaveToken(const Json::Value& answer) const;
    internal::Result<std::string> GetAccessToken() const;
    internal::Result<std::string> GetIdToken() const;
    // The member `key` ("access_token", "id_token") of the bound account's
    // token when it is valid now, read without a lock: files are replaced
    // whole, so a reader sees the old file or the new one. Nothing otherwise.
    std::optional<std::string> ValidToken(const char* key) const;
    // The member `key`: a valid token at once, else under the "_get_token"
    // lock, renewed first when it has expired.
    internal::Result<std::string> GetToken(const char* key) const;
    // Runs under the "_get_token" lock when called from the token getters.
    internal::Status RenewToken() const;
    internal::Status ExchangeToken(const std::string& code, const std::string& redirect_uri,
                                   const std::string& code_verifier) const;
    // The exchange, with the locks already taken by the caller, for `owner`;
    // the token set as saved.
    internal::Result<Json::Value> ExchangeToken(const ExchangeLocks& held, const Json::Value& owner,
                                                const std::string& code, const std::string& redirect_uri,
                                                const std::string& code_verifier) const;
    // The spacing of this client's network attempts while the service is down.
    const internal::Backoff& backoff() const { return backoff_; }
    // Gives the token file obtained for a binding not yet made (PendingOwner)
    // to the account `user_id`; a file of anyone else's is left as it is.
    // Never fails: a file left unclaimed counts as absent, which the rescue repairs.
    void ClaimFor(const std::string& user_id) const;
    // Removes the token file unless it was issued for `user_id`; a file whose
    // save lock is held, or that cannot be read, is left (it counts as absent all the same).
    void RemoveUnlessIssuedFor(const std::string& user_id) const;

private:
    // The bound account's token file: 22 when there is none of ours or it is
    // another account's, 2 when it holds no JSON.
    // What a caller that could not take the "_get_token" lock in time answers:
    // the outcome of the renewal another process was making under it (its
    // token, or its failure as the backoff keeps it), else 22 for the lock.
    // `waited_from` is when the wait began (BootMillis).
    internal::Result<std::string> OutcomeOfAnothersRenewal(const char* key, const std::string& lock_path,
                                                           long long waited_from) const;
    internal::Result<Json::Value> ReadToken() const;
    // The token file whoever it was issued for.
    internal::Result<Json::Value> ReadAnyToken() const;
    // Writes the token file, refusing one larger than the room reserved for it.
    internal::Status StoreToken(const Json::Value& token) const;
    // Writes a token answer, stamped with the time and `owner`; the caller holds the save lock.
    internal::Result<Json::Value> WriteToken(const Json::Value& answer, const Json::Value& owner) const;
    // The refresh grant of the token set `current`, its answer saved; the caller holds the locks.
    internal::Status Renew(const Json::Value& current) const;
    internal::Status ClaimStoredToken(const std::string& user_id) const;
    std::string ConfigText(const char* key) const;
    std::string LockPath(const char* suffix) const;

    std::string name_;
    Json::Value config_;
    internal::Backoff backoff_;
};

namespace internal {

// What a grant request is made of besides the client's configuration.
struct Grant {
    std::string url;
    std::vector<std::pair<std::string, std::string>> extra;  // form fields after the challenge
    std::string bearer;  // when given, "Authorization" replaces "X-Client-ID"
    std::string what;    // "Failed to grant <what>", "Failed to parse grant <what> resp"
    bool unauthorized_is_auth = false;  // a 401 fails with 14 "Failed to auth on grant <what>"
};
// Asks for a grant code for the client of `config` (its client id, redirect and
// scope) and trades it, with this request's verifier, for the client's first
// token set. The client's exchange and save locks are taken first: a grant is
// never spent on a token set that could not be saved for want of a lock.
Status GrantToken(const PkceClientImpl& client, const Json::Value& config, const Grant& grant);

}  // namespace internal

}  // namespace quilkova

#endif
