// The user-mapping commands end to end: OM agent endpoint -> tvn_cm ->
// tvn_sim (rule store, lookup service, kernel agent), on 127.0.0.1, over a
// seed of its own with Windows and Unix accounts of matching names.
#include <acl/libacl.h>
#include <sys/acl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <limits>

#include "tvn_test_files.h"
#include "tvn_test_node.h"
#include "usermapping/tvn_omitf_usermapping_vocab.h"

namespace {

using tvn_test::om_reply;
using tvn_test::om_request;
namespace vocab = tvn_usermapping::vocab;
using namespace tvn_usermapping;

constexpr uint64_t kAdd = vocab::rule_add.code, kModify = vocab::rule_modify.code, kDelete = vocab::rule_delete.code,
                   kShow = vocab::rule_show.code, kList = vocab::rule_list.code, kCount = vocab::rule_count.code,
                   kTry = vocab::try_mapping.code, kVerify = vocab::verify.code, kCacheWin = vocab::cache_show.code,
                   kCacheUnix = vocab::cache_show_unix.code, kClear = vocab::cache_clear.code,
                   kAcl = vocab::acl.code, kPerm = vocab::perm.code;
constexpr int32_t kNotFound = -2;

const char* const kSeed = R"json({
  "controllers": [{"id": 0, "name": "CTE0.A"}],
  "tenants": [{"id": 0, "name": "System_vStore", "status": "normal"}],
  "file_systems": [{"id": 1, "name": "fs1", "tenant": 0, "controller": 0}],
  "domains": [{"indom": 1, "nbname": "CORP", "fqdn": "corp.example.com",
               "sid": "S-1-5-21-1111111111-2222222222-3333333333"}],
  "accounts": [
    {"domain": "CORP", "name": "Domain Users", "group": true, "rid": 513, "id": 100513},
    {"domain": "CORP", "name": "alice", "rid": 1101, "id": 101101, "primary_group": "Domain Users"},
    {"domain": "CORP", "name": "bob", "rid": 1102, "id": 101102, "primary_group": "Domain Users"},
    {"domain": "CORP", "name": "carol", "rid": 1103, "id": 101103, "primary_group": "Domain Users"},
    {"domain": "CORP", "name": "dave", "rid": 1104, "id": 101104, "primary_group": "Domain Users"},
    {"name": "nfsgrp", "group": true, "id": 1000},
    {"name": "staff", "group": true, "id": 3000},
    {"name": "nogroup", "group": true, "id": 65534},
    {"name": "nfsuser", "id": 1000, "primary_group": "nfsgrp"},
    {"name": "alice", "id": 2001, "primary_group": "staff"},
    {"name": "unix_bob", "id": 2002, "primary_group": "nogroup"},
    {"name": "erin", "id": 2005, "primary_group": "staff"},
    {"name": "guest", "id": 4000, "primary_group": "nogroup"}
  ]
})json";

class UserMappingE2E : public ::testing::Test {
protected:
    void SetUp() override {
        std::ofstream(seed_dir_.path() + "/seed.json") << kSeed;
        tvn_test::node_options opts;
        opts.sim_args = {"--seed", seed_dir_.path() + "/seed.json"};
        node_ = std::make_unique<tvn_test::node>(opts);
        ASSERT_TRUE(node_->start());
    }
    void TearDown() override {
        if (HasFailure()) std::cerr << "---- node logs ----\n" << node_->logs().substr(0, 20000) << "\n";
        node_.reset();
    }

    om_reply call(const om_request& r) { return node_->call(r); }

    uint64_t add(const std::string& from, const std::string& to, uint32_t type, std::optional<uint32_t> prio = {}) {
        om_request r(kAdd);
        r.s(64, from).s(66, to).e(65, type);
        if (prio) r.u(67, *prio);
        om_reply a = call(r);
        EXPECT_TRUE(a.ok()) << from << ": " << a;
        return a.ok() ? std::stoull(a.str(0, 1)) : 0;
    }
    uint32_t count(const std::string& filter = "") {
        om_request r(kCount);
        if (!filter.empty()) r.s(33, filter);
        om_reply a = call(r);
        EXPECT_TRUE(a.ok()) << a;
        return a.num(0, 10).value_or(~0u);
    }
    // The ids of a list, in order.
    std::vector<std::string> list(const std::string& filter, const std::string& sort = "",
                                  const std::string& range = "") {
        om_request r(kList);
        if (!filter.empty()) r.s(33, filter);
        if (!sort.empty()) r.s(34, sort);
        if (!range.empty()) r.s(35, range);
        om_reply a = call(r);
        EXPECT_TRUE(a.ok()) << a;
        std::vector<std::string> ids;
        for (int i = 0; i < a.records(); ++i)
            if (a.has(i, 1)) ids.push_back(a.str(i, 1));
        return ids;
    }

