// The account record, its flat face and the service hosts.
#include "test_prelude.hpp"

#include "account/default_hosts.hpp"
#include "account/server_hosts.hpp"

namespace {

namespace hosts = quilkova::internal;

class RecordTest : public AccountTest {};

KOVA_INFO Profile() {
    KOVA_INFO info = {};
    const std::vector<std::pair<char*, const char*>> texts = {{info.email, "owner@example.com"},
        {info.password, "never stored"}, {info.user_id, "u-1234"}, {info.auth_key, "0123456789abcdef"},
        {info.full_name, "Ann Owner"}, {info.country, "NZ"}, {info.timezone, "Pacific/Auckland"},
        {info.notify_language, "enu"}, {info.critical_version_list, "7.1,7.2"},
        {info.critical_version_domain, "updates.example"}};
    for (const auto& [field, text] : texts) {
        std::strcpy(field, text);
    }
    info.activated = info.enews = info.enews_local_promotion = 1;
    info.last_query_time = 1700000000;
    return info;
}

std::string Keys(const std::string& content) {
    std::string keys;
    std::istringstream in(content);
    for (std::string line; std::getline(in, line);) {
        keys += line.substr(0, line.find('=')) + " ";
    }
    return keys;
}

TEST_F(RecordTest, DefaultsTheDocumentedLinesAndStoredTextsAsDocumented) {
    LogCapture log;
    const User user;
    for (const std::string& value : {user.GetAccountHost(), user.GetEmail(), user.GetUserId(), user.GetAuthKey(),
                                     user.GetName(), user.GetTimezone(), user.GetCriticalVersionDomain()}) {
        EXPECT_EQ(value, "");
    }
    EXPECT_EQ(user.GetReportCronTimestring(), "~ 9~16 * * 1~5");
    EXPECT_EQ(user.GetLastQueryTime(), 0);
    EXPECT_FALSE(user.GetIsActivated() || user.GetIsEnews() || user.GetIsRealnameValidationPass() || user.Exists());
    EXPECT_FALSE(root().Exists(kUserConf)) << "reading creates nothing";

    user.SetUserId("u-1234");
    user.SetIsEnews(true);
    user.SetIsDisabled(false);
    user.SetLastQueryTime(1700000000);
    EXPECT_EQ(UserConf(), "kovaIDSerial=\"u-1234\"\nenews=\"yes\"\ndisabled=\"no\"\nlast_query_time=\"1700000000\"\n");
    EXPECT_TRUE(log.lines().empty()) << "root changes no ids and logs nothing: " << log.Dump();
    for (const std::string& value :
         {std::string("X"), std::string("Ann \"the admin\" O'Neil"), std::string(2047, 'n')}) {
        user.SetCountry(value);
        EXPECT_EQ(user.GetCountry(), value) << "round trip";
    }
    root().WriteFile(kUserConf,
                     "enews=\"true\"\nactivated=\"1\"\ndisabled=\"YES\"\nlast_query_time=\"abc\"\n"
                     "report_cron_timestring=\"\"\nkovaIDSerial=\"\"\nfull_name=\"  padded  \"\n");
    EXPECT_EQ(std::vector<bool>({user.GetIsEnews(), user.GetIsActivated(), user.GetIsDisabled(), user.Exists()}),
              std::vector<bool>({true, false, false, false}));
    EXPECT_EQ(user.GetLastQueryTime(), 0);
    EXPECT_EQ(user.GetReportCronTimestring(), "~ 9~16 * * 1~5") << "an empty value gives the default";
    EXPECT_EQ(user.GetName(), "  padded  ");
    root().WriteFile(kUserConf, "kovaIDSerial=\"u-1\"\nhs_auth_key=\"k\"\nlast_query_time=\"99999999999999999999\"\n");
    EXPECT_EQ(user.GetLastQueryTime(), 0) << "out of range";
    KOVA_INFO info = {};
    info.last_query_time = 7;
    ASSERT_EQ(QUILKOVAAccountGet(&info), 0);
    EXPECT_EQ(info.last_query_time, 0) << "in the flat record too";
}

TEST_F(RecordTest, LongValuesAreCutLineBreaksRefusedAndTheFileStaysRootsOnly) {
    const User user;
    user.SetEmail("owner@example.com");
    const std::string path = root().Path(kUserConf);
    ASSERT_EQ(::chmod(path.c_str(), 0644), 0);
    ASSERT_EQ(::chown(path.c_str(), 65534, 65534), 0);
    const std::string before = UserConf();
    LogCapture log;
    EXPECT_EQ(CodeOf([&] { user.SetName("x\"\nkovaIDSerial=\"hijacked"); }), KOVA_ERR_CONFIG_WRITE);
    EXPECT_EQ(CodeOf([&] { user.SetAuthKey("secret\nvalue"); }), KOVA_ERR_CONFIG_WRITE);
    EXPECT_EQ(UserConf(), before);
    // What a read could not give back whole is stored cut to 2047 bytes, never in a character's middle.
    const std::string e_acute = "\xc3\xa9";
    for (const auto& [value, kept] : {std::pair<std::string, std::string>{std::string(2048, 'n'), std::string(2047, 'n')},
                                      {std::string(2046, 'n') + e_acute + "tail", std::string(2046, 'n')},
                                      {std::string(2045, 'n') + e_acute + "tail", std::string(2045, 'n') + e_acute}}) {
        user.SetName(value);
        EXPECT_EQ(user.GetName(), kept) << value.size();
    }
    EXPECT_TRUE(log.Contains(" Value of full_name cut to 2047 of its 2048 bytes")) << log.Dump();
    user.SetName("");
    EXPECT_TRUE(log.Contains("Failed to set kova config for full_name:x\"")) << log.Dump();
    EXPECT_TRUE(log.Contains("Failed to set kova config for hs_auth_key:***")) << log.Dump();
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(std::vector<unsigned>({info.st_mode & 07777u, info.st_uid, info.st_gid}),
              std::vector<unsigned>({0600u, 0u, 0u}))
        << "even after a failed write";

    // A link planted at the record is neither written through nor chmodded.
    root().WriteFile("/etc/passwd-like", "root:x:0:0\n");
    ::chmod(root().Path("/etc/passwd-like").c_str(), 0644);
    ASSERT_EQ(::unlink(path.c_str()), 0);
    ASSERT_EQ(::symlink(root().Path("/etc/passwd-like").c_str(), path.c_str()), 0);
    EXPECT_EQ(CodeOf([] { User().SetEmail("attacker@example.com"); }), KOVA_ERR_CONFIG_WRITE);
    EXPECT_EQ(root().ReadFile("/etc/passwd-like"), "root:x:0:0\n");
    EXPECT_EQ(root().Mode("/etc/passwd-like"), 0644);
    EXPECT_TRUE(log.Contains("chmod failed, path=" + path)) << log.Dump();
}

TEST_F(RecordTest, TheFlatRecordRoundTripsAndWritesTheProfileOnlyFromAQuery) {
    for (const auto call : {+[] { return QUILKOVAAccountGet(nullptr); }, +[] { return QUILKOVAAccountSet(nullptr); }}) {
        QUILKOVAErrSet(9);
        EXPECT_EQ(FailureCode(call()), KOVA_ERR_BAD_PARAM);
    }
    // No account bound (nothing, or an auth key alone): 3, the record untouched.
    KOVA_INFO read;
    std::memset(&read, 'Z', sizeof(read));
    const KOVA_INFO untouched = read;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(FailureCode(QUILKOVAAccountGet(&read)), KOVA_ERR_NO_ACCOUNT);
        EXPECT_EQ(std::memcmp(&read, &untouched, sizeof(read)), 0);
        User().SetAuthKey("key-only");
    }
    KOVA_INFO written = Profile();
    ASSERT_EQ(QUILKOVAAccountSet(&written), 0);
    EXPECT_EQ(Keys(UserConf()),
              "hs_auth_key kovaID kovaIDSerial full_name country timezone notify_language "
              "activated disabled enews enews_local_promotion critical_release "
              "critical_version_list critical_version_domain last_query_time ");
    read = {};
    ASSERT_EQ(QUILKOVAAccountGet(&read), 0);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS);
    EXPECT_EQ(read.password[0], '\0') << "the one field the record does not hold";
    std::memcpy(read.password, written.password, sizeof(read.password));
    EXPECT_EQ(std::memcmp(&read, &written, sizeof(read)), 0) << "every field as written";

    // Without a query time only the identity changes (written even when empty).
    KOVA_INFO identity = {};
    std::strcpy(identity.email, "new@example.com");
    std::strcpy(identity.full_name, "Ignored Name");
    ASSERT_EQ(QUILKOVAAccountSet(&identity), 0);
    const User user;
    EXPECT_EQ(user.GetEmail() + "|" + user.GetUserId() + "|" + user.GetName(), "new@example.com||Ann Owner");
    // Texts are cut to their fields; unterminated input is bounded.
    std::memset(written.full_name, 'n', sizeof(written.full_name));
    ASSERT_EQ(QUILKOVAAccountSet(&written), 0);
    EXPECT_EQ(user.GetName(), std::string(sizeof(written.full_name), 'n'));
    user.SetName(std::string(2000, 'm'));
    ASSERT_EQ(QUILKOVAAccountGet(&read), 0);
    EXPECT_EQ(std::string(read.full_name), std::string(1023, 'm'));
}

