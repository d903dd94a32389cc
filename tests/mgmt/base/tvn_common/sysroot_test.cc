#include <fstream>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tvn_sysroot.h"
#include "tvn_test_files.h"

namespace {

TEST(Sysroot, PathsAreMappedUnderTheRoot) {
    ::unsetenv("TVN_SYSROOT");
    EXPECT_EQ(tvn::sysroot_path("/KSD/conf/x"), "/KSD/conf/x");
    ::setenv("TVN_SYSROOT", "", 1);
    EXPECT_EQ(tvn::sysroot_path("/KSD/conf/x"), "/KSD/conf/x");
    ::setenv("TVN_SYSROOT", "/tmp/node//", 1);
    EXPECT_EQ(tvn::sysroot_path("/KSD/conf/x"), "/tmp/node/KSD/conf/x");
    EXPECT_EQ(tvn::sysroot_path("relative/x"), "relative/x");
    ::setenv("TVN_SYSROOT", "/", 1);
    EXPECT_EQ(tvn::sysroot_path("/etc/osax"), "/etc/osax");
    ::unsetenv("TVN_SYSROOT");
}

TEST(Sysroot, MakeDirsCreatesParentsAndReportsObstacles) {
    tvn_test::scoped_sysroot root;
    std::string deep = tvn::sysroot_path("/a/b/c");
    EXPECT_EQ(tvn::make_dirs(deep), 0);
    struct stat st {};
    ASSERT_EQ(::stat(deep.c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(tvn::make_dirs(deep), 0) << "existing folders are fine";

    EXPECT_EQ(tvn::make_parent_dirs(tvn::sysroot_path("/x/y/file.ini")), 0);
    EXPECT_EQ(::stat(tvn::sysroot_path("/x/y").c_str(), &st), 0);

    { std::ofstream(tvn::sysroot_path("/plain")); }
    EXPECT_LT(tvn::make_dirs(tvn::sysroot_path("/plain")), 0);
    EXPECT_LT(tvn::make_dirs(tvn::sysroot_path("/plain/sub")), 0);
    EXPECT_LT(tvn::make_dirs(""), 0);
}

}  // namespace
