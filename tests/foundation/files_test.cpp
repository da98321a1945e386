// JSON files, crash-safe replacement and inter-process file locks.
#include "test_prelude.hpp"

#include "quilplatform/qlibc_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>

#include <algorithm>

#include "util/atomic_file.hpp"

namespace {

using quilkova::internal::LoadJsonFile;
using quilkova::internal::SaveJsonFile;

constexpr const char* kLockPath = "/tmp/account_query_info.lock";

Json::Value SampleToken() {
    Json::Value token;
    token["access_token"] = "a.b.c";
    token["expires_in"] = 3600;
    return token;
}

TEST(JsonFiles, SaveThenLoadWithTheModeOfTheLocationNeverThroughALinkAndFailWithoutSecrets) {
    TempRoot root;
    const std::vector<std::pair<const char*, mode_t>> cases = {
        {kHosToken, 0600}, {"/tmp/account_pkg_pkce_client.conf", 0600}, {"/usr/quil/etc/crond/kova.json", 0644}};
    for (const auto& [path, mode] : cases) {
        ASSERT_TRUE(SaveJsonFile(path, SampleToken()).ok());
        EXPECT_EQ(root.Mode(path), mode) << path;
        Json::Value loaded;
        ASSERT_TRUE(LoadJsonFile(path, loaded)) << path;
        EXPECT_EQ(loaded, SampleToken());
    }
    EXPECT_EQ(root.Mode("/usr/quil/etc/quillion-account/private"), 0700);

    root.WriteFile("/victim", "precious\n");
    ASSERT_EQ(::unlink(root.Path(kHosToken).c_str()), 0);
    ASSERT_EQ(::symlink(root.Path("/victim").c_str(), root.Path(kHosToken).c_str()), 0);
    Json::Value loaded;
    EXPECT_FALSE(LoadJsonFile(kHosToken, loaded)) << "not read through the link";
    ASSERT_TRUE(SaveJsonFile(kHosToken, SampleToken()).ok());
    EXPECT_EQ(root.ReadFile("/victim"), "precious\n");
    EXPECT_EQ(root.Mode(kHosToken), 0600);

    // Failures log without secrets; a save that fails throws code 2.
    root.WriteFile(kHosToken, "{\"access_token\": \"secret-value\", ");
    LogCapture log;
    EXPECT_FALSE(LoadJsonFile(kHosToken, loaded));
    EXPECT_TRUE(log.Contains("Failed to parse json: {\"access_token\": \"***\", ") && !log.Contains("secret-value"))
        << log.Dump();
    EXPECT_FALSE(LoadJsonFile("/missing.json", loaded));

    root.WriteFile("/blocked", "a file where a directory belongs");
    EXPECT_EQ(CodeOf(SaveJsonFile("/blocked/token.json", SampleToken())), KOVA_ERR_BAD_JSON);
    EXPECT_TRUE(log.Contains("json_utils.hpp:") && log.Contains(" Failed to save json: /blocked/token.json"))
        << log.Dump();
}

TEST(FileLock, ExcludesOtherHoldersReleasesOnRelockingAndNeverFollowsALink) {
    TempRoot root;
    const size_t descriptors = OpenDescriptors();
    FileLock first(kLockPath);
    EXPECT_EQ(first.GetPath(), kLockPath);
    first.Unlock();  // never locked: nothing happens
    const mode_t saved = ::umask(0077);
    ASSERT_TRUE(first.Lock(1));
    ::umask(saved);
    EXPECT_EQ(root.Mode(kLockPath), 0666) << "any user can open it, whatever the umask";
    ASSERT_TRUE(first.Lock(1)) << "locking again";
    EXPECT_EQ(OpenDescriptors(), descriptors + 1) << "the first descriptor was released";

    FileLock second(kLockPath);
    EXPECT_FALSE(second.Lock(1));
    int fd = -1;
    EXPECT_FALSE(QLIBCFileLockByFile(kLockPath, true, &fd)) << "one try, no wait";
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_BUSY);
    first.Unlock();
    first.Unlock();
    EXPECT_TRUE(second.Lock(1)) << "nothing of the first lock is left";
    second.Unlock();
    EXPECT_EQ(OpenDescriptors(), descriptors);
    ASSERT_TRUE(QLIBCFileLockByFile(kLockPath, true, &fd));
    EXPECT_EQ(QLIBCFileUnlockByFile(fd), 0);
    EXPECT_EQ(QLIBCFileUnlockByFile(fd), -1) << "released already";
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_FILE_LOCK);
    // A path that cannot be a lock file: the lock fails, and says why.
    root.WriteFile("/tmp/plain", "");
    EXPECT_FALSE(QLIBCFileLockByFile("/tmp/plain/x.lock", true, &fd));
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_FILE_OPEN);
    ASSERT_EQ(::mkdir(root.Path("/tmp/account_directory.lock").c_str(), 0755), 0);
    EXPECT_FALSE(FileLock("/tmp/account_directory.lock").Lock(1)) << "a directory is no lock file";

    // A link planted at the lock path, or another user's file there, is never
    // used: root replaces it with a lock file of its own; anyone else (here
    // uid 4242, at a world-writable sticky /tmp) fails. Root's own lock file
    // serves everyone, even one that others may only read.
    const bool as_root = ::geteuid() == 0;
    root.WriteFile("/etc/shadow-like", "secret\n");
    ASSERT_EQ(::chmod(root.root().c_str(), 0755) | ::chmod(root.Path("/tmp").c_str(), 01777), 0);
    enum Planted { kLink, kForeign, kRootsReadOnly };
    const std::vector<Planted> planted_cases =
        as_root ? std::vector<Planted>{kLink, kForeign, kRootsReadOnly} : std::vector<Planted>{kLink};
    const std::vector<bool> lockers = as_root ? std::vector<bool>{true, false} : std::vector<bool>{false};
    for (const Planted planted : planted_cases) {
        for (const bool by_root : lockers) {
            const std::string path = root.Path(kLockPath);
            ::unlink(path.c_str());
            if (planted == kLink) {
                ASSERT_EQ(::symlink(root.Path("/etc/shadow-like").c_str(), path.c_str()), 0);
            } else {
                root.WriteFile(kLockPath, "");
                const bool foreign = planted == kForeign;
                ASSERT_EQ(::chmod(path.c_str(), foreign ? 0666 : 0644), 0);
                ASSERT_EQ(::chown(path.c_str(), foreign ? 4243 : 0, 0), 0);
            }
            const bool usable = by_root || planted == kRootsReadOnly;
            ChildProcess child([by_root, usable] {
                if (!by_root && ::geteuid() == 0 && ::setresuid(4242, 4242, 0) != 0) {
                    return 2;
                }
                LogCapture log;
                const bool locked = FileLock(kLockPath).Lock(1);
                const bool logged = log.Contains(std::string(" Failed to open file: ") + kLockPath);
                return locked == usable && logged != usable ? 0 : 1;
            });
            EXPECT_EQ(child.Wait(), 0) << planted << by_root;
            EXPECT_EQ(root.ReadFile("/etc/shadow-like"), "secret\n");
            const mode_t mode = planted == kRootsReadOnly ? 0644 : by_root || planted == kForeign ? 0666 : 0777;
            EXPECT_EQ(root.Mode(kLockPath), mode) << planted << by_root << ": a lock file of our own, or left alone";
        }
    }
}

