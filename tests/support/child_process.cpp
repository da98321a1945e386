#include "child_process.hpp"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <thread>

#include "quilkova/file_lock.hpp"

// Present only in a build instrumented for coverage: a child that ends with
// _exit would otherwise lose its counters.
extern "C" void __gcov_dump(void) __attribute__((weak));

namespace quilkova::test {

ReadySignal::ReadySignal() {
    if (::pipe(fds_) != 0) {
        throw std::runtime_error("pipe failed");
    }
}

ReadySignal::~ReadySignal() {
    ::close(fds_[0]);
    ::close(fds_[1]);
}

void ReadySignal::Notify() {
    const char byte = 1;
    (void)!::write(fds_[1], &byte, 1);
}

bool ReadySignal::Wait(std::chrono::milliseconds timeout) {
    struct pollfd ready = {fds_[0], POLLIN, 0};
    if (::poll(&ready, 1, static_cast<int>(timeout.count())) != 1) {
        return false;
    }
    char byte = 0;
    return ::read(fds_[0], &byte, 1) == 1;
}

ChildProcess::ChildProcess(const std::function<int()>& body) : pid_(::fork()) {
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

ChildProcess::~ChildProcess() { Kill(); }

int ChildProcess::Wait(std::chrono::milliseconds timeout) {
    if (reaped_) {
        return -1;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        int status = 0;
        const pid_t done = ::waitpid(pid_, &status, WNOHANG);
        if (done == pid_) {
            reaped_ = true;
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        if (done < 0 && errno != EINTR) {
            reaped_ = true;
            return -1;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            Kill();
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

void ChildProcess::Kill() {
    if (reaped_) {
        return;
    }
    ::kill(pid_, SIGKILL);
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    reaped_ = true;
}

std::vector<std::unique_ptr<ChildProcess>> StartTogether(int count, const std::function<int(int)>& body) {
    ReadySignal start;
    std::vector<std::unique_ptr<ChildProcess>> children;
    for (int i = 0; i < count; ++i) {
        children.push_back(std::make_unique<ChildProcess>([&start, &body, i] {
            return start.Wait(std::chrono::seconds(30)) ? body(i) : 98;
        }));
    }
    for (int i = 0; i < count; ++i) {
        start.Notify();
    }
    return children;
}

LockHolder::LockHolder(const std::string& lock_path) {
    child_ = std::make_unique<ChildProcess>([this, lock_path] {
        FileLock lock(lock_path);
        if (!lock.Lock(5)) {
            return 1;
        }
        locked_.Notify();
        release_.Wait(std::chrono::seconds(60));
        return 0;
    });
    holding_ = locked_.Wait(std::chrono::seconds(10));
}

LockHolder::~LockHolder() { Release(); }

bool LockHolder::Release() {
    release_.Notify();
    return child_->Wait(std::chrono::seconds(10)) == 0;
}

}  // namespace quilkova::test
