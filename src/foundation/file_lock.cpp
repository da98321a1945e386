#include "quilkova/file_lock.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <thread>

#include "internal/log.hpp"
#include "internal/root_prefix.hpp"
#include "quilplatform/qlibc_file.h"

namespace quilkova {

namespace {
constexpr unsigned int kMinWaitMicros = 50000;
constexpr unsigned int kMaxWaitMicros = 100000;

// Makes sure the lock file exists and that any user can open it later.
bool CreateLockFile(const std::string& path) {
    const std::string real_path = internal::RootedPath(path);
    internal::MakeParentDirectories(real_path);
    const mode_t saved_umask = ::umask(0011);
    const int fd = ::open(real_path.c_str(), O_RDWR | O_CREAT | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC, 0666);
    ::umask(saved_umask);
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
    // Random waits keep processes that wait for the same file from retrying in step.
    std::random_device device("default");
    std::minstd_rand generator(device());
    std::uniform_int_distribution<unsigned int> wait(kMinWaitMicros, kMaxWaitMicros);
    for (;;) {
        if (std::chrono::system_clock::now() >= deadline) {
            return false;
        }
        if (QLIBCFileLockByFile(path_.c_str(), mode_ == 0, &fd_)) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(wait(generator)));
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
