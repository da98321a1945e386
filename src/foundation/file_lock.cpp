#include "quilkova/file_lock.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <random>
#include <thread>

#include "foundation/log.hpp"
#include "quilplatform/qlibc_file.h"
#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

namespace quilkova {

namespace {
constexpr unsigned int kMinWaitMicros = 50000;
constexpr unsigned int kMaxWaitMicros = 100000;

// Any local user can create files in /tmp and give a file there more names.
// A lock file counts only when it is a plain file with one name, owned by
// root or by this process's user: never a link, never a file another user
// planted (and could swap or remove).
bool IsOurLockFile(const struct stat& info) {
    return S_ISREG(info.st_mode) && info.st_nlink == 1 && (info.st_uid == 0 || info.st_uid == ::geteuid());
}

// Makes sure something is at the path that the platform can lock, creating a
// lock file any user can open later when there is none. A symbolic link is
// removed where this process may (root may, in sticky /tmp): nobody holds a
// lock through a link, since every locker refuses to follow one. A regular
// file is never removed here, whoever made it: someone may hold it.
bool CreateLockFile(const std::string& path) {
    const std::string real_path = internal::RootedPath(path);
    constexpr int kFlags = O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC;
    const auto open = [&real_path] {
        const mode_t saved_umask = ::umask(0011);
        const int fd = internal::OpenLockFile(real_path, O_CREAT | kFlags);
        ::umask(saved_umask);
        return fd;
    };
    // Most often it is there already: no umask to set, nothing to create.
    int fd = internal::OpenLockFile(real_path, kFlags);
    if (fd < 0 && errno == ENOENT) {
        fd = internal::OpenMakingParents(real_path, open);
    }
    struct stat info {};
    if (fd < 0 && errno == ELOOP && ::lstat(real_path.c_str(), &info) == 0 && S_ISLNK(info.st_mode) &&
        ::unlink(real_path.c_str()) == 0) {
        fd = open();
    }
    if (fd < 0) {
        KOVA_LOG(LOG_ERR, "Failed to open file: %s", path.c_str());
        return false;
    }
    if (::close(fd) != 0) {
        KOVA_LOG(LOG_ERR, "Failed to close file: %s", path.c_str());
        return false;
    }
    return true;
}

enum class Held { kOurs, kStale, kForeign };

// What the descriptor just locked is: the file the path names and a lock file
// of ours; a file the path no longer names (someone replaced or removed it
// meanwhile: try again); or the named file, but not one of ours.
Held Judge(int fd, const std::string& path) {
    struct stat held {};
    struct stat named {};
    if (::fstat(fd, &held) != 0 || ::lstat(internal::RootedPath(path).c_str(), &named) != 0 ||
        held.st_dev != named.st_dev || held.st_ino != named.st_ino) {
        return Held::kStale;
    }
    return IsOurLockFile(held) ? Held::kOurs : Held::kForeign;
}
}  // namespace

FileLock::FileLock(const std::string& path) : path_(path), mode_(0), fd_(-1) {}

FileLock::~FileLock() {
    Unlock();
}

bool FileLock::Lock(unsigned int seconds) {
    if (!CreateLockFile(path_)) {
        return false;
    }
    Unlock();

    // A wait measured on the wall clock would stretch or shrink when the clock is set.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    // Random waits keep processes that wait for the same file from retrying in
    // step; the generator is seeded only once a first attempt failed.
    std::optional<std::minstd_rand> generator;
    std::uniform_int_distribution<unsigned int> wait(kMinWaitMicros, kMaxWaitMicros);
    for (;;) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        if (QLIBCFileLockByFile(path_.c_str(), mode_ == 0, &fd_)) {
            // Held: the lock is ours only when the path still names this file
            // and it is a lock file of ours. Anything else at the path is
            // removed only while held, so nobody holds what is removed, and
            // whoever locked it meanwhile finds it no longer named and retries.
            const Held held = Judge(fd_, path_);
            if (held == Held::kOurs) {
                return true;
            }
            if (held == Held::kForeign && ::unlink(internal::RootedPath(path_).c_str()) != 0 && errno != ENOENT) {
                Unlock();
                KOVA_LOG(LOG_ERR, "Failed to open file: %s", path_.c_str());
                return false;
            }
            Unlock();
            if (!CreateLockFile(path_)) {
                return false;
            }
            continue;
        }
        if (!generator) {
            std::random_device device("default");
            const unsigned int seed = device() % 2147483647U;
            generator.emplace(seed == 0 ? 1U : seed);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(wait(*generator)));
    }
}

void FileLock::Unlock() {
    if (fd_ != -1) {
        QLIBCFileUnlockByFile(fd_);
    }
    fd_ = -1;
}

std::string FileLock::GetPath() const {
    return path_;
}

}  // namespace quilkova
