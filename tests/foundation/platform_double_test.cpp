// Platform behaviour that a root's content cannot produce, through link-time
// doubles: definitions here take the place of the platform's (and of the
// global allocator) for this program.
#include "test_prelude.hpp"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "foundation/string_utils.hpp"
#include "quilplatform/cloud_service.h"
#include "quilplatform/crond.h"
#include "quilplatform/device.h"
#include "quilplatform/notify.h"
#include "quilplatform/pkce.h"
#include "quilplatform/process.h"
#include "quilplatform/qlibc_file.h"
#include "quilplatform/zone.h"

namespace {
int g_cloud_error = 0;
int g_lock_attempts = 0;
// Allocations left before every further one fails; negative: none fails.
long g_allocations_left = -1;
}  // namespace

void* operator new(size_t size) {
    if (g_allocations_left == 0) {
        throw std::bad_alloc();
    }
    if (g_allocations_left > 0) {
        --g_allocations_left;
    }
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }

extern "C" int QUILCloudServiceGetErrorCode(void) { return g_cloud_error; }

// Counts the attempts and hands them to the real platform function.
extern "C" bool QLIBCFileLockByFile(const char* path, bool exclusive, int* fd) {
    using LockFunction = bool (*)(const char*, bool, int*);
    static const auto real = reinterpret_cast<LockFunction>(::dlsym(RTLD_NEXT, "QLIBCFileLockByFile"));
    ++g_lock_attempts;
    return real(path, exclusive, fd);
}

