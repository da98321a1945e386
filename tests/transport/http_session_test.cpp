// The classes' HTTP layer, and what both HTTP layers allow an answer.
#include "test_prelude.hpp"

#include "https_request.hpp"
#include "transport/http.hpp"

namespace {

namespace http = quilkova::http;
using quilkova::sim::CannedAnswer;
using quilkova::sim::Simulator;

// Sent as given (header replacement and repeated fields are checked where the
// PKCE requests use them); a header value with a line break would add a
// header of its own: refused, nothing sent.
TEST(HttpSession, SendsTheOptionsAsGivenAndRefusesAHeaderThatWouldSplit) {
    Simulator sim;
    ASSERT_GT(sim.Start(), 0);
    sim.Queue("/echo", {201, "created", 0, {}});
    const http::Response response =
        http::Post(http::Url{sim.BaseUrl() + "/echo"}, http::UserAgent{"kova/7.2.1 (QN-420)"},
                   http::Parameters{{"a", "1"}, {"b", "x y"}}, http::Payload{{"scopes[]", "device id"}},
                   http::Header{{"X-One", "1"}, {"X-Two", "2"}})
            .value();
    EXPECT_EQ(std::to_string(response.status_code) + " " + response.text, "201 created");
    const auto sent = sim.RequestsTo("/echo").at(0);
    EXPECT_EQ(sent.method + " " + sent.query + " " + sent.body + " " + sent.Header("User-Agent") + " " +
                  sent.Header("X-One") + sent.Header("X-Two"),
              "POST a=1&b=x%20y scopes%5B%5D=device%20id kova/7.2.1 (QN-420) 12");
    for (const std::string& bad : {std::string("hos\r\nX-Evil: 1"), std::string("hos\n"), std::string("h\0s", 3)}) {
        EXPECT_EQ(quilkova::test::CodeOf(http::Post(http::Url{sim.BaseUrl() + "/echo"}, http::Header{{"X-Client-ID", bad}})),
                  KOVA_ERR_BAD_JSON);
    }
    EXPECT_EQ(sim.RequestsTo("/echo").size(), 1u);
    // An empty value is sent as an empty header, not dropped.
    const quilkova::test::ScriptedServer raw("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", false);
    (void)http::Post(http::Url{"http://127.0.0.1:" + std::to_string(raw.port()) + "/"}, http::Header{{"X-Client-ID", ""}},
               http::Timeout{5000});
    EXPECT_NE(raw.Requests().at(0).find("\r\nX-Client-ID:\r\n"), std::string::npos) << raw.Requests().at(0);
}

// Both layers: at most 3 redirects, never away from the host (not even with
// a 307 that would carry the body along), and answers up to 1 MiB.
TEST(HttpLayers, FollowFewRedirectsOnTheSameHostAndStopOversizedAnswers) {
    quilkova::test::TempRoot root;
    quilkova::test::WriteDevice(root);
    Simulator sim;
    const int port = sim.Start();
    ASSERT_GT(port, 0);
    const std::string base = sim.BaseUrl();
    const std::function<bool(const std::string&)> layers[] = {
        [&base](const std::string& path) {
            quilkova::test::HttpsRequest request(base, path.substr(1), {{"passwd", "secret"}});
            return request.Send() == 0 && request.Body() == "done";
        },
        [&base](const std::string& path) {
            const http::Response response =
                http::Post(http::Url{base + path}, http::Payload{{"passwd", "secret"}}, http::Timeout{5000}).value();
            return response.error.code == http::ErrorCode::OK && response.text == "done";
        },
    };
    const auto redirect = [](const std::string& to) { return CannedAnswer{307, "", 0, {{"Location", to}}}; };
    for (const auto& send : layers) {
        for (int hops : {3, 4}) {
            sim.Reset();
            for (int hop = 1; hop <= hops; ++hop) {
                sim.Queue("/r" + std::to_string(hop), redirect("/r" + std::to_string(hop + 1)));
            }
            const std::string last = "/r" + std::to_string(hops + 1);
            sim.Queue(last, {200, "done", 0, {}});
            EXPECT_EQ(send("/r1"), hops == 3) << hops << " redirects";
            // A 307 carries the body along; a fourth redirect is not followed.
            EXPECT_EQ(sim.RequestsTo(last).empty() ? "" : sim.RequestsTo(last).at(0).Field("passwd"),
                      hops == 3 ? "secret" : "");
        }

        sim.Reset();
        sim.Queue("/away", redirect("http://localhost:" + std::to_string(port) + "/elsewhere"));
        sim.Queue("/elsewhere", {200, "done", 0, {}});
        EXPECT_FALSE(send("/away")) << "another host";
        EXPECT_TRUE(sim.RequestsTo("/elsewhere").empty()) << "nothing reached it";

        sim.Queue("/big", {200, std::string(1024 * 1024 + 1, 'x'), 0, {}});
        EXPECT_FALSE(send("/big"));
    }
    // Redirects lead to HTTP(S) only: one to another protocol is refused.
    sim.Queue("/ftp", redirect("ftp://127.0.0.1:" + std::to_string(port) + "/elsewhere"));
    quilkova::test::HttpsRequest request(base, "ftp", {{"passwd", "secret"}});
    EXPECT_EQ(request.Send(), -1);
    EXPECT_EQ(request.response.curlCode, 1) << "CURLE_UNSUPPORTED_PROTOCOL";
}

}  // namespace
