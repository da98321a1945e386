// The platform's string hash, list, growable append and trim.
#include "test_prelude.hpp"

#include <cstdlib>

#include "quilplatform/crond.h"
#include "quilplatform/device.h"
#include "quilplatform/notify.h"
#include "quilplatform/plugin.h"
#include "quilplatform/process.h"
#include "quilplatform/qlibc_file.h"
#include "quilplatform/qlibc_string.h"
#include "quilplatform/zone.h"

namespace {

TEST(Strings, TheHashKeepsInsertionOrderAndFailuresRecordWhereInTheirThread) {
    PQLIBCSzHash hash = QLIBCSzHashAlloc(2);
    for (const auto& [key, value] : {std::pair<const char*, const char*>{"hs_sn", "1"}, {"email", "a@b.c"},
                                     {"nothing", nullptr}, {"hs_sn", "2"}, {"passwd", "p&ss=word"}}) {
        EXPECT_EQ(QLIBCSzHashSetValue(hash, key, value), 0);  // grows past its capacity; replaces in place
    }
    EXPECT_STREQ(QLIBCSzHashGetValue(hash, "hs_sn"), "2");
    EXPECT_EQ(QLIBCSzHashGetValue(hash, "nothing"), nullptr);
    PQLIBCSzList keys = QLIBCSzListAlloc(1);
    ASSERT_EQ(QLIBCSzHashEnumKey(hash, keys), 4);
    EXPECT_EQ(QLIBCSzHashGetValue(hash, "missing"), nullptr);  // another error first
    EXPECT_EQ(QLIBCSzHashEnumKey(hash, nullptr), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_BAD_PARAMETERS);
    EXPECT_EQ(std::string(QLIBCSzListGet(keys, 0)) + QLIBCSzListGet(keys, 3), "hs_snpasswd");
    EXPECT_EQ(QLIBCSzListGet(keys, 4), nullptr);
    QLIBCSzListFree(keys);
    EXPECT_EQ(QLIBCSzHashGetValue(hash, "missing"), nullptr);
    std::thread([] { QLIBCSzHashSetValue(nullptr, "k", "v"); }).join();
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_NOT_FOUND) << "the last error belongs to the thread that failed";
    QLIBCSzHashFree(hash);
    EXPECT_EQ(QLIBCSzHashAlloc(0), nullptr);
    EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_BAD_PARAMETERS);
    EXPECT_STREQ(QLIBCErrorGetFile(), "sz_containers.cpp");
    EXPECT_GT(QLIBCErrorGetLine(), 0);
    std::thread([] {
        EXPECT_EQ(std::to_string(QLIBCErrGet()) + QLIBCErrorGetFile() + std::to_string(QLIBCErrorGetLine()), "00")
            << "a thread that never failed has no last error";
    }).join();
}

