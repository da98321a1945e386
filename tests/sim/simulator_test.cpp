// The simulator's control surface over HTTP, where the demo and the shell test
// do not drive it; the service it plays is exercised by every library test.
#include "test_prelude.hpp"

#include <httplib.h>

namespace {

Json::Value Body(const httplib::Result& result) {
    Json::Value value;
    return result && internal::TryParseJson(result->body, value) ? value : Json::Value("no answer");
}

TEST(Simulator, TheControlSurfaceDrivesTheServiceFromOutside) {
    Json::Value seed;
    seed["accounts"][0] = Json::Value(Json::objectValue);
    for (const char* member : {"email", "password", "id", "auth_key"}) {
        seed["accounts"][0][member] = std::string(member) + "-1";
    }
    sim::Simulator sim(seed);
    ASSERT_GT(sim.Start(), 0);
    httplib::Client client(sim.BaseUrl());
    const auto control = [&client](const std::string& name, const std::string& body = "") {
        return client.Post("/_sim/" + name, body, "application/json");
    };
    const auto login = [&client] {
        return Body(client.Post("/device/api/password_login", "email=email-1&passwd=password-1",
                                "application/x-www-form-urlencoded"))["auth_key"];
    };
    EXPECT_EQ(control("queue", "not json")->status, 400);
    EXPECT_EQ(login(), "auth_key-1");
    control("revoke_auth_key", R"({"email": "email-1"})");
    EXPECT_NE(login(), "auth_key-1") << "a new key at the next login";
    control("reset");
    EXPECT_TRUE(sim.Requests().empty());
    EXPECT_EQ(login(), "auth_key-1") << "the seed restored";
    EXPECT_EQ(client.Post("/unknown/path", "", "text/plain")->status, 404);
}

}  // namespace
