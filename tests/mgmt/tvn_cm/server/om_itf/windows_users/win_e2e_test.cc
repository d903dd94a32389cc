// The local Windows account commands end to end: OM agent endpoint ->
// tvn_cm -> tvn_sim (store and lookup), on 127.0.0.1. One node serves the
// whole suite; each test works in tenants and names of its own.
#include <fstream>
#include <thread>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tvn_test_node.h"
#include "windows_users/tvn_omitf_windows_users_vocab.h"

namespace {

namespace vocab = tvn_win::vocab;
using request = tvn_test::om_request;
using answer = tvn_test::om_reply;

constexpr uint32_t kTenant = 4090, kName = 2, kDesc = 9, kPwd = 64, kRid = 65, kEnabled = 66, kBy = 67,
                   kNewName = 68, kPriv = 70, kSid = 71, kCount = 10, kQuery = 22, kRange = 24;
constexpr uint32_t kMember = 80, kMemberSid = 81, kMemberType = 82, kUser = 83;

class WinE2E : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        node_ = new tvn_test::node();
        if (auto started = node_->start(); !started) {
            std::cerr << started.message() << "\n";
            delete node_;
            node_ = nullptr;
        }
    }
    static void TearDownTestSuite() {
        delete node_;
        node_ = nullptr;
    }
    void SetUp() override { ASSERT_NE(node_, nullptr) << "the node did not start"; }
    void TearDown() override {
        if (HasFailure() && node_ != nullptr) std::cerr << node_->logs().substr(0, 20000) << "\n";
    }

    static answer call(request r, uint32_t tenant) {
        if (tenant != 0) r.s(kTenant, std::to_string(tenant));
        return node_->call(r);
    }
    static request user(const std::string& name, const std::string& pwd = "Secret#1") {
        return request(vocab::user_create.code).s(kName, name).s(kPwd, pwd);
    }
    // Creates and answers the user's RID ("" when refused).
    static std::string create_user(uint32_t tenant, const std::string& name, const std::string& rid = "") {
        request r = user(name);
        if (!rid.empty()) r.s(kRid, rid);
        answer a = call(r, tenant);
        EXPECT_TRUE(a.ok()) << name << ": " << a;
        return a.ok() ? a.str(0, kRid) : "";
    }
    static void create_group(uint32_t tenant, const std::string& name) {
        answer a = call(request(vocab::group_create.code).s(kName, name), tenant);
        EXPECT_TRUE(a.ok()) << name << ": " << a;
    }
    static uint32_t count(uint64_t code, uint32_t tenant, const std::string& filter = "",
                          const std::string& group = "") {
        request r(code);
        if (!filter.empty()) r.s(kQuery, filter);
        if (!group.empty()) r.s(kName, group);
        answer a = call(r, tenant);
        EXPECT_TRUE(a.ok()) << a;
        return a.num(0, kCount).value_or(9999);
    }
    static std::vector<std::string> column(const answer& a, uint32_t item) {
        std::vector<std::string> out;
        for (int i = 0; i < a.records(); ++i) out.push_back(a.str(i, item));
        return out;
    }
    static answer members(uint32_t tenant, const std::string& group) {
        return call(request(vocab::member_list.code).s(kName, group), tenant);
    }

    struct row {
        std::string what;
        request req;
        int32_t want;
    };
    // Each row answers its code; refused rows leave the tenant's users as
    // they were.
    static void expect_rows(uint32_t tenant, const std::vector<row>& rows) {
        for (const auto& r : rows) {
            const uint32_t before = count(vocab::user_count.code, tenant);
            answer a = call(r.req, tenant);
            ASSERT_EQ(a.call_rc, 0) << r.what;
            EXPECT_EQ(a.result(), r.want) << r.what << ": " << a;
            if (r.want != 0) {
                EXPECT_EQ(count(vocab::user_count.code, tenant), before) << r.what;
            }
        }
    }

    static tvn_test::node* node_;
};
tvn_test::node* WinE2E::node_ = nullptr;

