#ifndef QUILKOVA_TESTS_TEMP_ROOT_HPP
#define QUILKOVA_TESTS_TEMP_ROOT_HPP

#include <sys/types.h>

#include <string>

namespace quilkova::test {

// The appliance's files the tests look at, as the appliance names them.
constexpr const char* kUserConf = "/usr/quil/etc/quillion-account/private/user.conf";
constexpr const char* kApiKeyFile = "/usr/quil/etc/quillion-account/private/apikey";
constexpr const char* kHosToken = "/usr/quil/etc/quillion-account/private/hos_token.json";
constexpr const char* kBackupToken = "/usr/quil/etc/quillion-account/private/backup_token.json";
constexpr const char* kDeviceFile = "/etc.defaults/quilinfo.conf";
constexpr const char* kLoginConfig = "/usr/quil/etc.defaults/quillion-account/config/pkce_login.conf";

// A fresh directory used as QUILKOVA_ROOT for the lifetime of the object;
// removed with everything in it afterwards.
class TempRoot {
public:
    TempRoot();
    ~TempRoot();
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    const std::string& root() const { return root_; }
    // The real path of an appliance path such as "/usr/quil/etc/x".
    std::string Path(const std::string& appliance_path) const { return root_ + appliance_path; }

    void WriteFile(const std::string& appliance_path, const std::string& content) const;
    std::string ReadFile(const std::string& appliance_path) const;
    bool Exists(const std::string& appliance_path) const;
    mode_t Mode(const std::string& appliance_path) const;  // permission bits; 0 when missing

private:
    std::string root_;
    std::string previous_root_;
    bool had_previous_root_ = false;
};

}  // namespace quilkova::test

#endif
