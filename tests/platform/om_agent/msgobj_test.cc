#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "om_agent.pb.h"
#include "tvn_msgobj.h"

namespace {

struct obj_deleter {
    void operator()(void* p) const { MSGOBJ_Destroy(p); }
};
using obj_ptr = std::unique_ptr<void, obj_deleter>;

obj_ptr decode(const std::string& bytes, uint32_t* err = nullptr) {
    void* obj = nullptr;
    uint32_t rc = MSGOBJ_Decode(666, bytes.data(), bytes.size(), &obj);
    if (err != nullptr) *err = rc;
    return obj_ptr(obj);
}

std::string encode(const OmMessage& m) {
    std::string s;
    m.SerializePartialToString(&s);
    return s;
}

TEST(MsgObj, EachItemTypeReadsBackWithItsType) {
    obj_ptr obj(MSGOBJ_Create(1, 4091));
    ASSERT_NE(obj, nullptr);
    ASSERT_EQ(MSGOBJ_SetItemString(obj.get(), 0, 64, "/fs1/a"), 0u);
    ASSERT_EQ(MSGOBJ_SetItemUnsigned(obj.get(), 0, 0, 16401), 0u);
    ASSERT_EQ(MSGOBJ_SetItemBool(obj.get(), 0, 91, true), 0u);
    ASSERT_EQ(MSGOBJ_SetItemEnum(obj.get(), 0, 90, 3), 0u);
    ASSERT_EQ(MSGOBJ_SetItemString8(obj.get(), 0, 98, "fs1"), 0u);

    struct row {
        uint32_t item, type;
    } rows[] = {{64, 2}, {0, 3}, {91, 5}, {90, 6}, {98, 8}};
    for (const auto& r : rows) {
        uint32_t type = 0;
        EXPECT_EQ(MSGOBJ_GetItemType(obj.get(), 0, r.item, &type), 0u) << r.item;
        EXPECT_EQ(type, r.type) << r.item;
    }
    char* text = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(MSGOBJ_GetItemString(obj.get(), 0, 64, &text, &len), 0u);
    EXPECT_EQ(std::string(text, len), "/fs1/a");
    // A second string kind is read like the first.
    ASSERT_EQ(MSGOBJ_GetItemString(obj.get(), 0, 98, &text, &len), 0u);
    EXPECT_EQ(std::string(text, len), "fs1");
    uint32_t u = 0;
    EXPECT_EQ(MSGOBJ_GetItemUnsigned(obj.get(), 0, 0, &u), 0u);
    EXPECT_EQ(u, 16401u);
    bool b = false;
    EXPECT_EQ(MSGOBJ_GetItemBool(obj.get(), 0, 91, &b), 0u);
    EXPECT_TRUE(b);
    uint32_t e = 0;
    EXPECT_EQ(MSGOBJ_GetItemEnum(obj.get(), 0, 90, &e), 0u);
    EXPECT_EQ(e, 3u);
}

TEST(MsgObj, MissingItemSetsLastErrorAndSuccessClearsIt) {
    obj_ptr obj(MSGOBJ_Create(1, 10));
    uint32_t u = 0;
    EXPECT_EQ(MSGOBJ_GetItemUnsigned(obj.get(), 0, 7, &u), 0x3000003u);
    EXPECT_EQ(MSGOBJ_GetLastError(obj.get()), 0x3000003u);
    uint32_t type = 0;
    EXPECT_EQ(MSGOBJ_GetItemType(obj.get(), 0, 7, &type), 0x3000003u);
    // A record that does not exist holds no item either.
    EXPECT_EQ(MSGOBJ_GetItemUnsigned(obj.get(), 5, 7, &u), 0x3000003u);
    MSGOBJ_SetItemUnsigned(obj.get(), 0, 7, 1);
    EXPECT_EQ(MSGOBJ_GetLastError(obj.get()), 0u);
    MSGOBJ_GetItemUnsigned(obj.get(), 0, 8, &u);
    MSGOBJ_ClearLastError(obj.get());
    EXPECT_EQ(MSGOBJ_GetLastError(obj.get()), 0u);
}

TEST(MsgObj, ReadingWithTheWrongTypeFails) {
    obj_ptr obj(MSGOBJ_Create(1, 10));
    MSGOBJ_SetItemUnsigned(obj.get(), 0, 1, 5);
    char* text = nullptr;
    bool b = false;
    uint32_t e = 0;
    EXPECT_EQ(MSGOBJ_GetItemString(obj.get(), 0, 1, &text, nullptr), MSGOBJ_ERR_TYPE);
    EXPECT_EQ(MSGOBJ_GetItemBool(obj.get(), 0, 1, &b), MSGOBJ_ERR_TYPE);
    EXPECT_EQ(MSGOBJ_GetItemEnum(obj.get(), 0, 1, &e), MSGOBJ_ERR_TYPE);
    EXPECT_EQ(MSGOBJ_GetLastError(obj.get()), MSGOBJ_ERR_TYPE);
}

TEST(MsgObj, SettingAnItemAgainReplacesItKeepingOneId) {
    obj_ptr obj(MSGOBJ_Create(1, 10));
    MSGOBJ_SetItemString(obj.get(), 0, 3, "a");
    MSGOBJ_SetItemUnsigned(obj.get(), 0, 3, 9);
    uint32_t count = 0;
    ASSERT_EQ(MSGOBJ_GetItemNum(obj.get(), 0, &count), 0u);
    EXPECT_EQ(count, 1u);
    uint32_t type = 0;
    MSGOBJ_GetItemType(obj.get(), 0, 3, &type);
    EXPECT_EQ(type, 3u);
    // The encoded form must stay decodable (no id twice).
    std::string bytes;
    ASSERT_EQ(MSGOBJ_Encode(obj.get(), &bytes), 0u);
    EXPECT_NE(decode(bytes), nullptr);
}

TEST(MsgObj, RecordsGrowOnWriteAndKeepTheirOpcodes) {
    obj_ptr obj(MSGOBJ_Create(1, 10));
    EXPECT_EQ(MSGOBJ_GetRecordNum(obj.get()), 1u);
    ASSERT_EQ(MSGOBJ_SetItemString(obj.get(), 2, 1, "x"), 0u);
    EXPECT_EQ(MSGOBJ_GetRecordNum(obj.get()), 3u);
    ASSERT_EQ(MSGOBJ_SetOpcode(obj.get(), 0, 0xd40114000ULL), 0u);
    uint64_t op = 0;
    ASSERT_EQ(MSGOBJ_GetOpcode(obj.get(), 0, &op), 0u);
    EXPECT_EQ(op, 0xd40114000ULL);
    EXPECT_EQ(MSGOBJ_GetOpcode(obj.get(), 9, &op), MSGOBJ_ERR_NO_RECORD);
}

TEST(MsgObj, EncodeDecodeRoundTripKeepsEverything) {
    obj_ptr obj(MSGOBJ_Create(2, 4091));
    MSGOBJ_SetOpcode(obj.get(), 0, 0xd40114000ULL);
    MSGOBJ_SetOpcode(obj.get(), 1, 77);
    MSGOBJ_SetItemUnsigned(obj.get(), 0, 0, 16401);
    MSGOBJ_SetItemString(obj.get(), 1, 4090, "5");
    MSGOBJ_SetItemBool(obj.get(), 1, 93, false);
    std::string bytes;
    ASSERT_EQ(MSGOBJ_Encode(obj.get(), &bytes), 0u);
    EXPECT_EQ(MSGOBJ_GetSize(obj.get()), bytes.size());
    obj_ptr back = decode(bytes);
    ASSERT_NE(back, nullptr);
    std::string again;
    MSGOBJ_Encode(back.get(), &again);
    EXPECT_EQ(again, bytes);
    uint64_t op = 0;
    MSGOBJ_GetOpcode(back.get(), 1, &op);
    EXPECT_EQ(op, 77u);
}

TEST(MsgObj, DecodeRefusesEveryInvalidForm) {
    OmMessage no_record;
    OmMessage no_value;
    no_value.add_record()->set_opcode(1);
    no_value.mutable_record(0)->add_item()->set_id(4);
    OmMessage dup;
    auto* r = dup.add_record();
    r->set_opcode(1);
    r->add_item()->set_id(4), r->mutable_item(0)->set_u32(1);
    r->add_item()->set_id(4), r->mutable_item(1)->set_str("x");
    OmMessage no_opcode;
    no_opcode.add_record()->add_item()->set_id(1);
    no_opcode.mutable_record(0)->mutable_item(0)->set_u32(1);
    OmMessage no_id;
    no_id.add_record()->set_opcode(3);
    no_id.mutable_record(0)->add_item()->set_u32(1);

    struct row {
        const char* what;
        std::string bytes;
    } rows[] = {
        {"garbage", std::string("\xff\xff\xff\xff\x0f", 5)},
        {"truncated", encode(dup).substr(0, 5)},
        {"empty", ""},
        {"no record", encode(no_record)},
        {"item without value", encode(no_value)},
        {"item id twice in a record", encode(dup)},
        {"record without opcode", encode(no_opcode)},
        {"item without id", encode(no_id)},
    };
    for (const auto& row : rows) {
        uint32_t err = 0;
        obj_ptr obj = decode(row.bytes, &err);
        EXPECT_EQ(obj, nullptr) << row.what;
        EXPECT_EQ(err, MSGOBJ_ERR_DECODE) << row.what;
    }
}

TEST(MsgObj, SameIdInDifferentRecordsIsFine) {
    OmMessage m;
    for (int i = 0; i < 2; ++i) {
        auto* r = m.add_record();
        r->set_opcode(1);
        auto* it = r->add_item();
        it->set_id(4);
        it->set_u32(i);
    }
    EXPECT_NE(decode(encode(m)), nullptr);
}

TEST(MsgObj, StringBufferCanBeWipedInPlace) {
    obj_ptr obj(MSGOBJ_Create(1, 10));
    MSGOBJ_SetItemString(obj.get(), 0, 5, "secret");
    char* text = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(MSGOBJ_GetItemString(obj.get(), 0, 5, &text, &len), 0u);
    std::memset(text, 0, len);
    char* again = nullptr;
    MSGOBJ_GetItemString(obj.get(), 0, 5, &again, &len);
    EXPECT_EQ(std::string(again, len), std::string(6, '\0'));
}

TEST(MsgObj, CallsWithoutAnObjectFailCleanly) {
    uint32_t u = 0;
    EXPECT_EQ(MSGOBJ_GetItemUnsigned(nullptr, 0, 0, &u), MSGOBJ_ERR_PARAM);
    EXPECT_EQ(MSGOBJ_SetItemString(nullptr, 0, 0, "x"), MSGOBJ_ERR_PARAM);
    EXPECT_EQ(MSGOBJ_GetLastError(nullptr), MSGOBJ_ERR_PARAM);
    MSGOBJ_Destroy(nullptr);
    EXPECT_EQ(MSGOBJ_Decode(666, "x", 1, nullptr), MSGOBJ_ERR_PARAM);
}

}  // namespace