    tvn_test::temp_dir seed_dir_{"tvn_um_seed"};
    std::unique_ptr<tvn_test::node> node_;
};

TEST_F(UserMappingE2E, EveryHandlerRefusesBadRequestsWithItsCode) {
    const uint64_t id = add("CORP\\alice", "alice", 0);
    const std::string sid = std::to_string(id);
    struct row {
        const char* name;
        om_request req;
        int32_t want;
    };
    std::vector<row> rows = {
        {"tenant text", om_request(kAdd).s(64, "a").s(66, "b").e(65, 0).s(4090, "x1"), UM_ERR_INVALID},
        {"tenant as a number", om_request(kCount).u(4090, 1), UM_ERR_ITEM},
        {"delete tenant beyond 32 bits", om_request(kDelete).s(1, sid).s(4090, "4294967296"), UM_ERR_INVALID},
        {"from missing", om_request(kAdd).s(66, "b").e(65, 0), UM_ERR_FROM_IDENTITY},
        {"from empty", om_request(kAdd).s(64, "").s(66, "b").e(65, 0), UM_ERR_FROM_IDENTITY},
        {"from with a control character", om_request(kAdd).s(64, "a\x01").s(66, "b").e(65, 0), UM_ERR_FROM_IDENTITY},
        {"to missing", om_request(kAdd).s(64, "a").e(65, 0), UM_ERR_TO_IDENTITY},
        {"modify to empty", om_request(kModify).s(1, sid).s(66, ""), UM_ERR_TO_IDENTITY},
        {"priority as text", om_request(kAdd).s(64, "a").s(66, "b").e(65, 0).s(67, "high"), UM_ERR_PRIORITY},
        {"type missing", om_request(kAdd).s(64, "a").s(66, "b"), UM_ERR_MAP_TYPE},
        {"type 3 refused on add", om_request(kAdd).s(64, "a").s(66, "b").e(65, 3), UM_ERR_MAP_TYPE},
        {"modify type 3", om_request(kModify).s(1, sid).e(65, 3), UM_ERR_MAP_TYPE},
        {"rule id missing", om_request(kShow), UM_ERR_RULE_ID},
        {"rule id text", om_request(kDelete).s(1, "x"), UM_ERR_RULE_ID},
        {"rule id negative", om_request(kModify).s(1, "-1").u(67, 3), UM_ERR_RULE_ID},
        {"rule id 2^64", om_request(kShow).s(1, "18446744073709551616"), UM_ERR_RULE_ID},
        {"rule id 2^64-1 is a number, no rule", om_request(kShow).s(1, "18446744073709551615"), kNotFound},
        {"rule id 0, no rule", om_request(kDelete).s(1, "0"), kNotFound},
        {"duplicate rule", om_request(kAdd).s(64, "CORP\\alice").s(66, "alice").e(65, 0), -17},
        {"filter key unknown", om_request(kList).s(33, R"({"NAME": "a"})"), UM_ERR_QUERY_COND},
        {"filter not JSON", om_request(kCount).s(33, "FROM=a"), UM_ERR_QUERY_COND},
        {"filter type 9", om_request(kCount).s(33, R"({"MAPPINGTYPE": "9"})"), UM_ERR_QUERY_COND},
        {"range malformed", om_request(kList).s(35, R"({"offset": -1, "limit": 2})"), UM_ERR_QUERY_COND},
        {"sort key unknown", om_request(kList).s(34, R"({"sortKey": "NAME", "sortType": 0})"), UM_ERR_QUERY_COND},
        {"try without name", om_request(kTry).e(66, 0), UM_ERR_ACCOUNT_NAME},
        {"try direction 2", om_request(kTry).s(65, "CORP\\bob").e(66, 2), UM_ERR_DIRECTION},
        {"try unknown account", om_request(kTry).s(65, "CORP\\nobody").e(66, 0), kNotFound},
        {"verify without kind", om_request(kVerify).s(66, "bob"), UM_ERR_DIRECTION},
        {"cache show without key", om_request(kCacheWin), UM_ERR_ACCOUNT_NAME},
        {"cache clear two keys", om_request(kClear).s(69, "1").u(70, 5), UM_ERR_CACHE_KEY},
        {"cache clear rule text", om_request(kClear).s(69, "r1"), UM_ERR_CACHE_KEY},
        {"acl fsid text", om_request(kAcl).s(64, "fs1").s(66, "/"), UM_ERR_FSID},
        {"acl path empty", om_request(kAcl).s(64, "1").s(66, ""), UM_ERR_INVALID},
        {"acl path relative", om_request(kAcl).s(64, "1").s(66, "dir"), UM_ERR_INVALID},
        {"acl path with //", om_request(kAcl).s(64, "1").s(66, "/a//b"), UM_ERR_INVALID},
        {"acl path with a bare ;", om_request(kAcl).s(64, "1").s(66, "/a;b"), UM_ERR_INVALID},
        {"acl path with an escaped ; passes the check", om_request(kAcl).s(64, "1").s(66, "/a\\;b"), kNotFound},
        {"acl path leaving the file system", om_request(kAcl).s(64, "1").s(66, "/../etc"), UM_ERR_INVALID},
        {"perm user type missing", om_request(kPerm).s(64, "1").s(66, "/").s(68, "bob"), UM_ERR_USER_TYPE},
        {"perm two delimiters", om_request(kPerm).s(64, "1").s(66, "/").u(67, 0).s(68, "A\\B\\c"), UM_ERR_INVALID},
        {"perm long windows name", om_request(kPerm).s(64, "1").s(66, "/").u(67, 0).s(68, std::string(300, 'a')),
         UM_ERR_WIN_NAME_LEN},
        {"perm unix $x", om_request(kPerm).s(64, "1").s(66, "/").u(67, 1).s(68, "$x"), UM_ERR_INVALID},
        {"perm unknown unix user", om_request(kPerm).s(64, "1").s(66, "/").u(67, 1).s(68, "x$"), kNotFound},
    };
    for (const auto& r : rows) {
        om_reply a = call(r.req);
        ASSERT_EQ(a.call_rc, 0) << r.name;
        EXPECT_EQ(a.kind(), OM_ERR_ACK) << r.name;
        EXPECT_EQ(a.result(), r.want) << r.name;
    }
    EXPECT_EQ(count(), 1u);
}