// With standard input closed, 0 is the first descriptor a file gets: the
// key/value write, the lock, the atomic replacement and its probe close it
// again like any other.
TEST(FileLock, DescriptorZeroIsReleasedLikeAnyOther) {
    TempRoot root;
    ChildProcess child([&root] {
        ::close(0);
        const auto zero_free = [] { return ::fcntl(0, F_GETFD) == -1; };
        bool released = QLIBCFileSetKeyValue("/etc/x.conf", "k", "v", "%s=\"%s\"\n") == 0 && zero_free();
        {
            FileLock lock("/tmp/zero.lock");
            released = lock.Lock(1) && released;
        }
        released = released && zero_free() && internal::ReplaceFileAtomically(root.Path("/etc/y"), "y", 0600) == 0;
        released = released && zero_free() && internal::ProbeReplaceable(root.Path("/etc/z"), 4096) == 0;
        return released && zero_free() ? 0 : 1;
    });
    EXPECT_EQ(child.Wait(), 0);
}

// A local user may give a held lock file another name, or (as root can) make
// it someone else's. Either way the lock stays with its holder, another
// process: the next locker waits for it, and then locks a lock file of its
// own at the path, leaving the other name alone.
TEST(FileLock, AHeldLockStaysHeldWhateverIsDoneToItsFile) {
    TempRoot root;
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root: a held file is given to another user";
    }
    const std::string real = root.Path(kLockPath);
    const std::string other_name = root.Path("/tmp/other-name");
    const std::vector<std::pair<const char*, std::function<int()>>> changes = {
        {"hard link", [&] { return ::link(real.c_str(), other_name.c_str()); }},
        {"another owner", [&] { return ::chown(real.c_str(), 4242, 4242); }},
    };
    for (const auto& [what, change] : changes) {
        ::unlink(other_name.c_str());
        LockHolder holder(kLockPath);
        ASSERT_TRUE(holder.holding()) << what;
        ASSERT_EQ(change(), 0) << what;
        FileLock next(kLockPath);
        EXPECT_FALSE(next.Lock(1)) << what << ": a second holder";
        ASSERT_TRUE(holder.Release());
        ASSERT_TRUE(next.Lock(1)) << what;
        struct stat info {};
        ASSERT_EQ(::stat(real.c_str(), &info), 0);
        EXPECT_EQ(info.st_nlink * 10000 + info.st_uid, 10000u) << what << ": one name, root's";
        EXPECT_EQ(root.Mode(kLockPath), 0666) << what;
        EXPECT_EQ(::access(other_name.c_str(), F_OK) == 0, std::string(what) == "hard link") << what;
    }
}

