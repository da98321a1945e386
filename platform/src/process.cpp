// Running programs without a shell.
#include "quilplatform/process.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdarg>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "last_error.hpp"
#include "platform_waits.hpp"
#include "process_runner.hpp"
#include "quilplatform/qlibc_error.h"

namespace {

// Starts the program with the arguments up to the null: its pid, or -1 with
// `in_memory` false when memory ran out and true when the system refused.
pid_t StartWithArguments(const char* path, va_list args, int stdout_fd, bool& in_memory) noexcept {
    try {
        std::vector<std::string> argv = {quilplatform::ResolveProgram(path)};
        for (const char* arg = va_arg(args, const char*); arg != nullptr; arg = va_arg(args, const char*)) {
            argv.emplace_back(arg);
        }
        in_memory = true;
        return quilplatform::StartProcess(argv, {}, stdout_fd);
    } catch (const std::bad_alloc&) {
        in_memory = false;
        return -1;
    }
}

// Nobody reads the program any more: one that does not end soon after is
// ended with its whole group, so a caller never waits on it for ever; and
// whatever it left running in its group ends with it.
int EndUnreadProgram(pid_t pid) {
    return quilplatform::WaitProcess(pid, quilplatform::CurrentWaits().close_grace, quilplatform::Group::kEnded);
}

// The children behind open QLIBCPopen streams.
std::mutex g_streams_mutex;
std::map<FILE*, pid_t> g_stream_children;

}  // namespace

extern "C" {

int QLIBCExecl(const char* path, ...) {
    if (path == nullptr) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return -1;
    }
    bool in_memory = false;
    va_list args;
    va_start(args, path);
    const pid_t pid = StartWithArguments(path, args, -1, in_memory);
    va_end(args);
    if (pid < 0) {
        QLIBC_FAIL(in_memory ? QLIBC_ERR_SYSTEM : QLIBC_ERR_OUT_OF_MEMORY);
        return -1;
    }
    return quilplatform::WaitProcess(pid);
}

FILE* QLIBCPopen(const char* path, const char* mode, ...) {
    if (path == nullptr || mode == nullptr || std::strcmp(mode, "r") != 0) {
        QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
        return nullptr;
    }
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        QLIBC_FAIL(QLIBC_ERR_SYSTEM);
        return nullptr;
    }
    bool in_memory = false;
    va_list args;
    va_start(args, mode);
    const pid_t pid = StartWithArguments(path, args, fds[1], in_memory);
    va_end(args);
    ::close(fds[1]);
    FILE* stream = pid < 0 ? nullptr : ::fdopen(fds[0], "r");
    if (stream != nullptr) {
        try {
            const std::lock_guard<std::mutex> lock(g_streams_mutex);
            g_stream_children[stream] = pid;
            return stream;
        } catch (const std::bad_alloc&) {
            in_memory = false;
        }
        std::fclose(stream);
    } else {
        ::close(fds[0]);
    }
    if (pid >= 0) {
        EndUnreadProgram(pid);
    }
    QLIBC_FAIL(in_memory ? QLIBC_ERR_SYSTEM : QLIBC_ERR_OUT_OF_MEMORY);
    return nullptr;
}

int QLIBCPclose(FILE* stream) {
    pid_t pid = -1;
    {
        const std::lock_guard<std::mutex> lock(g_streams_mutex);
        const auto found = g_stream_children.find(stream);
        if (found == g_stream_children.end()) {
            QLIBC_FAIL(QLIBC_ERR_BAD_PARAMETERS);
            return -1;
        }
        pid = found->second;
        g_stream_children.erase(found);
    }
    std::fclose(stream);
    return EndUnreadProgram(pid);
}

}  // extern "C"
