// Item writers and readers, the password reader and boolean settings.
#include <string>

#include <gtest/gtest.h>

#include "tvn_cm_util.h"
#include "tvn_msgobj.h"
#include "tvn_test_service_files.h"

namespace {

using namespace tvn_cm_util;

class Items : public ::testing::Test {
protected:
    void SetUp() override { msg_ = MSGOBJ_Create(1, 4091); }
    void TearDown() override { MSGOBJ_Destroy(msg_); }
    uint32_t type_of(uint32_t item) {
        uint32_t t = 0;
        MSGOBJ_GetItemType(msg_, 0, item, &t);
        return t;
    }
    tvn_test::service_files files_;
    void* msg_ = nullptr;
};

TEST_F(Items, AddItemDispatchesOnTypeAndReadsBackAsText) {
    struct row {
        uint32_t type;
        std::string in, out;
    } rows[] = {
        {3, "16401", "16401"}, {5, "true", "true"}, {6, "2", "2"}, {2, "/fs1/share1", "/fs1/share1"},
        {3, "4294967295", "4294967295"}, {5, "false", "false"},
    };
    uint32_t item = 10;
    for (const auto& r : rows) {
        ++item;
        ASSERT_EQ(add_item_to_msg(msg_, 0, r.in, item, r.type), 0) << r.in;
        EXPECT_EQ(type_of(item), r.type) << r.in;
        std::string out;
        ASSERT_EQ(get_item_from_msg(msg_, 0, item, out), 0) << r.in;
        EXPECT_EQ(out, r.out) << r.in;
    }
    EXPECT_TRUE(files_.logged("Add_uint_item success, item(11) value(16401)."));
    EXPECT_TRUE(files_.logged("Add_bool_item success, item(12) value(1)."));
    EXPECT_TRUE(files_.logged("Add_enum_item success, item(13) value(2)."));
    EXPECT_TRUE(files_.logged("Add_string_item success, item(14) value(/fs1/share1)."));
    EXPECT_TRUE(files_.logged("Get param(11) success, unsigned_value(16401)."));
    EXPECT_TRUE(files_.logged("Get param(12) success, bool_str(true)."));
}

TEST_F(Items, AnInvalidTypeIsRefusedAndLogged) {
    EXPECT_NE(add_item_to_msg(msg_, 0, "x", 7, 8), 0);
    EXPECT_NE(add_item_to_msg(msg_, 0, "x", 7, 4), 0);
    EXPECT_TRUE(files_.logged("Item(7):invalid item type(8)."));
    EXPECT_EQ(type_of(7), 0u);
}

TEST_F(Items, OnlyTheExactTextFalseIsFalse) {
    struct row {
        const char* text;
        bool expected;
    } rows[] = {{"false", false}, {"False", true}, {"0", true}, {"FALSE", true}, {"", true}, {"true", true}};
    uint32_t item = 100;
    for (const auto& r : rows) {
        ++item;
        ASSERT_EQ(add_bool_item_to_msg(msg_, 0, r.text, item), 0);
        bool value = !r.expected;
        MSGOBJ_GetItemBool(msg_, 0, item, &value);
        EXPECT_EQ(value, r.expected) << '"' << r.text << '"';
    }
}

TEST_F(Items, UnsignedAndEnumTextMustBeADecimalNumber) {
    for (const char* bad : {"abc", "-1", "4294967296", "", "12x", " 1"}) {
        EXPECT_NE(add_unsigned_item_to_msg(msg_, 0, bad, 5), 0) << bad;
        EXPECT_NE(add_enum_item_to_msg(msg_, 0, bad, 6), 0) << bad;
    }
    EXPECT_EQ(type_of(5), 0u);
    EXPECT_TRUE(files_.logged("Add_uint_item failed, item(5)."));
    EXPECT_TRUE(files_.logged("Add_enum_item failed, item(6)."));
}

TEST_F(Items, WritersFailWithoutAMessage) {
    EXPECT_NE(add_string_item_to_msg(nullptr, 0, "x", 1), 0);
    EXPECT_NE(add_bool_item_to_msg(nullptr, 0, "x", 2), 0);
    EXPECT_TRUE(files_.logged("Add_string_item failed, item(1)."));
    EXPECT_TRUE(files_.logged("Add_bool_item failed, item(2)."));
}

TEST_F(Items, AMissingItemIsTheAgentsNoItemError) {
    std::string out = "untouched";
    EXPECT_EQ(get_item_from_msg(msg_, 0, 64, out), static_cast<int32_t>(TVN_OM_ERR_NO_ITEM));
    EXPECT_EQ(out, "untouched");
    EXPECT_TRUE(files_.logged("No item(64)."));
    EXPECT_EQ(get_unsigned_item_from_msg(msg_, 0, 65, out), static_cast<int32_t>(TVN_OM_ERR_NO_ITEM));
    EXPECT_TRUE(files_.logged("Get param(65) failed."));
}

TEST_F(Items, StringOfTheSecondKindIsReadAsString) {
    MSGOBJ_SetItemString8(msg_, 0, 98, "fs1");
    std::string out;
    ASSERT_EQ(get_item_from_msg(msg_, 0, 98, out), 0);
    EXPECT_EQ(out, "fs1");
}

TEST_F(Items, ReadersRefuseAnItemOfAnotherType) {
    MSGOBJ_SetItemUnsigned(msg_, 0, 3, 1);
    std::string out;
    EXPECT_NE(get_string_item_from_msg(msg_, 0, 3, out), 0);
    EXPECT_NE(get_bool_item_from_msg(msg_, 0, 3, out), 0);
    EXPECT_NE(get_enum_item_from_msg(msg_, 0, 3, out), 0);
    EXPECT_TRUE(files_.logged("Get param(3) failed."));
}

TEST_F(Items, TenantIdFromItem4090) {
    uint32_t tenant = 99;
    EXPECT_EQ(get_vstore_id_from_msg(msg_, 0, tenant), 0);
    EXPECT_EQ(tenant, 0u);
    MSGOBJ_SetItemString(msg_, 0, 4090, "5");
    EXPECT_EQ(get_vstore_id_from_msg(msg_, 0, tenant), 0);
    EXPECT_EQ(tenant, 5u);
    for (const char* bad : {"5a", "", "-1", "4294967296"}) {
        MSGOBJ_SetItemString(msg_, 0, 4090, bad);
        EXPECT_EQ(get_vstore_id_from_msg(msg_, 0, tenant), -22) << bad;
    }
    MSGOBJ_SetItemUnsigned(msg_, 0, 4090, 5);
    EXPECT_EQ(get_vstore_id_from_msg(msg_, 0, tenant), -1);
}

TEST_F(Items, PasswordIsCopiedAndTheAgentsBufferWiped) {
    MSGOBJ_SetItemString(msg_, 0, 70, "S3cret!pw");
    SecString pw;
    ASSERT_EQ(TvnAuthGetPassWord(msg_, 0, 70, pw), 0);
    EXPECT_EQ(pw, "S3cret!pw");
    char* left = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(MSGOBJ_GetItemString(msg_, 0, 70, &left, &len), 0u);
    EXPECT_EQ(std::string(left, len), std::string(9, '\0'));
    EXPECT_EQ(files_.log().find("S3cret"), std::string::npos);
}

TEST_F(Items, PasswordReaderResults) {
    SecString pw;
    MSGOBJ_SetItemString(msg_, 0, 71, "");
    EXPECT_EQ(TvnAuthGetPassWord(msg_, 0, 71, pw), -22);
    EXPECT_TRUE(files_.logged("Pwd is null."));
    // Absent, or not a string: no password given (neither -22 nor -5).
    int32_t absent = TvnAuthGetPassWord(msg_, 0, 72, pw);
    EXPECT_NE(absent, 0);
    EXPECT_NE(absent, -22);
    EXPECT_NE(absent, -5);
    MSGOBJ_SetItemUnsigned(msg_, 0, 73, 1234);
    int32_t wrong = TvnAuthGetPassWord(msg_, 0, 73, pw);
    EXPECT_NE(wrong, 0);
    EXPECT_NE(wrong, -22);
    EXPECT_NE(wrong, -5);
    // The second string kind is not a password item.
    MSGOBJ_SetItemString8(msg_, 0, 74, "pw");
    EXPECT_NE(TvnAuthGetPassWord(msg_, 0, 74, pw), 0);
    EXPECT_TRUE(pw.empty());
}

TEST(BoolCfg, OnlyThePairOfTheKeyIsRead) {
    struct row {
        const char* value;
        int expected;
    } rows[] = {{"off", 0}, {"false", 0}, {"no", 1}, {"on", 1}, {"OFF", 1}, {"", 1}, {"0", 1}};
    for (const auto& r : rows) {
        vstore_config_pair pair;
        pair.set_tenant_id(0);
        pair.set_key("ntlm_enable");
        pair.set_value(r.value);
        int out = 42;
        parse_bool_cfg_value("ntlm_enable", pair, out);
        EXPECT_EQ(out, r.expected) << '"' << r.value << '"';
        int other = 42;
        parse_bool_cfg_value("dns_enable", pair, other);
        EXPECT_EQ(other, 42) << "another key leaves the output alone";
    }
}

}  // namespace