TEST_F(WinE2E, CreateChecksEachItemInTurn) {
    const uint32_t t = 11;
    std::vector<row> rows = {
        {"256 characters", user(std::string(256, 'a')), 0},
        {"257 characters", user(std::string(257, 'b')), tvn_win::WIN_ERR_NAME},
        {"empty name", user(""), tvn_win::WIN_ERR_NAME},
        {"trailing dot", user("dot."), tvn_win::WIN_ERR_NAME},
        {"leading blank", user(" blank"), tvn_win::WIN_ERR_NAME},
        {"inner dot and blank", user("a. b"), 0},
        {"tab", user("a\tb"), tvn_win::WIN_ERR_NAME},
        {"DEL", user("a\x7f"), tvn_win::WIN_ERR_NAME},
        {"escape", user("a\x1b"), tvn_win::WIN_ERR_NAME},
        {"no name", request(vocab::user_create.code).s(kPwd, "x"), tvn_win::WIN_ERR_INVALID},
        {"description 256", user("d256").s(kDesc, std::string(256, 'd')), 0},
        {"description 257", user("d257").s(kDesc, std::string(257, 'd')), tvn_win::WIN_ERR_TOO_LONG},
        {"description empty", user("d0").s(kDesc, ""), tvn_win::WIN_ERR_DESC_NULL},
        {"no password", request(vocab::user_create.code).s(kName, "nopw"), tvn_win::WIN_ERR_PASSWORD},
        {"empty password", user("emptypw", ""), tvn_win::WIN_ERR_PASSWORD},
        {"RID empty", user("r0").s(kRid, ""), tvn_win::WIN_ERR_INVALID},
        {"RID text", user("r1").s(kRid, "12a"), tvn_win::WIN_ERR_INVALID},
        {"enabled as text", user("e1").s(kEnabled, "yes"), tvn_win::WIN_ERR_ENABLED},
        {"privilege 6", user("p1").s(kPriv, "[6]"), tvn_win::WIN_ERR_INVALID},
        {"privileges twice", user("p2").s(kPriv, "[1,1]"), tvn_win::WIN_ERR_INVALID},
        // The first bad item answers: the name before the description.
        {"bad name and description", user("x.").s(kDesc, ""), tvn_win::WIN_ERR_NAME},
    };
    for (char c : std::string("/\\[]<>+:;,?*|=@\""))
        rows.push_back({std::string("character ") + c, user(std::string("n") + c + "m"), tvn_win::WIN_ERR_NAME});
    expect_rows(t, rows);
    EXPECT_EQ(call(user("t").s(kTenant, "7x"), 0).result(), tvn_win::WIN_ERR_INVALID);

    answer shown = call(request(vocab::user_show.code).s(kName, "D256"), t);
    ASSERT_TRUE(shown.ok()) << shown;
    EXPECT_EQ(shown.str(0, kDesc), std::string(256, 'd'));
    EXPECT_EQ(shown.str(0, kEnabled), "true");
}

TEST_F(WinE2E, RidsAndSidsAndDuplicates) {
    const uint32_t t = 12;
    EXPECT_EQ(create_user(t, "first"), "1000");
    EXPECT_EQ(create_user(t, "given", "5000"), "5000");
    EXPECT_EQ(create_user(t, "next"), "5001");
    answer shown = call(request(vocab::user_show.code).s(kRid, "5001"), t);
    ASSERT_TRUE(shown.ok()) << shown;
    EXPECT_EQ(shown.str(0, kName), "next");
    const std::string sid = shown.str(0, kSid);
    EXPECT_EQ(sid.substr(0, 9), "S-1-5-21-");
    EXPECT_EQ(sid.substr(sid.rfind('-')), "-5001");

    // A deleted user's RID is never given again.
    ASSERT_TRUE(call(request(vocab::user_delete.code).s(kName, "next"), t).ok());
    EXPECT_EQ(create_user(t, "later"), "5002");
    expect_rows(t, {
                       {"same name, other case", user("FIRST"), tvn_win::WIN_ERR_EXIST},
                       {"name of a group", user("Administrators"), tvn_win::WIN_ERR_EXIST},
                       {"RID in use", user("x1").s(kRid, "5000"), tvn_win::WIN_ERR_EXIST},
                       {"RID of a deleted user", user("x2").s(kRid, "5001"), tvn_win::WIN_ERR_EXIST},
                       {"well-known RID", user("x3").s(kRid, "500"), tvn_win::WIN_ERR_INVALID},
                   });
    // The same name in another tenant is another user.
    EXPECT_EQ(create_user(t + 1, "first"), "1000");
}

