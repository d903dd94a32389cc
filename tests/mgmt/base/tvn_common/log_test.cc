#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tvn_log.h"
#include "tvn_test_files.h"

namespace {

uint64_t g_now = 1000;
uint64_t fake_clock() { return g_now; }

class LogTest : public ::testing::Test {
protected:
    void SetUp() override {
        // Call sites keep their counters from test to test: each test starts
        // in a window of its own.
        static uint64_t start = 0;
        start += 1000;
        g_now = start;
        tvn::set_log_clock(&fake_clock);
        ASSERT_EQ(TvnLogInit(666, 6, "/var/log/platform"), 0);
        path_ = root_.root() + "/var/log/platform/tvn_cm.log";
    }
    void TearDown() override {
        TvnLogFini();
        tvn::set_log_clock(nullptr);
        TvnSetLogLevel(666, 1);
    }
    std::vector<std::string> lines() const {
        std::ifstream in(path_);
        std::vector<std::string> out;
        for (std::string l; std::getline(in, l);) out.push_back(l);
        return out;
    }
    tvn_test::scoped_sysroot root_;
    std::string path_;
};

void log_from_one_site(int n) {
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -7, "site A message %d", n);
}
void log_from_other_site(int n) {
    TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_INFO, 0, "site B message %d", n);
}

// A helper many commands share: its line belongs to the caller's site.
void shared_helper(const tvn::log_here& here, const char* who) {
    TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -22, "shared helper for %s", who);
}
void command_one() { shared_helper(TVN_HERE, "one"); }
void command_two() { shared_helper(TVN_HERE, "two"); }

size_t count_containing(const std::vector<std::string>& ls, const std::string& needle) {
    size_t n = 0;
    for (auto& l : ls) n += l.find(needle) != std::string::npos;
    return n;
}

TEST_F(LogTest, LineCarriesModuleFileFunctionLineTextAndCode) {
    log_from_one_site(1);
    auto ls = lines();
    ASSERT_EQ(ls.size(), 1u);
    const std::string& l = ls[0];
    EXPECT_NE(l.find("proto_tvn_cm"), std::string::npos) << l;
    EXPECT_NE(l.find("log_test.cc:"), std::string::npos) << l;
    EXPECT_EQ(l.find("/log_test.cc"), std::string::npos) << "only the base name: " << l;
    EXPECT_NE(l.find("log_from_one_site"), std::string::npos) << l;
    EXPECT_NE(l.find("site A message 1"), std::string::npos) << l;
    EXPECT_NE(l.find("-7"), std::string::npos) << l;
    EXPECT_NE(l.find("[4]"), std::string::npos) << l;
}

TEST_F(LogTest, RateLimitIsPerCallSiteAndReportsSuppressedCountInNextWindow) {
    for (int i = 0; i < 5; ++i) log_from_one_site(i);
    for (int i = 0; i < 2; ++i) log_from_other_site(i);
    const uint64_t start = g_now;
    g_now = start + 59;  // same window
    log_from_one_site(5);
    auto ls = lines();
    EXPECT_EQ(count_containing(ls, "site A message"), 3u);
    EXPECT_EQ(count_containing(ls, "site B message"), 2u);
    EXPECT_EQ(count_containing(ls, "messages suppressed"), 0u);

    g_now = start + 60;  // a new window opens: report first, then the message
    log_from_one_site(6);
    ls = lines();
    ASSERT_GE(ls.size(), 2u);
    EXPECT_NE(ls[ls.size() - 2].find("3 messages suppressed."), std::string::npos) << ls[ls.size() - 2];
    EXPECT_NE(ls[ls.size() - 2].find("-7"), std::string::npos) << "report keeps the site's code";
    EXPECT_NE(ls.back().find("site A message 6"), std::string::npos);

    // A window in which nothing was suppressed reports nothing.
    g_now = start + 200;
    log_from_one_site(7);
    EXPECT_EQ(count_containing(lines(), "messages suppressed"), 1u);
}

TEST_F(LogTest, LevelFilterFollowsInternalLevel) {
    TvnSetLogLevel(666, 2);  // errors only
    log_from_other_site(1);  // information
    log_from_one_site(1);    // error
    auto ls = lines();
    EXPECT_EQ(count_containing(ls, "site B"), 0u);
    EXPECT_EQ(count_containing(ls, "site A"), 1u);
    TvnSetLogLevel(666, 0);
    EXPECT_TRUE(TvnLogLevelEnabled(TVN_LOG_DEBUG));
    TvnSetLogLevel(666, 3);
    EXPECT_FALSE(TvnLogLevelEnabled(TVN_LOG_ERROR));
}

TEST(LogLevel, ConvertToInternal) {
    struct { int in, out; } cases[] = {{300, 2}, {400, 1}, {700, 0}, {0, 3}, {-1, 3}, {500, 3}, {301, 3}};
    for (auto c : cases) EXPECT_EQ(TvnConvertLogLevelToInternal(c.in), c.out) << c.in;
}

TEST(LogInit, UncreatableDirectoryIsAnErrorNotACrash) {
    tvn_test::scoped_sysroot root;
    // A plain file where the directory should go.
    { std::ofstream(root.root() + "/var"); }
    EXPECT_LT(TvnLogInit(666, 6, "/var/log/platform"), 0);
    EXPECT_FALSE(TvnLogIsOpen());
    EXPECT_LT(TvnLogInit(666, 6, ""), 0);
    EXPECT_LT(TvnLogInit(666, 6, nullptr), 0);
    // Logging without an open log is harmless.
    log_from_one_site(1);
}

TEST(LogInit, ReopenAndCloseAreSafe) {
    tvn_test::scoped_sysroot root;
    EXPECT_EQ(TvnLogInit(666, 6, "/var/log/platform"), 0);
    EXPECT_EQ(TvnLogInit(666, 6, "/var/log/platform"), 0);
    EXPECT_TRUE(TvnLogIsOpen());
    TvnLogFini();
    TvnLogFini();
    EXPECT_FALSE(TvnLogIsOpen());
}

TEST_F(LogTest, ASharedHelperCountsAgainstEachCallersOwnSite) {
    // One busy command must not silence another that uses the same helper.
    for (int i = 0; i < 5; ++i) command_one();
    for (int i = 0; i < 5; ++i) command_two();
    auto ls = lines();
    EXPECT_EQ(count_containing(ls, "shared helper for one"), 3u);
    EXPECT_EQ(count_containing(ls, "shared helper for two"), 3u);
    // The line names the caller, not the helper.
    for (const auto& l : ls) {
        EXPECT_NE(l.find("command_"), std::string::npos) << l;
        EXPECT_EQ(l.find("shared_helper"), std::string::npos) << l;
    }
    g_now += 60;
    command_one();
    ls = lines();
    EXPECT_EQ(count_containing(ls, "2 messages suppressed."), 1u);
    EXPECT_EQ(count_containing(ls, "shared helper for one"), 4u);
}

}  // namespace
