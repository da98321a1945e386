#ifndef QUILKOVA_UTIL_ROOT_PREFIX_HPP
#define QUILKOVA_UTIL_ROOT_PREFIX_HPP

#include <cerrno>
#include <string>

// Shared by libquilkova and the generic platform: every absolute path either
// of them touches goes through RootedPath.
namespace quilkova::internal {

// QUILKOVA_ROOT (read with secure_getenv, so set-user-id programs ignore it)
// followed by `path`; `path` unchanged when the variable is unset or empty.
std::string RootedPath(const std::string& path);

// Creates the missing directories above the file `rooted_path`: mode 0700
// for a directory named "private", 0755 for the others. False on failure
// (errno tells why).
bool MakeParentDirectories(const std::string& rooted_path);

// The descriptor `open()` gives; when it fails for a missing directory, the
// directories are made and `open()` is tried once more. Directories that
// exist are never touched.
template <typename Open>
int OpenMakingParents(const std::string& rooted_path, Open open) {
    const int fd = open();
    return fd < 0 && errno == ENOENT && MakeParentDirectories(rooted_path) ? open() : fd;
}

}  // namespace quilkova::internal

#endif
