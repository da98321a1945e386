#ifndef QUILKOVA_TESTS_LOCK_HOLDER_HPP
#define QUILKOVA_TESTS_LOCK_HOLDER_HPP

#include <memory>
#include <string>

#include "child_process.hpp"

namespace quilkova::test {

// Another process that takes a FileLock and holds it until Release() or the
// end of this object.
class LockHolder {
public:
    explicit LockHolder(const std::string& lock_path);
    ~LockHolder();
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;

    // True once the other process holds the lock.
    bool holding() const { return holding_; }
    // Lets the lock go; true when the holder ended cleanly.
    bool Release();

private:
    ReadySignal locked_;
    ReadySignal release_;
    std::unique_ptr<ChildProcess> child_;
    bool holding_ = false;
};

}  // namespace quilkova::test

#endif
