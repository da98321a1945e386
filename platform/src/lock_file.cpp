// Advisory lock files: one non-blocking flock attempt per call.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <string>

#include "last_error.hpp"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_file.h"
#include "util/atomic_file.hpp"
#include "util/root_prefix.hpp"

extern "C" {

bool QLIBCFileLockByFile(const char* path, bool exclusive, int* fd) {
    if (path == nullptr || fd == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return false;
    }
    int lock_fd = -1;
    try {
        const std::string real_path = quilkova::internal::RootedPath(path);
        lock_fd = quilkova::internal::OpenMakingParents(real_path, [&real_path] {
            return quilkova::internal::OpenLockFile(real_path, O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
        });
    } catch (const std::bad_alloc&) {
        QLIBC_FAIL(QLIBC_ERR_OUT_OF_MEMORY);
        return false;
    }
    if (lock_fd < 0) {
        QLIBC_FAIL(QLIBC_ERR_FILE_OPEN);
        return false;
    }
    if (::flock(lock_fd, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
        const bool busy = errno == EWOULDBLOCK;
        ::close(lock_fd);
        QLIBC_FAIL(busy ? QLIBC_ERR_BUSY : QLIBC_ERR_FILE_LOCK);
        return false;
    }
    *fd = lock_fd;
    return true;
}

int QLIBCFileUnlockByFile(int fd) {
    if (fd < 0) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    const int unlocked = ::flock(fd, LOCK_UN);
    const int closed = ::close(fd);
    if (unlocked != 0 || closed != 0) {
        QLIBC_FAIL(QLIBC_ERR_FILE_LOCK);
        return -1;
    }
    return 0;
}

}  // extern "C"
