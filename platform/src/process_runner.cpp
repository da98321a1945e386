#include "process_runner.hpp"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "util/root_prefix.hpp"

extern char** environ;

namespace quilplatform {

std::string ResolveProgram(const std::string& path) {
    const std::string rooted = quilkova::internal::RootedPath(path);
    return rooted != path && ::access(rooted.c_str(), X_OK) == 0 ? rooted : path;
}

pid_t StartProcess(const std::vector<std::string>& argv, const std::vector<std::string>& extra_environment,
                   int stdout_fd) {
    if (argv.empty()) {
        return -1;
    }
    std::vector<char*> args;
    for (const std::string& arg : argv) {
        args.push_back(const_cast<char*>(arg.c_str()));
    }
    args.push_back(nullptr);
    // The caller's own value of a name we set must not win over ours.
    const auto overridden = [&extra_environment](const char* entry) {
        for (const std::string& mine : extra_environment) {
            const size_t name_length = mine.find('=') + 1;
            if (std::strncmp(entry, mine.c_str(), name_length) == 0) {
                return true;
            }
        }
        return false;
    };
    std::vector<char*> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (!overridden(*entry)) {
            environment.push_back(*entry);
        }
    }
    for (const std::string& entry : extra_environment) {
        environment.push_back(const_cast<char*>(entry.c_str()));
    }
    environment.push_back(nullptr);

    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_init(&actions);
    // A group of its own, so that a time-out ends whatever the program started.
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    if (stdout_fd >= 0) {
        posix_spawn_file_actions_adddup2(&actions, stdout_fd, STDOUT_FILENO);
    }
    pid_t pid = -1;
    const int error = ::posix_spawn(&pid, args[0], &actions, &attributes, args.data(), environment.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return error == 0 ? pid : -1;
}

int WaitProcess(pid_t pid, std::chrono::milliseconds limit, Group group) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        // Seen ended but not reaped: while the program is a zombie its pid
        // cannot be reused, so its group is still its own to end.
        siginfo_t info{};
        const int seen = ::waitid(P_PID, static_cast<id_t>(pid), &info,
                                  WEXITED | WNOWAIT | (limit.count() > 0 ? WNOHANG : 0));
        if (seen == 0 && info.si_pid == pid) {
            if (group == Group::kEnded) {
                ::kill(-pid, SIGKILL);
            }
            int status = 0;
            while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
            }
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        if (seen < 0 && errno != EINTR) {
            return kNotStarted;
        }
        if (limit.count() > 0 && std::chrono::steady_clock::now() >= deadline) {
            ::kill(-pid, SIGKILL);
            int status = 0;
            while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
            }
            return kTimedOut;
        }
        if (seen == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
}

}  // namespace quilplatform
