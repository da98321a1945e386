#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "child_process.hpp"
#include "log_capture.hpp"
#include "quilkova/file_lock.hpp"
#include "temp_root.hpp"

namespace {

using quilkova::FileLock;
using quilkova::test::ChildProcess;
using quilkova::test::TempRoot;
using namespace std::chrono_literals;

constexpr const char* kLockPath = "/tmp/account_query_info.lock";

TEST(FileLock, LocksUnlocksAndExcludesASecondHolderInTheSameProcess) {
    TempRoot root;
    FileLock first(kLockPath);
    EXPECT_EQ(first.GetPath(), kLockPath);
    first.Unlock();  // never locked: nothing happens
    ASSERT_TRUE(first.Lock(1));

    FileLock second(kLockPath);
    EXPECT_FALSE(second.Lock(1));
    first.Unlock();
    first.Unlock();
    EXPECT_TRUE(second.Lock(1));
}

TEST(FileLock, TheLockFileIsOpenToEveryoneWhateverTheUmask) {
    TempRoot root;
    const mode_t saved = ::umask(0077);
    FileLock lock(kLockPath);
    const bool locked = lock.Lock(1);
    const mode_t umask_after = ::umask(saved);
    ASSERT_TRUE(locked);
    EXPECT_EQ(root.Mode(kLockPath), 0666);
    EXPECT_EQ(umask_after, 0077u) << "the caller's umask is restored";
}

TEST(FileLock, APlantedLinkIsNotFollowed) {
    TempRoot root;
    root.WriteFile("/etc/shadow-like", "secret\n");
    ::chmod(root.Path("/etc/shadow-like").c_str(), 0600);
    root.WriteFile("/tmp/placeholder", "");
    ASSERT_EQ(::symlink(root.Path("/etc/shadow-like").c_str(), root.Path(kLockPath).c_str()), 0);

    quilkova::test::LogCapture log;
    FileLock lock(kLockPath);
    EXPECT_FALSE(lock.Lock(1));
    EXPECT_TRUE(log.Contains(std::string("file_lock.cpp:")));
    EXPECT_TRUE(log.Contains(std::string(" Failed to open file: ") + kLockPath)) << log.Dump();
    EXPECT_EQ(root.ReadFile("/etc/shadow-like"), "secret\n");
    EXPECT_EQ(root.Mode("/etc/shadow-like"), 0600);
}

TEST(FileLock, ProcessesIncrementingASharedCounterNeverOverlap) {
    TempRoot root;
    const std::string counter = root.Path("/counter");
    root.WriteFile("/counter", "0");
    constexpr int kProcesses = 4;
    constexpr int kRounds = 20;
    std::vector<std::unique_ptr<ChildProcess>> children;
    for (int p = 0; p < kProcesses; ++p) {
        children.push_back(std::make_unique<ChildProcess>([&] {
            for (int i = 0; i < kRounds; ++i) {
                FileLock lock(kLockPath);
                if (!lock.Lock(30)) {
                    return 1;
                }
                int value = 0;
                std::ifstream(counter) >> value;
                std::this_thread::sleep_for(1ms);  // widen the window a missing lock would open
                std::ofstream(counter, std::ios::trunc) << value + 1;
            }
            return 0;
        }));
    }
    for (auto& child : children) {
        EXPECT_EQ(child->Wait(), 0);
    }
    EXPECT_EQ(root.ReadFile("/counter"), std::to_string(kProcesses * kRounds));
}

}  // namespace