TEST_F(UserMappingE2E, RulesKeepWhatAChangeDoesNotName) {
    const uint64_t id = add("CORP\\bob", "unix_bob", 0);
    om_reply shown = call(om_request(kShow).s(1, std::to_string(id)));
    ASSERT_TRUE(shown.ok()) << shown;
    EXPECT_EQ(shown.num(0, 67), UM_DEFAULT_PRIORITY);

    ASSERT_TRUE(call(om_request(kModify).s(1, std::to_string(id)).u(67, 3)).ok());
    shown = call(om_request(kShow).s(1, std::to_string(id)));
    EXPECT_EQ(shown.str(0, 64), "CORP\\bob");
    EXPECT_EQ(shown.str(0, 66), "unix_bob");
    EXPECT_EQ(shown.num(0, 65), 0u);
    EXPECT_EQ(shown.num(0, 67), 3u);

    // The operation log names the rule as added, and the change as given.
    for (const std::string& cut : {std::string("0,CORP\\bob,unix_bob,0,10"), "0," + std::to_string(id) + ",,,,3"})
        EXPECT_TRUE(tvn_test::eventually([&] {
            for (const auto& log : node_->oplogs())
                if (log["text"] == cut) return true;
            return false;
        })) << "no operation-log record " << cut;

    // Ids are never given again, also after a delete.
    ASSERT_TRUE(call(om_request(kDelete).s(1, std::to_string(id))).ok());
    EXPECT_EQ(call(om_request(kShow).s(1, std::to_string(id))).result(), kNotFound);
    EXPECT_GT(add("CORP\\bob", "unix_bob", 0), id);
}

