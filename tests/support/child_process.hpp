#ifndef QUILKOVA_TESTS_CHILD_PROCESS_HPP
#define QUILKOVA_TESTS_CHILD_PROCESS_HPP

#include <poll.h>
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "quilkova/file_lock.hpp"

// Present only in a build instrumented for coverage: a child that ends with
// _exit would otherwise lose its counters.
extern "C" void __gcov_dump(void) __attribute__((weak));

namespace quilkova::test {

// A one-way "ready" signal from a child to its parent, over a pipe.
class ReadySignal {
public:
    ReadySignal() {
        if (::pipe(fds_) != 0) {
            throw std::runtime_error("pipe failed");
        }
    }
    ~ReadySignal() {
        ::close(fds_[0]);
        ::close(fds_[1]);
    }
    ReadySignal(const ReadySignal&) = delete;
    ReadySignal& operator=(const ReadySignal&) = delete;

    // In the child.
    void Notify() {
        const char byte = 1;
        (void)!::write(fds_[1], &byte, 1);
    }
    // In the parent.
    bool Wait(std::chrono::milliseconds timeout) {
        struct pollfd ready = {fds_[0], POLLIN, 0};
        char byte = 0;
        return ::poll(&ready, 1, static_cast<int>(timeout.count())) == 1 && ::read(fds_[0], &byte, 1) == 1;
    }

private:
    int fds_[2];
};

// Runs `body` in a forked process; its result is the exit status. The
// process is killed and reaped by the destructor if it is still running.
class ChildProcess {
public:
    explicit ChildProcess(const std::function<int()>& body) : pid_(::fork()) {
        if (pid_ < 0) {
            throw std::runtime_error("fork failed");
        }
        if (pid_ == 0) {
            int status = 99;
            try {
                status = body();
            } catch (...) {
            }
            if (__gcov_dump != nullptr) {
                (void)!::setresuid(static_cast<uid_t>(-1), 0, static_cast<uid_t>(-1));  // a child that dropped root
                __gcov_dump();
            }
            ::_exit(status);  // no atexit handlers of the test runner in the child
        }
    }
    ~ChildProcess() { Kill(); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    // The exit status, or -1 when it did not end in time (it is then killed).
    int Wait(std::chrono::milliseconds timeout = std::chrono::seconds(60)) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (!reaped_ && std::chrono::steady_clock::now() < deadline) {
            int status = 0;
            const pid_t done = ::waitpid(pid_, &status, WNOHANG);
            if (done == pid_) {
                reaped_ = true;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            if (done < 0 && errno != EINTR) {
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        Kill();  // did not end in time, or is not ours to wait for
        return -1;
    }
    void Kill() {
        if (reaped_) {
            return;
        }
        ::kill(pid_, SIGKILL);
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        reaped_ = true;
    }

private:
    pid_t pid_;
    bool reaped_ = false;
};

// Runs body(0) ... body(count - 1) in forked processes that start together,
// once the last of them exists: none is forked while others are at work (a
// fork in the middle of another thread's allocation can hang the child).
inline std::vector<std::unique_ptr<ChildProcess>> StartTogether(int count, const std::function<int(int)>& body) {
    ReadySignal start;
    std::vector<std::unique_ptr<ChildProcess>> children;
    for (int i = 0; i < count; ++i) {
        children.push_back(std::make_unique<ChildProcess>(
            [&start, &body, i] { return start.Wait(std::chrono::seconds(30)) ? body(i) : 98; }));
    }
    for (int i = 0; i < count; ++i) {
        start.Notify();
    }
    return children;
}

// Another process that takes a lock and holds it until Release() or the end
// of this object: whatever `take` locks (true when it holds it), or a
// FileLock on `lock_path`.
class LockHolder {
public:
    explicit LockHolder(const std::function<bool()>& take) {
        child_ = std::make_unique<ChildProcess>([this, &take] {
            if (!take()) {
                return 1;
            }
            locked_.Notify();
            release_.Wait(std::chrono::seconds(60));
            return 0;
        });
        holding_ = locked_.Wait(std::chrono::seconds(10));
    }
    explicit LockHolder(const std::string& lock_path)
        : LockHolder([lock_path] {
              static std::unique_ptr<FileLock> held;  // for as long as the holding process lives
              held = std::make_unique<FileLock>(lock_path);
              return held->Lock(5);
          }) {}
    ~LockHolder() { Release(); }
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;

    // True once the other process holds the lock.
    bool holding() const { return holding_; }
    // Lets the lock go; true when the holder ended cleanly.
    bool Release() {
        release_.Notify();
        return child_->Wait(std::chrono::seconds(10)) == 0;
    }

private:
    ReadySignal locked_;
    ReadySignal release_;
    std::unique_ptr<ChildProcess> child_;
    bool holding_ = false;
};

}  // namespace quilkova::test

#endif
