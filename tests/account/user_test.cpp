#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "account_fixture.hpp"
#include "kova_code.hpp"
#include "log_capture.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/user.hpp"

namespace {

using quilkova::KovaException;
using quilkova::test::CodeOf;
using quilkova::User;
using quilkova::test::kUserConf;
using quilkova::test::LogCapture;

class UserTest : public quilkova::test::AccountTest {};

TEST_F(UserTest, AMissingFileGivesEveryDefault) {
    const User user;
    for (const std::string& value :
         {user.GetAccountHost(), user.GetIdentityHost(), user.GetEmail(), user.GetUserId(), user.GetAuthKey(),
          user.GetName(), user.GetCountry(), user.GetTimezone(), user.GetNotifyLanguage(),
          user.GetCriticalVersionList(), user.GetCriticalVersionDomain()}) {
        EXPECT_EQ(value, "");
    }
    EXPECT_EQ(user.GetReportCronTimestring(), "~ 9~16 * * 1~5");
    EXPECT_EQ(user.GetLastQueryTime(), 0);
    for (bool value : {user.GetIsActivated(), user.GetIsDisabled(), user.GetIsEnews(), user.GetIsCriticalRelease(),
                       user.GetIsEnewsLocalPromotion(), user.GetIsRealnameValidationPass()}) {
        EXPECT_FALSE(value);
    }
    EXPECT_FALSE(user.Exists());
    EXPECT_FALSE(root().Exists(kUserConf)) << "reading creates nothing";
}

TEST_F(UserTest, WritesTheDocumentedLinesAndReadsThemBack) {
    const User user;
    user.SetUserId("u-1234");
    user.SetIsEnews(true);
    user.SetIsDisabled(false);
    user.SetLastQueryTime(1700000000);
    EXPECT_EQ(UserConf(), "kovaIDSerial=\"u-1234\"\nenews=\"yes\"\ndisabled=\"no\"\nlast_query_time=\"1700000000\"\n");
    EXPECT_TRUE(user.Exists());
    EXPECT_TRUE(user.GetIsEnews());
    EXPECT_EQ(user.GetLastQueryTime(), 1700000000);
    user.SetLastQueryTime(-5);
    EXPECT_EQ(user.GetLastQueryTime(), -5);

    user.SetReportCronTimestring("0 3 * * *");
    EXPECT_EQ(user.GetReportCronTimestring(), "0 3 * * *");
    user.SetIdentityHost("https://id.example");
    EXPECT_EQ(user.GetIdentityHost(), "https://id.example");
    EXPECT_EQ(user.GetAccountHost(), "");
}

TEST_F(UserTest, ReadsStoredTextsAsDocumented) {
    root().WriteFile(kUserConf,
                     "enews=\"true\"\nactivated=\"1\"\ndisabled=\"YES\"\ncritical_release=\"\"\n"
                     "last_query_time=\"abc\"\nreport_cron_timestring=\"\"\nkovaIDSerial=\"\"\n"
                     "full_name=\"  padded  \"\n");
    const User user;
    EXPECT_TRUE(user.GetIsEnews());
    EXPECT_FALSE(user.GetIsActivated());
    EXPECT_FALSE(user.GetIsDisabled());
    EXPECT_FALSE(user.GetIsCriticalRelease());
    EXPECT_EQ(user.GetLastQueryTime(), 0);
    EXPECT_EQ(user.GetReportCronTimestring(), "~ 9~16 * * 1~5") << "an empty value gives the default";
    EXPECT_FALSE(user.Exists());
    EXPECT_EQ(user.GetName(), "  padded  ");

    root().WriteFile(kUserConf, "last_query_time=\"99999999999999999999\"\n");
    EXPECT_EQ(user.GetLastQueryTime(), 0) << "an overflowing number gives the default";
    root().WriteFile(kUserConf, "last_query_time=\" 42 seconds\"\n");
    EXPECT_EQ(user.GetLastQueryTime(), 42);
}

TEST_F(UserTest, QuotesAreKeptAndLineBreaksRefusedSoOtherKeysStayIntact) {
    const User user;
    user.SetEmail("owner@example.com");
    user.SetName("Ann \"the admin\" O'Neil");
    EXPECT_EQ(user.GetName(), "Ann \"the admin\" O'Neil");
    const std::string before = UserConf();

    LogCapture log;
    EXPECT_EQ(CodeOf([&] { user.SetName("x\"\nkovaIDSerial=\"hijacked"); }), KOVA_ERR_CONFIG_WRITE);
    EXPECT_TRUE(log.Contains("Failed to set kova config for full_name:x\"")) << log.Dump();
    EXPECT_EQ(UserConf(), before);
    EXPECT_EQ(user.GetUserId(), "");
    EXPECT_EQ(user.GetEmail(), "owner@example.com");
}

TEST_F(UserTest, EveryWriteLeavesTheFileRootsOnlyEvenWhenItFails) {
    const User user;
    user.SetEmail("owner@example.com");
    const std::string path = root().Path(kUserConf);
    ASSERT_EQ(::chmod(path.c_str(), 0644), 0);
    ASSERT_EQ(::chown(path.c_str(), 65534, 65534), 0);
    EXPECT_EQ(CodeOf([&] { user.SetName("two\nlines"); }), KOVA_ERR_CONFIG_WRITE);
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600u);
    EXPECT_EQ(info.st_uid, 0u);
    EXPECT_EQ(info.st_gid, 0u);
}

TEST_F(UserTest, ALinkPlantedAtTheRecordIsNeitherWrittenNorChmodded) {
    root().WriteFile("/etc/passwd-like", "root:x:0:0\n");
    const std::string victim = root().Path("/etc/passwd-like");
    ASSERT_EQ(::chmod(victim.c_str(), 0644), 0);
    root().WriteFile(kUserConf, "");
    ASSERT_EQ(::unlink(root().Path(kUserConf).c_str()), 0);
    ASSERT_EQ(::symlink(victim.c_str(), root().Path(kUserConf).c_str()), 0);

    LogCapture log;
    EXPECT_EQ(CodeOf([] { User().SetEmail("attacker@example.com"); }), KOVA_ERR_CONFIG_WRITE);
    EXPECT_EQ(root().ReadFile("/etc/passwd-like"), "root:x:0:0\n");
    EXPECT_EQ(root().Mode("/etc/passwd-like"), 0644);
    EXPECT_TRUE(log.Contains("chmod failed, path=" + root().Path(kUserConf))) << log.Dump();
}

TEST_F(UserTest, ARootCallerChangesNoIdsAndLogsNothing) {
    LogCapture log;
    const User user;
    user.SetEmail("owner@example.com");
    EXPECT_EQ(user.GetEmail(), "owner@example.com");
    EXPECT_TRUE(log.lines().empty()) << log.Dump();
}

}  // namespace