TEST_F(WinE2E, ModifyDeleteAndShowByNameOrByRid) {
    const uint32_t t = 14;
    const std::string rid = create_user(t, "mod");
    ASSERT_TRUE(call(request(vocab::user_modify.code).s(kName, "mod").s(kDesc, "by name").s(kPriv, "[0,4]"), t).ok());
    answer renamed = call(request(vocab::user_modify.code).s(kRid, rid).s(kNewName, "mod2").b(kEnabled, false), t);
    ASSERT_TRUE(renamed.ok()) << renamed;
    EXPECT_EQ(renamed.str(0, kName), "mod2");

    answer shown = call(request(vocab::user_show.code).s(kName, "mod2"), t);
    ASSERT_TRUE(shown.ok()) << shown;
    EXPECT_EQ(shown.str(0, kDesc), "by name");
    EXPECT_EQ(shown.str(0, kEnabled), "false");
    EXPECT_EQ(shown.str(0, kPriv), "[0,4]");
    EXPECT_EQ(shown.str(0, kRid), rid);

    expect_rows(t, {
                       {"old name", request(vocab::user_modify.code).s(kName, "mod").s(kDesc, "x"), -2},
                       {"nothing to change", request(vocab::user_modify.code).s(kName, "mod2"), -22},
                       {"selector by RID without RID", request(vocab::user_show.code).s(kName, "mod2").e(kBy, 1), -22},
                       {"bad new name", request(vocab::user_modify.code).s(kName, "mod2").s(kNewName, "a@b"), -38100},
                       {"unknown RID", request(vocab::user_delete.code).s(kRid, "4242"), -2},
                   });
    // The selector wins over the RID's presence.
    EXPECT_TRUE(call(request(vocab::user_show.code).s(kName, "mod2").s(kRid, "1").e(kBy, 0), t).ok());
    EXPECT_TRUE(call(request(vocab::user_delete.code).s(kRid, rid), t).ok());
    EXPECT_EQ(call(request(vocab::user_show.code).s(kRid, rid), t).result(), -2);
}

TEST_F(WinE2E, MembershipsOfEveryKind) {
    const uint32_t t = 15;
    const std::string rid = create_user(t, "m_user");
    create_group(t, "team");
    create_group(t, "inner");
    auto add = [&](const std::string& group, const std::string& member, uint32_t type) {
        return call(request(vocab::member_add.code).s(kName, group).s(kMember, member).e(kMemberType, type), t);
    };
    ASSERT_TRUE(add("team", "m_user", 0).ok());
    ASSERT_TRUE(add("team", "inner", 1).ok());
    answer ad = add("team", "CORP\\alice", 2);
    ASSERT_TRUE(ad.ok()) << ad;
    EXPECT_EQ(ad.str(0, kMemberSid).substr(0, 9), "S-1-5-21-");
    ASSERT_TRUE(add("team", "nas_users@corp.example.com", 3).ok());
    ASSERT_TRUE(add("Administrators", "m_user", 0).ok());
    EXPECT_EQ(add("team", "m_user", 0).result(), -17);
    EXPECT_EQ(add("team", "CORP\\nobody_here", 2).result(), -2);
    EXPECT_EQ(add("team", "ghost", 0).result(), -2);
    EXPECT_EQ(add("team", "team", 1).result(), -22);

    answer list = members(t, "team");
    ASSERT_TRUE(list.ok()) << list;
    std::vector<std::string> names = column(list, kMember);
    EXPECT_EQ(std::multiset<std::string>(names.begin(), names.end()),
              (std::multiset<std::string>{"CORP\\alice", "CORP\\nas_users", "inner", "m_user"}));
    for (int i = 0; i < list.records(); ++i)
        EXPECT_EQ(list.str(i, kRid) == "0", names[i].find('\\') != std::string::npos) << names[i];
    EXPECT_EQ(count(vocab::member_count.code, t, "", "team"), static_cast<uint32_t>(list.records()));
    EXPECT_EQ(call(request(vocab::member_count.code).s(kName, "team").e(kMemberType, 2), t).num(0, kCount), 1u);

    answer groups = call(request(vocab::member_list.code).s(kUser, "m_user"), t);
    ASSERT_TRUE(groups.ok()) << groups;
    std::vector<std::string> of_user = column(groups, kName);
    EXPECT_EQ(std::set<std::string>(of_user.begin(), of_user.end()), (std::set<std::string>{"Administrators", "team"}));

    // Removing a domain member by name, then deleting a user that is a
    // member: its memberships go with it.
    ASSERT_TRUE(call(request(vocab::member_remove.code).s(kName, "team").s(kMember, "CORP\\alice").e(kMemberType, 2), t)
                    .ok());
    EXPECT_EQ(call(request(vocab::member_remove.code).s(kName, "team").s(kMember, "CORP\\alice").e(kMemberType, 2), t)
                  .result(),
              -2);
    ASSERT_TRUE(call(request(vocab::user_delete.code).s(kRid, rid), t).ok());
    EXPECT_EQ(count(vocab::member_count.code, t, "", "team"), 2u);
    EXPECT_EQ(count(vocab::member_count.code, t, "", "Administrators"), 0u);
}

