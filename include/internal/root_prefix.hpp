#ifndef QUILKOVA_INTERNAL_ROOT_PREFIX_HPP
#define QUILKOVA_INTERNAL_ROOT_PREFIX_HPP

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

}  // namespace quilkova::internal

#endif
