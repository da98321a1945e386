#include "temp_root.hpp"

#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace quilkova::test {

namespace {
int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
    ::remove(path);
    return 0;
}

void MakeDirectories(const std::string& file_path) {
    for (size_t slash = file_path.find('/', 1); slash != std::string::npos; slash = file_path.find('/', slash + 1)) {
        ::mkdir(file_path.substr(0, slash).c_str(), 0755);
    }
}
}  // namespace

TempRoot::TempRoot() {
    std::string pattern = "/tmp/quilkova-test-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (::mkdtemp(buffer.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    root_ = buffer.data();
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
    ::nftw(root_.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
}

// Replaced, as every writer of the platform does: a new file, never one changed in place.
void TempRoot::WriteFile(const std::string& appliance_path, const std::string& content) const {
    const std::string path = Path(appliance_path);
    MakeDirectories(path);
    const std::string fresh = path + ".written";
    {
        std::ofstream out(fresh, std::ios::binary | std::ios::trunc);
        out << content;
        if (!out) {
            throw std::runtime_error("cannot write " + path);
        }
    }
    if (::rename(fresh.c_str(), path.c_str()) != 0) {
        ::unlink(fresh.c_str());
        throw std::runtime_error("cannot write " + path);
    }
}

std::string TempRoot::ReadFile(const std::string& appliance_path) const {
    std::ifstream in(Path(appliance_path), std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool TempRoot::Exists(const std::string& appliance_path) const {
    struct stat info {};
    return ::lstat(Path(appliance_path).c_str(), &info) == 0;
}

mode_t TempRoot::Mode(const std::string& appliance_path) const {
    struct stat info {};
    if (::lstat(Path(appliance_path).c_str(), &info) != 0) {
        return 0;
    }
    return info.st_mode & 07777;
}

}  // namespace quilkova::test
