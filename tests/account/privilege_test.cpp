// Unprivileged callers: every access to the account record raises the process
// to root and drops back. Each case runs in a child process that changes its
// own ids; its gtest expectations print there and decide its exit status.
#include "test_prelude.hpp"

#include <syslog.h>

#include "internal/default_hosts.hpp"

namespace {

constexpr unsigned int kNobody = 65534;

class PrivilegeTest : public quilkova::test::AccountTest {};

KOVA_INFO Identity() {
    KOVA_INFO info = {};
    std::snprintf(info.email, sizeof(info.email), "owner@example.com");
    std::snprintf(info.user_id, sizeof(info.user_id), "u-1");
    std::snprintf(info.auth_key, sizeof(info.auth_key), "key-1");
    return info;
}

void ExpectLine(const LogCapture& log, size_t index, int priority, const std::string& text) {
    if (index >= log.lines().size()) {
        ADD_FAILURE() << "no line " << index << " in\n" << log.Dump();
        return;
    }
    EXPECT_EQ(log.lines()[index].priority, priority) << log.lines()[index].text;
    EXPECT_NE(log.lines()[index].text.find(text), std::string::npos) << log.Dump();
}

TEST_F(PrivilegeTest, ACallerThatCanReturnToRootIsRaisedForEachAccessAndDroppedBack) {
    ChildProcess child([] {
        if (::setresgid(kNobody, kNobody, 0) != 0 || ::setresuid(kNobody, kNobody, 0) != 0) {
            return 2;
        }
        LogCapture log;
        const KOVA_INFO written = Identity();
        EXPECT_EQ(QUILKOVAAccountSet(&written), 0);
        KOVA_INFO read = {};
        EXPECT_EQ(QUILKOVAAccountGet(&read), 0);
        EXPECT_STREQ(read.user_id, "u-1");
        EXPECT_EQ(::geteuid(), kNobody);
        EXPECT_EQ(::getegid(), kNobody);

        // One access: raise group then user, drop back user, group, user.
        const int info = LOG_AUTH | LOG_INFO;
        ExpectLine(log, 0, info, " WARNING: setresgid(-1, 0, -1)");
        ExpectLine(log, 1, info, " WARNING: setresuid(-1, 0, -1)");
        ExpectLine(log, 2, info, " WARNING: setresuid(-1, 0, -1)");
        ExpectLine(log, 3, info, " WARNING: setresgid(-1, 65534, -1)");
        ExpectLine(log, 4, info, " WARNING: setresuid(-1, 65534, -1)");
        EXPECT_EQ(log.lines().size() % 5, 0u) << "every access is one raise and one drop";
        return ::testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_NE(UserConf().find("kovaIDSerial=\"u-1\""), std::string::npos);
}

// No way back to root at all, or only for the group: code 6, exactly the
// failed entry in the log, nothing written, the ids as they were.
TEST_F(PrivilegeTest, ACallerThatCannotBeRaisedGetsCodeSixAndNothingIsWritten) {
    const struct {
        gid_t saved_gid;
        const char* group_line;
        int group_priority;
    } cases[] = {
        {kNobody, " ERROR: setresgid(-1, 0, -1) [Operation not permitted]", LOG_AUTH | LOG_ERR},
        {0, " WARNING: setresgid(-1, 0, -1)", LOG_AUTH | LOG_INFO},
    };
    for (const auto& each : cases) {
        ChildProcess child([&each] {
            if (::setresgid(kNobody, kNobody, each.saved_gid) != 0 || ::setresuid(kNobody, kNobody, kNobody) != 0) {
                return 2;
            }
            LogCapture log;
            const KOVA_INFO written = Identity();
            EXPECT_EQ(FailureCode(QUILKOVAAccountSet(&written)), KOVA_ERR_SYSTEM);
            ExpectLine(log, 0, each.group_priority, each.group_line);
            ExpectLine(log, 1, LOG_AUTH | LOG_ERR, " ERROR: setresuid(-1, 0, -1) [Operation not permitted]");
            ExpectLine(log, 2, LOG_AUTH | LOG_ERR, " ERROR: ENTERCriticalSection");
            ExpectLine(log, 3, LOG_ERR, " Change permission failed");
            EXPECT_EQ(log.lines().size(), 4u) << log.Dump();
            EXPECT_EQ(::getegid(), kNobody) << "the half-raised group is given back";

            KOVA_INFO read = Identity();
            EXPECT_EQ(FailureCode(QUILKOVAAccountGet(&read)), KOVA_ERR_SYSTEM);
            // The hosts fall back to the compiled-in ones.
            EXPECT_EQ(quilkova::ServerInfo().GetAccountHost(), quilkova::internal::kAccountHost);
            EXPECT_TRUE(log.Contains(" Failed to get user defined account host")) << log.Dump();
            return ::testing::Test::HasFailure() ? 1 : 0;
        });
        EXPECT_EQ(child.Wait(), 0);
        EXPECT_FALSE(root().Exists(kUserConf));
    }
}

}  // namespace
