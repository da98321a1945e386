#ifndef QUILKOVA_FOUNDATION_APPLIANCE_PATHS_HPP
#define QUILKOVA_FOUNDATION_APPLIANCE_PATHS_HPP

#include <string>

// Where on the appliance the library finds and keeps what it uses, named
// once. Paths are the appliance's; the root prefix is applied where they are opened.
namespace quilkova::internal {

// "hos" (host operating system): the appliance's own PKCE client, as the
// account service names it; its token file and locks carry the name.
constexpr const char* kApplianceClient = "hos";

constexpr const char* kPrivateDirectory = "/usr/quil/etc/quillion-account/private/";
constexpr const char* kUserConf = "/usr/quil/etc/quillion-account/private/user.conf";
constexpr const char* kLoginConfig = "/usr/quil/etc.defaults/quillion-account/config/pkce_login.conf";
constexpr const char* kRegisterConfig = "/usr/quil/etc.defaults/quillion-account/config/pkce_register.conf";
// "language", "kova_disable_report"
constexpr const char* kSystemSettings = "/etc/quilinfo.conf";
// "quilpkg_server"
constexpr const char* kDeviceDefaults = "/etc.defaults/quilinfo.conf";
constexpr const char* kStoreFile = "/usr/quil/etc/quilpayment/store.conf";
constexpr const char* kRelayFile = "/usr/quil/etc/quilrelayd/quilrelayd.conf";
constexpr const char* kDdnsTool = "/usr/quil/sbin/quilddnsinfo";
constexpr const char* kReportProgram = "/usr/quil/bin/quilkova";
constexpr const char* kReportOption = "--report_info";
constexpr const char* kReportCommand = "/usr/quil/bin/quilkova --report_info";

// "<private directory><client>_token.json"
inline std::string TokenFilePath(const std::string& client) {
    return kPrivateDirectory + client + "_token.json";
}

// The client's backoff state beside its token file.
inline std::string BackoffFilePath(const std::string& client) {
    return kPrivateDirectory + client + "_backoff.json";
}

// "/tmp/account_<name>.lock": the lock files every local user can open.
inline std::string LockPath(const std::string& name) {
    return "/tmp/account_" + name + ".lock";
}

// The lock of the account query.
constexpr const char* kQueryLock = "query_info";
// The rescues of the appliance's token, one at a time.
inline std::string RescueLockName() {
    return std::string(kApplianceClient) + "_rescue_token";
}

// "/tmp/account_<package>_pkce_client.conf"
inline std::string PackageConfigPath(const std::string& package) {
    return "/tmp/account_" + package + "_pkce_client.conf";
}

}  // namespace quilkova::internal

#endif
