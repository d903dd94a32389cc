#include <fstream>
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

}  // namespace
