#ifndef QUILKOVA_TESTS_CHILD_PROCESS_HPP
#define QUILKOVA_TESTS_CHILD_PROCESS_HPP

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quilkova::test {

// A one-way "ready" signal from a child to its parent, over a pipe.
class ReadySignal {
public:
    ReadySignal();
    ~ReadySignal();
    ReadySignal(const ReadySignal&) = delete;
    ReadySignal& operator=(const ReadySignal&) = delete;

    void Notify();  // in the child
    bool Wait(std::chrono::milliseconds timeout);  // in the parent

private:
    int fds_[2];
};

// Runs `body` in a forked process; its result is the exit status. The
// process is killed and reaped by the destructor if it is still running.
class ChildProcess {
public:
    explicit ChildProcess(const std::function<int()>& body);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    // The exit status, or -1 when it did not end in time (it is then killed).
    int Wait(std::chrono::milliseconds timeout = std::chrono::seconds(60));
    void Kill();

private:
    pid_t pid_;
    bool reaped_ = false;
};

// Runs body(0) ... body(count - 1) in forked processes that start together,
// once the last of them exists: none is forked while others are at work (a
// fork in the middle of another thread's allocation can hang the child).
std::vector<std::unique_ptr<ChildProcess>> StartTogether(int count, const std::function<int(int)>& body);

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
