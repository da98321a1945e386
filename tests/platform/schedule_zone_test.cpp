#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include "quilplatform/crond.h"
#include "quilplatform/zone.h"
#include "temp_root.hpp"

namespace {

using quilkova::test::TempRoot;

std::vector<std::string> Words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;) {
        words.push_back(word);
    }
    return words;
}

Json::Value Jobs(const std::string& crontab) {
    Json::Value job;
    job["name"] = "job";
    job["period"] = "crontab";
    job["crontab"] = crontab;
    job["user"] = "root";
    job["cmd_list"].append("/usr/quil/bin/quilkova");
    job["cmd_list"].append("--report_info");
    Json::Value jobs(Json::arrayValue);
    jobs.append(job);
    return jobs;
}

TEST(Scheduler, RendersRangesToValuesWithinThemAndKeepsTheJobsAsGiven) {
    TempRoot root;
    QUIL::QUILCrond::ConfigManager kova("kova", false);
    for (int round = 0; round < 50; ++round) {
        ASSERT_TRUE(kova.Save(Jobs("~ 9~16 * * 1~5")));
        const std::string cron = root.ReadFile("/etc/cron.d/quil-kova");
        const std::string line = cron.substr(cron.find('\n') + 1);
        const std::vector<std::string> words = Words(line);
        ASSERT_EQ(words.size(), 8u) << line;
        const int minute = std::stoi(words[0]);
        const int hour = std::stoi(words[1]);
        const int weekday = std::stoi(words[4]);
        EXPECT_TRUE(minute >= 0 && minute <= 59) << line;
        EXPECT_TRUE(hour >= 9 && hour <= 16) << line;
        EXPECT_EQ(words[2] + words[3], "**");
        EXPECT_TRUE(weekday >= 1 && weekday <= 5) << line;
        EXPECT_EQ(words[5] + " " + words[6] + " " + words[7], "root /usr/quil/bin/quilkova --report_info");
    }
    EXPECT_NE(root.ReadFile("/usr/quil/etc/crond/kova.json").find("\"~ 9~16 * * 1~5\""), std::string::npos);

    for (const char* bad : {"~ 9~16 * *", "~ 16~9 * * *", "~ 9~99 * * *", "x * * * *"}) {
        EXPECT_FALSE(kova.Save(Jobs(bad))) << bad;
    }
    EXPECT_FALSE(kova.Save(Json::Value("not a list")));

    EXPECT_TRUE(kova.Remove());
    EXPECT_FALSE(root.Exists("/etc/cron.d/quil-kova"));
    EXPECT_FALSE(root.Exists("/usr/quil/etc/crond/kova.json"));
    EXPECT_FALSE(kova.Remove()) << "nothing left to remove";
}

TEST(Scheduler, ScheduleRemoveDropsOnlyTheLinesRunningTheCommand) {
    TempRoot root;
    EXPECT_EQ(QUILScheduleRemove("/usr/quil/bin/quilkova --report_info"), 0) << "no crontab at all";
    root.WriteFile("/etc/crontab",
                   "# m h dom mon dow user command\n"
                   "0 3 * * * root /usr/quil/bin/quilkova --report_info\n"
                   "5 4 * * * root /usr/bin/other --report_info\n"
                   "#0 3 * * * root /usr/quil/bin/quilkova --report_info\n"
                   "7 9 * * 1 root   /usr/quil/bin/quilkova   --report_info\n");
    EXPECT_EQ(QUILScheduleRemove("/usr/quil/bin/quilkova --report_info"), 2);
    EXPECT_EQ(root.ReadFile("/etc/crontab"),
              "# m h dom mon dow user command\n"
              "5 4 * * * root /usr/bin/other --report_info\n"
              "#0 3 * * * root /usr/quil/bin/quilkova --report_info\n");
}

TEST(Zone, ComesFromTheSettingsOrTheLocaltimeLinkAndIsCheckedAgainstZoneinfo) {
    TempRoot root;
    char zone[256] = {};
    int needed = 0;
    EXPECT_LT(QUILZoneGet(zone, sizeof(zone), &needed), 0);

    root.WriteFile("/etc/placeholder", "");
    ASSERT_EQ(::symlink("/usr/share/zoneinfo/Europe/Berlin", root.Path("/etc/localtime").c_str()), 0);
    ASSERT_EQ(QUILZoneGet(zone, sizeof(zone), &needed), 0);
    EXPECT_STREQ(zone, "Europe/Berlin");

    root.WriteFile("/etc/timezone", "Pacific/Auckland\n");
    ASSERT_EQ(QUILZoneGet(zone, sizeof(zone), &needed), 0);
    EXPECT_STREQ(zone, "Pacific/Auckland");
    EXPECT_EQ(needed, 17);
    char small[8];
    EXPECT_LT(QUILZoneGet(small, sizeof(small), &needed), 0);
    EXPECT_EQ(needed, 17) << "tells the size it needs";

    PQLIBCSzHash info = QLIBCSzHashAlloc(4);
    EXPECT_EQ(QUILZoneGetInfo("Pacific/Auckland", info), 0);
    EXPECT_STREQ(QLIBCSzHashGetValue(info, "nameInTZDB"), "Pacific/Auckland");
    PQLIBCSzHash unknown = QLIBCSzHashAlloc(4);
    for (const char* bad : {"Mars/Olympus_Mons", "../../etc/passwd", "/etc/passwd"}) {
        EXPECT_LT(QUILZoneGetInfo(bad, unknown), 0) << bad;
    }
    EXPECT_EQ(QLIBCSzHashGetValue(unknown, "nameInTZDB"), nullptr);
    QLIBCSzHashFree(unknown);
    QLIBCSzHashFree(info);
}

}  // namespace
