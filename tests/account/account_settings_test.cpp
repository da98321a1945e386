#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "account_fixture.hpp"
#include "quilkova/quilkova.h"
#include "quilkova/user.hpp"

namespace {

using quilkova::test::kUserConf;

class AccountSettingsTest : public quilkova::test::AccountTest {};

KOVA_INFO Profile() {
    KOVA_INFO info = {};
    std::strcpy(info.email, "owner@example.com");
    std::strcpy(info.password, "never stored");
    std::strcpy(info.user_id, "u-1234");
    std::strcpy(info.auth_key, "0123456789abcdef");
    std::strcpy(info.full_name, "Ann Owner");
    std::strcpy(info.country, "NZ");
    std::strcpy(info.timezone, "Pacific/Auckland");
    std::strcpy(info.notify_language, "enu");
    std::strcpy(info.critical_version_list, "7.1,7.2");
    std::strcpy(info.critical_version_domain, "updates.example");
    info.activated = 1;
    info.disabled = 0;
    info.enews = 1;
    info.critical_release = 0;
    info.enews_local_promotion = 1;
    info.last_query_time = 1700000000;
    return info;
}

std::vector<std::string> Keys(const std::string& content) {
    std::vector<std::string> keys;
    std::istringstream in(content);
    for (std::string line; std::getline(in, line);) {
        keys.push_back(line.substr(0, line.find('=')));
    }
    return keys;
}

TEST_F(AccountSettingsTest, NullRecordsAreBadParameters) {
    QUILKOVAErrSet(9);
    EXPECT_EQ(QUILKOVAAccountGet(nullptr), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_BAD_PARAM);
    QUILKOVAErrSet(9);
    EXPECT_EQ(QUILKOVAAccountSet(nullptr), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_BAD_PARAM);
}

TEST_F(AccountSettingsTest, NoBoundAccountFailsWithThreeAndLeavesTheRecordUntouched) {
    KOVA_INFO record;
    std::memset(&record, 'Z', sizeof(record));
    const KOVA_INFO before = record;
    EXPECT_EQ(QUILKOVAAccountGet(&record), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_NO_ACCOUNT);
    EXPECT_EQ(std::memcmp(&record, &before, sizeof(record)), 0);

    quilkova::User().SetAuthKey("key-only");
    EXPECT_EQ(QUILKOVAAccountGet(&record), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_NO_ACCOUNT);
    EXPECT_EQ(std::memcmp(&record, &before, sizeof(record)), 0);
}

TEST_F(AccountSettingsTest, ARecordWithAProfileRoundTripsFieldByField) {
    const KOVA_INFO written = Profile();
    ASSERT_EQ(QUILKOVAAccountSet(&written), 0);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS);
    // All fifteen keys, the query time last; the password is never stored.
    EXPECT_EQ(Keys(UserConf()),
              (std::vector<std::string>{"kovaID", "hs_auth_key", "kovaIDSerial", "full_name", "country", "timezone",
                                        "notify_language", "activated", "disabled", "enews", "enews_local_promotion",
                                        "critical_release", "critical_version_list", "critical_version_domain",
                                        "last_query_time"}));

    KOVA_INFO read;
    std::memset(&read, 'Z', sizeof(read));
    ASSERT_EQ(QUILKOVAAccountGet(&read), 0);
    EXPECT_STREQ(read.email, written.email);
    EXPECT_STREQ(read.user_id, written.user_id);
    EXPECT_STREQ(read.auth_key, written.auth_key);
    EXPECT_STREQ(read.full_name, written.full_name);
    EXPECT_STREQ(read.country, written.country);
    EXPECT_STREQ(read.timezone, written.timezone);
    EXPECT_STREQ(read.notify_language, written.notify_language);
    EXPECT_STREQ(read.critical_version_list, written.critical_version_list);
    EXPECT_STREQ(read.critical_version_domain, written.critical_version_domain);
    EXPECT_EQ(read.activated, 1);
    EXPECT_EQ(read.disabled, 0);
    EXPECT_EQ(read.enews, 1);
    EXPECT_EQ(read.critical_release, 0);
    EXPECT_EQ(read.enews_local_promotion, 1);
    EXPECT_EQ(read.last_query_time, 1700000000);
    EXPECT_EQ(read.password[0], 'Z') << "the password field is not the account record's";
}

TEST_F(AccountSettingsTest, ARecordWithoutAProfileChangesOnlyTheIdentity) {
    const KOVA_INFO profile = Profile();
    ASSERT_EQ(QUILKOVAAccountSet(&profile), 0);

    KOVA_INFO identity = {};
    std::strcpy(identity.email, "new@example.com");
    std::strcpy(identity.full_name, "Ignored Name");
    identity.enews = 0;
    identity.last_query_time = 0;
    ASSERT_EQ(QUILKOVAAccountSet(&identity), 0);

    const quilkova::User user;
    EXPECT_EQ(user.GetEmail(), "new@example.com");
    EXPECT_EQ(user.GetUserId(), "") << "the identity keys are always written, empty or not";
    EXPECT_EQ(user.GetAuthKey(), "");
    EXPECT_EQ(user.GetName(), "Ann Owner");
    EXPECT_TRUE(user.GetIsEnews());
    EXPECT_EQ(user.GetLastQueryTime(), 1700000000);
}

TEST_F(AccountSettingsTest, TextsAreCutToTheirFieldsAndUnterminatedInputIsBounded) {
    KOVA_INFO written = Profile();
    std::memset(written.full_name, 'n', sizeof(written.full_name));  // no terminator at all
    ASSERT_EQ(QUILKOVAAccountSet(&written), 0);
    EXPECT_EQ(quilkova::User().GetName(), std::string(sizeof(written.full_name), 'n'));

    quilkova::User().SetName(std::string(2000, 'm'));
    KOVA_INFO read = {};
    ASSERT_EQ(QUILKOVAAccountGet(&read), 0);
    EXPECT_EQ(std::string(read.full_name), std::string(1023, 'm'));
}

}  // namespace
