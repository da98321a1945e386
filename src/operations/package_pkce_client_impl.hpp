#ifndef QUILKOVA_OPERATIONS_PACKAGE_PKCE_CLIENT_IMPL_HPP
#define QUILKOVA_OPERATIONS_PACKAGE_PKCE_CLIENT_IMPL_HPP

#include <json/json.h>

#include <memory>
#include <string>

#include "foundation/result.hpp"
#include "operations/pkce_client_impl.hpp"

namespace quilkova {

class PackagePkceClientImpl {
public:
    static constexpr long long kConfigLifetime = 108000;  // 30 hours

    explicit PackagePkceClientImpl(const std::string& package);
    // A checked package name's client with its configuration (from the cache
    // or the account host); 1 for a name that is refused.
    static internal::Result<std::unique_ptr<PackagePkceClientImpl>> Make(const std::string& package);

    std::string GetConfigFilePath() const;
    internal::Status SavePkceConfig(const Json::Value& config) const;
    internal::Status RetrievePkceConfig() const;
    internal::Result<Json::Value> GetPkceConfig() const;
    internal::Status GrantByAccountService() const;
    internal::Result<std::string> GetAccessToken() const;
    internal::Result<std::string> GetIdToken() const;

    // Letters, digits, ".", "_", "-"; not starting with ".", no "..", not the appliance's own client.
    static bool IsValidPackageName(const std::string& package);
    // The cached configuration when it is ours and readable; created_at 0 otherwise.
    bool ReadCache(Json::Value& config, long long& created_at) const;

private:
    // The ladder for the token member `key` ("access_token" or "id_token").
    internal::Result<std::string> GetToken(const char* key) const;
    bool IsFresh(long long created_at) const;

    std::string package_;
    PkceClientImpl client_;
};

}  // namespace quilkova

#endif
