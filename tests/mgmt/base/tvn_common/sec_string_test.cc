#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tvn_sec_string.h"

namespace {

struct released_block {
    size_t bytes;
    bool all_zero;
};
std::vector<released_block> g_released;

void observe(const char* block, size_t bytes) {
    bool zero = true;
    for (size_t i = 0; i < bytes; ++i) zero = zero && block[i] == 0;
    g_released.push_back({bytes, zero});
}

class SecStringTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_released.clear();
        SecString::set_release_observer(&observe);
    }
    void TearDown() override { SecString::set_release_observer(nullptr); }
    static bool every_release_wiped() {
        for (auto& b : g_released)
            if (!b.all_zero) return false;
        return true;
    }
};

TEST_F(SecStringTest, EveryBufferIsWipedWhenReleasedOrOutgrown) {
    {
        SecString s("Passw0rd!");
        s.append(std::string(100, 'x'));  // forces a larger buffer
        EXPECT_EQ(g_released.size(), 1u) << "the outgrown buffer is released";
        s.assign(std::string(500, 'y'));
        EXPECT_EQ(s.size(), 500u);
        SecString copy = s;
        SecString moved = std::move(copy);
        EXPECT_TRUE(copy.empty());
        EXPECT_EQ(moved, s);
    }
    EXPECT_GE(g_released.size(), 4u);
    EXPECT_TRUE(every_release_wiped());
}

TEST_F(SecStringTest, ClearWipesInPlaceAndKeepsCapacity) {
    SecString s("secret");
    const char* p = s.c_str();
    size_t cap = s.capacity();
    s.clear();
    EXPECT_TRUE(s.empty());
    EXPECT_EQ(s.capacity(), cap);
    for (size_t i = 0; i <= cap; ++i) EXPECT_EQ(p[i], 0) << i;
}

TEST_F(SecStringTest, TextOperations) {
    SecString s;
    EXPECT_STREQ(s.c_str(), "");
    s.append("ab").append('c').append("");
    EXPECT_EQ(s.view(), "abc");
    s.append(s.view());  // appending itself across a reallocation
    EXPECT_EQ(s.view(), "abcabc");
    s.assign(s.view().substr(3));  // assigning a view of itself
    EXPECT_EQ(s.view(), "abc");
    std::string with_nul("a\0b", 3);
    s.assign(with_nul);
    EXPECT_EQ(s.size(), 3u);
    EXPECT_EQ(std::memcmp(s.data(), with_nul.data(), 3), 0);
    s = s;  // self assignment
    EXPECT_EQ(s.size(), 3u);
}

TEST(SecureZero, NullAndEmptyAreHarmless) {
    tvn::secure_zero(nullptr, 10);
    char c = 'x';
    tvn::secure_zero(&c, 0);
    EXPECT_EQ(c, 'x');
    tvn::secure_zero(&c, 1);
    EXPECT_EQ(c, 0);
}

}  // namespace
