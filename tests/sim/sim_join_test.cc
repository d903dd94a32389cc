// The join state machine and the directory behind the authentication
// stand-in, with a clock the test moves.
#include <gtest/gtest.h>

#include "sim_result.h"
#include "sim_test_util.h"

using namespace tvn::sim;
using sim_test::store_fixture;

namespace {

class sim_join : public store_fixture {
protected:
    join_status state(uint32_t tenant) {
        join_status s;
        EXPECT_EQ(store_->join->state(tenant, s), 0);
        return s;
    }
    void set_fqdn(uint32_t tenant, const std::string& fqdn) {
        tvn_settenant_cfg_req req;
        auto* p = req.add_config();
        p->set_tenant_id(tenant);
        p->set_key("fqdn");
        p->set_value(fqdn);
        std::string desc;
        ASSERT_EQ(store_->conf.set_tenant(req, "", desc), 0);
    }
};

TEST_F(sim_join, AJoinRunsThenEndsJoined) {
    EXPECT_EQ(state(0).state, JOIN_STATE_NOT_JOINED);
    ASSERT_EQ(store_->join->start_join(0, "Administrator", "Admin@123"), 0);
    join_status s = state(0);
    EXPECT_EQ(s.state, JOIN_STATE_JOINING);
    EXPECT_EQ(s.account, "Administrator");
    EXPECT_EQ(s.fqdn, "corp.example.com");
    now_ms += 999;
    EXPECT_EQ(state(0).state, JOIN_STATE_JOINING);
    now_ms += 1;
    s = state(0);
    EXPECT_EQ(s.state, JOIN_STATE_JOINED);
    EXPECT_EQ(s.errcode, 0);
    EXPECT_EQ(s.version, 1u);
    EXPECT_EQ(state(1).state, JOIN_STATE_NOT_JOINED) << "join state is per tenant";
}

TEST_F(sim_join, RefusedCredentialsEndNotJoinedWithTheirCode) {
    struct {
        const char* what;
        const char* fqdn;  // "" = the tenant has no domain set
        const char* account;
        const char* password;
        int32_t errcode;
    } cases[] = {
        {"wrong password", "", "Administrator", "wrong", SIM_JOIN_BAD_CREDENTIALS},
        {"unknown account", "", "mallory", "Admin@123", SIM_JOIN_BAD_CREDENTIALS},
        {"a group is no account", "", "Domain Admins", "", SIM_JOIN_BAD_CREDENTIALS},
        {"no right to join", "", "alice", "Alice@123", SIM_JOIN_NO_RIGHT},
        {"unknown domain", "nowhere.example.org", "Administrator", "Admin@123",
         SIM_JOIN_NO_DOMAIN},
        {"other domain's account", "", "LAB\\Administrator", "Admin@123",
         SIM_JOIN_BAD_CREDENTIALS},
        {"qualified by NetBIOS name", "corp.example.com", "CORP\\joiner", "Join@123", SIM_OK},
        {"qualified by FQDN", "CORP", "joiner@corp.example.com", "Join@123", SIM_OK},
    };
    uint32_t tenant = 10;
    for (const auto& c : cases) {
        ++tenant;
        if (*c.fqdn != '\0') set_fqdn(tenant, c.fqdn);
        ASSERT_EQ(store_->join->start_join(tenant, c.account, c.password), 0) << c.what;
        EXPECT_EQ(state(tenant).state, JOIN_STATE_JOINING) << c.what;
        now_ms += 1000;
        join_status s = state(tenant);
        EXPECT_EQ(s.state, c.errcode == SIM_OK ? JOIN_STATE_JOINED : JOIN_STATE_NOT_JOINED)
            << c.what;
        EXPECT_EQ(s.errcode, c.errcode) << c.what;
    }
    // The refusal is on record for the diagnose service.
    auto events = store_->dir.events(11, 1);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].error_code, SIM_JOIN_BAD_CREDENTIALS);
    EXPECT_EQ(events[0].user_name, "Administrator");
}

TEST_F(sim_join, OperationsAreRefusedWhileRunningAndOutOfTurn) {
    EXPECT_EQ(store_->join->start_leave(0, "Administrator"), SIM_JOIN_NOT_JOINED);
    ASSERT_EQ(store_->join->start_join(0, "Administrator", "Admin@123"), 0);
    EXPECT_EQ(store_->join->start_join(0, "Administrator", "Admin@123"), SIM_JOIN_IN_PROGRESS);
    EXPECT_EQ(store_->join->start_leave(0, "Administrator"), SIM_JOIN_IN_PROGRESS);
    now_ms += 1000;
    EXPECT_EQ(store_->join->start_join(0, "Administrator", "Admin@123"), SIM_JOIN_ALREADY_JOINED);
    // Leaving needs no valid credentials (a secondary site leaves with none).
    ASSERT_EQ(store_->join->start_leave(0, "\x01\x02garbage"), 0);
    join_status s = state(0);
    EXPECT_EQ(s.state, JOIN_STATE_LEAVING);
    now_ms += 1000;
    s = state(0);
    EXPECT_EQ(s.state, JOIN_STATE_NOT_JOINED);
    EXPECT_EQ(s.errcode, 0);
    EXPECT_EQ(s.fqdn, "corp.example.com") << "the last domain stays on record";
    EXPECT_EQ(s.version, 2u);
}

