#include "ps_test_fixture.h"

using ParamsTest = ShellTest;

TEST_F(ParamsTest, CommandLinesGiveTheirCodeAndUsage) {
    struct row {
        std::vector<std::string> args;
        int32_t rc;
        const char* log;  // expected platform log text, or nullptr
    };
    const row rows[] = {
        {{"-l", "1", "-v", "2"}, 0, nullptr},
        {{"--lsid", "18446744073709551615", "--version", "0", "-s", "r"}, 0, nullptr},
        {{"-l", "1"}, 4, "PS Lack of params 0x1, see usage for more info"},
        {{"-v", "3", "-s", "s"}, 4, "PS Lack of params 0xa, see usage for more info"},
        {{}, 4, "PS Lack of params 0x0, see usage for more info"},
        {{"-l", "1", "-v", "2", "-x"}, 4, "PS Invalid parameters: x--x."},
        {{"-l", "1", "-v", "2", "--bogus=1"}, 4, "PS Invalid parameters: ?---bogus=1."},
        {{"-l", "1", "-v"}, 4, "PS Invalid parameters: v--v."},
        {{"-l", "abc", "-v", "2"}, 4, "PS Invalid parameters: l-abc."},
        {{"-l", "-1", "-v", "2"}, 4, "PS Invalid parameters: l--1."},
        {{"-l", "1", "-v", "99999999999999999999"}, 4, "PS Invalid parameters: v-99999999999999999999."},
        {{"-l", "1", "-v", "2", "extra"}, 0, "PS Ignore unexpected argument: extra."},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(::testing::PrintToString(r.args));
        ps_reset_for_test();
        ::testing::internal::CaptureStderr();
        int32_t rc = parse(r.args);
        std::string err = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(rc, r.rc);
        // The usage text, exactly, and nothing else from getopt.
        EXPECT_EQ(err, rc == 0 ? std::string() : std::string(PS_USAGE_TEXT));
        if (r.log != nullptr) {
            EXPECT_TRUE(logged(r.log)) << platform_log();
        }
    }
}

TEST_F(ParamsTest, ValuesAreKeptAndALaterParseStartsOver) {
    ASSERT_EQ(parse({"-l", "7", "--version", "3", "--startType", "r"}), 0);
    EXPECT_EQ(ps_get_lsid(), 7u);
    EXPECT_EQ(ps_get_version(), 3u);
    EXPECT_STREQ(ps_get_start_type(), "r");
    EXPECT_EQ(ps_internal::cmd_params().seen, 1u | 2u | 8u);
    EXPECT_TRUE(logged("PS There is no config file specified"));

    ps_reset_for_test();
    ASSERT_EQ(parse({"-v", "9", "-l", "8"}), 0);
    EXPECT_EQ(ps_get_lsid(), 8u);
    EXPECT_EQ(ps_get_version(), 9u);
}

TEST_F(ParamsTest, TheUsageTextIsExact) {
    EXPECT_STREQ(PS_USAGE_TEXT,
                 "Usage: [options] \n\nOptions: \n-l | --lsid        process id\n-v | --version        "
                 "process version\n-f | --file        config file\n-s | --startType   start type:s/r "
                 "for start/restart\nYou must supply lsid and version at least\nwith appropriate "
                 "extensions for the file formats.\n\n");
}

TEST_F(ParamsTest, AMissingLsidOrVersionLeavesTheAttributeFileUnread) {
    std::string file = write_file("attrs.ini", "[base]\nprocess_name=unread\n");
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(parse({"-l", "1", "-f", file}), 4);
    ::testing::internal::GetCapturedStderr();
    EXPECT_STREQ(ps_get_process_name(), "");
    EXPECT_TRUE(logged("PS Lack of params 0x5, see usage for more info"));
}

TEST_F(ParamsTest, AnUnreadableAttributeFileDoesNotFailTheParse) {
    EXPECT_EQ(parse({"-l", "1", "-v", "1", "-f", root() + "/missing.ini"}), 0);
    EXPECT_TRUE(logged("PS Get realpath failed (" + root() + "/missing.ini)."));
    EXPECT_TRUE(logged("PS fopen failed (" + root() + "/missing.ini)."));
}

TEST_F(ParamsTest, OnlyTheLsidEndsStartUpWithOne) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(run_main({"-l", "1"}), 1);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), PS_USAGE_TEXT);
    EXPECT_TRUE(logged("PS process parser params fail: 4"));
    EXPECT_TRUE(logged("PS process init fail code:1"));
    EXPECT_TRUE(ps_test::calls().empty());  // no module was touched
}
