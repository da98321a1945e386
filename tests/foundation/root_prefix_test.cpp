#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "internal/root_prefix.hpp"
#include "temp_root.hpp"

namespace {

using quilkova::internal::MakeParentDirectories;
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

TEST(RootPrefix, ParentDirectoriesGetExactModesWhateverTheUmask) {
    quilkova::test::TempRoot root;
    const mode_t saved = ::umask(0077);
    EXPECT_TRUE(MakeParentDirectories(root.Path("/usr/quil/etc/quillion-account/private/user.conf")));
    EXPECT_TRUE(MakeParentDirectories(root.Path("/usr/quil/etc/quillion-account/private/user.conf")));
    ::umask(saved);
    EXPECT_EQ(root.Mode("/usr/quil/etc/quillion-account/private"), 0700);
    EXPECT_EQ(root.Mode("/usr/quil/etc/quillion-account"), 0755);
    EXPECT_EQ(root.Mode("/usr"), 0755);
    EXPECT_FALSE(root.Exists("/usr/quil/etc/quillion-account/private/user.conf"));

    root.WriteFile("/blocked", "a file");
    EXPECT_FALSE(MakeParentDirectories(root.Path("/blocked/below/file")));
}

}  // namespace
