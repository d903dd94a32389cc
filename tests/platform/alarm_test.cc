#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tvn_alarm.h"
#include "tvn_test_files.h"

namespace {

std::vector<nlohmann::json> read_records() {
    std::ifstream in(tvn::alarm_file_path());
    std::vector<nlohmann::json> out;
    for (std::string l; std::getline(in, l);) out.push_back(nlohmann::json::parse(l));
    return out;
}

TEST(Alarm, OneJsonLinePerRecordWithTheDocumentedMembers) {
    tvn_test::scoped_sysroot root;
    ASSERT_EQ(ALM_SendAlarm(666, 0x40001234ULL, 3, "vStore 5 created \"share\"\n"), 0);
    ASSERT_EQ(ALM_SendAlarm(666, 1, 104, nullptr), 0);
    auto recs = read_records();
    ASSERT_EQ(recs.size(), 2u);
    EXPECT_EQ(recs[0]["module"], 666);
    EXPECT_EQ(recs[0]["id"], "0x40001234");
    EXPECT_EQ(recs[0]["kind"], 3);
    EXPECT_EQ(recs[0]["text"], "vStore 5 created \"share\"\n");
    std::string t = recs[0]["time"];
    EXPECT_EQ(t.size(), 24u) << t;  // 2026-11-23T07:16:40.123Z
    EXPECT_EQ(t.back(), 'Z');
    EXPECT_EQ(recs[1]["kind"], 104);
    EXPECT_EQ(recs[1]["text"], "");
}

TEST(Alarm, InvalidUtf8AndConcurrentWritersKeepLinesWhole) {
    tvn_test::scoped_sysroot root;
    std::vector<std::thread> ts;
    for (int t = 0; t < 4; ++t)
        ts.emplace_back([] {
            for (int i = 0; i < 50; ++i) ALM_SendAlarm(666, i, 3, "bad \xff\xfe bytes");
        });
    for (auto& t : ts) t.join();
    EXPECT_EQ(read_records().size(), 200u);
}

TEST(Alarm, UnwritableFileIsAnError) {
    tvn_test::scoped_sysroot root;
    { std::ofstream(root.root() + "/var"); }
    EXPECT_LT(ALM_SendAlarm(666, 1, 3, "x"), 0);
}

// A link or a FIFO planted under the file's name is refused: the record is
// lost, but nothing outside the log folder is created or written, and the
// call does not hang on a FIFO nobody reads.
TEST(Alarm, APlantedLinkOrFifoIsNeverWrittenThrough) {
    tvn_test::scoped_sysroot root;
    const std::string victim = root.path("/victim");
    const std::string missing = root.path("/missing");
    const struct {
        const char* what;
        std::function<void(const std::string&)> plant;
    } cases[] = {
        {"link to a file", [&](const std::string& p) { ASSERT_EQ(::symlink(victim.c_str(), p.c_str()), 0); }},
        {"dangling link", [&](const std::string& p) { ASSERT_EQ(::symlink(missing.c_str(), p.c_str()), 0); }},
        {"fifo", [](const std::string& p) { ASSERT_EQ(::mkfifo(p.c_str(), 0600), 0); }},
    };
    const std::string path = tvn::alarm_file_path();
    for (const auto& c : cases) {
        tvn_test::write_text(victim, "precious\n");
        ::unlink(path.c_str());
        ASSERT_EQ(ALM_SendAlarm(666, 1, 3, "first"), 0) << c.what;  // makes the folders
        ASSERT_EQ(::unlink(path.c_str()), 0);
        c.plant(path);
        EXPECT_LT(ALM_SendAlarm(666, 2, 3, "through the link"), 0) << c.what;
        EXPECT_EQ(tvn_test::read_text(victim), "precious\n") << c.what;
        EXPECT_NE(::access(missing.c_str(), F_OK), 0) << c.what;
    }
}

// Callers send texts of any length; a record is bounded and stays valid
// UTF-8 where it is cut.
TEST(Alarm, ALongTextIsCutOnACharacterBoundaryAndMarked) {
    tvn_test::scoped_sysroot root;
    // "a" then two-byte characters: the limit falls inside one of them.
    std::string text = "a";
    while (text.size() < 3 * tvn::kAlarmTextMax) text += "\xc3\xa9";
    ASSERT_EQ(ALM_SendAlarm(666, 1, 3, text.c_str()), 0);
    const std::string exact(tvn::kAlarmTextMax, 'x');
    ASSERT_EQ(ALM_SendAlarm(666, 2, 3, exact.c_str()), 0);
    auto recs = read_records();
    ASSERT_EQ(recs.size(), 2u);
    const std::string cut = recs[0]["text"];
    EXPECT_EQ(cut, text.substr(0, tvn::kAlarmTextMax - 1) + "...");
    EXPECT_EQ(recs[1]["text"], exact) << "a text at the limit is kept whole";
}

// Past the size limit the file moves to alarm.jsonl.1, older files move up
// and the oldest falls off: the kept files hold the newest records in order,
// none of them is split, and none passes the limit.
TEST(Alarm, TheFileRotatesBySizeKeepingTheNewestRecords) {
    tvn_test::scoped_sysroot root;
    const mode_t old_mask = ::umask(0);
    const std::string text(tvn::kAlarmTextMax, 'r');
    const uint64_t line = 4300;  // a record of that text, with room to spare
    const uint64_t per_file = tvn::kAlarmFileMax / line;
    const uint64_t total = per_file * (tvn::kAlarmFilesKept + 2);
    for (uint64_t i = 0; i < total; ++i) ASSERT_EQ(ALM_SendAlarm(666, i, 3, text.c_str()), 0) << i;
    ::umask(old_mask);

    const std::string path = tvn::alarm_file_path();
    std::vector<std::string> files;
    for (int i = tvn::kAlarmFilesKept; i >= 1; --i) files.push_back(path + "." + std::to_string(i));
    files.push_back(path);
    EXPECT_NE(::access((path + "." + std::to_string(tvn::kAlarmFilesKept + 1)).c_str(), F_OK), 0);

    uint64_t next = 0;
    uint64_t oldest = 0;
    bool first = true;
    for (const auto& f : files) {
        struct stat st {};
        ASSERT_EQ(::lstat(f.c_str(), &st), 0) << f;
        EXPECT_TRUE(S_ISREG(st.st_mode)) << f;
        EXPECT_EQ(st.st_mode & 0777, 0640u) << f;
        EXPECT_LE(static_cast<uint64_t>(st.st_size), tvn::kAlarmFileMax) << f;
        std::ifstream in(f);
        for (std::string l; std::getline(in, l);) {
            auto rec = nlohmann::json::parse(l, nullptr, false);
            ASSERT_FALSE(rec.is_discarded()) << f << ": a split line";
            const uint64_t id = std::stoull(rec["id"].get<std::string>(), nullptr, 16);
            if (first) {
                oldest = id;
                first = false;
            } else {
                ASSERT_EQ(id, next) << f << ": records lost or out of order";
            }
            next = id + 1;
        }
    }
    EXPECT_EQ(next, total) << "the newest record is in alarm.jsonl";
    EXPECT_GT(oldest, 0u) << "the oldest file fell off";
}

}  // namespace
