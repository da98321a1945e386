#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "child_process.hpp"
#include "quilplatform/qlibc_error.h"
#include "quilplatform/qlibc_file.h"
#include "temp_root.hpp"

namespace {

using quilkova::test::ChildProcess;
using quilkova::test::TempRoot;
using namespace std::chrono_literals;

constexpr const char* kConf = "/usr/quil/etc/quillion-account/private/user.conf";
constexpr const char* kLine = "%s=\"%s\"\n";

std::string Get(const char* path, const char* key, int size = 2048) {
    std::vector<char> buffer(static_cast<size_t>(size));
    const int length = QLIBCFileGetKeyValue(path, key, buffer.data(), size, 0);
    return length > 0 ? std::string(buffer.data(), static_cast<size_t>(length)) : "";
}

TEST(KeyValueFile, ReadsTheLineSyntaxesItDocuments) {
    TempRoot root;
    root.WriteFile("/etc/quilinfo.conf",
                   "# settings\n"
                   "language=\"enu\"\n"
                   "  kova_disable_report = yes  \n"
                   "\n"
                   "quoted=\"say \"hi\"\"\n"
                   "empty=\"\"\n"
                   "not a pair\n"
                   "#commented=\"no\"\n"
                   "language=\"second\"\n"
                   "last=\"no newline\"");
    EXPECT_EQ(Get("/etc/quilinfo.conf", "language"), "enu");
    EXPECT_EQ(Get("/etc/quilinfo.conf", "kova_disable_report"), "yes");
    EXPECT_EQ(Get("/etc/quilinfo.conf", "quoted"), "say \"hi\"");
    EXPECT_EQ(Get("/etc/quilinfo.conf", "last"), "no newline");

    char buffer[16] = "untouched";
    EXPECT_EQ(QLIBCFileGetKeyValue("/etc/quilinfo.conf", "empty", buffer, sizeof(buffer), 0), 0);
    EXPECT_EQ(QLIBCFileGetKeyValue("/etc/quilinfo.conf", "commented", buffer, sizeof(buffer), 0), 0);
    EXPECT_EQ(QLIBCFileGetKeyValue("/etc/quilinfo.conf", "missing", buffer, sizeof(buffer), 0), 0);
    EXPECT_EQ(QLIBCFileGetKeyValue("/etc/missing.conf", "language", buffer, sizeof(buffer), 0), 0);
    EXPECT_STREQ(buffer, "");

    EXPECT_EQ(QLIBCFileCheckKeyValue("/etc/quilinfo.conf", "kova_disable_report", "yes", 0), 1);
    EXPECT_EQ(QLIBCFileCheckKeyValue("/etc/quilinfo.conf", "kova_disable_report", "Yes", 0), 0);
    EXPECT_EQ(QLIBCFileCheckKeyValue("/etc/missing.conf", "kova_disable_report", "yes", 0), 0);

    PQLIBCSzList keys = QLIBCSzListAlloc(4);
    ASSERT_EQ(QLIBCFileGetKeys("/etc/quilinfo.conf", keys), 5);
    const char* expected[] = {"language", "kova_disable_report", "quoted", "empty", "last"};
    for (int i = 0; i < 5; ++i) {
        EXPECT_STREQ(QLIBCSzListGet(keys, i), expected[i]);
    }
    QLIBCSzListFree(keys);

    EXPECT_EQ(QLIBCFileCheckDir("/etc"), 1);
    EXPECT_EQ(QLIBCFileCheckDir("/usr/quil/missing"), 0);
    EXPECT_LT(QLIBCFileCheckDir("/etc/quilinfo.conf"), 0);
}

TEST(KeyValueFile, SetWritesTheLineReplacesInPlaceAndKeepsTheRest) {
    TempRoot root;
    const mode_t saved = ::umask(0);
    ASSERT_EQ(QLIBCFileSetKeyValue(kConf, "kovaID", "user@example.com", kLine), 0);
    ::umask(saved);
    EXPECT_EQ(root.ReadFile(kConf), "kovaID=\"user@example.com\"\n");
    EXPECT_EQ(root.Mode(kConf), 0600) << "a new file is root's only, whatever the umask";

    root.WriteFile(kConf, "# keep me\nkovaID=\"old\"\nenews=\"no\"\nkovaID=\"stale duplicate\"");
    ::chmod(root.Path(kConf).c_str(), 0640);
    ASSERT_EQ(QLIBCFileSetKeyValue(kConf, "kovaID", "new", kLine), 0);
    ASSERT_EQ(QLIBCFileSetKeyValue(kConf, "activated", "yes", kLine), 0);
    EXPECT_EQ(root.ReadFile(kConf), "# keep me\nkovaID=\"new\"\nenews=\"no\"\nactivated=\"yes\"\n");
    EXPECT_EQ(root.Mode(kConf), 0640) << "an existing file keeps its mode";

    ASSERT_EQ(QLIBCFileSetKeyValue(kConf, "full_name", "The \"Quoted\" Name", kLine), 0);
    EXPECT_EQ(Get(kConf, "full_name"), "The \"Quoted\" Name");
    ASSERT_EQ(QLIBCFileSetKeyValue(kConf, "country", "", kLine), 0);
    EXPECT_EQ(Get(kConf, "country"), "");

    // A value longer than the reader's buffer is cut to it, never overflowing.
    ASSERT_EQ(QLIBCFileSetKeyValue(kConf, "full_name", std::string(3000, 'v').c_str(), kLine), 0);
    std::vector<char> buffer(2048 + 16, '#');
    EXPECT_EQ(QLIBCFileGetKeyValue(kConf, "full_name", buffer.data(), 2048, 0), 2047);
    EXPECT_EQ(std::string(buffer.data()), std::string(2047, 'v'));
    EXPECT_EQ(buffer[2048], '#');
}

TEST(KeyValueFile, RefusesWhatWouldCorruptTheFile) {
    TempRoot root;
    ASSERT_EQ(QLIBCFileSetKeyValue(kConf, "kovaID", "user@example.com", kLine), 0);
    const std::string before = root.ReadFile(kConf);
    const struct {
        const char* key;
        const char* value;
        const char* format;
    } refused[] = {
        {"full_name", "two\nlines", kLine},
        {"full_name", "carriage\rreturn", kLine},
        {"kovaID\nevil", "x", kLine},
        {"a=b", "x", kLine},
        {"", "x", kLine},
        {"#comment", "x", kLine},
        {"full_name", nullptr, kLine},
        {"full_name", "x", "%s=%d\n"},
        {"full_name", "x", "%s\n"},
        {"full_name", "x", nullptr},
    };
    for (const auto& each : refused) {
        EXPECT_LT(QLIBCFileSetKeyValue(kConf, each.key, each.value, each.format), 0)
            << (each.key ? each.key : "(null)") << " / " << (each.value ? each.value : "(null)");
        EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_BAD_PARAMETERS);
        EXPECT_STREQ(QLIBCErrorGetFile(), "kv_file.cpp");
        EXPECT_GT(QLIBCErrorGetLine(), 0);
    }
    EXPECT_EQ(root.ReadFile(kConf), before);
}

