// Registration, profile update, the existing-account scan, the iframe info,
// API-key recovery and the store client.
#include "test_prelude.hpp"

#include "flat/flat.hpp"
#include "services/store_client.hpp"

namespace {

constexpr const char* kRegister = "/device/api/user/register";
constexpr const char* kUpdate = "/device/api/user/update";

class ProfileTest : public quilkova::test::OperationsTest {
protected:
    void BindOwner() {
        Json::Value answer;
        ASSERT_EQ(QUILKOVAAccountLogin("owner@example.com", "s3cret", answer, false), 0);
    }
    int Update(const char* email, const char* password, const char* new_password, int flags = -1) {
        return QUILKOVAAccountSetInfo(nullptr, email, password, new_password, nullptr, nullptr, nullptr, flags, flags,
                                      flags, nullptr);
    }
};

TEST_F(ProfileTest, ARegisteredAccountLogsInAndItsFormHoldsEachFieldExactly) {
    const std::string tricky = "new+1&role=admin\nx=\xc3\xa9@example.com";
    ASSERT_EQ(QUILKOVAAccountRegister(tricky.c_str(), "pw&=", "N\xc3\xa9w", true, false, true, nullptr), 0);
    auto sent = sim().RequestsTo(kRegister).at(0);
    EXPECT_EQ(sent.FieldNames(),
              "hs_sn hs_token email passwd full_name serial_no notify_lang token timezone "
              "critical_release enews_local_promotion enews");
    EXPECT_EQ(sent.Field("notify_lang") + " " + sent.Field("timezone") + " " + sent.Field("critical_release") + " " +
                  sent.Field("enews_local_promotion") + " " + sent.Field("enews"),
              "enu Pacific/Auckland true true false");
    EXPECT_EQ(sent.Field("token").size(), 32u);
    EXPECT_EQ(sim().Account(tricky)["password"].asString() + " " + sim().Account(tricky)["full_name"].asString(),
              "pw&= N\xc3\xa9w")
        << "no value alters another field";
    Json::Value answer;
    EXPECT_EQ(QUILKOVAAccountLogin(tricky.c_str(), "pw&=", answer, false), 0);
    EXPECT_EQ(User().GetEmail(), "new+1&role=admin x=\xc3\xa9@example.com") << "the line break stored as a blank";

    root().WriteFile("/etc/quilinfo.conf", "language=\"deu\"\n");
    ASSERT_EQ(QUILKOVAAccountRegister("second@example.com", "pw", "Second", false, true, false, "NZ"), 0);
    sent = sim().RequestsTo(kRegister).at(1);
    EXPECT_EQ(sent.FieldNames().substr(sent.FieldNames().size() - 8) + " " + sent.Field("notify_lang"), " country deu");
    EXPECT_EQ(FailureCode(QUILKOVAAccountRegister("second@example.com", "pw", "2", false, true, false, "NZ")),
              KOVA_ERR_ACCOUNT_IN_USE);
    LogCapture refused;
    for (const auto& [email, password] : {std::pair<const char*, const char*>{nullptr, "pw"}, {"", "pw"},
                                          {"x@example.com", nullptr}, {"x@example.com", ""}}) {
        EXPECT_EQ(FailureCode(QUILKOVAAccountRegister(email, password, "x", false, false, false, nullptr)),
                  KOVA_ERR_BAD_PARAM);
    }
    EXPECT_TRUE(refused.Contains(" Bad Parameters")) << refused.Dump();
    LogCapture log;
    for (const auto& [body, code] : {std::pair<const char*, int>{"<html>oops</html>", KOVA_ERR_BAD_JSON},
                                     {"{\"code\": [\"good\"]}", KOVA_ERR_UNKNOWN},
                                     {"{\"code\": \"badsys\"}", KOVA_ERR_SYSTEM},
                                     {"{\"code\": \"badparam\", \"message\": \"Pa55 w+rd is weak\"}", KOVA_ERR_BAD_PARAM}}) {
        Answer(kRegister, body);
        EXPECT_EQ(FailureCode(QUILKOVAAccountRegister("x@example.com", "Pa55 w+rd", "X", false, false, false, nullptr)),
                  code)
            << body;
    }
    EXPECT_TRUE(log.Contains("\"message\": \"*** is weak\"")) << "a password the service repeats is masked";
    EXPECT_FALSE(log.Contains("Pa55")) << log.Dump();
}

TEST_F(ProfileTest, APasswordChangeWorksAtTheNextLoginAndIsNotifiedOnce) {
    BindOwner();
    ASSERT_EQ(Update(nullptr, "s3cret", "n3w"), 0);
    auto sent = sim().RequestsTo(kUpdate).at(0);
    EXPECT_EQ(sent.FieldNames(), "hs_sn hs_token id auth_key serial_no passwd passwd_new passwd_confirmation");
    EXPECT_EQ(sent.Field("passwd_confirmation"), "n3w");
    Json::Value answer;
    EXPECT_EQ(FailureCode(QUILKOVAAccountLogin("owner@example.com", "s3cret", answer, true)), KOVA_ERR_AUTH);
    EXPECT_EQ(QUILKOVAAccountLogin("owner@example.com", "n3w", answer, true), 0);
    const std::string notified = root().ReadFile("/var/log/quil/notifications.jsonl");
    EXPECT_EQ(notified, "{\"params\":{\"%KOVA_ACCOUNT%\":\"owner@example.com\"},\"tag\":\"KoVAPasswordChanged\"}\n");

    // A wrong current password changes nothing; without one neither the e-mail nor the password travel.
    EXPECT_EQ(FailureCode(Update("new@example.com", "wrong", "x")), KOVA_ERR_AUTH);
    ASSERT_EQ(Update("new@example.com", nullptr, "x"), 0);
    EXPECT_EQ(sim().RequestsTo(kUpdate).back().FieldNames(), "hs_sn hs_token id auth_key serial_no");
    EXPECT_EQ(sim().Account("owner@example.com")["password"], "n3w");
    EXPECT_EQ(root().ReadFile("/var/log/quil/notifications.jsonl"), notified) << "still one notification";
    ASSERT_EQ(Update("new@example.com", "n3w", nullptr), 0);
    EXPECT_EQ(sim().RequestsTo(kUpdate).back().FieldNames(), "hs_sn hs_token id auth_key serial_no passwd email")
        << "with the current password, the e-mail travels";
    // A change the service took but the record has no room for is logged.
    LogCapture log;
    {
        const NoRoomForFiles full;
        Update(nullptr, nullptr, nullptr, 1);
    }
    EXPECT_TRUE(log.Contains(" Cant set kova account")) << log.Dump();
}

TEST_F(ProfileTest, AProfileChangeIsSentFieldByFieldAndReadBackThroughTheQuery) {
    BindOwner();
    LogCapture log;
    ASSERT_EQ(
        QUILKOVAAccountSetInfo("New Name", nullptr, nullptr, nullptr, "DE", "deu", "Europe/Berlin", 1, 0, 1, "7.3"), 0);
    const auto sent = sim().RequestsTo(kUpdate).at(0);
    EXPECT_EQ(sent.FieldNames(),
              "hs_sn hs_token id auth_key serial_no full_name country notify_lang timezone enews "
              "critical_release enews_local_promotion critical_version_list");
    EXPECT_EQ(sent.Field("enews") + sent.Field("critical_release"), "truefalse");
    const User user;
    EXPECT_EQ(user.GetName() + " " + user.GetTimezone() + " " + user.GetCriticalVersionList(),
              "New Name Europe/Berlin 7.3");
    EXPECT_TRUE(user.GetIsEnews() && user.GetLastQueryTime() > 1) << "refreshed by the query";
    EXPECT_FALSE(log.Contains("Cant set")) << log.Dump();
    Json::Value result;
    ASSERT_EQ(QUILKOVAAccountQueryInfo(result, false, false), 0);
    EXPECT_EQ(result["notify_language"], "deu");

    ASSERT_EQ(Update(nullptr, nullptr, nullptr, -1), 0);
    EXPECT_EQ(sim().RequestsTo(kUpdate).back().FieldNames(), "hs_sn hs_token id auth_key serial_no")
        << "all tri-states negative";
    // The changes are kept here when the refresh after them fails.
    Answer(kQuery, "oops");
    ASSERT_EQ(QUILKOVAAccountSetInfo("Kept Here", "kept@example.com", "s3cret", nullptr, nullptr, nullptr, nullptr, 0, 1,
                                     0, nullptr),
              0);
    EXPECT_EQ(User().GetName() + " " + std::to_string(User().GetIsEnews()) + std::to_string(User().GetIsCriticalRelease()) +
                  " " + User().GetEmail(),
              "Kept Here 01 kept@example.com");
    Answer(kUpdate, "<html>oops</html>");
    EXPECT_EQ(FailureCode(Update(nullptr, nullptr, nullptr, 1)), KOVA_ERR_BAD_JSON);
    QUILKOVAAccountRemove();
    EXPECT_EQ(FailureCode(Update(nullptr, nullptr, nullptr)), KOVA_ERR_NO_ACCOUNT);
}

TEST_F(ProfileTest, TheScanFindsAnAccountBehindEachSourceInOrder) {
    Json::Value result("stale");
    ASSERT_EQ(QUILKOVAAccountScanExisting(result), 0);
    EXPECT_EQ(result, Json::Value(Json::objectValue)) << "no source";

    root().WriteFile("/usr/quil/etc/quilpayment/store.conf", "account=\"owner@example.com\"\n");
    root().WriteFile("/usr/quil/etc/quilrelayd/quilrelayd.conf",
                     R"({"server_alias": {"alias": "ann-nas"}, "server_kova": {"account": "owner@example.com"}})");
    quilkova::test::WriteScript(root(), "/usr/quil/sbin/quilddnsinfo",
                                "case \"$1\" in --get-quil-account) printf 'owner@example.com  ';;"
                                " --get-quil-hostname) printf 'ann.quilddns.example \\n\\n';; esac");
    ASSERT_EQ(QUILKOVAAccountScanExisting(result), 0);
    EXPECT_EQ(internal::CompactJson(result),
              R"({"owner@example.com":{"services":[{"type":"package","value":"Quillion Antivirus"},)"
              R"({"type":"linkanywhere","value":"ann-nas"},{"type":"ddns","value":"ann.quilddns.example"}]}})");

    // A relay file without an alias or an account, a failing or silent DDNS tool and no store account add nothing.
    root().WriteFile("/usr/quil/etc/quilpayment/store.conf", "");
    quilkova::test::WriteScript(root(), "/usr/quil/sbin/quilddnsinfo", "exit 0");
    for (const char* relay : {R"({"server_alias": {"alias": "ann-nas"}, "server_kova": {"account": ""}})",
                              R"({"server_alias": "ann-nas", "server_kova": {"account": "owner@example.com"}})",
                              R"({"server_alias": {}, "server_kova": {"account": "owner@example.com"}})",
                              R"({"server_alias": {"alias": "ann-nas"}, "server_kova": "owner@example.com"})"}) {
        root().WriteFile("/usr/quil/etc/quilrelayd/quilrelayd.conf", relay);
        ASSERT_EQ(QUILKOVAAccountScanExisting(result), 0) << relay;
        EXPECT_EQ(result, Json::Value(Json::objectValue)) << relay;
    }
    LogCapture log;
    const ShortWaits waits;
    for (const char* tool : {"echo owner@example.com; exit 3", "exit 0", "echo", "echo owner@example.com; exec sleep 60",
                             "exec sleep 60", "printf owner@example.com; exec sleep 60"}) {
        quilkova::test::WriteScript(root(), "/usr/quil/sbin/quilddnsinfo", tool);
        const auto start = std::chrono::steady_clock::now();
        ASSERT_EQ(QUILKOVAAccountScanExisting(result), 0) << tool;
        EXPECT_EQ(result, Json::Value(Json::objectValue)) << tool;
        EXPECT_LT(std::chrono::steady_clock::now() - start, 10s) << tool << ": a tool that never ends is not waited for";
    }
    EXPECT_TRUE(log.Contains(" Failed to execute ddns command, option=--get-quil-account")) << log.Dump();
}

TEST_F(ProfileTest, IframeInfoApiKeyRecoveryAndTheStoreClient) {
    Json::Value info;
    ASSERT_EQ(QUILKOVAGetIframeInfo(info), 0);
    const std::string key = info["api_key"].asString();
    info["api_key"] = key.size();
    EXPECT_EQ(internal::CompactJson(info), R"({"api_key":64,"mac":"00:11:32:aa:bb:cc","orig_serial_no":"2150ABCD1234",)"
                                           R"("serial_no":"2150ABCD1234","server_url":")" +
                                               sim().BaseUrl() + "\"}");