TEST(AtomicFile, AShortWriteIsReportedAndNeverRenamedIntoPlace) {
    TempRoot root;
    root.WriteFile("/data/file", "old content");
    const std::string path = root.Path("/data/file");
    ChildProcess writer([&path] {
        // The file size limit makes write() stop short with EFBIG, as a full disk would.
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {4096, 4096};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        return quilkova::internal::ReplaceFileAtomically(path, std::string(100000, 'n'), 0644) == EFBIG ? 0 : 1;
    });
    EXPECT_EQ(writer.Wait(), 0);
    EXPECT_EQ(root.ReadFile("/data/file"), "old content");
    EXPECT_EQ(internal::DirectoryEntries(root.Path("/data")), std::vector<std::string>{"file"})
        << "the temporary file is gone";
}

TEST(AtomicFile, TemporariesOfDeadWritersAreSweptAndPrivateDirectoriesClosedAgain) {
    TempRoot root;
    ASSERT_TRUE(SaveJsonFile(kHosToken, SampleToken()).ok());
    const std::string directory = root.Path("/usr/quil/etc/quillion-account/private");
    for (const char* stale : {"/.hos_token.json.AAAAAA", "/.hos_token.json.BBBBBB"}) {
        std::ofstream(directory + stale) << "torn";
    }
    std::ofstream(directory + "/.other.json.CCCCCC") << "not ours";
    // A live writer holds a lock on its temporary file: that one stays.
    const int live = ::open((directory + "/.hos_token.json.LIVE00").c_str(), O_CREAT | O_RDWR, 0600);
    ASSERT_EQ(::flock(live, LOCK_EX), 0);
    ChildProcess holder([] {
        ::pause();
        return 0;
    });
    ::close(live);  // the child inherited the locked descriptor
    ASSERT_EQ(::chmod(directory.c_str(), 0777), 0);

    ASSERT_TRUE(SaveJsonFile(kHosToken, SampleToken()).ok());
    std::vector<std::string> names = internal::DirectoryEntries(directory);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{".hos_token.json.LIVE00", ".other.json.CCCCCC", "hos_token.json"}));
    EXPECT_EQ(root.Mode("/usr/quil/etc/quillion-account/private"), 0700);
}

}  // namespace