TEST(KeyValueFile, ALinkAtThePathIsNeitherReadNorWrittenThrough) {
    TempRoot root;
    root.WriteFile("/victim", "kovaID=\"victim\"\n");
    root.WriteFile(kConf, "");
    ASSERT_EQ(::unlink(root.Path(kConf).c_str()), 0);
    ASSERT_EQ(::symlink(root.Path("/victim").c_str(), root.Path(kConf).c_str()), 0);

    char buffer[64];
    EXPECT_LT(QLIBCFileGetKeyValue(kConf, "kovaID", buffer, sizeof(buffer), 0), 0);
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_FILE_READ);
    EXPECT_LT(QLIBCFileSetKeyValue(kConf, "kovaID", "attacker", kLine), 0);
    EXPECT_EQ(root.ReadFile("/victim"), "kovaID=\"victim\"\n");
}

TEST(KeyValueFile, ConcurrentWritersOfDifferentKeysLoseNothing) {
    TempRoot root;
    constexpr int kWriters = 6;
    constexpr int kKeysEach = 15;
    std::vector<std::unique_ptr<ChildProcess>> writers;
    for (int w = 0; w < kWriters; ++w) {
        writers.push_back(std::make_unique<ChildProcess>([w] {
            for (int k = 0; k < kKeysEach; ++k) {
                const std::string key = "w" + std::to_string(w) + "_k" + std::to_string(k);
                if (QLIBCFileSetKeyValue(kConf, key.c_str(), ("value of " + key).c_str(), kLine) != 0) {
                    return 1;
                }
            }
            return 0;
        }));
    }
    for (auto& writer : writers) {
        EXPECT_EQ(writer->Wait(), 0);
    }
    PQLIBCSzList keys = QLIBCSzListAlloc(128);
    EXPECT_EQ(QLIBCFileGetKeys(kConf, keys), kWriters * kKeysEach);
    QLIBCSzListFree(keys);
    for (int w = 0; w < kWriters; ++w) {
        for (int k = 0; k < kKeysEach; ++k) {
            const std::string key = "w" + std::to_string(w) + "_k" + std::to_string(k);
            EXPECT_EQ(Get(kConf, key.c_str()), "value of " + key);
        }
    }
}