TEST_F(RecordTest, HostsFollowTheModeAndTheRecordsOverrides) {
    const std::vector<std::pair<const char*, bool>> rows = {{nullptr, false}, {"quilpkg_server=\"test\"\n", true},
        {"quilpkg_server=test\n", true}, {"quilpkg_server=\"Test\"\n", false}, {"quilpkg_server=\" test\"\n", false},
        {"other=\"test\"\n", false}};
    for (const auto& [content, test] : rows) {
        if (content != nullptr) {
            root().WriteFile(kDeviceFile, content);
        }
        const quilkova::ServerInfo info;
        EXPECT_EQ(quilkova::ServerInfoImpl().IsTest(), test) << (content ? content : "no file");
        EXPECT_EQ(info.GetAccountHost(), test ? hosts::kAccountHostTest : hosts::kAccountHost);
        EXPECT_EQ(info.GetIdentityHost(), test ? hosts::kIdentityHostTest : hosts::kIdentityHost);
        EXPECT_EQ(info.GetPaymentHost(), test ? hosts::kPaymentHostTest : hosts::kPaymentHost);
    }
    const std::string long_host = "https://" + std::string(2039, 'h');  // the longest the record holds
    User().SetAccountHost(long_host);
    User().SetIdentityHost("");
    root().WriteFile(kDeviceFile, "quilpkg_server=\"test\"\n");
    EXPECT_EQ(quilkova::ServerInfo().GetAccountHost(), long_host) << "in test mode too";
    EXPECT_EQ(quilkova::ServerInfo().GetIdentityHost(), hosts::kIdentityHostTest);

    root().WriteFile(kDeviceFile, "");
    for (const auto call :
         {+[] { return QUILKOVAServerConfigGet(nullptr); }, +[] { return QUILPaymentConfigGet(nullptr); }}) {
        EXPECT_EQ(FailureCode(call()), KOVA_ERR_BAD_PARAM);
    }
    KOVA_SERVER_CONFIG config;
    ASSERT_EQ(QUILKOVAServerConfigGet(&config), 0);
    EXPECT_EQ(std::string(config.account_url), long_host);
    EXPECT_STREQ(config.payment_url, hosts::kPaymentHost);
    char url[2048];
    ASSERT_EQ(QUILPaymentConfigGet(url), 0);
    EXPECT_STREQ(url, hosts::kPaymentHost);
}

}  // namespace