TEST_F(WinE2E, BuiltInGroupsStay) {
    const uint32_t t = 16;
    answer builtin = call(request(vocab::group_list.code).s(kQuery, R"({"TYPE": "1"})"), t);
    ASSERT_TRUE(builtin.ok()) << builtin;
    std::vector<std::string> sids = column(builtin, kSid);
    EXPECT_EQ(std::set<std::string>(sids.begin(), sids.end()),
              (std::set<std::string>{"S-1-5-32-544", "S-1-5-32-545", "S-1-5-32-546", "S-1-5-32-547", "S-1-5-32-551"}));
    EXPECT_EQ(call(request(vocab::group_delete.code).s(kName, "Administrators"), t).result(), -13);
    EXPECT_EQ(call(request(vocab::group_modify.code).s(kRid, "545").s(kNewName, "People"), t).result(), -13);
    EXPECT_TRUE(call(request(vocab::group_modify.code).s(kName, "guests").s(kDesc, "visitors"), t).ok());
    answer g = call(request(vocab::group_show.code).s(kRid, "546"), t);
    EXPECT_EQ(g.str(0, kDesc), "visitors");
    EXPECT_EQ(count(vocab::group_count.code, t), 5u);
    create_group(t, "own");
    EXPECT_EQ(count(vocab::group_count.code, t, R"({"TYPE": "2"})"), 1u);
    EXPECT_TRUE(call(request(vocab::group_delete.code).s(kName, "own"), t).ok());
}

TEST_F(WinE2E, ListPagesAndCounts) {
    const uint32_t t = 17;
    for (int i = 0; i < 105; ++i) create_user(t, "page" + std::to_string(1000 + i));
    create_user(t, "other");
    answer first = call(request(vocab::user_list.code), t);
    ASSERT_TRUE(first.ok()) << first;
    EXPECT_EQ(first.records(), 100);
    EXPECT_EQ(first.str(0, kName), "other");
    answer rest = call(request(vocab::user_list.code).s(kRange, R"({"offset": 100, "limit": 100})"), t);
    EXPECT_EQ(rest.records(), 6);
    EXPECT_EQ(call(request(vocab::user_list.code).s(kRange, R"({"offset": 0, "limit": 101})"), t).result(), -5);
    answer desc = call(request(vocab::user_list.code)
                           .s(kQuery, R"({"NAME": "PAGE"})")
                           .s(23, R"({"sortKey": "RID", "sortType": 1})")
                           .s(kRange, R"({"offset": 0, "limit": 3})"),
                       t);
    EXPECT_EQ(column(desc, kName), (std::vector<std::string>{"page1104", "page1103", "page1102"}));
    EXPECT_EQ(count(vocab::user_count.code, t, R"({"NAME": "page"})"), 105u);
    EXPECT_EQ(count(vocab::user_count.code, t), 106u);
    EXPECT_EQ(call(request(vocab::user_list.code).s(kQuery, R"({"COLOR": "red"})"), t).result(), -22);
}