TEST(KeyValueFile, AWriterKilledMidWriteLeavesTheOldFileOrTheNewOne) {
    TempRoot root;
    constexpr size_t kPayload = 512 * 1024;  // large, so that a kill often lands inside a write
    ASSERT_EQ(QLIBCFileSetKeyValue(kConf, "kovaID", "keep@example.com", kLine), 0);
    std::mt19937 random(12345);
    for (int round = 0; round < 12; ++round) {
        ChildProcess writer([] {
            for (int i = 0;; ++i) {
                const std::string payload(kPayload, static_cast<char>('a' + i % 26));
                QLIBCFileSetKeyValue(kConf, "payload", payload.c_str(), kLine);
            }
            return 0;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(5 + random() % 40));
        writer.Kill();

        const std::string content = root.ReadFile(kConf);
        ASSERT_EQ(content.rfind("kovaID=\"keep@example.com\"\n", 0), 0u) << "round " << round;
        const size_t start = content.find("payload=\"");
        if (start == std::string::npos) {
            EXPECT_EQ(content, "kovaID=\"keep@example.com\"\n");
            continue;
        }
        const std::string line = content.substr(start);
        ASSERT_EQ(line.size(), kPayload + std::string("payload=\"\"\n").size()) << "round " << round;
        EXPECT_EQ(line.substr(9, kPayload), std::string(kPayload, line[9])) << "round " << round;
        EXPECT_EQ(line.substr(9 + kPayload), "\"\n");
    }
    // The next write sweeps what the killed writers left behind.
    ASSERT_EQ(QLIBCFileSetKeyValue(kConf, "kovaID", "keep@example.com", kLine), 0);
    PQLIBCSzList left = QLIBCSzListAlloc(4);
    DIR* dir = ::opendir(root.Path("/usr/quil/etc/quillion-account/private").c_str());
    while (const dirent* entry = ::readdir(dir)) {
        QLIBCSzListAdd(left, entry->d_name);
    }
    ::closedir(dir);
    EXPECT_EQ(QLIBCSzListCount(left), 3) << "., .. and user.conf";
    QLIBCSzListFree(left);
}

// Writers serialise on the file's directory; one that somebody holds forever
// fails the write after 30 seconds instead of hanging it.
TEST(KeyValueFile, AHeldDirectoryLockFailsTheWriteAfterThirtySeconds) {
    TempRoot root;
    ASSERT_EQ(QLIBCFileSetKeyValue(kConf, "kovaID", "keep", kLine), 0);
    const std::string directory = root.Path("/usr/quil/etc/quillion-account/private");
    quilkova::test::ReadySignal locked;
    ChildProcess holder([&directory, &locked] {
        const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY);
        if (::flock(fd, LOCK_EX) != 0) {
            return 1;
        }
        locked.Notify();
        ::pause();
        return 0;
    });
    ASSERT_TRUE(locked.Wait(10s));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_LT(QLIBCFileSetKeyValue(kConf, "kovaID", "blocked", kLine), 0);
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_FILE_LOCK);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 30s);
    EXPECT_EQ(Get(kConf, "kovaID"), "keep");
}

}  // namespace
