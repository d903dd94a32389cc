// Default slots of the handler base.
#include <gtest/gtest.h>

#include "tvn_cm_ombase.h"
#include "tvn_msgobj.h"
#include "tvn_test_service_files.h"

namespace {

using tvn_test::scoped_env;

class probe : public tvn_cm_omcommand<probe> {
public:
    using tvn_cm_omcommand::tvn_cm_omcommand;
    void* create_async_notify_msg() override { return nullptr; }
    int ommsg_deal(void*, void**) override { return 0; }
    void oplog_send(int, unsigned int) override {}
};

TEST(OmBase, DefaultSlots) {
    probe p(0xd40114000ULL);
    EXPECT_EQ(p.get_opcode(), 0xd40114000ULL);
    EXPECT_FALSE(p.need_forwarding(nullptr));
    EXPECT_EQ(p.get_forwarding_retry(), 1);
    EXPECT_EQ(p.get_forwarding_timeout(), 10);
    p.set_sessionkey(0xFFFFFFFFFFFFFFF0ULL);
    EXPECT_EQ(p.get_sessionkey(), 0xFFFFFFFFFFFFFFF0ULL);
    p.send_operation(1, 2, 3, "nothing happens");
}

TEST(OmBase, CloneIsANewObjectOfTheSameClassAndCode) {
    probe p(77);
    p.set_sessionkey(5);
    tvn_cm_ombase* c = p.create_instance();
    ASSERT_NE(c, nullptr);
    EXPECT_NE(c, &p);
    EXPECT_NE(dynamic_cast<probe*>(c), nullptr);
    EXPECT_EQ(c->get_opcode(), 77u);
    delete c;
}

TEST(OmBase, ForwardingNodeIsTheLocalNodeId16BitsSignExtended) {
    struct row {
        const char* env;
        int expected;
    } rows[] = {{nullptr, 0}, {"3", 3}, {"65535", -1}, {"32768", -32768}, {"65539", 3}};
    probe p(1);
    for (const auto& r : rows) {
        scoped_env nid("TVN_NODE_ID", r.env);
        int node = 12345;
        EXPECT_EQ(p.get_forwarding_node(node), 0);
        EXPECT_EQ(node, r.expected) << (r.env ? r.env : "unset");
    }
    scoped_env nid("TVN_NODE_ID", "7");
    scoped_env fail("TVN_FAIL_AT", "GetLocalNodeId");
    int node = 12345;
    EXPECT_EQ(p.get_forwarding_node(node), 0);
    EXPECT_EQ(node, 0);
}

TEST(OmBase, NotificationWithoutAMessageIsMinus6) {
    probe p(1);
    EXPECT_EQ(p.send_async_notify(), -6);
}

}  // namespace
