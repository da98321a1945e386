#include <gtest/gtest.h>

#include <string>

#include "internal/http.hpp"
#include "sim/simulator.hpp"
#include "tls_server.hpp"

namespace {

namespace http = quilkova::http;

TEST(HttpSession, SendsTheOptionsAsGivenWithALaterHeaderReplacingAnEarlierOne) {
    quilkova::sim::Simulator sim;
    ASSERT_GT(sim.Start(), 0);
    sim.Queue("/echo", {201, "created", 0});
    http::Payload payload{{"grant_type", "authorization_code"}, {"scopes[]", "openid"}};
    payload.Add("scopes[]", "device id");
    const http::Response response =
        http::Post(http::Url{sim.BaseUrl() + "/echo"}, http::Timeout{5000}, http::UserAgent{"kova/7.2.1 (QN-420)"},
                   http::Header{{"X-Client-ID", "hos"}}, http::Header{{"Authorization", "Bearer at-1"}},
                   http::Parameters{{"a", "1"}, {"b", "x y"}}, payload);
    EXPECT_EQ(response.error.code, http::ErrorCode::OK);
    EXPECT_EQ(response.status_code, 201);
    EXPECT_EQ(response.text, "created");

    const auto sent = sim.RequestsTo("/echo").at(0);
    EXPECT_EQ(sent.method, "POST");
    EXPECT_EQ(sent.query, "a=1&b=x%20y");
    EXPECT_EQ(sent.body, "grant_type=authorization_code&scopes%5B%5D=openid&scopes%5B%5D=device%20id");
    EXPECT_EQ(sent.headers.at("Authorization"), "Bearer at-1");
    EXPECT_EQ(sent.headers.count("X-Client-ID"), 0u) << "replaced by the later header set";
    EXPECT_EQ(sent.headers.at("User-Agent"), "kova/7.2.1 (QN-420)");

    const http::Response got = http::Get(http::Url{sim.BaseUrl() + "/missing"}, http::Parameters{{"q", "1"}});
    EXPECT_EQ(got.status_code, 404);
    EXPECT_EQ(sim.RequestsTo("/missing").at(0).method, "GET");
}

TEST(HttpSession, TransportFailuresCarryTheirCodeAndText) {
    const http::Response refused =
        http::Post(http::Url{"http://127.0.0.1:" + std::to_string(quilkova::test::UnusedLoopbackPort()) + "/x"},
                   http::Timeout{5000});
    EXPECT_EQ(refused.error.code, http::ErrorCode::CONNECTION_FAILURE);
    EXPECT_FALSE(refused.error.message.empty());
    EXPECT_EQ(refused.status_code, 0);

    quilkova::test::TempRoot root;
    const quilkova::test::TlsServer server(root);
    ASSERT_TRUE(server.ready());
    const http::Response untrusted = http::Get(http::Url{server.BaseUrl() + "/"}, http::Timeout{5000});
    EXPECT_EQ(untrusted.error.code, http::ErrorCode::SSL_REMOTE_CERTIFICATE_ERROR) << untrusted.error.message;
}

}  // namespace
