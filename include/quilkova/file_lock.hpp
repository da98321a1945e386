#ifndef QUILKOVA_FILE_LOCK_HPP
#define QUILKOVA_FILE_LOCK_HPP

#include <string>

#include "quilkova/export.h"

namespace quilkova {

// An exclusive lock between processes on a lock file such as
// "/tmp/account_<name>.lock". Released by Unlock or by the destructor.
class QUILKOVA_EXPORT FileLock {
public:
    explicit FileLock(const std::string& path);
    virtual ~FileLock();

    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    // Retries every 50-100 ms until `seconds` have passed; Lock(0) makes no
    // attempt. Creates the lock file with mode 0666 and never follows a link.
    bool Lock(unsigned int seconds);
    // Idempotent.
    void Unlock();
    std::string GetPath() const;

private:
    std::string path_;
    int mode_;
    int fd_;
};

}  // namespace quilkova

#endif