    LogCapture registering;
    ASSERT_EQ(QUILKOVAHandleApiKeyError(info, "apikey_not_found"), 0);
    EXPECT_TRUE(registering.Contains(" ApiKey not found. Register new one.") && !registering.Contains("failed"))
        << registering.Dump();
    EXPECT_NE(info["api_key"].asString(), key) << "a new key registered and returned";
    const std::string registered = info["api_key"].asString();
    EXPECT_EQ(QUILKOVAHandleApiKeyError(info, "apikey_expired"), -1);
    EXPECT_EQ(info["api_key"], registered) << "expired: nothing registered";
    EXPECT_FALSE(root().Exists("/usr/quil/etc/quillion-account/private/apikey")) << "the expired key is discarded";
    EXPECT_EQ(FailureCode(QUILKOVAHandleApiKeyError(info, nullptr)), KOVA_ERR_BAD_PARAM);
    EXPECT_EQ(QUILKOVAHandleApiKeyError(info, "good"), -1);
    EXPECT_TRUE(registering.Contains(" QUILKOVAHandleApiKeyError failed, error=0")) << registering.Dump();

    char email[32];
    EXPECT_EQ(FailureCode(QUILPaymentKoVAAccountGet(email, sizeof(email))), KOVA_ERR_NO_ACCOUNT);
    for (const char* account : {"a", "owner@example.com"}) {
        root().WriteFile("/usr/quil/etc/quilpayment/store.conf", std::string("account=\"") + account + "\"\n");
        ASSERT_EQ(QUILPaymentKoVAAccountGet(email, sizeof(email)), 0);
        EXPECT_STREQ(email, account);
    }
    for (const auto& [buffer, size] : {std::pair<char*, size_t>{nullptr, 32}, {email, 17}, {email, 0}}) {
        EXPECT_EQ(FailureCode(QUILPaymentKoVAAccountGet(buffer, size)), KOVA_ERR_BAD_PARAM) << "nothing cut silently";
    }
    root().WriteFile("/usr/quil/etc/quilpayment/store.conf", "account=\"" + std::string(5000, 'a') + "@example.com\"\n");
    std::vector<char> large(4096);
    EXPECT_EQ(FailureCode(QUILPaymentKoVAAccountGet(large.data(), large.size())), KOVA_ERR_BAD_PARAM)
        << "longer than the caller's buffer: refused, not cut";

