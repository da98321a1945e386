#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "account_fixture.hpp"
#include "internal/default_hosts.hpp"
#include "internal/server_info_impl.hpp"
#include "quilkova/quilkova.h"
#include "quilkova/server_info.hpp"
#include "quilkova/user.hpp"

namespace {

namespace hosts = quilkova::internal;
using quilkova::ServerInfo;

constexpr const char* kDefaults = "/etc.defaults/quilinfo.conf";

class ServerInfoTest : public quilkova::test::AccountTest {};

TEST_F(ServerInfoTest, OnlyExactlyTestSelectsTheTestHosts) {
    const struct {
        const char* content;  // nullptr: no file
        bool test;
    } rows[] = {
        {nullptr, false},
        {"quilpkg_server=\"test\"\n", true},
        {"quilpkg_server=test\n", true},
        {"quilpkg_server=\"Test\"\n", false},
        {"quilpkg_server=\" test\"\n", false},
        {"quilpkg_server=\"testing\"\n", false},
        {"quilpkg_server=\"\"\n", false},
        {"other=\"test\"\n", false},
    };
    for (const auto& row : rows) {
        if (row.content != nullptr) {
            root().WriteFile(kDefaults, row.content);
        }
        const ServerInfo info;
        EXPECT_EQ(quilkova::ServerInfoImpl().IsTest(), row.test) << (row.content ? row.content : "no file");
        EXPECT_EQ(info.GetAccountHost(), row.test ? hosts::kAccountHostTest : hosts::kAccountHost);
        EXPECT_EQ(info.GetIdentityHost(), row.test ? hosts::kIdentityHostTest : hosts::kIdentityHost);
        EXPECT_EQ(info.GetPaymentHost(), row.test ? hosts::kPaymentHostTest : hosts::kPaymentHost);
    }
}

TEST_F(ServerInfoTest, AUserOverrideWinsInBothModesWhileThePaymentHostFollowsTheMode) {
    const quilkova::User user;
    user.SetAccountHost("http://127.0.0.1:8080");
    user.SetIdentityHost("");
    for (bool test : {false, true}) {
        root().WriteFile(kDefaults, test ? "quilpkg_server=\"test\"\n" : "quilpkg_server=\"prod\"\n");
        const ServerInfo info;
        EXPECT_EQ(info.GetAccountHost(), "http://127.0.0.1:8080");
        EXPECT_EQ(info.GetIdentityHost(), test ? hosts::kIdentityHostTest : hosts::kIdentityHost);
        EXPECT_EQ(info.GetPaymentHost(), test ? hosts::kPaymentHostTest : hosts::kPaymentHost);
    }
}

TEST_F(ServerInfoTest, TheFlatFunctionsCopyTheHostsCutToTheirFields) {
    EXPECT_EQ(QUILKOVAServerConfigGet(nullptr), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_BAD_PARAM);
    EXPECT_EQ(QUILPaymentConfigGet(nullptr), -1);
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_BAD_PARAM);

    KOVA_SERVER_CONFIG config;
    std::memset(&config, 'Z', sizeof(config));
    ASSERT_EQ(QUILKOVAServerConfigGet(&config), 0);
    EXPECT_STREQ(config.account_url, hosts::kAccountHost);
    EXPECT_STREQ(config.payment_url, hosts::kPaymentHost);

    char url[2048];
    ASSERT_EQ(QUILPaymentConfigGet(url), 0);
    EXPECT_STREQ(url, hosts::kPaymentHost);

    const std::string long_host = "https://" + std::string(2100, 'h');
    quilkova::User().SetAccountHost(long_host);
    ASSERT_EQ(QUILKOVAServerConfigGet(&config), 0);
    EXPECT_EQ(std::string(config.account_url), long_host.substr(0, 2047));
    EXPECT_EQ(QUILKOVAErrGet(), KOVA_ERR_SUCCESS);
}

}  // namespace
