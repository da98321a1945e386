// The simulator answers as the account service would and obeys its control surface.
#include <gtest/gtest.h>
#include <httplib.h>

#include <string>

#include "device_files.hpp"
#include "https_request.hpp"
#include "internal/json_utils.hpp"
#include "sim/simulator.hpp"
#include "seed.hpp"

namespace {

using quilkova::sim::Simulator;
using quilkova::test::HttpsRequest;

Json::Value Seed() {
    Json::Value seed = quilkova::test::OwnerSeed("s3cret");
    seed["accounts"][0]["full_name"] = "Ann Owner";
    seed["accounts"][0]["enews"] = true;
    return seed;
}

Json::Value Post(Simulator& sim, const std::string& path, const std::vector<std::pair<std::string, std::string>>& form) {
    HttpsRequest request(sim.BaseUrl(), path, form);
    Json::Value answer;
    if (request.Send() != 0 || !quilkova::internal::TryParseJson(request.Body(), answer)) {
        return Json::Value("transport failure");
    }
    return answer;
}

TEST(Simulator, RegistersAndUpdatesAccounts) {
    quilkova::test::TempRoot root;
    quilkova::test::WriteDevice(root);
    Simulator sim(Seed());
    ASSERT_GT(sim.Start(), 0);

    EXPECT_EQ(Post(sim, "device/api/password_login", {{"email", "who@example.com"}, {"passwd", "x"}})["code"],
              "account_not_found");
    EXPECT_EQ(Post(sim, "good/user/launch", {{"access_token", "at-1"}})["email"], "owner@example.com");
    EXPECT_EQ(Post(sim, "device/api/user/register", {{"email", "new@example.com"}, {"passwd", "pw"}})["code"], "good");
    EXPECT_EQ(Post(sim, "device/api/user/register", {{"email", "new@example.com"}, {"passwd", "pw"}})["code"],
              "account_inused");
    EXPECT_EQ(Post(sim, "device/api/user/update", {{"id", "u-1"}, {"auth_key", "key-1"}, {"full_name", "Ann B"}})["code"],
              "good");
    EXPECT_EQ(Post(sim, "device/api/user/query", {{"auth_key", "key-1"}})["full_name"], "Ann B");
}

TEST(Simulator, TheControlSurfaceQueuesAnswersListsRequestsAndResets) {
    quilkova::test::TempRoot root;
    quilkova::test::WriteDevice(root);
    Simulator sim(Seed());
    const int port = sim.Start();
    ASSERT_GT(port, 0);
    httplib::Client control("127.0.0.1", port);

    auto queued = control.Post("/_sim/queue", R"({"path": "/device/api/user/query", "status": 200,
                                                  "body": "{\"code\": \"apikey_not_found\"}"})",
                               "application/json");
    ASSERT_TRUE(queued);
    EXPECT_EQ(queued->status, 200);
    EXPECT_EQ(Post(sim, "device/api/user/query", {{"auth_key", "key-1"}})["code"], "apikey_not_found");
    EXPECT_EQ(Post(sim, "device/api/user/query", {{"auth_key", "key-1"}})["code"], "good") << "once only";
    EXPECT_EQ(control.Post("/_sim/queue", "not json", "application/json")->status, 400);

    auto listed = control.Get("/_sim/requests");
    ASSERT_TRUE(listed);
    Json::Value requests;
    ASSERT_TRUE(quilkova::internal::TryParseJson(listed->body, requests));
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0]["path"], "/device/api/user/query");
    EXPECT_EQ(requests[0]["fields"][0][0], "hs_sn");
    EXPECT_EQ(requests[0]["fields"][2][0], "auth_key");
    EXPECT_EQ(requests[0]["fields"][2][1], "key-1");

    auto authorized = control.Post("/_sim/authorize",
                                   R"({"client_id": "hos", "code_challenge": "c", "redirect_uri": "https://r"})",
                                   "application/json");
    ASSERT_TRUE(authorized);
    Json::Value grant;
    ASSERT_TRUE(quilkova::internal::TryParseJson(authorized->body, grant));
    EXPECT_EQ(grant["authorization_code"].asString().rfind("code-", 0), 0u);

    ASSERT_TRUE(control.Post("/_sim/reset", "", "application/json"));
    EXPECT_TRUE(sim.Requests().empty());
    EXPECT_EQ(Post(sim, "unknown/path", {{"a", "b"}}), Json::Value("transport failure")) << "404";
    EXPECT_EQ(sim.RequestsTo("/unknown/path").size(), 1u);
}

}  // namespace
