#ifndef QUILKOVA_TESTS_TEMP_ROOT_HPP
#define QUILKOVA_TESTS_TEMP_ROOT_HPP

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace quilkova::test {

// The appliance's files the tests look at, as the appliance names them.
constexpr const char* kUserConf = "/usr/quil/etc/quillion-account/private/user.conf";
constexpr const char* kApiKeyFile = "/usr/quil/etc/quillion-account/private/apikey";
constexpr const char* kHosToken = "/usr/quil/etc/quillion-account/private/hos_token.json";
constexpr const char* kBackupToken = "/usr/quil/etc/quillion-account/private/backup_token.json";
constexpr const char* kHosBackoff = "/usr/quil/etc/quillion-account/private/hos_backoff.json";
constexpr const char* kDeviceFile = "/etc.defaults/quilinfo.conf";
constexpr const char* kLoginConfig = "/usr/quil/etc.defaults/quillion-account/config/pkce_login.conf";

// A fresh directory used as QUILKOVA_ROOT for the lifetime of the object;
// removed with everything in it afterwards.
class TempRoot {
public:
    TempRoot() {
        char pattern[] = "/tmp/quilkova-test-XXXXXX";
        if (::mkdtemp(pattern) == nullptr) {
            throw std::runtime_error("mkdtemp failed");
        }
        root_ = pattern;
        if (const char* previous = std::getenv("QUILKOVA_ROOT")) {
            previous_root_ = previous;
            had_previous_root_ = true;
        }
        ::setenv("QUILKOVA_ROOT", root_.c_str(), 1);
    }
    ~TempRoot() {
        if (had_previous_root_) {
            ::setenv("QUILKOVA_ROOT", previous_root_.c_str(), 1);
        } else {
            ::unsetenv("QUILKOVA_ROOT");
        }
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    const std::string& root() const { return root_; }
    // The real path of an appliance path such as "/usr/quil/etc/x".
    std::string Path(const std::string& appliance_path) const { return root_ + appliance_path; }

    // Replaced, as every writer of the platform does: a new file, never one changed in place.
    void WriteFile(const std::string& appliance_path, const std::string& content) const {
        const std::string path = Path(appliance_path);
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        const std::string fresh = path + ".written";
        if (!(std::ofstream(fresh, std::ios::binary | std::ios::trunc) << content) ||
            ::rename(fresh.c_str(), path.c_str()) != 0) {
            throw std::runtime_error("cannot write " + path);
        }
    }
    std::string ReadFile(const std::string& appliance_path) const {
        std::ostringstream text;
        text << std::ifstream(Path(appliance_path), std::ios::binary).rdbuf();
        return text.str();
    }
    bool Exists(const std::string& appliance_path) const {
        struct stat info {};
        return ::lstat(Path(appliance_path).c_str(), &info) == 0;
    }
    // Permission bits; 0 when missing.
    mode_t Mode(const std::string& appliance_path) const {
        struct stat info {};
        return ::lstat(Path(appliance_path).c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
    }

private:
    std::string root_;
    std::string previous_root_;
    bool had_previous_root_ = false;
};

// Files of this process take no byte (or no more than `room`) while it lives:
// a full disk, as root cannot be refused by permissions.
class NoRoomForFiles {
public:
    explicit NoRoomForFiles(rlim_t room = 0) : signal_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &saved_);
        const rlimit limited{room, saved_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~NoRoomForFiles() {
        ::setrlimit(RLIMIT_FSIZE, &saved_);
        std::signal(SIGXFSZ, signal_);
    }
    NoRoomForFiles(const NoRoomForFiles&) = delete;
    NoRoomForFiles& operator=(const NoRoomForFiles&) = delete;

private:
    rlimit saved_{};
    void (*signal_)(int);
};

}  // namespace quilkova::test

#endif
