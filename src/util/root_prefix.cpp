#include "util/root_prefix.hpp"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>

namespace quilkova::internal {

std::string RootedPath(const std::string& path) {
    const char* root = ::secure_getenv("QUILKOVA_ROOT");
    if (root == nullptr || *root == '\0') {
        return path;
    }
    return root + path;
}

bool MakeParentDirectories(const std::string& rooted_path) {
    for (size_t slash = rooted_path.find('/', 1); slash != std::string::npos;
         slash = rooted_path.find('/', slash + 1)) {
        const std::string directory = rooted_path.substr(0, slash);
        const size_t name_start = directory.rfind('/') + 1;
        const bool is_private = directory.compare(name_start, std::string::npos, "private") == 0;
        const mode_t mode = is_private ? 0700 : 0755;
        if (::mkdir(directory.c_str(), mode) == 0) {
            ::chmod(directory.c_str(), mode);  // exact mode, whatever the umask
        } else if (errno != EEXIST) {
            return false;
        } else if (is_private) {
            // A private directory somebody opened up is closed again (never through a link).
            struct stat info {};
            if (::lstat(directory.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && (info.st_mode & 07777) != 0700) {
                ::chmod(directory.c_str(), 0700);
            }
        }
    }
    return true;
}

}  // namespace quilkova::internal
