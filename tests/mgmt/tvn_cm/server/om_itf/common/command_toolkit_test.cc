// The command toolkit every family builds on: one-line item reads against
// their declarations, and the command base's start and end lines, which
// count against each command class's own rate limit.
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "common/tvn_om_vocab.h"
#include "common/tvn_omitf_command.h"
#include "common/tvn_omitf_items.h"
#include "tvn_msgobj.h"
#include "tvn_test_service_files.h"

namespace {

using tvn_om_vocab::item_def;
using tvn_om_vocab::item_type;
using tvn_om_vocab::word;

constexpr word kLevels[] = {{"low", 0}, {"high", 5}};
constexpr item_def kName{2, item_type::string, "name", "a name"};
constexpr item_def kLevel{65, item_type::unsigned32, "level", "a level", "", kLevels};
constexpr item_def kPort{66, item_type::unsigned32, "port", "a port", "", {}, "88", 1, 65535};
constexpr item_def kSwitch{91, item_type::boolean, "switch", "a switch"};
constexpr item_def kCharset{90, item_type::enumeration, "charset", "a number as enumeration or text"};

constexpr int32_t kAbsent = -100;
constexpr int32_t kBad = -101;

struct msg_deleter {
    void operator()(void* m) const { MSGOBJ_Destroy(m); }
};
using msg_ptr = std::unique_ptr<void, msg_deleter>;

msg_ptr message() { return msg_ptr(MSGOBJ_Create(1, 128)); }

class Toolkit : public ::testing::Test {
protected:
    tvn_test::service_files files_;
};

// How each form of an item reads as a number: ok (with the value), absent
// or bad.
TEST_F(Toolkit, NumberItemsReadByTheirDeclaredType) {
    struct row {
        const char* what;
        const item_def* item;
        void (*put)(void*);
        int32_t rc;
        std::optional<uint32_t> value;
    };
    const row rows[] = {
        {"absent", &kLevel, [](void*) {}, 0, std::nullopt},
        {"unsigned in its words", &kLevel, [](void* m) { MSGOBJ_SetItemUnsigned(m, 0, 65, 5); }, 0, 5u},
        {"unsigned outside its words", &kLevel, [](void* m) { MSGOBJ_SetItemUnsigned(m, 0, 65, 2); }, kBad, std::nullopt},
        {"enumeration for an unsigned", &kLevel, [](void* m) { MSGOBJ_SetItemEnum(m, 0, 65, 5); }, kBad, std::nullopt},
        {"text for an unsigned", &kLevel, [](void* m) { MSGOBJ_SetItemString(m, 0, 65, "5"); }, kBad, std::nullopt},
        {"range low edge", &kPort, [](void* m) { MSGOBJ_SetItemUnsigned(m, 0, 66, 1); }, 0, 1u},
        {"range high edge", &kPort, [](void* m) { MSGOBJ_SetItemUnsigned(m, 0, 66, 65535); }, 0, 65535u},
        {"below the range", &kPort, [](void* m) { MSGOBJ_SetItemUnsigned(m, 0, 66, 0); }, kBad, std::nullopt},
        {"above the range", &kPort, [](void* m) { MSGOBJ_SetItemUnsigned(m, 0, 66, 65536); }, kBad, std::nullopt},
        {"boolean true", &kSwitch, [](void* m) { MSGOBJ_SetItemBool(m, 0, 91, true); }, 0, 1u},
        {"switch as number 0", &kSwitch, [](void* m) { MSGOBJ_SetItemUnsigned(m, 0, 91, 0); }, 0, 0u},
        {"switch as number 2", &kSwitch, [](void* m) { MSGOBJ_SetItemUnsigned(m, 0, 91, 2); }, kBad, std::nullopt},
        {"enumeration as text", &kCharset, [](void* m) { MSGOBJ_SetItemString(m, 0, 90, "17"); }, 0, 17u},
        {"enumeration as enum", &kCharset, [](void* m) { MSGOBJ_SetItemEnum(m, 0, 90, 3); }, 0, 3u},
        {"enumeration as bad text", &kCharset, [](void* m) { MSGOBJ_SetItemString(m, 0, 90, "1x"); }, kBad, std::nullopt},
    };
    for (const auto& r : rows) {
        auto m = message();
        r.put(m.get());
        tvn_omitf::item_reader in(m.get());
        std::optional<uint32_t> out;
        EXPECT_EQ(in.take(*r.item, out, TVN_OM_FAIL(kBad, "bad item(%s)")), r.rc) << r.what;
        EXPECT_EQ(out, r.value) << r.what;
    }
}

TEST_F(Toolkit, RequiredItemsAnswerAbsentAndBadWithTheirOwnCodes) {
    auto m = message();
    tvn_omitf::item_reader in(m.get());
    std::string name = "kept";
    uint32_t level = 7;
    EXPECT_EQ(in.need(kName, name, TVN_OM_FAIL(kAbsent, "no name"), TVN_OM_FAIL(kBad, "bad name")), kAbsent);
    EXPECT_EQ(in.need(kLevel, level, TVN_OM_FAIL(kAbsent, "no level"), TVN_OM_FAIL(kBad, "bad level(%s)")), kAbsent);
    EXPECT_EQ(name, "kept");
    EXPECT_EQ(level, 7u);

    MSGOBJ_SetItemUnsigned(m.get(), 0, 2, 4);
    EXPECT_EQ(in.need(kName, name, TVN_OM_FAIL(kAbsent, "no name"), TVN_OM_FAIL(kBad, "name not text")), kBad);
    EXPECT_EQ(name, "kept");
    MSGOBJ_SetItemUnsigned(m.get(), 0, 65, 9);
    EXPECT_EQ(in.need(kLevel, level, TVN_OM_FAIL(kAbsent, "no level"), TVN_OM_FAIL(kBad, "bad level(%s)")), kBad);
    EXPECT_TRUE(files_.logged("bad level(9)")) << files_.log();
    EXPECT_EQ(level, 7u) << "a refused value changes nothing";

    auto m2 = message();
    tvn_omitf::item_reader in2(m2.get());
    MSGOBJ_SetItemString(m2.get(), 0, 2, "");
    EXPECT_EQ(in2.need(kName, name, TVN_OM_FAIL(kAbsent, "no name"), TVN_OM_FAIL(kBad, "bad name")), 0);
    EXPECT_EQ(name, "") << "an empty text is given, not absent";
    MSGOBJ_SetItemString(m.get(), 0, 2, "share1");
    EXPECT_EQ(in.need(kName, name, TVN_OM_FAIL(kAbsent, "no name"), TVN_OM_FAIL(kBad, "bad name")), 0);
    EXPECT_EQ(name, "share1");
}

TEST_F(Toolkit, ParsedTextItemsRefuseWhatDoesNotParse) {
    constexpr item_def kId{1, item_type::string, "id", "an id"};
    struct row {
        void (*put)(void*);
        int32_t rc;
        std::optional<uint64_t> id;
    };
    const row rows[] = {
        {[](void*) {}, 0, std::nullopt},
        {[](void* m) { MSGOBJ_SetItemString(m, 0, 1, "18446744073709551615"); }, 0, 18446744073709551615ULL},
        {[](void* m) { MSGOBJ_SetItemString(m, 0, 1, "0"); }, kBad, std::nullopt},
        {[](void* m) { MSGOBJ_SetItemString(m, 0, 1, "18446744073709551616"); }, kBad, std::nullopt},
        {[](void* m) { MSGOBJ_SetItemString(m, 0, 1, " 7"); }, kBad, std::nullopt},
        {[](void* m) { MSGOBJ_SetItemUnsigned(m, 0, 1, 7); }, kBad, std::nullopt},
    };
    for (const auto& r : rows) {
        auto m = message();
        r.put(m.get());
        std::optional<uint64_t> id;
        EXPECT_EQ(tvn_omitf::item_reader(m.get()).take_parsed(kId, id, TVN_OM_FAIL(kBad, "Id(%s) is invalid."),
                                                              tvn_omitf::parse_object_id),
                  r.rc);
        EXPECT_EQ(id, r.id);
    }
    EXPECT_TRUE(files_.logged("Id( 7) is invalid.")) << files_.log();
}

TEST_F(Toolkit, TenantIsZeroWhenAbsentAndDigitsOnlyWhenGiven) {
    struct row {
        void (*put)(void*);
        int32_t rc;
        uint32_t tenant;
    };
    const row rows[] = {
        {[](void*) {}, 0, 0},
        {[](void* m) { MSGOBJ_SetItemString(m, 0, 4090, "12"); }, 0, 12},
        {[](void* m) { MSGOBJ_SetItemString(m, 0, 4090, "1a"); }, kBad, 99},
        {[](void* m) { MSGOBJ_SetItemString(m, 0, 4090, "4294967296"); }, kBad, 99},
        {[](void* m) { MSGOBJ_SetItemUnsigned(m, 0, 4090, 3); }, kAbsent, 99},
    };
    for (const auto& r : rows) {
        auto m = message();
        r.put(m.get());
        uint32_t tenant = 99;
        EXPECT_EQ(tvn_omitf::item_reader(m.get()).tenant(tenant, TVN_OM_FAIL(kAbsent, "unreadable"),
                                                         TVN_OM_FAIL(kBad, "invalid(%s)")),
                  r.rc);
        EXPECT_EQ(tenant, r.tenant);
    }
}

// Two command classes on one base: each keeps its own budget of start and
// end lines.
template <int N>
class probe : public tvn_omitf_command<probe<N>> {
public:
    static constexpr const char* kName = N == 1 ? "probe_one" : "probe_two";
    using tvn_omitf_command<probe<N>>::tvn_omitf_command;

private:
    int deal(void*, void**) override { return N == 1 ? 0 : -22; }
};

TEST_F(Toolkit, EachCommandClassHasItsOwnStartAndEndBudget) {
    auto m = message();
    for (int i = 0; i < 5; ++i) {
        probe<1> one(0x1);
        void* rsp = nullptr;
        EXPECT_EQ(one.ommsg_deal(m.get(), &rsp), 0);
    }
    for (int i = 0; i < 2; ++i) {
        probe<2> two(0x2);
        void* rsp = nullptr;
        EXPECT_EQ(two.ommsg_deal(m.get(), &rsp), -22);
    }
    EXPECT_EQ(files_.count("probe_one start, opcode: 1."), 3u);
    EXPECT_EQ(files_.count("probe_one end, rc(0), cost("), 3u);
    EXPECT_EQ(files_.count("probe_two start, opcode: 2."), 2u) << "probe_one's five commands must not silence it";
    EXPECT_EQ(files_.count("probe_two end, rc(-22), cost("), 2u);

    probe<1> one(0x1);
    EXPECT_EQ(one.ommsg_deal(nullptr, nullptr), -1);
}

}  // namespace