// Every platform call refuses what it cannot use (a null pointer, no room, a
// negative index) with its last error set, and never crashes.
TEST(PlatformCalls, RefuseBadArgumentsWithTheirLastError) {
    PQLIBCSzHash hash = QLIBCSzHashAlloc(4);
    PQLIBCSzList list = QLIBCSzListAlloc(4);
    QLIBCSzListAdd(list, "only");
    char buffer[32] = {};
    PQLIBPLUGIN plugin = nullptr;
    const std::vector<std::pair<const char*, std::function<bool()>>> calls = {
        {"hash set without hash", [] { return QLIBCSzHashSetValue(nullptr, "k", "v") == -1; }},
        {"hash set without key", [hash] { return QLIBCSzHashSetValue(hash, nullptr, "v") == -1; }},
        {"hash get without key", [hash] { return QLIBCSzHashGetValue(hash, nullptr) == nullptr; }},
        {"list add without text", [list] { return QLIBCSzListAdd(list, nullptr) == -1; }},
        {"notification without tag", [hash] { return QUILSysNotifySendNotifiction(nullptr, hash) == -1; }},
        {"list get below 0", [list] { return QLIBCSzListGet(list, -1) == nullptr; }},
        {"list get past the end", [list] { return QLIBCSzListGet(list, 1) == nullptr; }},
        {"list get without list", [] { return QLIBCSzListGet(nullptr, 0) == nullptr; }},
        {"list count without list", [] { return QLIBCSzListCount(nullptr) == -1; }},
        {"zone without buffer", [] { return QUILZoneGet(nullptr, 64, nullptr) == -1; }},
        {"zone without room", [&buffer] { return QUILZoneGet(buffer, 0, nullptr) == -1; }},
        {"schedule removal without command", [] { return QUILScheduleRemove(nullptr) == -1; }},
        {"zone info without zone", [hash] { return QUILZoneGetInfo(nullptr, hash) == -1; }},
        {"plug-in without domain", [&plugin] { return QLIBPluginSDKInit(nullptr, "e", &plugin, "") == -1; }},
        {"plug-in without event", [&plugin] { return QLIBPluginSDKInit("d", nullptr, &plugin, "") == -1; }},
        {"plug-in with no event", [&plugin] { return QLIBPluginSDKInit("d", "", &plugin, "") == -1; }},
        {"plug-in event above", [&plugin] { return QLIBPluginSDKInit("d", "e/../..", &plugin, "") == -1; }},
        {"plug-in without handle", [] { return QLIBPluginSDKInit("d", "e", nullptr, "") == -1; }},
        {"trim without text", [] { return QLIBCStrTrimSpace(nullptr) == nullptr; }},
        {"key check without path", [] { return QLIBCFileCheckKeyValue(nullptr, "k", "v", 0) == -1; }},
        {"key check without key", [] { return QLIBCFileCheckKeyValue("/etc/x.conf", nullptr, "v", 0) == -1; }},
        {"key check without value", [] { return QLIBCFileCheckKeyValue("/etc/x.conf", "k", nullptr, 0) == -1; }},
        {"key read without path", [&buffer] { return QLIBCFileGetKeyValue(nullptr, "k", buffer, 32, 0) == -1; }},
        {"keys without path", [list] { return QLIBCFileGetKeys(nullptr, list) == -1; }},
        {"directory check without path", [] { return QLIBCFileCheckDir(nullptr) == -1; }},
        {"plug-in action without handle", [] { return QLIBPluginAction(5, nullptr) == -1; }},
        {"user agent without product", [&buffer] { return QLIBHsinfoUserAgentGet(nullptr, buffer, 32) == -1; }},
        {"user agent without room", [&buffer] { return QLIBHsinfoUserAgentGet("kova", buffer, 0) == -1; }},
        {"serial without room", [&buffer] { return QLIBGetSerialNumber(buffer, 0) == -1; }},
        {"original serial without room", [&buffer] { return QLIBGetOriginalSerialNumber(buffer, 0) == -1; }},
        {"MAC without buffer", [] { return QUILHsinfoCloudServiceGetMacAddress(nullptr, 24) == -1; }},
        {"MAC without room", [&buffer] { return QUILHsinfoCloudServiceGetMacAddress(buffer, 0) == -1; }},
        {"pipe without program", [] { return QLIBCPopen(nullptr, "r", nullptr) == nullptr; }},
        {"pipe without mode", [] { return QLIBCPopen("/bin/true", nullptr, nullptr) == nullptr; }},
        {"program without path", [] { return QLIBCExecl(nullptr) == -1; }},
        {"unlock of no descriptor", [] { return QLIBCFileUnlockByFile(-1) == -1; }},
        {"lock without path", [] { int fd = -1; return !QLIBCFileLockByFile(nullptr, true, &fd); }},
    };
    for (const auto& [call, refused] : calls) {
        QLIBCSzHashGetValue(hash, "missing");  // another last error before each call
        ASSERT_EQ(QLIBCErrGet(), QLIBC_ERR_NOT_FOUND);
        EXPECT_TRUE(refused()) << call;
        EXPECT_EQ(QLIBCErrGet(), QLIBC_ERR_BAD_PARAMETERS) << call;
    }
    QLIBCSzListFree(list);
    QLIBCSzHashFree(hash);
}

TEST(Strings, AppendGrowsTheBufferAndTrimTakesBlanksAtBothEnds) {
    size_t capacity = 4;
    char* buffer = static_cast<char*>(std::calloc(capacity, 1));
    std::string expected;
    for (int i = 0; i < 200; ++i) {
        const std::string piece = "&key" + std::to_string(i) + "=value";
        expected += piece;
        ASSERT_EQ(QLIBCStrCat(&buffer, &capacity, piece.c_str()), static_cast<int>(expected.size()));
    }
    EXPECT_EQ(std::string(buffer), expected);
    EXPECT_EQ(QLIBCStrCat(&buffer, &capacity, nullptr), -1);
    std::free(buffer);
    // Unterminated within its capacity, no buffer, no capacity: refused.
    char unterminated[3] = {'a', 'b', 'c'};
    char* pointer = unterminated;
    char* none = nullptr;
    size_t size = sizeof(unterminated);
    size_t zero = 0;
    for (const auto& [text, room] : {std::pair<char**, size_t*>{&pointer, &size}, {&none, &size}, {nullptr, &size},
                                     {&pointer, nullptr}, {&pointer, &zero}}) {
        EXPECT_EQ(QLIBCStrCat(text, room, "x"), -1);
    }

    for (const auto& [in, out] : {std::pair<const char*, const char*>{"  {\"code\":\"good\"}\r\n", "{\"code\":\"good\"}"},
                                  {"\t\n ", ""}, {"", ""}, {"a b", "a b"}}) {
        char text[64];
        std::strcpy(text, in);
        EXPECT_STREQ(QLIBCStrTrimSpace(text), out) << '"' << in << '"';
    }
    EXPECT_EQ(QLIBCStrTrimSpace(nullptr), nullptr);
}

}  // namespace
