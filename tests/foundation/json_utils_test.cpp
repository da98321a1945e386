#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "internal/json_utils.hpp"
#include "log_capture.hpp"
#include "temp_root.hpp"

namespace {

using quilkova::KovaException;
using quilkova::internal::LoadJsonFile;
using quilkova::internal::ParseJson;
using quilkova::internal::SaveJsonFile;
using quilkova::test::LogCapture;
using quilkova::test::TempRoot;

constexpr const char* kTokenFile = "/usr/quil/etc/quillion-account/private/hos_token.json";

Json::Value SampleToken() {
    Json::Value token;
    token["access_token"] = "a.b.c";
    token["expires_in"] = 3600;
    token["created_at"] = Json::Int64(1700000000);
    return token;
}

TEST(JsonFiles, SaveThenLoadRoundTripsWithTheModeOfTheLocation) {
    TempRoot root;
    const struct {
        const char* path;
        mode_t mode;
    } cases[] = {
        {kTokenFile, 0600},
        {"/tmp/account_pkg_pkce_client.conf", 0600},
        {"/usr/quil/etc/crond/kova.json", 0644},
    };
    for (const auto& each : cases) {
        SaveJsonFile(each.path, SampleToken());
        EXPECT_EQ(root.Mode(each.path), each.mode) << each.path;
        Json::Value loaded;
        ASSERT_TRUE(LoadJsonFile(each.path, loaded)) << each.path;
        EXPECT_EQ(loaded, SampleToken());
    }
    // The private directory made on the way is root's only.
    EXPECT_EQ(root.Mode("/usr/quil/etc/quillion-account/private"), 0700);
}

TEST(JsonFiles, APlantedLinkIsReplacedNeverFollowed) {
    TempRoot root;
    root.WriteFile("/victim", "precious\n");
    root.WriteFile(kTokenFile, "");
    ASSERT_EQ(::unlink(root.Path(kTokenFile).c_str()), 0);
    ASSERT_EQ(::symlink(root.Path("/victim").c_str(), root.Path(kTokenFile).c_str()), 0);

    Json::Value loaded;
    EXPECT_FALSE(LoadJsonFile(kTokenFile, loaded));  // not read through the link

    SaveJsonFile(kTokenFile, SampleToken());
    EXPECT_EQ(root.ReadFile("/victim"), "precious\n");
    ASSERT_TRUE(LoadJsonFile(kTokenFile, loaded));
    EXPECT_EQ(loaded, SampleToken());
    EXPECT_EQ(root.Mode(kTokenFile), 0600);
}

TEST(JsonFiles, AFailedSaveLogsAndThrowsCodeTwo) {
    TempRoot root;
    root.WriteFile("/usr/quil/etc/quillion-account", "a file where a directory belongs");
    LogCapture log;
    try {
        SaveJsonFile(kTokenFile, SampleToken());
        FAIL() << "no exception";
    } catch (const KovaException& error) {
        EXPECT_EQ(error.GetCode(), KOVA_ERR_BAD_JSON);
    }
    ASSERT_EQ(log.lines().size(), 1u) << log.Dump();
    EXPECT_EQ(log.lines()[0].text.rfind("json_utils.hpp:", 0), 0u) << log.Dump();
    EXPECT_NE(log.lines()[0].text.find(std::string(" Failed to save json: ") + kTokenFile), std::string::npos);
}

TEST(JsonFiles, LoadingAMissingOrBrokenFileGivesFalse) {
    TempRoot root;
    Json::Value loaded;
    EXPECT_FALSE(LoadJsonFile(kTokenFile, loaded));
    root.WriteFile(kTokenFile, "{\"access_token\": ");
    LogCapture log;
    EXPECT_FALSE(LoadJsonFile(kTokenFile, loaded));
    EXPECT_TRUE(log.Contains("Failed to parse json: {\"access_token\": ")) << log.Dump();
}

TEST(JsonParse, StrictRootCommentsAllowedHostileInputRefused) {
    LogCapture log;
    Json::Value value;
    EXPECT_TRUE(ParseJson("// the answer\n{\"code\": \"good\" /* ok */}", value));
    EXPECT_EQ(value["code"].asString(), "good");

    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    const char* refused[] = {"42", "\"text\"", "{\"a\":1} trailing", "{'a':1}", "", "<html>502</html>"};
    for (const char* text : refused) {
        Json::Value untouched("before");
        EXPECT_FALSE(ParseJson(text, untouched)) << text;
        EXPECT_EQ(untouched, Json::Value("before")) << text;
    }
    EXPECT_FALSE(ParseJson(deep, value));
    EXPECT_TRUE(log.Contains("Failed to parse json: 42")) << log.Dump();
}

}  // namespace