TEST_F(WinE2E, PolicyKeysAndTheSidPrefixOfAnEmptyTenant) {
    const uint32_t t = 18;
    auto set = [&](uint32_t tenant, const std::string& prefix) {
        return call(request(vocab::policy_set.code).s(77, prefix), tenant);
    };
    ASSERT_TRUE(call(request(vocab::policy_set.code).u(64, 8).u(65, 64).u(73, 90).u(75, 5), t).ok());
    EXPECT_EQ(set(t, "S-1-5-21-1-2-3-4").result(), -3208);
    EXPECT_EQ(set(t, "S-1-5-21-" + std::string(250, '1')).result(), -3208);
    ASSERT_TRUE(set(t, "S-1-5-21-11-22-33").ok());
    answer shown = call(request(vocab::policy_show.code), t);
    ASSERT_TRUE(shown.ok()) << shown;
    EXPECT_EQ(shown.num(0, 64), 8u);
    EXPECT_EQ(shown.num(0, 65), 64u);
    EXPECT_EQ(shown.num(0, 73), 90u);
    EXPECT_EQ(shown.num(0, 75), 5u);
    EXPECT_FALSE(shown.has(0, 66));
    EXPECT_EQ(shown.str(0, 77), "S-1-5-21-11-22-33");

    create_user(t, "holder");
    answer holder = call(request(vocab::user_show.code).s(kName, "holder"), t);
    EXPECT_EQ(holder.str(0, kSid), "S-1-5-21-11-22-33-1000");
    EXPECT_EQ(set(t, "S-1-5-21-7").result(), tvn_win::WIN_ERR_SID_IN_USE);
    create_group(t + 1, "only_group");
    EXPECT_EQ(set(t + 1, "S-1-5-21-7").result(), tvn_win::WIN_ERR_SID_IN_USE);
    EXPECT_EQ(call(request(vocab::policy_set.code), t).result(), -22);
}

TEST_F(WinE2E, NoPlainPasswordUnderTheRoot) {
    const uint32_t t = 19;
    const std::string created = "Plain#Created1", changed = "Plain#Changed2", typed = "Plain#Typed3";
    ASSERT_TRUE(call(user("secretive", created), t).ok());
    ASSERT_TRUE(call(request(vocab::user_modify.code).s(kName, "secretive").s(kPwd, changed), t).ok());

    // Through tvn_om, the password from a file outside the node's root.
    const std::string file = node_->root() + "_pw";
    std::ofstream(file) << typed << "\n";
    tvn_test::tool_run run = tvn_test::run_tool(
        "tvn_om", {"win", "user", "create", "--name", "typed", "--vstore", std::to_string(t), "--password-file", file});
    std::remove(file.c_str());
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_EQ(run.out.find(typed), std::string::npos);
    ASSERT_TRUE(call(request(vocab::user_show.code).s(kName, "typed"), t).ok());

    for (const std::string& secret : {created, changed, typed})
        EXPECT_TRUE(node_->files_containing(secret).empty()) << secret;
}

}  // namespace

namespace {

TEST_F(WinE2E, ConcurrentCreatesGetDistinctRidsThatSurviveARestart) {
    const uint32_t t = 20;
    constexpr int kThreads = 6, kEach = 15;
    std::vector<std::vector<std::string>> rids(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
            for (int j = 0; j < kEach; ++j) {
                answer a = call(user("c" + std::to_string(i) + "_" + std::to_string(j)), t);
                rids[i].push_back(a.ok() ? a.str(0, kRid) : "failed " + std::to_string(a.result()));
            }
        });
    for (auto& th : threads) th.join();
    std::set<std::string> all;
    for (const auto& r : rids) all.insert(r.begin(), r.end());
    EXPECT_EQ(all.size(), static_cast<size_t>(kThreads * kEach));
    EXPECT_EQ(*all.begin(), "1000");
    EXPECT_EQ(count(vocab::user_count.code, t), static_cast<uint32_t>(kThreads * kEach));

