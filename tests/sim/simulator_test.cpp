// The simulator's control surface, as another process (the demo) drives it.
#include "test_prelude.hpp"

#include <httplib.h>

#include "sim/simulator.hpp"

namespace {

using quilkova::sim::Simulator;

Json::Value Seed() {
    Json::Value seed;
    seed["accounts"][0]["email"] = "owner@example.com";
    seed["accounts"][0]["password"] = "s3cret";
    seed["accounts"][0]["id"] = "u-1";
    seed["accounts"][0]["auth_key"] = "key-1";
    return seed;
}

Json::Value Body(const httplib::Result& result) {
    Json::Value value;
    return result && quilkova::internal::TryParseJson(result->body, value) ? value : Json::Value("no answer");
}

TEST(Simulator, TheControlSurfaceDrivesTheServiceFromOutside) {
    Simulator sim(Seed());
    const int port = sim.Start();
    ASSERT_GT(port, 0);
    httplib::Client client("127.0.0.1", port);
    const auto control = [&client](const std::string& name, const std::string& body) {
        return Body(client.Post("/_sim/" + name, body, "application/json"));
    };
    const auto login = [&client](const char* password) {
        return Body(client.Post("/device/api/password_login", std::string("email=owner%40example.com&passwd=") + password,
                                "application/x-www-form-urlencoded"));
    };

    EXPECT_EQ(control("queue", R"({"path": "/device/api/password_login", "status": 302, "body": "{}",
                                   "headers": {"Location": "/elsewhere"}})")["code"], "good");
    const auto redirected = client.Post("/device/api/password_login", "", "application/x-www-form-urlencoded");
    ASSERT_TRUE(redirected);
    EXPECT_EQ(redirected->status, 302);
    EXPECT_EQ(redirected->get_header_value("Location"), "/elsewhere");
    EXPECT_EQ(login("s3cret")["auth_key"], "key-1") << "a canned answer is used once";
    EXPECT_EQ(client.Post("/_sim/queue", "not json", "application/json")->status, 400);

    const Json::Value requests = Body(client.Get("/_sim/requests"));
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[1]["path"], "/device/api/password_login");
    EXPECT_EQ(requests[1]["fields"][0][0], "email");
    EXPECT_EQ(requests[1]["fields"][0][1], "owner@example.com");
    EXPECT_EQ(requests[1]["fields"][1][1], "s3cret");

    // A browser login's code, once, for the S256 challenge it was issued with.
    const std::string verifier = "verifier-of-forty-three-characters-.......";
    const Json::Value code = control("authorize", R"({"client_id": "hos", "redirect_uri": "https://r",
                                                       "code_challenge": ")" + quilkova::sim::S256(verifier) + "\"}");
    const std::string exchange = "grant_type=authorization_code&client_id=hos&redirect_uri=https%3A%2F%2Fr&code=" +
                                 code["authorization_code"].asString() + "&code_verifier=";
    EXPECT_EQ(client.Post("/oauth2/token", exchange + "wrong", "application/x-www-form-urlencoded")->status, 400);
    control("token_lifetime", R"({"seconds": 60})");
    const Json::Value tokens = Body(client.Post("/oauth2/token", exchange + verifier, "application/x-www-form-urlencoded"));
    EXPECT_EQ(tokens["error"], "invalid_grant") << "the code was spent by the failed attempt";
    const Json::Value fresh = control("authorize", R"({"client_id": "hos", "redirect_uri": "https://r"})");
    const Json::Value issued = Body(client.Post(
        "/oauth2/token", "grant_type=authorization_code&client_id=hos&redirect_uri=https%3A%2F%2Fr&code=" +
                             fresh["authorization_code"].asString(),
        "application/x-www-form-urlencoded"));
    EXPECT_EQ(issued["expires_in"], 60);
    control("revoke", "");
    EXPECT_EQ(client.Post("/oauth2/token", "grant_type=refresh_token&client_id=hos&refresh_token=" +
                                               issued["refresh_token"].asString(),
                          "application/x-www-form-urlencoded")->status,
              400);

    control("revoke_auth_key", R"({"email": "owner@example.com"})");
    EXPECT_NE(login("s3cret")["auth_key"], "key-1") << "a new key at the next login";
    control("reset", "");
    EXPECT_TRUE(sim.Requests().empty());
    EXPECT_EQ(login("s3cret")["auth_key"], "key-1") << "the seed restored";
    EXPECT_EQ(client.Post("/unknown/path", "", "text/plain")->status, 404);
}

}  // namespace
