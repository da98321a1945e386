#include <gtest/gtest.h>

#include <cstdlib>

#include "internal/root_prefix.hpp"
#include "temp_root.hpp"

namespace {

using quilkova::internal::RootedPath;

TEST(RootPrefix, PrefixesOnlyWhenSetAndNotEmpty) {
    {
        quilkova::test::TempRoot root;
        EXPECT_EQ(RootedPath("/etc/quilinfo.conf"), root.root() + "/etc/quilinfo.conf");
    }
    ::unsetenv("QUILKOVA_ROOT");
    EXPECT_EQ(RootedPath("/etc/quilinfo.conf"), "/etc/quilinfo.conf");
    ::setenv("QUILKOVA_ROOT", "", 1);
    EXPECT_EQ(RootedPath("/etc/quilinfo.conf"), "/etc/quilinfo.conf");
    ::unsetenv("QUILKOVA_ROOT");
}

}  // namespace