    // The highest RID is deleted; after a restart of the store it is still
    // not given again.
    const std::string last = std::to_string(1000 + kThreads * kEach - 1);
    ASSERT_TRUE(call(request(vocab::user_delete.code).s(kRid, last), t).ok());
    node_->stop_store();
    ASSERT_TRUE(node_->start_store());
    EXPECT_EQ(create_user(t, "after_restart"), std::to_string(1000 + kThreads * kEach));
}

TEST_F(WinE2E, GroupsByRidAndMembersFollowRenames) {
    const uint32_t t = 21;
    create_user(t, "ren_user");
    answer g = call(request(vocab::group_create.code).s(kName, "ren_group").s(kRid, "7000").s(kPriv, "[3]"), t);
    ASSERT_TRUE(g.ok()) << g;
    EXPECT_EQ(g.str(0, kRid), "7000");
    ASSERT_TRUE(call(request(vocab::member_add.code).s(kName, "ren_group").s(kMember, "ren_user"), t).ok());
    // A domain name given as a local user is no local user; a domain
    // member given with its SID is taken as it is.
    EXPECT_EQ(call(request(vocab::member_add.code).s(kName, "ren_group").s(kMember, "CORP\\bob"), t).result(), -2);
    ASSERT_TRUE(call(request(vocab::member_add.code)
                         .s(kName, "ren_group")
                         .s(kMember, "anything")
                         .s(kMemberSid, "S-1-5-21-1-2-3-513")
                         .e(kMemberType, 3),
                     t)
                    .ok());
    EXPECT_EQ(call(request(vocab::member_add.code).s(kName, "ren_group").s(kMember, "x").e(kMemberType, 9), t).result(),
              -22);

    ASSERT_TRUE(call(request(vocab::user_modify.code).s(kName, "ren_user").s(kNewName, "ren_user2"), t).ok());
    ASSERT_TRUE(call(request(vocab::group_modify.code).s(kRid, "7000").s(kNewName, "ren_group2"), t).ok());
    answer list = members(t, "ren_group2");
    ASSERT_TRUE(list.ok()) << list;
    std::vector<std::string> names = column(list, kMember);
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).count("ren_user2"), 1u);
    answer prefixed = call(request(vocab::member_list.code).s(kName, "ren_group2").s(kQuery, R"({"NAME": "REN"})"), t);
    EXPECT_EQ(column(prefixed, kMember), (std::vector<std::string>{"ren_user2"}));
    EXPECT_EQ(call(request(vocab::group_show.code).s(kName, "ren_group2"), t).str(0, kPriv), "[3]");
}

TEST_F(WinE2E, TvnOmCommands) {
    const std::string t = "22";
    struct step {
        std::vector<std::string> args;
        int status;
        std::string shows;
    } steps[] = {
        {{"win", "group", "create", "--name", "omg", "--vstore", t}, 0, "omg"},
        {{"win", "user", "create", "--name", "omu", "--password", "x", "--vstore", t}, 2, "--password"},
        {{"win", "user", "show", "--vstore", t}, 2, "--name or --rid"},
        {{"win", "member", "add", "--group", "omg", "--member", "CORP\\carol", "--type", "ad-user", "--vstore", t},
         0, "added"},
        {{"win", "member", "list", "--group", "omg", "--vstore", t}, 0, "CORP\\carol"},
        {{"win", "member", "count", "--group", "omg", "--vstore", t}, 0, "count: 1"},
        {{"win", "group", "list", "--type", "builtin", "--vstore", t}, 0, "S-1-5-32-544"},
        {{"win", "group", "delete", "--name", "Administrators", "--vstore", t}, 1, "built-in"},
        {{"win", "policy", "set", "--pwd-complex", "1", "--vstore", t}, 0, "policy set"},
        {{"win", "policy", "show", "--vstore", t}, 0, "pwdComplex"},
    };
    for (const auto& s : steps) {
        tvn_test::tool_run run = tvn_test::run_tool("tvn_om", s.args);
        EXPECT_EQ(run.status, s.status) << s.args[2] << " " << s.args[3] << ": " << run.out;
        EXPECT_NE(run.out.find(s.shows), std::string::npos) << run.out;
    }
}

}  // namespace