namespace {

TEST(CloudServiceError, MapsNetworkToFifteenAndEverythingElseToUnknown) {
    const std::vector<std::pair<int, int>> rows = {{0, 0}, {1, 15}, {7, 24}, {2, 24}, {-1, 24}};
    for (const auto& [platform, expected] : rows) {
        g_cloud_error = platform;
        QUILKOVAErrSet(3);
        EXPECT_EQ(GetErrorCodeFromCloudService(), expected) << platform;
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
    EXPECT_GE(g_lock_attempts, 10);  // one second of 50-100 ms waits
    EXPECT_LE(g_lock_attempts, 21);
    EXPECT_TRUE(holder.Release());
    EXPECT_TRUE(lock.Lock(1)) << "free again once the holder is gone";
}

// Runs a check with allocations allowed again (a failing check allocates its message).
void Unlimited(const std::function<void()>& check) {
    const long left = g_allocations_left;
    g_allocations_left = -1;
    check();
    g_allocations_left = left;
}

// Every call, with its allocations failing from the first on, then from the
// second, and so on until it succeeds: each failure is a failure, with the
// platform's out-of-memory error, and nothing leaks or escapes.
TEST(AllocationFailures, EveryPointOfFailureFailsWithTheOutOfMemoryError) {
    quilkova::test::TempRoot root;
    quilkova::test::WriteDevice(root, "2150ABCD1234", "");  // the MAC comes from the interfaces
    root.WriteFile("/sys/class/net/eth0/address", "00:11:32:00:00:01\n");
    root.WriteFile("/etc/timezone", "Pacific/Auckland\n");
    Json::Value jobs;
    jobs[0]["period"] = "crontab";
    jobs[0]["crontab"] = "~ 9~16 * * 1~5";
    jobs[0]["cmd_list"].append("/usr/quil/bin/quilkova");
    root.WriteFile("/etc/crontab", "0 3 * * * root /usr/bin/other\n0 3 * * * root /usr/quil/bin/quilkova\n");
    const std::vector<std::pair<const char*, std::function<bool()>>> calls = {
        {"mac", [] { char mac[24]; return QUILHsinfoCloudServiceGetMacAddress(mac, sizeof(mac)) > 0; }},
        {"notify",
         [] {
             PQLIBCSzHash params = QLIBCSzHashAlloc(2);
             const bool sent = params != nullptr && QLIBCSzHashSetValue(params, "%KOVA_ACCOUNT%", "a@b") == 0 &&
                               QUILSysNotifySendNotifiction("KoVAPasswordChanged", params) == 0;
             QLIBCSzHashFree(params);
             return sent;
         }},
        {"event", [] { return QUILLogSet1(2, 1, 0x13a00002, "", "", "", "") == 0; }},
        {"program", [] { return QLIBCExecl("/bin/true", nullptr) == 0; }},
        {"pipe",
         [] {
             FILE* out = QLIBCPopen("/bin/true", "r", nullptr);
             return out != nullptr && QLIBCPclose(out) == 0;
         }},
        {"set", [] { return QLIBCFileSetKeyValue("/etc/x.conf", "k", "v", "%s=\"%s\"\n") == 0; }},
        {"pkce",
         [] {
             char c[44] = "", v[44] = "";
             const bool made = quil_challenge_verifier_no_save(c, sizeof(c), v, sizeof(v)) == 0;
             const bool paired[] = {!made || (std::strlen(c) == 43 && std::strlen(v) == 43)};
             Unlimited([&paired] { EXPECT_TRUE(paired[0]) << "0 gives a pair"; });
             return made;
         }},
        {"zone",
         [] {
             char zone[64] = "";
             PQLIBCSzHash info = QLIBCSzHashAlloc(2);
             const int got = QUILZoneGet(zone, sizeof(zone), nullptr);
             const int described = got == 0 && info != nullptr ? QUILZoneGetInfo(zone, info) : -1;
             const bool named = described == 0 && QLIBCSzHashGetValue(info, "nameInTZDB") != nullptr;
             const bool seen[] = {got == -1 || (got == 0 && std::strcmp(zone, "Pacific/Auckland") == 0),
                                  described == -1 || named};
             QLIBCSzHashFree(info);
             Unlimited([&seen] { EXPECT_TRUE(seen[0] && seen[1]) << "-1, or a success that gives what it says"; });
             return described == 0;
         }},
        {"lock",
         [] {
             int fd = -1;
             const bool locked = QLIBCFileLockByFile("/tmp/a.lock", true, &fd);
             return locked && QLIBCFileUnlockByFile(fd) == 0;
         }},
        {"schedule",
         [&jobs, &root] {
             const bool saved = QUIL::QUILCrond::ConfigManager("kova", false).Save(jobs);
             Unlimited([&] { EXPECT_TRUE(!saved || root.Exists("/etc/cron.d/quil-kova")) << "said saved, wrote nothing"; });
             return saved && QUIL::QUILCrond::ConfigManager("kova", false).Remove();
         }},
        {"crontab line",
         [] {
             const int removed = QUILScheduleRemove("/usr/quil/bin/quilkova");
             Unlimited([&removed] { EXPECT_NE(removed, 0) << "the line is there: -1 or removed"; });
             return removed == 1;
         }},
        {"hash and list",
         [] {
             PQLIBCSzHash hash = QLIBCSzHashAlloc(1);
             PQLIBCSzList list = QLIBCSzListAlloc(1);
             const bool set = hash != nullptr && QLIBCSzHashSetValue(hash, "key", "value") == 0;
             const bool added = set && list != nullptr && QLIBCSzListAdd(list, "value") == 0;
             const int keys = added ? QLIBCSzHashEnumKey(hash, list) : -1;
             const int count =
                 (hash != nullptr ? QLIBCSzHashCount(hash) : 0) + (list != nullptr ? QLIBCSzListCount(list) : 0);
             const int made = (set ? 1 : 0) + (added ? 1 : 0) + (keys == 1 ? 1 : 0);
             QLIBCSzHashFree(hash);
             QLIBCSzListFree(list);
             // One reference: the check's closure needs no allocation.
             const int seen[] = {count, made, keys};
             Unlimited([&seen] {
                 EXPECT_EQ(seen[0], seen[1]) << "a failed set, add or listing of the keys leaves nothing behind";
                 EXPECT_NE(seen[2], 0) << "one key listed, or -1";
             });
             return keys == 1;
         }},
    };
    for (const auto& [name, call] : calls) {
        bool succeeded = false;
        for (long allowed = 0; allowed < 500 && !succeeded; ++allowed) {
            (void)QLIBCSzHashCount(nullptr);  // another error first: each failure must set its own
            const size_t descriptors = OpenDescriptors();
            g_allocations_left = allowed;
            succeeded = call();
            g_allocations_left = -1;
            if (!succeeded) {
                EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_OUT_OF_MEMORY) << name << " after " << allowed << " allocations";
            }
            EXPECT_EQ(OpenDescriptors(), descriptors) << name << " after " << allowed << " allocations";
        }
        EXPECT_TRUE(succeeded) << name;
    }
    // Only the attempt that succeeded wrote a line: a failure writes nothing, not even part of one.
    for (const char* log : {"/var/log/quil/notifications.jsonl", "/var/log/quil/events.jsonl"}) {
        const std::string lines = root.ReadFile(log);
        EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << log << ": " << lines;
    }
}

TEST(AllocationFailures, NothingEscapesTheLibrarysPublicFunctions) {
    const std::string path(300, 'x');
    const std::string message = "Failed to lock file: %s";
    bool formatted = false;
    for (long allowed = 0; allowed < 10 && !formatted; ++allowed) {
        g_allocations_left = allowed;
        formatted = quilkova::format(message, path.c_str()).size() == 321;
        g_allocations_left = -1;
    }
    EXPECT_TRUE(formatted) << "format gives \"\" while memory lacks, and the text once it is there";
    char serial[256] = "2150ABCD1234";
    char token[33];
    g_allocations_left = 0;
    const int generated = QUILKOVAGenerateToken("a@b", "pw", serial, sizeof(serial), token, sizeof(token));
    g_allocations_left = -1;
    EXPECT_EQ(FailureCode(generated), KOVA_ERR_SYSTEM);
}

}  // namespace
