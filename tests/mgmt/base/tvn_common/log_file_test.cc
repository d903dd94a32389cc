// The service log file against hostile input: links and FIFOs planted under
// its name, a caller's umask, and logged values that try to forge lines.
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tvn_log.h"
#include "tvn_sysroot.h"
#include "tvn_test_files.h"
#include "tvn_test_service_files.h"

namespace {

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string l; std::getline(in, l);) out.push_back(l);
    return out;
}

TEST(LogFile, APlantedLinkOrFifoIsRefusedAndItsTargetKept) {
    tvn_test::scoped_sysroot root;
    const std::string victim = root.path("/victim");
    const std::string missing = root.path("/missing");
    const std::string log = root.path("/var/log/platform/tvn_cm.log");
    const struct {
        const char* what;
        std::function<int()> plant;
    } cases[] = {
        {"link to a file", [&] { return ::symlink(victim.c_str(), log.c_str()); }},
        {"dangling link", [&] { return ::symlink(missing.c_str(), log.c_str()); }},
        {"fifo", [&] { return ::mkfifo(log.c_str(), 0600); }},
    };
    tvn_test::write_text(log, "");  // the folders
    for (const auto& c : cases) {
        tvn_test::write_text(victim, "precious\n");
        ASSERT_EQ(::unlink(log.c_str()), 0) << c.what;
        ASSERT_EQ(c.plant(), 0) << c.what;
        EXPECT_LT(TvnLogInit(666, 6, "/var/log/platform"), 0) << c.what;
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -1, "written through %s", c.what);
        TvnLogFini();
        EXPECT_EQ(tvn_test::read_text(victim), "precious\n") << c.what;
        EXPECT_NE(::access(missing.c_str(), F_OK), 0) << c.what;
    }
}

TEST(LogFile, TheModeIsFixedWhateverTheCallersUmask) {
    tvn_test::scoped_sysroot root;
    const mode_t old_mask = ::umask(0);
    const int rc = TvnLogInit(666, 6, "/var/log/platform");
    ::umask(old_mask);
    ASSERT_EQ(rc, 0);
    TvnLogFini();
    struct stat st {};
    ASSERT_EQ(::stat(root.path("/var/log/platform/tvn_cm.log").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
}

// A share path is the operator's text: a newline in it must not start a line
// that looks like the service's own, nor an escape sequence reach the
// terminal of whoever reads the log. Other bytes, UTF-8 included, stay.
TEST(LogFile, ALoggedValueWithControlCharactersStaysOneEscapedLine) {
    tvn_test::service_files files;
    const std::string value = "/fs1/a\n2026-01-01T00:00:00.000000Z [4] forged\r\t\x1b[31mred\x7f\x01 caf\xc3\xa9";
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -22, "Create share (%s) failed.", value.c_str());
    auto lines = lines_of(files.log());
    ASSERT_EQ(lines.size(), 1u) << files.log();
    EXPECT_NE(lines[0].find("Create share (/fs1/a\\n2026-01-01T00:00:00.000000Z [4] forged\\r\\t\\x1b[31mred"
                            "\\x7f\\x01 caf\xc3\xa9) failed. (rc=-22)"),
              std::string::npos)
        << lines[0];
    for (char c : lines[0]) EXPECT_FALSE(static_cast<unsigned char>(c) < 0x20 || c == 0x7f) << lines[0];
}

}  // namespace