TEST_F(UserMappingE2E, ListsFilterSortAndPageAndCountsAgree) {
    const uint64_t a = add("CORP\\alice", "alice", 0, 30);
    const uint64_t b = add("CORP\\bob", "unix_bob", 0, 10);
    const uint64_t c = add("unix_bob", "CORP\\bob", 1, 20);
    const uint64_t d = add("erin", "CORP\\dave", 1, 5);
    auto s = [](uint64_t v) { return std::to_string(v); };
    struct row {
        const char* name;
        std::string filter, sort, range;
        std::vector<std::string> ids;
    } rows[] = {
        {"all, by id", "", "", "", {s(a), s(b), s(c), s(d)}},
        {"from holds bob", R"({"FROMIDENTITY": "BOB"})", "", "", {s(b), s(c)}},
        {"to holds CORP", R"({"TOIDENTITY": "corp\\"})", "", "", {s(c), s(d)}},
        {"unix to windows", R"({"MAPPINGTYPE": "1"})", "", "", {s(c), s(d)}},
        {"by priority", "", R"({"sortKey": "PRIORITY", "sortType": 0})", "", {s(d), s(b), s(c), s(a)}},
        {"by priority, descending", "", R"({"sortKey": "PRIORITY", "sortType": 1})", "", {s(a), s(c), s(b), s(d)}},
        {"by from", "", R"({"sortKey": "FROMIDENTITY", "sortType": 0})", "", {s(a), s(b), s(d), s(c)}},
        {"second page of two", "", "", R"({"offset": 2, "limit": 2})", {s(c), s(d)}},
        {"page past the end", "", "", R"({"offset": 9, "limit": 2})", {}},
    };
    for (const auto& r : rows) {
        EXPECT_EQ(list(r.filter, r.sort, r.range), r.ids) << r.name;
        if (r.sort.empty() && r.range.empty()) {
            EXPECT_EQ(count(r.filter), r.ids.size()) << r.name;
        }
    }
}

TEST_F(UserMappingE2E, MappingsFollowRulesInPriorityOrderThenTheDirectory) {
    const uint64_t carol = add("CORP\\carol", "nfsuser", 0, 10);
    const uint64_t pattern = add("CORP\\*", "unix_*", 0, 20);
    const uint64_t late = add("CORP\\carol", "erin", 0, 30);
    const uint64_t back = add("unix_*", "CORP\\*", 1);
    const uint64_t erin = add("erin", "corp.example.com\\dave", 1);
    struct row {
        const char* name;
        std::string account;
        uint32_t to;  // 0 Unix, 1 Windows
        uint64_t rule;
        std::string unix_name;
        std::string win_name;
    } rows[] = {
        {"specific rule", "CORP\\carol", 0, carol, "nfsuser", "CORP\\carol"},
        {"pattern carries the name", "bob@corp.example.com", 0, pattern, "unix_bob", "CORP\\bob"},
        {"pattern target missing: same name", "CORP\\alice", 0, 0, "alice", "CORP\\alice"},
        {"no Unix account: its own id", "dave", 0, 0, "CORP\\dave", "CORP\\dave"},
        {"reverse pattern", "unix_bob", 1, back, "unix_bob", "CORP\\bob"},
        {"reverse specific, FQDN domain", "erin", 1, erin, "erin", "CORP\\dave"},
        {"reverse same name", "alice", 1, 0, "alice", "CORP\\alice"},
        {"reverse without a Windows account", "nfsuser", 1, 0, "nfsuser", "nfsuser"},
    };
    for (const auto& r : rows) {
        om_reply a = call(om_request(kTry).s(65, r.account).e(66, r.to));
        ASSERT_TRUE(a.ok()) << r.name << ": " << a;
        EXPECT_EQ(a.str(0, 68), std::to_string(r.rule)) << r.name;
        EXPECT_EQ(a.str(0, 71), r.unix_name) << r.name;
        EXPECT_EQ(a.str(0, 69), r.win_name) << r.name;
        EXPECT_TRUE(a.has(0, 77) && a.has(0, 78) && a.has(0, 79)) << r.name;
    }
    EXPECT_EQ(call(om_request(kTry).s(65, "nfsuser").e(66, 1)).str(0, 74), "S-1-22-1-1000");

    // A higher priority (a smaller number) goes first, whatever the id.
    ASSERT_TRUE(call(om_request(kModify).s(1, std::to_string(late)).u(67, 1)).ok());
    om_reply a = call(om_request(kTry).s(65, "CORP\\carol").e(66, 0));
    EXPECT_EQ(a.str(0, 68), std::to_string(late));
    EXPECT_EQ(a.str(0, 71), "erin");

    om_reply v = call(om_request(kVerify).e(65, 0).s(66, "CORP\\bob"));
    EXPECT_EQ(v.str(0, 67), "true");
    EXPECT_EQ(call(om_request(kVerify).e(65, 1).s(66, "nobody")).str(0, 67), "false");
}

