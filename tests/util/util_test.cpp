// The dependency-free helpers: the root prefix and schedules.
#include "test_prelude.hpp"

#include "util/cron_schedule.hpp"
#include "util/root_prefix.hpp"

namespace {

TEST(RootPrefix, PrefixesOnlyWhenSetAndNotEmpty) {
    {
        TempRoot root;
        EXPECT_EQ(internal::RootedPath("/etc/quilinfo.conf"), root.root() + "/etc/quilinfo.conf");
    }
    ::setenv("QUILKOVA_ROOT", "", 1);
    EXPECT_EQ(internal::RootedPath("/etc/quilinfo.conf"), "/etc/quilinfo.conf");
    ::unsetenv("QUILKOVA_ROOT");
    EXPECT_EQ(internal::RootedPath("/etc/quilinfo.conf"), "/etc/quilinfo.conf");
}

TEST(CronSchedule, EveryFieldKeepsItsRange) {
    const std::vector<std::pair<const char*, bool>> schedules = {{"~ 9~16 * * 1~5", true}, {"0 0 1 1 0", true},
        {"59 23 31 12 7", true}, {"*/15 0-23 1,15 * 1-5", true}, {"*/1 * * * *", true}, {"0~59 0~23 1~31 1~12 0~7", true},
        {"60 * * * *", false}, {"* 24 * * *", false}, {"* * 0 * *", false}, {"* * 32 * *", false}, {"* * * 0 *", false},
        {"* * * 13 *", false}, {"* * * * 8", false}, {"0~60 * * * *", false}, {"* * 0~31 * *", false},
        {"* * 1~32 * *", false}, {"* * * * 0~8", false}, {"99 99 99 99 99", false}, {"*/0 * * * *", false},
        {"~ 16~9 * * *", false}, {"~ 9~16 * *", false}, {"x * * * *", false}, {"1,,2 * * * *", false}, {"", false},
        {",5 * * * *", false}, {"5, * * * *", false}, {"007 * * * *", false}, {"5~5 3~3 * * *", true}};
    for (const auto& [schedule, valid] : schedules) {
        EXPECT_EQ(quilkova::internal::IsValidSchedule(schedule), valid) << '"' << schedule << '"';
    }
}

}  // namespace
