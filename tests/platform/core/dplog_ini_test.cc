#include <sstream>
#include <vector>

#include "core_test_util.h"
#include "dpax.h"

namespace {

using DplogTest = CoreTest;

TEST_F(DplogTest, OneLineAMessageOpenedOnFirstUseAndAgainAfterDestroy) {
    EXPECT_FALSE(dplog_is_open());
    dplog(398, 6, "PS first %d", 1);
    EXPECT_TRUE(dplog_is_open());
    dplog_rc(398, 3, -7, "two\nlines\r");
    dplog_destroy();
    EXPECT_FALSE(dplog_is_open());
    dplog(666, 7, "after destroy");
    std::istringstream in(platform_log());
    std::vector<std::string> lines;
    for (std::string l; std::getline(in, l);) lines.push_back(l);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[0].find("[6] 398 dplog_ini_test.cc:"), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("TestBody: PS first 1 (rc=0)"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("[3] 398 "), std::string::npos);
    EXPECT_NE(lines[1].find("two lines  (rc=-7)"), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find("[7] 666 "), std::string::npos);
    EXPECT_EQ(tvn::dplog_path(), path("/var/log/platform/process_shell.log"));
}

TEST_F(DplogTest, InitOpensTheFileAndCanBeMadeToFail) {
    EXPECT_EQ(dplog_init(), 0);
    EXPECT_TRUE(dplog_is_open());
    EXPECT_GE(dplog_fd(), 0);
    dplog_write_raw("raw text");
    EXPECT_EQ(platform_log(), "raw text\n");
    dplog_destroy();
    ::setenv("TVN_FAIL_AT", "dplog_init", 1);
    EXPECT_EQ(dplog_init(), -1);
    EXPECT_FALSE(dplog_is_open());
}

TEST_F(DplogTest, AnUnwritableFolderLosesMessagesQuietly) {
    write_text(path("/var/log/platform"), "a file where the folder should be");
    EXPECT_EQ(dplog_init(), -1);
    dplog(398, 6, "nowhere to go");
    EXPECT_FALSE(dplog_is_open());
}

class IniTest : public CoreTest {
protected:
    const char* file = "/etc/test/items.ini";
    std::string read(const char* section, const char* key, int32_t* rc = nullptr, uint32_t size = 64) {
        std::vector<char> buf(size > 0 ? size : 1, 'X');
        int32_t r = dpax_ini_read_item(file, section, key, buf.data(), size);
        if (rc != nullptr) *rc = r;
        return r == 0 ? std::string(buf.data()) : std::string("<") + std::to_string(r) + ">";
    }
};

TEST_F(IniTest, ReadsTrimmedItemsOfTheirOwnSection) {
    write_text(path(file),
               "; comment\n"
               "top=before any section\n"
               "[PROCESS]\n"
               "  active_times =  12  \r\n"
               "# hidden=1\n"
               "url=a=b\n"
               "empty=\n"
               "[ OTHER ]\n"
               "active_times=99\n"
               "[broken\n"
               "active_times=77\n");
    EXPECT_EQ(read("PROCESS", "active_times"), "12");
    EXPECT_EQ(read("PROCESS", "url"), "a=b");
    EXPECT_EQ(read("PROCESS", "empty"), "");
    EXPECT_EQ(read("OTHER", "active_times"), "99");  // an unclosed header opens nothing
    EXPECT_EQ(read("PROCESS", "hidden"), "<-61>");
    EXPECT_EQ(read("PROCESS", "top"), "<-61>");
    EXPECT_EQ(read("NOPE", "active_times"), "<-61>");
    EXPECT_EQ(read("PROCESS", "url", nullptr, 3), "<-34>");
    EXPECT_EQ(read("PROCESS", "url", nullptr, 4), "a=b");
    char buf[4];
    EXPECT_EQ(dpax_ini_read_item(file, "PROCESS", "url", buf, 0), -22);
    EXPECT_EQ(dpax_ini_read_item(nullptr, "PROCESS", "url", buf, 4), -22);
    EXPECT_EQ(dpax_ini_read_item("/etc/test/none.ini", "PROCESS", "url", buf, 4), -2);
    ::setenv("TVN_FAIL_AT", "dpax_ini_read_item", 1);
    EXPECT_EQ(read("PROCESS", "active_times"), "<-1>");
}

TEST_F(IniTest, WritesReplaceAddAndKeepEverythingElse) {
    // A new file and its folders.
    ASSERT_EQ(dpax_ini_write_item(file, "PROCESS", "active_times", "1"), 0);
    EXPECT_EQ(read_text(path(file)), "[PROCESS]\nactive_times=1\n");

    write_text(path(file), "; keep me\n[A]\nx = 1 ; note\n\n[B]\ny=2\n");
    ASSERT_EQ(dpax_ini_write_item(file, "A", "x", "5"), 0);
    ASSERT_EQ(dpax_ini_write_item(file, "A", "z", "6"), 0);
    ASSERT_EQ(dpax_ini_write_item(file, "C", "w", "7"), 0);
    ASSERT_EQ(dpax_ini_write_item(file, "B", "y", "has spaces = and more"), 0);
    EXPECT_EQ(read_text(path(file)), "; keep me\n[A]\nx=5\nz=6\n\n[B]\ny=has spaces = and more\n\n[C]\nw=7\n");
    EXPECT_EQ(read("B", "y"), "has spaces = and more");

    const std::pair<const char*, const char*> bad[] = {{"", "k"}, {"S]", "k"}, {"S", ""}, {"S", "k=v"}, {"S\n", "k"}};
    for (auto [section, key] : bad) EXPECT_EQ(dpax_ini_write_item(file, section, key, "v"), -22) << section << key;
    EXPECT_EQ(dpax_ini_write_item(file, "S", "k", "two\nlines"), -22);
    EXPECT_EQ(dpax_ini_write_item(file, "S", "k", nullptr), -22);

    // A folder where the file should be: refused, nothing left behind.
    ASSERT_EQ(tvn::make_dirs(path("/etc/test/dir.ini")), 0);
    EXPECT_NE(dpax_ini_write_item("/etc/test/dir.ini", "S", "k", "v"), 0);
    ::setenv("TVN_FAIL_AT", "dpax_ini_write_item", 1);
    EXPECT_EQ(dpax_ini_write_item(file, "A", "x", "9"), -1);
    EXPECT_EQ(read("A", "x"), "5");
}

}  // namespace
