#include "util/atomic_file.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "util/root_prefix.hpp"

namespace quilkova::internal {

namespace {
// Closes a descriptor on every path.
class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

private:
    int fd_;
};

int WriteAll(int fd, const std::string& content) {
    size_t done = 0;
    while (done < content.size()) {
        const ssize_t n = ::write(fd, content.data() + done, content.size() - done);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        done += static_cast<size_t>(n);
    }
    return 0;
}

std::string DirectoryOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string BaseNameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);  // npos + 1 is 0: the whole path
}

int SyncDirectory(const std::string& directory) {
    Descriptor fd(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() < 0) {
        return errno;
    }
    return ::fsync(fd.get()) == 0 ? 0 : errno;
}

// Writes, syncs and closes the temporary file; the error, if any, as errno.
int FillTemporary(Descriptor& fd, const std::string& content, mode_t mode, uid_t owner, gid_t group) {
    if (::fchmod(fd.get(), mode) != 0) {
        return errno;
    }
    if (owner != static_cast<uid_t>(-1) || group != static_cast<gid_t>(-1)) {
        (void)::fchown(fd.get(), owner, group);
    }
    if (const int error = WriteAll(fd.get(), content); error != 0) {
        return error;
    }
    if (::fsync(fd.get()) != 0) {
        return errno;
    }
    return ::close(fd.release()) == 0 ? 0 : errno;
}
}  // namespace

std::vector<std::string> DirectoryEntries(const std::string& directory) {
    struct Closer {
        void operator()(DIR* dir) const { ::closedir(dir); }
    };
    const std::unique_ptr<DIR, Closer> dir(::opendir(directory.c_str()));
    std::vector<std::string> names;
    while (dir) {
        const dirent* entry = ::readdir(dir.get());
        if (entry == nullptr) {
            break;
        }
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            names.emplace_back(entry->d_name);
        }
    }
    return names;
}

bool SameFileVersion(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec &&
           a.st_ctim.tv_sec == b.st_ctim.tv_sec && a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
}

std::vector<std::string> StemsEndingIn(const std::string& directory, const std::string& suffix) {
    std::vector<std::string> stems;
    for (const std::string& name : DirectoryEntries(directory)) {
        if (name.size() > suffix.size() && name[0] != '.' &&
            name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
            stems.push_back(name.substr(0, name.size() - suffix.size()));
        }
    }
    return stems;
}

int ReadFileNoFollow(const std::string& path, std::string& content, struct stat* info) {
    Descriptor fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    if (fd.get() < 0) {
        return errno;
    }
    struct stat status {};
    if (::fstat(fd.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return EINVAL;
    }
    std::string text;
    char chunk[8192];
    for (;;) {
        const ssize_t n = ::read(fd.get(), chunk, sizeof(chunk));
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        if (n == 0) {
            break;
        }
        text.append(chunk, static_cast<size_t>(n));
    }
    content.swap(text);
    if (info != nullptr) {
        *info = status;
    }
    return 0;
}

bool IsOwnFile(const struct stat& info) {
    return info.st_uid == ::geteuid() && (info.st_mode & 022) == 0;
}

namespace {
// Temporary files of `base` are named ".<base>.XXXXXX".
bool IsTemporaryOf(const char* name, const std::string& base) {
    const size_t length = std::strlen(name);
    return length == base.size() + 8 && name[0] == '.' && std::strncmp(name + 1, base.c_str(), base.size()) == 0 &&
           name[base.size() + 1] == '.';
}

// A writer holds a lock on its temporary file until it is renamed: one that
// can be locked belongs to a writer that died (its locks died with it).
void SweepStaleTemporaries(const std::string& directory, const std::string& base) {
    for (const std::string& name : DirectoryEntries(directory)) {
        if (!IsTemporaryOf(name.c_str(), base)) {
            continue;
        }
        const std::string path = directory + "/" + name;
        Descriptor fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (fd.get() >= 0 && ::flock(fd.get(), LOCK_EX | LOCK_NB) == 0) {
            ::unlink(path.c_str());
        }
    }
}

// A new temporary file of `base` in `directory` ("<directory>/.<base>.XXXXXX"),
// created exclusively, so never through a planted link; its name in `name`.
int MakeTemporary(const std::string& directory, const std::string& base, std::vector<char>& name) {
    name.assign(directory.begin(), directory.end());
    const std::string suffix = "/." + base + ".XXXXXX";
    name.insert(name.end(), suffix.begin(), suffix.end());
    name.push_back('\0');
    return ::mkostemp(name.data(), O_CLOEXEC);
}

// One attempt: ENOENT from the rename means a sweeper took our temporary file
// between its creation and our lock on it.
int WriteAndRename(const std::string& path, const std::string& directory, const std::string& base,
                   const std::string& content, mode_t mode, uid_t owner, gid_t group) {
    std::vector<char> temporary;
    Descriptor fd(MakeTemporary(directory, base, temporary));
    if (fd.get() < 0) {
        return errno;
    }
    // Held until the descriptor is closed after the rename (or the process dies).
    Descriptor claim(::dup(fd.get()));
    if (claim.get() < 0 || ::flock(claim.get(), LOCK_EX) != 0) {
        const int error = errno;
        ::unlink(temporary.data());
        return error;
    }
    int error = FillTemporary(fd, content, mode, owner, group);
    if (error == 0 && ::rename(temporary.data(), path.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(temporary.data());
    }
    return error;
}
}  // namespace

int ReplaceFileAtomically(const std::string& path, const std::string& content, mode_t mode, uid_t owner,
                          gid_t group) {
    if (!MakeParentDirectories(path)) {
        return errno;
    }
    const std::string directory = DirectoryOf(path);
    const std::string base = BaseNameOf(path);
    SweepStaleTemporaries(directory, base);
    int error = WriteAndRename(path, directory, base, content, mode, owner, group);
    if (error == ENOENT) {
        error = WriteAndRename(path, directory, base, content, mode, owner, group);
    }
    return error != 0 ? error : SyncDirectory(directory);
}

int ProbeReplaceable(const std::string& path, off_t room) {
    if (!MakeParentDirectories(path)) {
        return errno;
    }
    std::vector<char> temporary;
    Descriptor fd(MakeTemporary(DirectoryOf(path), BaseNameOf(path), temporary));
    if (fd.get() < 0) {
        return errno;
    }
    int error = ::posix_fallocate(fd.get(), 0, room);
    if (error == EOPNOTSUPP || error == EINVAL) {
        error = 0;  // a file system that cannot reserve: the write will tell
    }
    ::unlink(temporary.data());
    return error;
}

int OpenLockFile(const std::string& path, int flags) {
    const int fd = ::open(path.c_str(), O_RDWR | flags, 0666);
    return fd < 0 && errno == EACCES ? ::open(path.c_str(), O_RDONLY | flags, 0666) : fd;
}

}  // namespace quilkova::internal
