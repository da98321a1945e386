// The flat sender against the simulator: what it sends, what it accepts.
#include "test_prelude.hpp"

#include "https_request.hpp"

namespace {

using quilkova::sim::Simulator;

constexpr const char* kLogin = "device/api/password_login";

class HttpsSendTest : public ::testing::Test {
protected:
    void SetUp() override {
        quilkova::test::WriteDevice(root_);
        ASSERT_GT(sim_.Start(), 0);
    }
    TempRoot root_;
    Simulator sim_{Json::Value()};
};

TEST_F(HttpsSendTest, PostSendsTheDeviceFieldsFirstThenTheFormAsTheBody) {
    LogCapture log;
    sim_.Queue("/device/api/password_login", {200, "{\"code\":\"good\"}", 0, {}});
    HttpsRequest login(sim_.BaseUrl(), kLogin,
                       {{"type", "acnt_pw_apikey"}, {"email", "owner@example.com"}, {"passwd", "s3cret&="},
                           {"serial_no", "2150ABCD1234"}});
    ASSERT_EQ(login.Send(), 0);
    EXPECT_EQ(QUILKOVAErrGet() + login.response.curlCode, 0);
    EXPECT_EQ(std::to_string(login.response.httpCode) + " " + login.Body(), "200 {\"code\":\"good\"}");
    const auto request = sim_.RequestsTo("/device/api/password_login").at(0);
    EXPECT_EQ(request.method + " [" + request.query + "]", "POST []");
    // Values escaped, keys not; the serial and token lead.
    EXPECT_EQ(request.body, "hs_sn=2150ABCD1234&hs_token=" + DeviceTokenOf("2150ABCD1234") +
                                "&type=acnt_pw_apikey&email=owner%40example.com&passwd=s3cret%26%3D"
                                "&serial_no=2150ABCD1234");
    EXPECT_EQ(request.Header("User-Agent"), "kova/7.2.1 (QN-420)");
    EXPECT_TRUE(log.lines().empty()) << "a request that went well logs nothing: " << log.Dump();
}

TEST_F(HttpsSendTest, GetPutsTheSameTextInTheQueryAndSendsTheSerialTwiceWhenGiven) {
    HttpsRequest query(sim_.BaseUrl(), "device/api/report", {{"auth_key", "key 1234"}, {"hs_sn", "OTHER1"}});
    query.request.method = 1;
    std::snprintf(query.request.accountId, sizeof(query.request.accountId), "owner@example.com");
    std::snprintf(query.request.accountPassword, sizeof(query.request.accountPassword), "pw");
    sim_.Queue("/device/api/report", {200, "  {\"code\":\"good\"}\n\n", 0, {}});
    ASSERT_EQ(query.Send(), 0);
    EXPECT_EQ(query.Body(), "{\"code\":\"good\"}") << "trimmed";
    const auto request = sim_.RequestsTo("/device/api/report").at(0);
    EXPECT_EQ(request.method + " [" + request.body + "]", "GET []");
    EXPECT_EQ(request.query, "hs_sn=OTHER1&hs_token=" + DeviceTokenOf("OTHER1owner@example.compw") +
                                 "&kovaID=owner%40example.com&kovaPW=pw&auth_key=key%201234&hs_sn=OTHER1");
    // A URL longer than the appliance's buffer is sent cut to it, as it always was.
    HttpsRequest long_query(sim_.BaseUrl(), "device/api/report", {{"note", std::string(5000, 'n')}});
    long_query.request.method = 1;
    sim_.Queue("/device/api/report", {200, "{}", 0, {}});
    ASSERT_EQ(long_query.Send(), 0);
    const std::string sent = sim_.BaseUrl() + "/device/api/report?" + sim_.RequestsTo("/device/api/report").at(1).query;
    EXPECT_EQ(sent.size(), 4095u);
}

TEST_F(HttpsSendTest, BadRequestsFailBeforeAnyTraffic) {
    LogCapture log;
    HttpsRequest empty(sim_.BaseUrl(), kLogin, {});
    EXPECT_EQ(FailureCode(empty.Send()), KOVA_ERR_SEND);
    EXPECT_TRUE(log.Contains(" no key in the hash, ERR=[0x")) << log.Dump();
    KOVA_HTTPS_RESPONSE response = {};
    EXPECT_EQ(FailureCode(QUILKOVAHttpsRequestSend(nullptr, &response)), KOVA_ERR_BAD_PARAM);
    empty.request.path = nullptr;
    EXPECT_EQ(FailureCode(QUILKOVAHttpsRequestSend(&empty.request, &response)), KOVA_ERR_BAD_PARAM);
    QUILKOVAHttpsResponseFree(nullptr);

    // A token that cannot be made.
    root_.WriteFile(quilkova::test::kDeviceFile, "serial=\"-bad\"\n");
    HttpsRequest login(sim_.BaseUrl(), kLogin, {{"email", "x"}});
    EXPECT_EQ(FailureCode(login.Send()), KOVA_ERR_SEND);
    EXPECT_TRUE(sim_.Requests().empty());
}

TEST_F(HttpsSendTest, AFourHundredIsDeliveredAndOtherStatusesFailWithTheBodyLoggedWithoutSecrets) {
    HttpsRequest login(sim_.BaseUrl(), kLogin, {{"email", "x"}});
    sim_.Queue("/device/api/password_login", {400, "{\"code\":\"badparam\"}", 0, {}});
    ASSERT_EQ(login.Send(), 0);
    EXPECT_EQ(std::to_string(login.response.httpCode) + " " + login.Body(), "400 {\"code\":\"badparam\"}");

    LogCapture log;
    sim_.Queue("/device/api/password_login", {500, R"({"error":"boom","access_token":"leak"})", 0, {}});
    EXPECT_EQ(FailureCode(login.Send()), KOVA_ERR_SEND);
    EXPECT_TRUE(login.response.httpCode == 500 && login.response.data == nullptr);
    EXPECT_TRUE(log.Contains(sim_.BaseUrl() +
                             "/device/api/password_login, Failed to request packages, "
                             "httpResponseCode=500, data={\"error\":\"boom\",\"access_token\":\"***\"}"))
        << log.Dump();
    HttpsRequest sent_secret(sim_.BaseUrl(), kLogin, {{"passwd", "hunter2"}, {"email", "x"}});
    sim_.Queue("/device/api/password_login", {500, R"({"error":"wrong hunter2"})", 0, {}});
    EXPECT_EQ(sent_secret.Send(), -1);
    EXPECT_TRUE(log.Contains("data={\"error\":\"wrong ***\"}")) << "a sent secret repeated in free text" << log.Dump();
    // A query string shows in the log line without its secrets.
    HttpsRequest get(sim_.BaseUrl(), "device/api/report", {{"passwd", "pass-word"}, {"auth_key", "key 1234"}});
    get.request.method = 1;
    sim_.Queue("/device/api/report", {500, "{}", 0, {}});
    EXPECT_EQ(get.Send(), -1);
    EXPECT_TRUE(log.Contains("/device/api/report?hs_sn=2150ABCD1234&hs_token=***&passwd=***&auth_key=***, Failed "
                             "to request packages, httpResponseCode=500") &&
                !log.Contains(DeviceTokenOf("2150ABCD1234")))
        << log.Dump();
    sim_.Queue("/device/api/password_login", {200, "", 0, {}});
    EXPECT_EQ(login.Send(), -1);
    EXPECT_TRUE(log.Contains(", Failed to get response")) << log.Dump();
}

TEST(WriteMemoryCallback, KeepsTheBufferTerminatedUpToOneMebibyte) {
    KOVA_MEMORY memory = {nullptr, 0};
    std::string text = "{\"code\":\"good\"}";
    EXPECT_EQ(WriteMemoryCallback(text.data(), 1, text.size(), &memory), text.size());
    EXPECT_STREQ(memory.memory, text.c_str());
    std::string rest(1024 * 1024 - memory.size, 'x');
    EXPECT_EQ(WriteMemoryCallback(rest.data(), rest.size(), 1, &memory), rest.size()) << "exactly the limit";
    EXPECT_EQ(WriteMemoryCallback(text.data(), 1, 1, &memory), 0u) << "one byte more stops the transfer";
    EXPECT_EQ(std::strlen(memory.memory), 1024u * 1024u);
    std::free(memory.memory);
}

}  // namespace