TEST_F(UserMappingE2E, CachesShowAndClearByEachSelector) {
    const uint64_t rule = add("CORP\\*", "unix_*", 0);
    auto fill = [&] {
        for (const char* who : {"CORP\\bob", "CORP\\alice", "CORP\\carol"})
            ASSERT_TRUE(call(om_request(kTry).s(65, who).e(66, 0)).ok()) << who;
    };
    fill();
    om_reply shown = call(om_request(kCacheWin).s(64, "CORP\\bob"));
    ASSERT_TRUE(shown.ok()) << shown;
    EXPECT_EQ(shown.str(0, 68), std::to_string(rule));
    EXPECT_EQ(shown.str(0, 71), "unix_bob");
    const std::string bob_sid = shown.str(0, 74);
    EXPECT_EQ(call(om_request(kCacheUnix).s(64, "alice")).str(0, 69), "CORP\\alice");

    struct row {
        const char* name;
        om_request clear;
        uint32_t dropped;
        om_request gone;
    } rows[] = {
        {"by rule", om_request(kClear).s(69, std::to_string(rule)), 1, om_request(kCacheUnix).u(70, 2002)},
        {"by uid", om_request(kClear).u(70, 2001), 1, om_request(kCacheUnix).u(70, 2001)},
        {"by SID", om_request(kClear).s(79, bob_sid), 1, om_request(kCacheWin).s(79, bob_sid)},
        {"all", om_request(kClear), 3, om_request(kCacheWin).s(64, "CORP\\carol")},
    };
    for (const auto& r : rows) {
        ASSERT_TRUE(call(om_request(kClear)).ok());
        fill();
        om_reply c = call(r.clear);
        ASSERT_TRUE(c.ok()) << r.name << ": " << c;
        EXPECT_EQ(c.num(0, 10), r.dropped) << r.name;
        EXPECT_EQ(call(r.gone).result(), kNotFound) << r.name;
    }
}

