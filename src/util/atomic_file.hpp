#ifndef QUILKOVA_UTIL_ATOMIC_FILE_HPP
#define QUILKOVA_UTIL_ATOMIC_FILE_HPP

#include <sys/stat.h>
#include <sys/types.h>

#include <string>
#include <vector>

// Whole-file reads and crash-safe replacement, shared by both libraries.
// Paths are real paths (already rooted). Results are 0 or an errno value.
namespace quilkova::internal {

// The names in a directory other than "." and "..", in no particular order;
// empty when it cannot be read.
std::vector<std::string> DirectoryEntries(const std::string& directory);

// What precedes `suffix` in the names of a directory that end in it (hidden
// names aside): "hos" for "hos_token.json" and "_token.json".
std::vector<std::string> StemsEndingIn(const std::string& directory, const std::string& suffix);

// Reads a regular file whole without following a symbolic link at `path`.
// `info`, when given, receives the file's status.
int ReadFileNoFollow(const std::string& path, std::string& content, struct stat* info = nullptr);

// Whether two statuses are of one version of one file (device, inode, size
// and times): every writer of ours replaces a file whole, so a change shows.
bool SameFileVersion(const struct stat& a, const struct stat& b);

// A file of this process's user that nobody else may write: the only kind
// of token or cached configuration the library trusts.
bool IsOwnFile(const struct stat& info);

// Replaces `path` by a file holding `content`: a temporary file in the same
// directory is written, synced and renamed over it, then the directory is
// synced. A reader sees the old file or the new one, never a part; a link
// planted at `path` is replaced, never followed. `owner`/`group` other than
// -1 are applied when the process may (failure to do so is ignored).
int ReplaceFileAtomically(const std::string& path, const std::string& content, mode_t mode,
                          uid_t owner = static_cast<uid_t>(-1), gid_t group = static_cast<gid_t>(-1));

// 0 when `path` could be replaced now by a file of up to `room` bytes: a
// temporary file is made beside it, given that room and removed. Asked before
// obtaining what cannot be obtained twice (a token set), so that it is not
// obtained only to be lost to a directory or a disk that cannot take it.
int ProbeReplaceable(const std::string& path, off_t room);

// Opens the lock file `path` to be locked: read-write, or read-only when it
// is one this process may only read (flock locks it all the same). `flags`
// are added to the access mode; a file made has mode 0666 less the umask.
// The descriptor, or -1 (errno tells why).
int OpenLockFile(const std::string& path, int flags);

}  // namespace quilkova::internal

#endif
