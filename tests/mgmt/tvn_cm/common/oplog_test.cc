// The operation log and its event-id table.
#include <string>

#include <gtest/gtest.h>

#include "tvn_cm_util.h"
#include "tvn_test_service_files.h"

namespace {

using tvn_test::scoped_env;

TEST(OpLog, SystemTenantAndOtherTenantRecords) {
    tvn_test::service_files files;
    ASSERT_EQ(tvn_send_operation(7, 0x200F40440005ULL, 0, "/fs1/a,0,0,0"), 0);
    ASSERT_EQ(tvn_send_operation(7, 0x200F40440006ULL, 5, "/fs1/a,0,0,0"), 0);
    auto alarms = files.alarms();
    ASSERT_EQ(alarms.size(), 2u);
    EXPECT_EQ(alarms[0]["module"], 666);
    EXPECT_EQ(alarms[0]["id"], "0x200f40440005");
    EXPECT_EQ(alarms[0]["kind"], 3);
    EXPECT_EQ(alarms[0]["text"], "7,/fs1/a,0,0,0");
    EXPECT_EQ(alarms[1]["id"], "0x200f40440006");
    EXPECT_EQ(alarms[1]["kind"], 104);
    EXPECT_EQ(alarms[1]["text"], "7,vStore 5,/fs1/a,0,0,0");
    EXPECT_TRUE(files.logged("Send_alarm id=35249874796550, info=7,vStore 5,/fs1/a,0,0,0."));
}

TEST(OpLog, ARecordOver255CharactersIsNotSent) {
    tvn_test::service_files files;
    // "1," + 253 = 255 characters fit; one more does not.
    EXPECT_EQ(tvn_send_operation(1, 11, 0, std::string(253, 'p')), 0);
    EXPECT_NE(tvn_send_operation(1, 12, 0, std::string(254, 'p')), 0);
    // The tenant field counts too: "1,vStore 5," + 244 = 255.
    EXPECT_EQ(tvn_send_operation(1, 13, 5, std::string(244, 'p')), 0);
    EXPECT_NE(tvn_send_operation(1, 14, 5, std::string(245, 'p')), 0);
    auto alarms = files.alarms();
    ASSERT_EQ(alarms.size(), 2u);
    EXPECT_EQ(alarms[0]["id"], "0xb");
    EXPECT_EQ(alarms[1]["id"], "0xd");
    EXPECT_EQ(alarms[0]["text"].get<std::string>().size(), 255u);
    EXPECT_TRUE(files.logged("Alarm id=12, sprintf_s failed."));
    EXPECT_TRUE(files.logged("Alarm id=14, sprintf_s failed."));
}

TEST(OpLog, AFailedAlarmCallIsLogged) {
    tvn_test::service_files files;
    scoped_env fail("TVN_FAIL_AT", "ALM_SendAlarm");
    EXPECT_NE(tvn_send_operation(3, 99, 0, "x"), 0);
    EXPECT_TRUE(files.alarms().empty());
    EXPECT_TRUE(files.logged("[4] proto_tvn_cm"));
    EXPECT_TRUE(files.logged("Send_alarm id=99, info=3,x."));
}

unsigned long long id_a(int32_t result) { return result == 0 ? 0xA0 : 0xA1; }
unsigned long long id_b(int32_t result) { return result == 0 ? 0xB0 : 0xB1; }

TEST(OpLogId, LastMatchingEntryWinsAndTheTableEndsAtATypeAbove1) {
    const tvn_cm_util::oplog_id_entry table[] = {
        {0, id_a}, {1, id_a}, {0, id_b}, {2, nullptr}, {1, id_b},
    };
    EXPECT_EQ(tvn_cm_util::get_oplog_id(table, 0, 0), 0xB0u);
    EXPECT_EQ(tvn_cm_util::get_oplog_id(table, 0, -1), 0xB1u);
    // The {1, id_b} entry lies after the end marker.
    EXPECT_EQ(tvn_cm_util::get_oplog_id(table, 1, 0), 0xA0u);
    EXPECT_EQ(tvn_cm_util::get_oplog_id(table, 5, 0), 0u);
    EXPECT_EQ(tvn_cm_util::get_oplog_id(9, 0), 0u);
}

}  // namespace
