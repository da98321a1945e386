#ifndef QUILKOVA_FILE_LOCK_HPP
#define QUILKOVA_FILE_LOCK_HPP

/**
 * @file file_lock.hpp
 * @brief quilkova::FileLock, the lock between processes.
 */

#include <string>

#include "quilkova/export.h"

namespace quilkova {

/**
 * An exclusive lock between processes on a lock file such as
 * "/tmp/account_<name>.lock", released by Unlock() or the destructor. The
 * library's own locks are taken with a wait of 30 seconds and nested in a fixed
 * order; a caller holding one of them for long delays every other process.
 */
class QUILKOVA_EXPORT FileLock {
public:
    /** A lock on @p path (under the root prefix); takes nothing yet. */
    explicit FileLock(const std::string& path);
    /** Unlock(). */
    virtual ~FileLock();

    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /** Tries every 50-100 ms until @p seconds have passed; Lock(0) makes no attempt. Creates the
     *  lock file with mode 0666 and never follows a link planted there. Locking again releases
     *  the earlier hold first. @return true when held. */
    bool Lock(unsigned int seconds);
    /** Releases the lock if held; idempotent. */
    void Unlock();
    /** The lock file's path as given. */
    std::string GetPath() const;

private:
    std::string path_;
    int mode_;
    int fd_;
};

}  // namespace quilkova

#endif
