// A package's PKCE client: its configuration fetched and cached, its tokens
// granted on the strength of the appliance's account.
#include "operations/package_pkce_client_impl.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <memory>

#include "account/server_hosts.hpp"
#include "foundation/appliance_paths.hpp"
#include "foundation/boundaries.hpp"
#include "foundation/json_utils.hpp"
#include "foundation/log.hpp"
#include "foundation/string_utils.hpp"
#include "operations/account_pkce_service_impl.hpp"
#include "operations/package_pkce_client_impl.hpp"
#include "services/token_requests.hpp"
#include "device/identity.hpp"
#include "quilkova/kova_exception.hpp"
#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

namespace quilkova {

namespace {
using internal::Done;
using internal::Error;
using internal::LockPath;
using internal::Result;
using internal::Status;
using internal::TakeLock;

Result<std::string> ApplianceBearer() {
    KOVA_TRY(appliance, AccountPkceServiceImpl::Make("", ""));
    KOVA_TRY(token, appliance->GetAccessToken());
    return "Bearer " + token;
}
}  // namespace

PackagePkceClientImpl::PackagePkceClientImpl(const std::string& package) : package_(package), client_(package) {}

bool PackagePkceClientImpl::IsValidPackageName(const std::string& package) {
    // A leading "." would hide the token file from the logout's "*_token.json".
    if (package.empty() || package == internal::kApplianceClient || package[0] == '.' || package.find("..") != std::string::npos) {
        return false;
    }
    for (const char c : package) {
        const bool allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                             c == '_' || c == '-';
        if (!allowed) {
            return false;
        }
    }
    return true;
}

std::string PackagePkceClientImpl::GetConfigFilePath() const {
    return internal::PackageConfigPath(package_);
}

bool PackagePkceClientImpl::IsFresh(long long created_at) const {
    return created_at >= static_cast<long long>(std::time(nullptr)) - kConfigLifetime;
}

// /tmp is open to every local user: the cache counts only when it is a file
// of our own that nobody else may write, read without following a link.
bool PackagePkceClientImpl::ReadCache(Json::Value& config, long long& created_at) const {
    created_at = 0;
    std::string text;
    struct stat info {};
    if (internal::ReadFileNoFollow(internal::RootedPath(GetConfigFilePath()), text, &info) != 0 ||
        !internal::IsOwnFile(info) || !internal::TryParseJson(text, config) ||
        !config.isObject()) {
        return false;
    }
    if (config["created_at"].isInt64()) {
        created_at = config["created_at"].asLargestInt();
    }
    return true;
}

Status PackagePkceClientImpl::SavePkceConfig(const Json::Value& config) const {
    Json::Value stamped = config;
    stamped["created_at"] = static_cast<Json::Int64>(std::time(nullptr));
    return internal::SaveJsonFile(GetConfigFilePath(), stamped);
}

Status PackagePkceClientImpl::RetrievePkceConfig() const {
    FileLock lock(LockPath(package_ + "_package_retrieve_config"));
    KOVA_TRY_STATUS(TakeLock(lock));
    // Another process of the package may have fetched it while this one waited.
    Json::Value cached;
    long long created_at = 0;
    if (ReadCache(cached, created_at) && IsFresh(created_at)) {
        return Done{};
    }
    KOVA_TRY(bearer, ApplianceBearer());
    KOVA_TRY(response,
             http::Get(http::Url{ServerInfoImpl().GetAccountHost() + "/oauth2/api/v1/device/package/config/pkce/client"},
                       http::Parameters{{"package_name", package_}}, http::Header{{"Authorization", bearer}},
                       http::UserAgent{internal::UserAgent()}, internal::RequestTimeout()));
    const std::string named = format("pacakge[%s]", package_.c_str());
    KOVA_TRY_STATUS(internal::RequireDelivered(response, "Failed to retrieve " + named,
                                               "Failed to retrieve " + named + " pkce config"));
    KOVA_TRY(config, internal::RequireObject(response, "Failed to parse retrieve " + named + " pkce config resp",
                                             KOVA_ERR_RESPONSE));
    return SavePkceConfig(config);
}

Result<Json::Value> PackagePkceClientImpl::GetPkceConfig() const {
    Json::Value config(Json::objectValue);
    long long created_at = 0;
    ReadCache(config, created_at);
    if (!IsFresh(created_at)) {
        KOVA_TRY_STATUS(RetrievePkceConfig());
        if (!ReadCache(config, created_at)) {
            return Error{KOVA_ERR_BAD_JSON};
        }
    }
    return client_.FormatPkceConfig(config);
}

Status PackagePkceClientImpl::GrantByAccountService() const {
    FileLock lock(LockPath(package_ + "_package_grant_by_hos"));
    KOVA_TRY_STATUS(TakeLock(lock));
    KOVA_TRY(config, GetPkceConfig());
    KOVA_TRY(bearer, ApplianceBearer());
    return internal::GrantToken(
        client_, config,
        {ServerInfoImpl().GetAccountHost() + "/oauth2/api/v1/device/package/authorization_code/grant", {}, bearer,
         format("pacakge[%s]", package_.c_str())});
}

Result<std::string> PackagePkceClientImpl::GetToken(const char* key) const {
    if (std::optional<std::string> valid = client_.ValidToken(key)) {
        return *valid;
    }
    FileLock lock(LockPath(package_ + "_package_get_token"));
    KOVA_TRY_STATUS(TakeLock(lock));
    if (!client_.HasTokenFile()) {
        KOVA_TRY_STATUS(GrantByAccountService());
    }
    Result<std::string> token = client_.GetToken(key);
    if (token || token.error().code != KOVA_ERR_AUTH) {
        return token;
    }
    KOVA_LOG(LOG_ERR, "Rescue package[%s] renew pkce token by hos token", package_.c_str());
    KOVA_TRY_STATUS(GrantByAccountService());
    return client_.GetToken(key);
}

Result<std::string> PackagePkceClientImpl::GetAccessToken() const {
    return GetToken("access_token");
}

Result<std::string> PackagePkceClientImpl::GetIdToken() const {
    return GetToken("id_token");
}

Result<std::unique_ptr<PackagePkceClientImpl>> PackagePkceClientImpl::Make(const std::string& package) {
    if (!IsValidPackageName(package)) {
        return Error{KOVA_ERR_BAD_PARAM, "Refused package name"};
    }
    auto impl = std::make_unique<PackagePkceClientImpl>(package);
    KOVA_TRY(config, impl->GetPkceConfig());
    impl->client_.SetPkceConfig(config);
    return impl;
}

}  // namespace quilkova
