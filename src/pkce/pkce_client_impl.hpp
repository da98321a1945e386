#ifndef QUILKOVA_INTERNAL_PKCE_CLIENT_IMPL_HPP
#define QUILKOVA_INTERNAL_PKCE_CLIENT_IMPL_HPP

#include <json/json.h>

#include <string>

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

    private:
        FileLock exchange_;
        FileLock save_;
    };

    explicit PkceClientImpl(const std::string& name);

    Json::Value FormatPkceConfig(const Json::Value& raw) const;
    void SetPkceConfig(const Json::Value& config) { config_ = config; }

    std::string GetTokenFilePath() const;
    bool HasTokenFile() const;
    std::string GetPkceTokenVal(const std::string& key) const;
    long long GetExpiredAt() const;
    bool IsTokenExpired() const;
    void SaveToken(const Json::Value& answer) const;
    std::string GetAccessToken() const;
    std::string GetIdToken() const;
    // Runs under the "_get_token" lock when called from the token getters.
    void RenewToken() const;
    void ExchangeToken(const std::string& code, const std::string& redirect_uri,
                       const std::string& code_verifier) const;
    // The exchange, with the locks already held by the caller.
    void ExchangeToken(const ExchangeLocks& held, const std::string& code, const std::string& redirect_uri,
                       const std::string& code_verifier) const;

private:
    std::string GetTokenUnderLock(const char* key) const;
    Json::Value ReadToken() const;
    // Writes a token answer, stamped; the caller holds the save lock.
    void WriteToken(const Json::Value& answer) const;
    std::string ConfigText(const char* key) const;
    std::string LockPath(const char* suffix) const;

    std::string name_;
    Json::Value config_;
};

}  // namespace quilkova

#endif