TEST_F(UserMappingE2E, EffectivePermissionOfMappedUsersOnARealFolder) {
    if (::geteuid() != 0) GTEST_SKIP() << "setting a folder's owner needs root";
    const std::string dir = node_->path("/fs/fs1/perm dir");
    ASSERT_EQ(::mkdir(dir.c_str(), 0750), 0);
    ASSERT_EQ(::chown(dir.c_str(), 1000, 3000), 0);
    acl_t acl = acl_from_text("u::rwx,u:2002:rwx,g::r-x,g:65534:--x,m::r-x,o::---");
    ASSERT_NE(acl, nullptr);
    int set = acl_set_file(dir.c_str(), ACL_TYPE_ACCESS, acl);
    acl_free(acl);
    if (set != 0) GTEST_SKIP() << "the file system here keeps no POSIX ACLs";
    add("CORP\\carol", "nfsuser", 0);
    add("CORP\\*", "unix_*", 0, 20);

    struct row {
        uint32_t type;
        std::string user;
        std::string perm;
        std::string entry;
    } rows[] = {
        {0, "CORP\\carol", "rwx", "user::"},       // mapped onto the owner
        {0, "CORP\\bob", "r-x", "user:unix_bob"},  // named entry, cut by the mask
        {0, "CORP\\alice", "r-x", "group::"},      // same-name Unix account in the owning group
        {1, "erin", "r-x", "group::"},
        {1, "guest", "--x", "group:nogroup"},
        {0, "CORP\\dave", "---", "other::"},       // its own id, in no group of the folder
    };
    for (const auto& r : rows) {
        om_reply a = call(om_request(kPerm).s(64, "1").s(66, "/perm\\ dir").u(67, r.type).s(68, r.user));
        ASSERT_TRUE(a.ok()) << r.user << ": " << a;
        const std::string text = a.str(0, 65);
        EXPECT_NE(text.find("permission: " + r.perm + "\n"), std::string::npos) << r.user << "\n" << text;
        EXPECT_NE(text.find("entry: " + r.entry + "\n"), std::string::npos) << r.user << "\n" << text;
    }

    om_reply acl_text = call(om_request(kAcl).s(64, "1").s(66, "/perm\\ dir"));
    ASSERT_TRUE(acl_text.ok()) << acl_text;
    for (const char* line : {"owner: nfsuser (1000)", "mode: 0750", "user:unix_bob:rwx", "mask::r-x", "other::---"})
        EXPECT_NE(acl_text.str(0, 65).find(line), std::string::npos) << line << "\n" << acl_text.str(0, 65);
    om_reply paged = call(om_request(kAcl).s(64, "1").s(66, "/perm\\ dir").u(67, 1).u(68, 1).b(69, false));
    EXPECT_NE(paged.str(0, 65).find("\nuser:2002:rwx\n"), std::string::npos) << paged.str(0, 65);
    EXPECT_EQ(paged.str(0, 65).find("other::"), std::string::npos);
}

TEST_F(UserMappingE2E, TvnOmDrivesTheFamily) {
    struct row {
        std::vector<std::string> args;
        int status;
        std::string shows;
    } rows[] = {
        {{"mapping", "rule", "add", "--from", "CORP\\carol", "--to", "nfsuser", "--type", "win-to-unix"}, 0,
         "rule 1 (CORP\\carol) added"},
        {{"mapping", "rule", "add", "--from", "x", "--to", "y", "--type", "3"}, 1, "-25004"},
        {{"mapping", "rule", "list", "--type", "win-to-unix", "--sort", "priority", "--desc"}, 0, "CORP\\carol"},
        {{"mapping", "rule", "count", "--from", "carol"}, 0, "count: 1"},
        {{"mapping", "try", "CORP\\carol", "--to", "unix"}, 0, "unix: nfsuser"},
        {{"mapping", "verify", "nfsuser", "--kind", "unix"}, 0, "resolves: true"},
        {{"mapping", "cache", "show-unix", "--uid", "1000"}, 0, "rule: 1"},
        {{"mapping", "cache", "clear"}, 0, "cleared: 1"},
        {{"mapping", "acl", "/", "--fsid", "1"}, 0, "acl: access"},
        {{"mapping", "perm", "/", "--fsid", "1", "--user", "CORP\\carol"}, 0, "unix: nfsuser"},
        {{"mapping", "perm", "/a;b", "--fsid", "1", "--user", "erin"}, 1, "-22"},
    };
    for (const auto& r : rows) {
        tvn_test::tool_run run = tvn_test::run_tool("tvn_om", r.args);
        EXPECT_EQ(run.status, r.status) << r.args[2] << "\n" << run.out;
        EXPECT_NE(run.out.find(r.shows), std::string::npos) << r.args[2] << "\n" << run.out;
    }
}

TEST(UserMappingKernel, ARefusingKernelFailsTheCacheAndDisplayCommands) {
    tvn_test::node_options opts;
    opts.cm_env = {{"TVN_FAIL_AT", "tvn_kchannel_request"}};
    tvn_test::node node(opts);
    ASSERT_TRUE(node.start());
    for (const om_request& r : {om_request(kClear), om_request(kCacheUnix).u(70, 0),
                                om_request(kAcl).s(64, "1").s(66, "/")}) {
        om_reply a = node.call(r);
        EXPECT_EQ(a.kind(), OM_ERR_ACK) << a;
        EXPECT_EQ(a.result(), -1) << a;
    }
    EXPECT_NE(node.cm_log().find("Send msg to eds failed(-1), respLen:0."), std::string::npos);
    EXPECT_NE(node.cm_log().find("Execute error, ret is: -1."), std::string::npos);
}

}  // namespace
