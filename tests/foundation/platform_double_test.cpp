// Platform behaviour that a root's content cannot produce, through link-time
// doubles: definitions here take the place of the platform's for this program.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>

#include "lock_holder.hpp"
#include "quilkova/file_lock.hpp"
#include "quilkova/quilkova.h"
#include "quilkova/kova_plugin_manager.hpp"
#include "quilplatform/cloud_service.h"
#include "quilplatform/plugin.h"
#include "quilplatform/qlibc_file.h"
#include "temp_root.hpp"

#include <string>
#include <vector>

namespace {
int g_cloud_error = 0;
int g_lock_attempts = 0;
// The plug-in SDK as KovaPluginManager drives it.
bool g_plugin_init_fails = false;
std::vector<std::string> g_plugin_calls;
int g_plugin_context = 0;
}  // namespace

extern "C" int QLIBPluginSDKInit(const char* domain, const char* event, PQLIBPLUGIN* handle, const char*) {
    g_plugin_calls.push_back(std::string("init ") + domain + " " + event);
    if (g_plugin_init_fails) {
        return -1;
    }
    *handle = reinterpret_cast<PQLIBPLUGIN>(&g_plugin_context);
    return 0;
}

extern "C" int QLIBPluginAction(int action, PQLIBPLUGIN handle) {
    g_plugin_calls.push_back("action " + std::to_string(action) + (handle != nullptr ? "" : " without handle"));
    return 0;
}

extern "C" void QLIBPluginExit(PQLIBPLUGIN handle) {
    g_plugin_calls.push_back(handle != nullptr ? "exit" : "exit null");
}

extern "C" int QUILCloudServiceGetErrorCode(void) {
    return g_cloud_error;
}

// Counts the attempts and hands them to the real platform function.
extern "C" bool QLIBCFileLockByFile(const char* path, bool exclusive, int* fd) {
    using LockFunction = bool (*)(const char*, bool, int*);
    static const auto real = reinterpret_cast<LockFunction>(::dlsym(RTLD_NEXT, "QLIBCFileLockByFile"));
    ++g_lock_attempts;
    return real(path, exclusive, fd);
}

namespace {

using namespace std::chrono_literals;

TEST(CloudServiceError, MapsNetworkToFifteenAndEverythingElseToUnknown) {
    const struct {
        int platform;
        int expected;
    } rows[] = {{0, 0}, {1, 15}, {7, 24}, {2, 24}, {-1, 24}};
    for (const auto& row : rows) {
        g_cloud_error = row.platform;
        QUILKOVAErrSet(3);
        EXPECT_EQ(GetErrorCodeFromCloudService(), row.expected) << "platform " << row.platform;
        EXPECT_EQ(QUILKOVAErrGet(), 3) << "the slot is not touched";
    }
    g_cloud_error = 0;
}

TEST(FileLockAttempts, LockZeroMakesNoAttemptAndAHeldLockIsRetriedFor1SecondEvery50To100Ms) {
    quilkova::test::TempRoot root;
    g_lock_attempts = 0;
    quilkova::FileLock lock("/tmp/account_attempts.lock");
    EXPECT_FALSE(lock.Lock(0));
    EXPECT_EQ(g_lock_attempts, 0);
    EXPECT_TRUE(root.Exists("/tmp/account_attempts.lock")) << "the lock file is made all the same";

    quilkova::test::LockHolder holder("/tmp/account_attempts.lock");
    ASSERT_TRUE(holder.holding());
    g_lock_attempts = 0;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(lock.Lock(1));
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, 1s);
    EXPECT_LT(waited, 5s);
    // One second of 50-100 ms waits: between 10 and 21 attempts.
    EXPECT_GE(g_lock_attempts, 10);
    EXPECT_LE(g_lock_attempts, 21);
    EXPECT_TRUE(holder.Release());
    EXPECT_TRUE(lock.Lock(1)) << "free again once the holder is gone";
}

TEST(PluginEvents, PreAndPostSendFourAndFiveAndAFailedInitStillExits) {
    g_plugin_calls.clear();
    g_plugin_init_fails = false;
    const quilkova::KovaPluginManager plugins;
    plugins.Pre("kova/login");
    plugins.Post("kova/login");
    g_plugin_init_fails = true;
    plugins.Post("kova/logout");
    g_plugin_init_fails = false;
    EXPECT_EQ(g_plugin_calls, (std::vector<std::string>{"init kova kova/login", "action 4", "exit",
                                                         "init kova kova/login", "action 5", "exit",
                                                         "init kova kova/logout", "exit null"}));
}

}  // namespace
