// Key/value files: the line syntax, crash-safe and serialised writes.
#include "test_prelude.hpp"

#include <fcntl.h>
#include <sys/file.h>

#include <random>

#include "quilplatform/qlibc_file.h"
#include "util/atomic_file.hpp"

namespace {

constexpr const char* kLine = "%s=\"%s\"\n";

std::string Get(const char* path, const char* key, int size = 2048) {
    std::vector<char> buffer(static_cast<size_t>(size) + 16, '#');
    const int length = QLIBCFileGetKeyValue(path, key, buffer.data(), size, 0);
    EXPECT_EQ(buffer[static_cast<size_t>(size)], '#') << "never past the buffer";
    EXPECT_TRUE(length > 0 || buffer[0] == '\0') << "a miss leaves an empty text";
    return length > 0 ? std::string(buffer.data(), static_cast<size_t>(length)) : "";
}

TEST(KeyValueFile, ReadsTheLineSyntaxesItDocuments) {
    TempRoot root;
    root.WriteFile("/etc/quilinfo.conf",
                   "# settings\nlanguage=\"enu\"\n  kova_disable_report = yes  \n\nquoted=\"say \"hi\"\"\nempty=\"\"\n"
                   "not a pair\n#commented=\"no\"\nlanguage=\"second\"\nlast=\"no newline\"");
    for (const auto& [key, value] : {std::pair<const char*, const char*>{"language", "enu"},
                                     {"kova_disable_report", "yes"}, {"quoted", "say \"hi\""}, {"last", "no newline"},
                                     {"empty", ""}, {"commented", ""}, {"missing", ""}}) {
        EXPECT_EQ(Get("/etc/quilinfo.conf", key), value) << key;
    }
    EXPECT_EQ(Get("/etc/missing.conf", "language"), "");
    EXPECT_EQ(Get("/etc/quilinfo.conf", "language", 3) + Get("/etc/quilinfo.conf", "language", 1), "en") << "cut to fit";
    EXPECT_EQ(QLIBCFileCheckKeyValue("/etc/quilinfo.conf", "kova_disable_report", "yes", 0), 1);
    EXPECT_EQ(QLIBCFileCheckKeyValue("/etc/quilinfo.conf", "kova_disable_report", "Yes", 0), 0);
    PQLIBCSzList keys = QLIBCSzListAlloc(4);
    ASSERT_EQ(QLIBCFileGetKeys("/etc/quilinfo.conf", keys), 5);
    EXPECT_STREQ(QLIBCSzListGet(keys, 4), "last");
    QLIBCSzListFree(keys);
    EXPECT_EQ(QLIBCFileCheckDir("/etc"), 1);
    EXPECT_EQ(QLIBCFileCheckDir("/usr/quil/missing"), 0);
    EXPECT_LT(QLIBCFileCheckDir("/etc/quilinfo.conf"), 0);
    EXPECT_LT(QLIBCFileCheckDir("/etc/quilinfo.conf/below"), 0) << "a path that cannot be looked at";
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_SYSTEM);
}

TEST(KeyValueFile, SetReplacesInPlaceKeepsTheRestAndRefusesWhatWouldCorruptTheFile) {
    TempRoot root;
    const mode_t saved = ::umask(0);
    ASSERT_EQ(QLIBCFileSetKeyValue(kUserConf, "kovaID", "user@example.com", kLine), 0);
    ::umask(saved);
    EXPECT_EQ(root.Mode(kUserConf), 0600) << "a new file is root's only, whatever the umask";
    struct stat created {};
    ASSERT_EQ(::stat(root.Path(kUserConf).c_str(), &created), 0);
    EXPECT_EQ(created.st_uid, ::geteuid()) << "its owner the writer";
    EXPECT_EQ(created.st_gid, ::getegid()) << "and its group the writer's";
    root.WriteFile(kUserConf, "# keep me\nkovaID=\"old\"\nenews=\"no\"\nkovaID=\"stale duplicate\"");
    ::chmod(root.Path(kUserConf).c_str(), 0640);
    ASSERT_EQ(QLIBCFileSetKeyValue(kUserConf, "kovaID", "new", kLine), 0);
    ASSERT_EQ(QLIBCFileSetKeyValue(kUserConf, "activated", "yes", "%s=\"%s\""), 0) << "a line is ended all the same";
    EXPECT_EQ(root.ReadFile(kUserConf), "# keep me\nkovaID=\"new\"\nenews=\"no\"\nactivated=\"yes\"\n");
    EXPECT_EQ(root.Mode(kUserConf), 0640) << "an existing file keeps its mode";
    ASSERT_EQ(QLIBCFileSetKeyValue(kUserConf, "full_name", std::string(3000, 'v').c_str(), kLine), 0);
    EXPECT_EQ(Get(kUserConf, "full_name"), std::string(2047, 'v')) << "cut to the reader's buffer";

    const std::string before = root.ReadFile(kUserConf);
    const std::vector<std::tuple<const char*, const char*, const char*>> refused = {
        {"full_name", "two\nlines", kLine}, {"full_name", "carriage\rreturn", kLine}, {"kovaID\nevil", "x", kLine},
        {"a=b", "x", kLine}, {"", "x", kLine}, {"#comment", "x", kLine}, {"full_name", nullptr, kLine},
        {"full_name", "x", "%s=%d\n"}, {"full_name", "x", "%s\n"}, {"full_name", "x", nullptr}};
    for (const auto& [key, value, format] : refused) {
        EXPECT_LT(QLIBCFileSetKeyValue(kUserConf, key, value, format), 0) << key << " / " << (value ? value : "(null)");
        EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_BAD_PARAMETERS);
        EXPECT_STREQ(QLIBCErrorGetFile(), "kv_file.cpp");
    }
    EXPECT_EQ(root.ReadFile(kUserConf), before);
    ASSERT_EQ(::mkdir(root.Path("/a-directory").c_str(), 0755), 0);
    EXPECT_LT(QLIBCFileSetKeyValue("/a-directory", "kovaID", "x", kLine), 0);
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_FILE_READ) << "what stands at the path cannot be read";

    // A link at the path is neither read nor written through.
    root.WriteFile("/victim", "kovaID=\"victim\"\n");
    ASSERT_EQ(::unlink(root.Path(kUserConf).c_str()), 0);
    ASSERT_EQ(::symlink(root.Path("/victim").c_str(), root.Path(kUserConf).c_str()), 0);
    char buffer[64];
    (void)QLIBCFileGetKeyValue(nullptr, "kovaID", buffer, sizeof(buffer), 0);  // another error first
    EXPECT_LT(QLIBCFileGetKeyValue(kUserConf, "kovaID", buffer, sizeof(buffer), 0), 0);
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_FILE_READ);
    EXPECT_LT(QLIBCFileSetKeyValue(kUserConf, "kovaID", "attacker", kLine), 0);
    EXPECT_EQ(root.ReadFile("/victim"), "kovaID=\"victim\"\n");
}

