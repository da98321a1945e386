// Unprivileged callers: every access to the account record raises the process
// to root and drops back.
#include "test_prelude.hpp"

#include <syslog.h>

#include <atomic>

#include "account/default_hosts.hpp"

namespace {

constexpr uid_t kNobody = 65534;

class PrivilegeTest : public quilkova::test::AccountTest {};

// The priority and text of every log line, one per row.
std::string Logged(const LogCapture& log) {
    std::string rows;
    for (const auto& line : log.lines()) {
        rows += std::to_string(line.priority) + line.text.substr(line.text.find(' ')) + "\n";
    }
    return rows;
}

// Each case runs in a child that changes its own ids; its expectations print
// there and decide its exit status.
TEST_F(PrivilegeTest, EachAccessRaisesToRootAndDropsBackOrFailsWithCodeSixWritingNothing) {
    // Priorities: 38 is the auth facility's info, 35 its error, 3 an error.
    static_assert((LOG_AUTH | LOG_INFO) == 38 && (LOG_AUTH | LOG_ERR) == 35 && LOG_ERR == 3);
    const struct {
        uid_t saved_uid;
        gid_t saved_gid;
        bool raisable;
        const char* logged;  // by one access
    } cases[] = {
        // Raise group then user, drop back user, group, user.
        {0, 0, true,
         "38 WARNING: setresgid(-1, 0, -1)\n38 WARNING: setresuid(-1, 0, -1)\n38 WARNING: setresuid(-1, 0, -1)\n"
         "38 WARNING: setresgid(-1, 65534, -1)\n38 WARNING: setresuid(-1, 65534, -1)\n"},
        // No way up at all, or only for the group or the user: exactly the failed entry, the half given back.
        {kNobody, kNobody, false,
         "35 ERROR: setresgid(-1, 0, -1) [Operation not permitted]\n"
         "35 ERROR: setresuid(-1, 0, -1) [Operation not permitted]\n35 ERROR: ENTERCriticalSection\n"
         "3 Change permission failed\n"},
        {kNobody, 0, false,
         "38 WARNING: setresgid(-1, 0, -1)\n35 ERROR: setresuid(-1, 0, -1) [Operation not permitted]\n"
         "35 ERROR: ENTERCriticalSection\n3 Change permission failed\n"},
        {0, kNobody, false,
         "35 ERROR: setresgid(-1, 0, -1) [Operation not permitted]\n38 WARNING: setresuid(-1, 0, -1)\n"
         "35 ERROR: ENTERCriticalSection\n3 Change permission failed\n"},
    };
    for (const auto& each : cases) {
        ChildProcess child([&each] {
            if (::setresgid(kNobody, kNobody, each.saved_gid) != 0 ||
                ::setresuid(kNobody, kNobody, each.saved_uid) != 0) {
                return 2;
            }
            const bool raisable = each.raisable;
            LogCapture log;
            KOVA_INFO written = {};
            std::strcpy(written.email, "owner@example.com");
            std::strcpy(written.user_id, "u-1");
            std::strcpy(written.auth_key, "key-1");
            EXPECT_EQ(FailureCode(QUILKOVAAccountSet(&written)), raisable ? 1000 : KOVA_ERR_SYSTEM);
            const std::string logged = Logged(log);
            std::string repeated = each.logged;  // one raise and one drop per access
            while (repeated.size() < logged.size()) {
                repeated += each.logged;
            }
            EXPECT_EQ(logged, repeated);
            uid_t real_uid = 0, effective_uid = 0, saved_uid = 0;
            gid_t real_gid = 0, effective_gid = 0, saved_gid = 0;
            ::getresuid(&real_uid, &effective_uid, &saved_uid);
            ::getresgid(&real_gid, &effective_gid, &saved_gid);
            EXPECT_EQ(std::vector<unsigned>({real_uid, effective_uid, saved_uid, real_gid, effective_gid, saved_gid}),
                      std::vector<unsigned>({kNobody, kNobody, each.saved_uid, kNobody, kNobody, each.saved_gid}))
                << "every id as it was";
            KOVA_INFO read = {};
            EXPECT_EQ(FailureCode(QUILKOVAAccountGet(&read)), raisable ? 1000 : KOVA_ERR_SYSTEM);
            EXPECT_STREQ(read.user_id, raisable ? "u-1" : "");
            if (raisable) {
                // Threads of one process share the raised section: none drops
                // it in the middle of another's read, on either face.
                std::atomic<int> wrong{0};
                const auto reader = [&wrong](bool flat) {
                    for (int i = 0; i < 200; ++i) {
                        KOVA_INFO info = {};
                        const bool right = flat ? QUILKOVAAccountGet(&info) == 0 && std::string(info.auth_key) == "key-1"
                                                : quilkova::User().GetEmail() == "owner@example.com" &&
                                                      quilkova::User().GetAuthKey() == "key-1";
                        wrong += right ? 0 : 1;
                    }
                };
                std::thread first(reader, false);
                std::thread second(reader, true);
                std::thread third(reader, false);
                first.join();
                second.join();
                third.join();
                EXPECT_EQ(wrong.load(), 0);
                EXPECT_EQ(::geteuid(), kNobody) << "dropped once the last thread left";
            }
            if (!raisable) {  // the hosts fall back to the compiled-in ones
                EXPECT_EQ(quilkova::ServerInfo().GetAccountHost(), quilkova::internal::kAccountHost);
                EXPECT_TRUE(log.Contains(" Failed to get user defined account host")) << log.Dump();
                QUILKOVAErrSet(KOVA_ERR_SUCCESS);
                EXPECT_EQ(QUILKOVAAccountRegisterCrond(), 0);
                EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SYSTEM) << "the schedule's record unread: its code";
            }
            return ::testing::Test::HasFailure() ? 1 : 0;
        });
        EXPECT_EQ(child.Wait(), 0);
        EXPECT_EQ(::unlink(root().Path(kUserConf).c_str()) == 0, each.raisable);
    }
}

}  // namespace