TEST_F(sim_join, ARunningJoinFinishesAfterARestart) {
    ASSERT_EQ(store_->join->start_join(0, "joiner", "Join@123"), 0);
    reopen();
    EXPECT_EQ(state(0).state, JOIN_STATE_JOINING);
    now_ms += 1000;
    reopen();
    EXPECT_EQ(state(0).state, JOIN_STATE_JOINED);
}

// ---- directory ----------------------------------------------------------------

class sim_directory : public store_fixture {};

TEST_F(sim_directory, AccountsByEveryName) {
    struct {
        const char* name;
        account_scope scope;
        const char* full;  // nullptr: not found
    } cases[] = {
        {"CORP\\alice", account_scope::any, "CORP\\alice"},
        {"corp\\ALICE", account_scope::any, "CORP\\alice"},
        {"alice@corp.example.com", account_scope::any, "CORP\\alice"},
        {"alice", account_scope::domain, "CORP\\alice"},
        {"alice", account_scope::local, nullptr},
        {"root", account_scope::any, "root"},
        {"root", account_scope::domain, nullptr},
        {"NOPE\\alice", account_scope::any, nullptr},
        {"CORP\\", account_scope::any, nullptr},
    };
    for (const auto& c : cases) {
        auto a = store_->dir.account_by_name(c.name, c.scope);
        if (c.full == nullptr) {
            EXPECT_FALSE(a) << c.name;
        } else {
            ASSERT_TRUE(a) << c.name;
            EXPECT_EQ(a->full_name(), c.full) << c.name;
        }
    }
    auto root_user = store_->dir.account_by_name("root", account_scope::local, false);
    ASSERT_TRUE(root_user);
    EXPECT_FALSE(root_user->is_group);
}

TEST_F(sim_directory, SidsAndIdsRoundTrip) {
    auto bob = store_->dir.account_by_name("CORP\\bob", account_scope::domain);
    ASSERT_TRUE(bob);
    auto by_sid = store_->dir.account_by_sid(bob->sid());
    ASSERT_TRUE(by_sid);
    EXPECT_EQ(by_sid->name, "bob");
    auto by_uid = store_->dir.account_by_id(bob->iid, false, account_scope::any);
    ASSERT_TRUE(by_uid);
    EXPECT_EQ(by_uid->name, "bob");
    auto groups = store_->dir.groups_of(*bob);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[0].name, "Domain Users");
    EXPECT_EQ(store_->dir.primary_group_of(*bob)->iid, 100513u);

    auto nfsuser = store_->dir.account_by_sid("S-1-22-1-1000");
    ASSERT_TRUE(nfsuser);
    EXPECT_EQ(nfsuser->name, "nfsuser");
    EXPECT_FALSE(store_->dir.account_by_sid("S-1-22-1-1000x"));
    EXPECT_FALSE(store_->dir.account_by_sid("S-1-5-21-1-2-3-4"));
}

TEST_F(sim_directory, NamesResolveOnlyFromTheTables) {
    struct { const char* name; std::vector<std::string> ips; } cases[] = {
        {"localhost", {"127.0.0.1"}},
        {"client1", {"192.0.2.21"}},
        {"CLIENT1", {"192.0.2.21"}},
        {"dc1.corp.example.com", {"192.0.2.10"}},
        {"192.0.2.99", {"192.0.2.99"}},
        {"www.example.com", {}},
        {"", {}},
    };
    for (const auto& c : cases) EXPECT_EQ(store_->dir.resolve(c.name), c.ips) << c.name;
    EXPECT_EQ(store_->dir.reverse("192.0.2.21"),
              (std::vector<std::string>{"client1", "client1.corp.example.com"}));
    EXPECT_TRUE(store_->dir.reachable("192.0.2.53"));
    EXPECT_TRUE(store_->dir.reachable("dns1"));
    EXPECT_TRUE(store_->dir.reachable("127.0.0.1"));
    EXPECT_FALSE(store_->dir.reachable("192.0.2.99"));
    EXPECT_FALSE(store_->dir.reachable("8.8.8.8"));
    ASSERT_TRUE(store_->dir.netgroup("ng_clients"));
    EXPECT_EQ(store_->dir.netgroup("ng_clients")->size(), 2u);
    EXPECT_FALSE(store_->dir.netgroup("nosuch"));
}

TEST_F(sim_directory, PasswordsAreStoredEncryptedAndOlderFormsStillRead) {
    std::string stored, again;
    ASSERT_EQ(encode_directory_secret("Admin@123", stored), 0);
    ASSERT_EQ(encode_directory_secret("Admin@123", again), 0);
    EXPECT_NE(stored, again);  // a fresh nonce each time
    EXPECT_EQ(stored.find("41646d696e40313233"), std::string::npos);  // not merely hex
    const std::pair<std::string, std::string> reads[] = {
        {stored, "Admin@123"},
        {"hex:41646d696e40313233", "Admin@123"},
        {"Admin@123", "Admin@123"},
        {"", ""},
        {"enc:00ff", "enc:00ff"},
    };
    for (const auto& [in, out] : reads) EXPECT_EQ(decode_directory_secret(in), out) << in;
    // The seeded accounts' passwords work and are nowhere under the root.
    auto admin = store_->dir.account_by_name("CORP\\Administrator", account_scope::any);
    ASSERT_TRUE(admin);
    EXPECT_EQ(admin->password, "Admin@123");
    EXPECT_TRUE(tvn_test::files_containing(tvn::sysroot_path("/"), "Admin@123").empty());
}

}  // namespace