TEST(KeyValueFile, ConcurrentWritersOfDifferentKeysLoseNothing) {
    TempRoot root;
    auto writers = StartTogether(6, [](int w) {
        for (int k = 0; k < 15; ++k) {
            const std::string key = "w" + std::to_string(w) + "_k" + std::to_string(k);
            if (QLIBCFileSetKeyValue(kUserConf, key.c_str(), ("value of " + key).c_str(), kLine) != 0) {
                return 1;
            }
        }
        return 0;
    });
    for (auto& writer : writers) {
        EXPECT_EQ(writer->Wait(), 0);
    }
    for (int w = 0; w < 6; ++w) {
        for (int k = 0; k < 15; ++k) {
            const std::string key = "w" + std::to_string(w) + "_k" + std::to_string(k);
            EXPECT_EQ(Get(kUserConf, key.c_str()), "value of " + key);
        }
    }
}

TEST(KeyValueFile, AWriterKilledMidWriteLeavesTheOldFileOrTheNewOneAndNothingElse) {
    TempRoot root;
    constexpr size_t kPayload = 512 * 1024;  // large, so that a kill often lands inside a write
    ASSERT_EQ(QLIBCFileSetKeyValue(kUserConf, "kovaID", "keep@example.com", kLine), 0);
    std::mt19937 random(12345);
    for (int round = 0; round < 12; ++round) {
        ChildProcess writer([] {
            for (int i = 0;; ++i) {
                QLIBCFileSetKeyValue(kUserConf, "payload", std::string(kPayload, static_cast<char>('a' + i % 26)).c_str(),
                                     kLine);
            }
            return 0;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(5 + random() % 40));
        writer.Kill();
        const std::string content = root.ReadFile(kUserConf);
        ASSERT_EQ(content.rfind("kovaID=\"keep@example.com\"\n", 0), 0u) << "round " << round;
        const size_t start = content.find("payload=\"");
        if (start != std::string::npos) {
            const std::string line = content.substr(start);
            ASSERT_EQ(line.size(), kPayload + std::string("payload=\"\"\n").size()) << "round " << round;
            EXPECT_EQ(line.substr(9, kPayload), std::string(kPayload, line[9])) << "round " << round;
        }
    }
    // The next write sweeps what the killed writers left behind.
    ASSERT_EQ(QLIBCFileSetKeyValue(kUserConf, "kovaID", "keep@example.com", kLine), 0);
    EXPECT_EQ(quilkova::internal::DirectoryEntries(root.Path("/usr/quil/etc/quillion-account/private")),
              std::vector<std::string>{"user.conf"});
}

// Writers serialise on the file's directory; one that somebody holds forever
// fails the write after its wait (30 s, here 1 s) instead of hanging it.
TEST(KeyValueFile, AHeldDirectoryLockFailsTheWriteAfterItsWait) {
    TempRoot root;
    const ShortWaits waits;
    ASSERT_EQ(QLIBCFileSetKeyValue(kUserConf, "kovaID", "keep", kLine), 0);
    const std::string directory = root.Path("/usr/quil/etc/quillion-account/private");
    const LockHolder holder(
        [&directory] { return ::flock(::open(directory.c_str(), O_RDONLY | O_DIRECTORY), LOCK_EX) == 0; });
    ASSERT_TRUE(holder.holding());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_LT(QLIBCFileSetKeyValue(kUserConf, "kovaID", "blocked", kLine), 0);
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_FILE_LOCK);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 1s);
    EXPECT_EQ(Get(kUserConf, "kovaID"), "keep");
}

}  // namespace
