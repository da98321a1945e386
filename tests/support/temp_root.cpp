#include "temp_root.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace quilkova::test {

TempRoot::TempRoot() {
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

TempRoot::~TempRoot() {
    if (had_previous_root_) {
        ::setenv("QUILKOVA_ROOT", previous_root_.c_str(), 1);
    } else {
        ::unsetenv("QUILKOVA_ROOT");
    }
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
}

// Replaced, as every writer of the platform does: a new file, never one changed in place.
void TempRoot::WriteFile(const std::string& appliance_path, const std::string& content) const {
    const std::string path = Path(appliance_path);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    const std::string fresh = path + ".written";
    if (!(std::ofstream(fresh, std::ios::binary | std::ios::trunc) << content) ||
        ::rename(fresh.c_str(), path.c_str()) != 0) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string TempRoot::ReadFile(const std::string& appliance_path) const {
    std::ostringstream text;
    text << std::ifstream(Path(appliance_path), std::ios::binary).rdbuf();
    return text.str();
}

bool TempRoot::Exists(const std::string& appliance_path) const {
    struct stat info {};
    return ::lstat(Path(appliance_path).c_str(), &info) == 0;
}

mode_t TempRoot::Mode(const std::string& appliance_path) const {
    struct stat info {};
    return ::lstat(Path(appliance_path).c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
}

}  // namespace quilkova::test
