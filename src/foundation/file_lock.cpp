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
#include "util/root_prefix.hpp"

namespace quilkova {

namespace {
constexpr unsigned int kMinWaitMicros = 50000;
constexpr unsigned int kMaxWaitMicros = 100000;

// Any local user can create files in /tmp. A lock file counts only when it is
// a plain file with one name, owned by root or by this process's user: never
// a link, never a file another user planted (and could swap or remove).
bool IsOurLockFile(const struct stat& info) {
    return S_ISREG(info.st_mode) && info.st_nlink == 1 && (info.st_uid == 0 || info.st_uid == ::geteuid());
}

// The descriptor of the lock file at the path, created if missing; -1 when it
// cannot be opened or is not ours.
int OpenOurLockFile(const std::string& real_path) {
    const auto open = [&real_path] {
        const mode_t saved_umask = ::umask(0011);
        const int fd = ::open(real_path.c_str(), O_RDWR | O_CREAT | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC, 0666);
        ::umask(saved_umask);
        return fd;
    };
    const int fd = internal::OpenMakingParents(real_path, open);
    struct stat info {};
    if (fd >= 0 && (::fstat(fd, &info) != 0 || !IsOurLockFile(info))) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// Something at the path that is not a lock file of ours.
bool IsForeign(const std::string& real_path) {
    struct stat info {};
    return ::lstat(real_path.c_str(), &info) == 0 && !IsOurLockFile(info);
}

// Makes sure a lock file of ours exists and that any user can open it later.
// Anything else found there is replaced where this process may remove it
// (root may, in sticky /tmp). Directories are made only when missing.
bool CreateLockFile(const std::string& path) {
    const std::string real_path = internal::RootedPath(path);
    int fd = OpenOurLockFile(real_path);
    if (fd < 0 && IsForeign(real_path) && ::unlink(real_path.c_str()) == 0) {
        fd = OpenOurLockFile(real_path);
    }
    if (fd < 0) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to open file: %s", path.c_str());
        return false;
    }
    if (::close(fd) != 0) {
        KOVA_LOG(LOG_ERR, "%s:%d Failed to close file: %s", path.c_str());
        return false;
    }
    return true;
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

    const auto deadline = std::chrono::system_clock::now() + std::chrono::seconds(seconds);
    // Random waits keep processes that wait for the same file from retrying in
    // step; the generator is seeded only once a first attempt failed.
    std::optional<std::minstd_rand> generator;
    std::uniform_int_distribution<unsigned int> wait(kMinWaitMicros, kMaxWaitMicros);
    for (;;) {
        if (std::chrono::system_clock::now() >= deadline) {
            return false;
        }
        if (QLIBCFileLockByFile(path_.c_str(), mode_ == 0, &fd_)) {
            return true;
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
