#ifndef QUILPLATFORM_PROCESS_RUNNER_HPP
#define QUILPLATFORM_PROCESS_RUNNER_HPP

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace quilplatform {

constexpr int kNotStarted = -1;
constexpr int kTimedOut = -2;

// The program to run for `path`: the copy under the root prefix when there
// is one, else `path` itself (system programs such as /bin/sh).
std::string ResolveProgram(const std::string& path);

// Starts argv[0] in a process group of its own, with `extra_environment`
// ("NAME=value") added, standard output to `stdout_fd` when it is not -1.
// The pid, or -1.
pid_t StartProcess(const std::vector<std::string>& argv, const std::vector<std::string>& extra_environment,
                   int stdout_fd = -1);

// What becomes of the program's group once the program itself has ended.
enum class Group { kLeft, kEnded };

// Waits for pid; after `limit` (zero: no limit) its whole group is killed,
// and with Group::kEnded also when the program ended by itself (what it left
// running in the background goes with it). Exit status, 128 + signal, or kTimedOut.
int WaitProcess(pid_t pid, std::chrono::milliseconds limit = std::chrono::milliseconds::zero(),
                Group group = Group::kLeft);

}  // namespace quilplatform

#endif
