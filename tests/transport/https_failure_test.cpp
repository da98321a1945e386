// Transport failures: resolution, silence and untrusted certificates. These
// wait for real retries and time-outs, so they take seconds.
#include "test_prelude.hpp"

#include <sched.h>

#include "https_request.hpp"
#include "transport/http.hpp"

namespace {

double SecondsOf(const std::function<void()>& action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(HttpsFailures, AnUnresolvableHostIsTriedOnceASecondPerAttemptThenFails) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root: runs in a network namespace of its own, so no lookup leaves the machine";
    }
    TempRoot root;
    quilkova::test::WriteDevice(root);
    ChildProcess child([] {
        if (::unshare(CLONE_NEWNET) != 0) {
            return 2;
        }
        for (const auto& [short_class, attempts] : {std::pair<int, int>{0, 3}, std::pair<int, int>{1, 2}}) {
            LogCapture log;
            HttpsRequest request("http://nowhere.invalid", "device/api/password_login", {{"email", "x"}});
            request.request.shortTimeout = short_class;
            const double seconds = SecondsOf([&] { EXPECT_EQ(request.Send(), -1); });
            EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SEND);
            // One second's sleep after each failed attempt.
            EXPECT_GE(seconds, attempts);
            EXPECT_LT(seconds, attempts + 0.9);
            EXPECT_EQ(request.response.httpCode + request.response.curlCode, 0) << "the status query itself worked";
            EXPECT_TRUE(
                log.Contains("http://nowhere.invalid/device/api/password_login, Failed to request packages, "
                             "httpResponseCode=0, data="))
                << log.Dump();
            EXPECT_FALSE(log.Contains("Failed to curl perform")) << log.Dump();
        }
        return ::testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(child.Wait(), 0);
}

// A peer that never answers, or stops in the middle of its answer, is cut off
// by the time-out of each attempt; nothing of a cut answer is delivered.
TEST(HttpsFailures, APeerThatFallsSilentIsCutOffAndNothingOfItIsDelivered) {
    TempRoot root;
    quilkova::test::WriteDevice(root);
    const ShortWaits waits;
    const SilentServer silent;
    const ScriptedServer stalling("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"code\": \"go", true);
    for (const int port : {silent.port(), stalling.port()}) {
        HttpsRequest request("http://127.0.0.1:" + std::to_string(port), "device/api/password_login", {{"email", "x"}});
        request.request.shortTimeout = 1;
        LogCapture log;
        const double seconds = SecondsOf([&] { EXPECT_EQ(request.Send(), -1); });
        EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SEND);
        EXPECT_GE(seconds, 2 * 1.0) << "two attempts of 1 s";
        EXPECT_EQ(request.response.data, nullptr) << request.response.data;
        EXPECT_TRUE(log.Contains(port == silent.port() ? "Failed to request packages, httpResponseCode=0"
                                                       : "Failed to curl perform, code=28"))
            << log.Dump();
    }
}

TEST(HttpsFailures, ASelfSignedCertificateIsRefusedByBothLayers) {
    TempRoot root;
    quilkova::test::WriteDevice(root);
    const quilkova::test::TlsServer server(root);
    ASSERT_TRUE(server.ready());
    LogCapture log;
    HttpsRequest request(server.BaseUrl(), "device/api/password_login", {{"email", "x"}});
    EXPECT_EQ(FailureCode(request.Send()), KOVA_ERR_SEND);
    EXPECT_EQ(request.response.curlCode, 60);
    EXPECT_TRUE(log.Contains(", Failed to curl perform, code=60, err=")) << log.Dump();
    const http::Response untrusted = http::Get(http::Url{server.BaseUrl() + "/"}, http::Timeout{5000}).value();
    EXPECT_EQ(untrusted.error.code, http::ErrorCode::SSL_REMOTE_CERTIFICATE_ERROR) << untrusted.error.message;
}

}  // namespace
