#include <cstdlib>

#include <gtest/gtest.h>

#include "tvn_fault.h"

TEST(FaultInjection, NamesAreMatchedWholeInACommaList) {
    ::unsetenv("TVN_FAIL_AT");
    EXPECT_FALSE(tvn::fail_at("osax_init"));
    ::setenv("TVN_FAIL_AT", "IOD_Init, osax_init,GetLocalNodeId", 1);
    EXPECT_TRUE(tvn::fail_at("osax_init"));
    EXPECT_TRUE(tvn::fail_at("IOD_Init"));
    EXPECT_TRUE(tvn::fail_at("GetLocalNodeId"));
    EXPECT_FALSE(tvn::fail_at("osax"));
    EXPECT_FALSE(tvn::fail_at("IOD_Init2"));
    EXPECT_FALSE(tvn::fail_at(""));
    ::setenv("TVN_FAIL_AT", ",,", 1);
    EXPECT_FALSE(tvn::fail_at("x"));
    ::unsetenv("TVN_FAIL_AT");
}