    Json::Value purchases;
    EXPECT_EQ(FailureCode(QUILKOVAAccountPurchaseList(purchases)), KOVA_ERR_NO_ACCOUNT) << "no account: nothing sent";
    BindOwner();
    const auto purchase_list = [&] {
        return internal::Flat([&] { return internal::PurchaseListFrom(sim().BaseUrl(), purchases); });
    };
    ASSERT_EQ(purchase_list(), 0);
    EXPECT_EQ(purchases[0], "Quillion Antivirus");
    const auto sent = sim().RequestsTo("/api/v1/device/purchase/list").at(0);
    EXPECT_EQ(sent.body, R"({"auth_key":"key-1","id":"u-1","serial_no":"2150ABCD1234"})");
    LogCapture log;
    for (const auto& [body, status, code] :
         {std::tuple<const char*, int, int>{"{\"code\": \"badauth\"}", 200, KOVA_ERR_AUTH},
          {"{\"code\": \"good\"}", 200, KOVA_ERR_BAD_JSON}, {"oops", 200, KOVA_ERR_BAD_JSON},
          {"", 502, KOVA_ERR_RESPONSE}}) {
        Answer("/api/v1/device/purchase/list", body, status);
        EXPECT_EQ(FailureCode(purchase_list()), code) << body;
    }
    EXPECT_TRUE(log.Contains(" Failed to get payment response api/v1/device/purchase/list, code=502")) << log.Dump();
}

}  // namespace
