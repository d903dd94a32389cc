// The NFS share and client-permission commands end to end: OM agent
// endpoint -> tvn_cm -> tvn_sim, on 127.0.0.1.
#include <algorithm>
#include <set>

#include "nfs_node.h"

namespace {

using namespace nfs_test;

class NfsE2E : public ::testing::Test {
protected:
    void SetUp() override {
        node_ = std::make_unique<nfs_node>();
        ASSERT_TRUE(node_->start());
    }
    void TearDown() override {
        if (HasFailure()) std::cerr << "---- node logs ----\n" << node_->logs().substr(0, 20000) << "\n";
        node_.reset();
    }

    nfs_node& node() { return *node_; }

    // A share made through the agent; its id.
    uint64_t create_share(const std::string& path, const std::string& fsid = "1") {
        om_answer a = node().call(request(kShareCreate).s(64, path).s(65, fsid));
        EXPECT_TRUE(a.ok()) << path << ": " << a.result();
        return std::stoull(a.str(0, 1) == "<absent>" ? "0" : a.str(0, 1));
    }
    // A permission made through the agent with the two required flags at 0.
    uint64_t create_auth(uint64_t share, const std::string& client,
                         const std::function<void(request&)>& more = nullptr) {
        request r(kAuthCreate);
        r.s(2, client).s(4, std::to_string(share)).u(68, 0).u(69, 0);
        if (more) more(r);
        om_answer a = node().call(r);
        EXPECT_TRUE(a.ok()) << client << ": " << a.result();
        return std::stoull(a.str(0, 1) == "<absent>" ? "0" : a.str(0, 1));
    }

    struct row {
        std::string name;
        request req;
        int32_t want;
    };
    // Every row is refused with its code and leaves the store as it was.
    void expect_rows(const std::vector<row>& rows) {
        store st;
        uint32_t before = st.share_count();
        for (const auto& r : rows) {
            om_answer a = node().call(r.req);
            ASSERT_EQ(a.call_rc, 0) << r.name;
            EXPECT_EQ(a.reply.kind(), OM_ERR_ACK) << r.name;
            EXPECT_EQ(a.result(), r.want) << r.name;
        }
        EXPECT_EQ(st.share_count(), before);
    }

    std::unique_ptr<nfs_node> node_;
};

TEST_F(NfsE2E, ShareCommandsRefuseBadRequestsWithTheirCodes) {
    uint64_t id = create_share("/fs1/rows");
    const std::string sid = std::to_string(id);
    const std::string long_name(256, 'n');
    std::vector<row> rows = {
        // -1: an item that cannot be read as what it is.
        {"tenant given as a number", request(kShareCreate).s(64, "/fs1/r1").s(65, "1").u(4090, 5), -1},
        {"snapshot switch 2", request(kShareCreate).s(64, "/fs1/r1").s(65, "1").u(93, 2), -1},
        {"fh alignment as text", request(kShareCreate).s(64, "/fs1/r1").s(65, "1").s(101, "1"), -1},
        {"freeze 3", request(kShareCreate).s(64, "/fs1/r1").s(65, "1").u(91, 3), -1},
        {"charset not a number", request(kShareCreate).s(64, "/fs1/r1").s(65, "1").s(90, "utf8"), -1},
        {"description as a number", request(kShareModify).s(1, sid).u(9, 3), -1},
        {"modify snapshot 9", request(kShareModify).s(1, sid).u(93, 9), -1},
        // -5: tenant text, range, audit items 0 or 1 with others.
        {"tenant text", request(kShareCreate).s(64, "/fs1/r1").s(65, "1").s(4090, "abc"), -5},
        {"tenant empty", request(kShareGet).s(1, sid).s(4090, ""), -5},
        {"tenant beyond 32 bits", request(kShareList).s(4090, "4294967296"), -5},
        {"range negative", request(kShareList).s(24, R"({"offset": -1, "limit": 1})"), -5},
        {"range not JSON", request(kShareList).s(24, "offset=0"), -5},
        {"range without limit", request(kShareList).s(24, R"({"offset": 0})"), -5},
        {"range offset at the top", request(kShareList).s(24, R"({"offset": 4294967295, "limit": 1})"), -5},
        {"sort not JSON", request(kShareList).s(23, "ID"), -5},
        {"audit 0 with 2", request(kShareModify).s(1, sid).s(92, "[0,2]"), -5},
        {"audit 1 with 3", request(kShareModify).s(1, sid).s(92, "[3,1]"), -5},
        // -22: empty share name, empty audit list.
        {"get by empty name", request(kShareGet).s(64, ""), -22},
        {"modify by empty name", request(kShareModify).s(64, "").s(9, "x"), -22},
        {"audit list empty", request(kShareModify).s(1, sid).s(92, "[]"), -22},
        // -14001: the path is there but is no text.
        {"path as a number", request(kShareCreate).s(65, "1").u(64, 5), -14001},
        // -14020: no share of that name.
        {"delete unknown name", request(kShareDelete).s(64, "/fs1/none"), -14020},
        {"modify unknown name", request(kShareModify).s(64, "/fs1/none").s(9, "x"), -14020},
        {"get unknown name", request(kShareGet).s(64, "/fs1/none"), -14020},
        // -14073: no path.
        {"create without path", request(kShareCreate).s(65, "1"), -14073},
        // -14074: share id missing or invalid.
        {"delete id 0", request(kShareDelete).s(1, "0"), -14074},
        {"delete id text", request(kShareDelete).s(1, "abc"), -14074},
        {"delete nothing named", request(kShareDelete), -14074},
        {"get id beyond 64 bits", request(kShareGet).s(1, "18446744073709551616"), -14074},
        {"modify nothing named", request(kShareModify).s(9, "x"), -14074},
        {"list cursor 0", request(kShareList).s(1, "0"), -14074},
        // -14078: file system or dtree invalid, name not resolved.
        {"fsid beyond 32 bits", request(kShareCreate).s(64, "/fs1/r1").s(65, "4294967296"), -14078},
        {"fsid text", request(kShareCreate).s(64, "/fs1/r1").s(65, "fs1"), -14078},
        {"fsid as a number", request(kShareCreate).s(64, "/fs1/r1").u(65, 1), -14078},
        {"unknown fs name", request(kShareCreate).s(64, "/fs1/r1").s(98, "nofs"), -14078},
        {"fs name of another tenant", request(kShareCreate).s(64, "/fs1/r1").s(98, "vs1_fs1"), -14078},
        {"neither fsid nor name", request(kShareCreate).s(64, "/fs1/r1"), -14078},
        {"dtree text", request(kShareCreate).s(64, "/fs1/r1").s(65, "1").s(99, "x"), -14078},
        {"dtree beyond 32 bits", request(kShareCreate).s(64, "/fs1/r1").s(65, "1").s(99, "4294967296"), -14078},
        {"list FSID text", request(kShareList).s(22, R"({"FSID": "x"})"), -14078},
        {"list DTREEID beyond 32 bits", request(kShareList).s(22, R"({"DTREEID": "4294967296"})"), -14078},
        {"list unknown FSNAME", request(kShareList).s(22, R"({"FSNAME": "nofs"})"), -14078},
        {"count item 65 text", request(kShareCount).s(22, "{}").s(65, "abc"), -14078},
        {"count FSID text", request(kShareCount).s(22, R"({"FSID": "q"})"), -14078},
        // -14082: unknown or malformed query condition.
        {"list unknown key", request(kShareList).s(22, R"({"OWNER": "x"})"), -14082},
        {"list condition not an object", request(kShareList).s(22, "[1]"), -14082},
        {"list condition value a list", request(kShareList).s(22, R"({"SHAREPATH": ["/a"]})"), -14082},
        {"count without condition", request(kShareCount), -14082},
        {"count FSNAME is not its key", request(kShareCount).s(22, R"({"FSNAME": "fs1"})"), -14082},
    };
    expect_rows(rows);
}

TEST_F(NfsE2E, PermissionCommandsRefuseBadRequestsWithTheirCodes) {
    uint64_t share = create_share("/fs1/auth_rows");
    const std::string sid = std::to_string(share);
    uint64_t auth = create_auth(share, "client1");
    const std::string aid = std::to_string(auth);
    auto base = [&](const std::string& client = "client2") {
        return request(kAuthCreate).s(2, client).s(4, sid).u(68, 0).u(69, 0);
    };
    std::vector<row> rows = {
        {"tenant text", base().s(4090, "x1"), -5},
        {"list tenant text", request(kAuthList).s(4090, "x"), -5},
        {"list range empty object", request(kAuthList).s(24, "{}"), -5},
        {"list range with a third member", request(kAuthList).s(24, R"({"offset":0,"limit":1,"x":1})"), -5},
        {"anonymous id all ones", base().u(72, 4294967295u), -7},
        {"neither share id nor name", request(kAuthCreate).s(2, "client2").u(68, 0).u(69, 0), -14020},
        {"unknown share name", request(kAuthCreate).s(2, "client2").s(64, "/fs1/none").u(68, 0).u(69, 0), -14020},
        {"delete without share name", request(kAuthDelete).s(2, "client1"), -14020},
        {"delete on unknown share", request(kAuthDelete).s(2, "client1").s(64, "/fs1/none"), -14020},
        {"empty client", base(""), -14040},
        {"client of 256 characters", base(std::string(256, 'c')), -14040},
        {"no client", request(kAuthCreate).s(4, sid).u(68, 0).u(69, 0), -14042},
        {"tenant unreadable", base().u(4090, 0), -14042},
        {"no all-squash flag", request(kAuthCreate).s(2, "client2").s(4, sid).u(69, 0), -14042},
        {"no root-squash flag", request(kAuthCreate).s(2, "client2").s(4, sid).u(68, 0), -14042},
        {"all-squash 2", base().u(68, 2), -14042},
        {"root-squash as text", request(kAuthCreate).s(2, "client2").s(4, sid).u(68, 0).s(69, "0"), -14042},
        {"access 2", base().u(65, 2), -14042},
        {"secure 2", base().u(70, 2), -14042},
        {"security type 3", base().u(77, 3), -14042},
        {"krb5p 4", base().u(80, 4), -14042},
        {"modify write mode 2", request(kAuthModify).s(1, aid).u(66, 2), -14042},
        // Options of another type are skipped, so this modify has nothing to send.
        {"modify access as text", request(kAuthModify).s(1, aid).s(65, "rw"), -14043},
        {"modify chown 7", request(kAuthModify).s(1, aid).u(73, 7), -14042},
        {"modify nothing", request(kAuthModify).s(1, aid), -14043},
        {"host that does not resolve", base("nohost.example.invalid"), -14053},
        {"share id 0", request(kAuthCreate).s(2, "client2").s(4, "0").u(68, 0).u(69, 0), -14074},
        {"share id text", request(kAuthCreate).s(2, "client2").s(4, "x").u(68, 0).u(69, 0), -14074},
        {"delete id text", request(kAuthDelete).s(1, "abc"), -14074},
        {"delete without client", request(kAuthDelete).s(64, "/fs1/auth_rows"), -14074},
        {"delete unknown client", request(kAuthDelete).s(2, "client3").s(64, "/fs1/auth_rows"), -14074},
        {"modify id text", request(kAuthModify).s(1, "x").u(65, 1), -14074},
        {"modify without id", request(kAuthModify).u(65, 1), -14074},
        {"list cursor 0", request(kAuthList).s(1, "0"), -14074},
        {"get id 0", request(kAuthGet).s(1, "0"), -14075},
        {"get without id", request(kAuthGet), -14075},
        {"list unknown key", request(kAuthList).s(22, R"({"HOST": "x"})"), -14082},
        {"list PARENTID text", request(kAuthList).s(22, R"({"PARENTID": "abc"})"), -14082},
        {"count unknown key", request(kAuthCount).s(22, R"({"X": "1"})"), -14082},
        {"count condition not JSON", request(kAuthCount).s(22, "NAME=x"), -14082},
    };
    expect_rows(rows);
    // None of them made a permission.
    om_answer count = node().call(request(kAuthCount).s(22, R"({"PARENTID": ")" + sid + R"("})"));
    ASSERT_TRUE(count.ok());
    EXPECT_EQ(count.str(0, 10), "1");
}

// A refusal of the store reaches the operator as the store said it.
TEST_F(NfsE2E, StoreVerdictReachesTheOperatorUnchanged) {
    uint64_t share = create_share("/fs1/dup");
    create_auth(share, "client1");

    tvn_store_nfs_api api("127.0.0.1", false);
    tvn_nfs_add_share_req add;
    tvn_nfs_add_share_rsp add_rsp;
    add.set_fsid(1);
    add.set_tenant_id(0);
    add.set_path("/fs1/dup");
    add.set_alias("/fs1/dup");
    add.set_comment("");
    add.set_dtreeid(0);
    ASSERT_EQ(api.add_share(add, add_rsp, 10000), 0);
    int32_t duplicate = add_rsp.status().result();
    ASSERT_NE(duplicate, 0);

    tvn_nfs_get_share_req get;
    tvn_nfs_get_share_rsp get_rsp;
    get.set_share_id(999999);
    ASSERT_EQ(api.get_share(get, get_rsp, 10000), 0);
    int32_t missing = get_rsp.status().result();
    ASSERT_NE(missing, 0);

    tvn_nfs_create_auth_req auth;
    tvn_nfs_create_auth_rsp auth_rsp;
    auth.set_share_id(share);
    auth.set_hostname("client1");
    ASSERT_EQ(api.create_auth(auth, auth_rsp, 10000), 0);
    int32_t auth_duplicate = auth_rsp.status().result();
    ASSERT_NE(auth_duplicate, 0);

    struct {
        const char* name;
        request req;
        int32_t want;
    } const rows[] = {
        {"duplicate share", request(kShareCreate).s(64, "/fs1/dup").s(65, "1"), duplicate},
        {"get unknown share", request(kShareGet).s(1, "999999"), missing},
        {"delete unknown share", request(kShareDelete).s(1, "999999"), missing},
        {"modify unknown share", request(kShareModify).s(1, "999999").s(9, "x"), missing},
        {"duplicate client", request(kAuthCreate).s(2, "client1").s(4, std::to_string(share)).u(68, 0).u(69, 0),
         auth_duplicate},
        {"get unknown permission", request(kAuthGet).s(1, "999999"), missing},
    };
    for (const auto& r : rows) {
        om_answer a = node().call(r.req);
        EXPECT_EQ(a.reply.kind(), OM_ERR_ACK) << r.name;
        EXPECT_EQ(a.result(), r.want) << r.name;
    }
}

TEST_F(NfsE2E, CreateAnswerCarriesTheNewShare) {
    om_answer a = node().call(request(kShareCreate).s(64, "/fs1/answer").s(65, "1").s(9, "docs"));
    ASSERT_TRUE(a.ok()) << a.result();
    ASSERT_EQ(a.records(), 1);
    EXPECT_EQ(a.reply.answer().record(0).opcode(), kShareCreate);
    EXPECT_EQ(a.str(0, 64), "/fs1/answer");
    EXPECT_EQ(a.str(0, 99), "0@1");
    EXPECT_EQ(a.str(0, 9), "");
    EXPECT_EQ(a.str(0, 65), "1");
    EXPECT_EQ(a.str(0, 0), "16401");
    EXPECT_EQ(a.str(0, 4090), "0");
    auto stored = store().share(std::stoull(a.str(0, 1)));
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->path(), "/fs1/answer");
    EXPECT_EQ(stored->alias(), "/fs1/answer");
    EXPECT_EQ(stored->comment(), "docs");

    // The largest 32-bit file-system id passes the command's own check.
    om_answer top = node().call(request(kShareCreate).s(64, "/fs1/top").s(65, "4294967295"));
    EXPECT_NE(top.result(), -14078);
    // A file system by name, and a dtree.
    om_answer by_name = node().call(request(kShareCreate).s(64, "/fs2/named").s(98, "fs2").s(99, "4"));
    ASSERT_TRUE(by_name.ok()) << by_name.result();
    EXPECT_EQ(by_name.str(0, 65), "2");
    EXPECT_EQ(by_name.str(0, 99), "4@2");
}

// Each share command answers under both of its codes.
TEST_F(NfsE2E, ShareCommandsAnswerUnderBothCodes) {
    om_answer a = node().call(request(kShareCreate2).s(64, "/fs1/second").s(65, "1"));
    ASSERT_TRUE(a.ok()) << a.result();
    EXPECT_EQ(a.reply.answer().record(0).opcode(), kShareCreate2);
    std::string id = a.str(0, 1);
    EXPECT_TRUE(node().call(request(kShareGet2).s(1, id)).ok());
    EXPECT_TRUE(node().call(request(kShareModify2).s(1, id).s(9, "x")).ok());
    EXPECT_EQ(node().call(request(kShareList2)).records(), 1);
    EXPECT_EQ(node().call(request(kShareCount2).s(22, "{}")).str(0, 10), "1");
    EXPECT_TRUE(node().call(request(kShareDelete2).s(1, id)).ok());
}

TEST_F(NfsE2E, CreateWritesTheOptionListOfTheGivenItems) {
    uint64_t share = create_share("/fs1/opts");
    const std::string tail =
        "sec=unix,ntfsunixsec=fail,v4aclpreserve=enable,chownmode=restricted,accesskrb5=na,accesskrb5i=na,"
        "accesskrb5p=na";
    struct {
        const char* client;
        uint32_t all_squash, root_squash;
        std::function<void(request&)> more;
        std::string want;
    } const cases[] = {
        {"client1", 0, 0, nullptr, "sync,all_squash,root_squash,ro,insecure," + tail},
        {"client2", 1, 1, nullptr, "sync,no_all_squash,no_root_squash,ro,insecure," + tail},
        {"client3", 0, 0, [](request& r) { r.u(72, 1000); },
         "sync,all_squash,root_squash,ro,insecure,anonuid=1000,anongid=1000," + tail},
        {"192.0.2.50", 0, 0, [](request& r) { r.u(72, 65534); }, "sync,all_squash,root_squash,ro,insecure," + tail},
        {"@ng_clients", 0, 1, [](request& r) { r.u(65, 1).u(70, 0).u(71, 3).u(77, 2).u(78, 1); },
         "sync,all_squash,no_root_squash,rw,secure,chs=3,sec=none:unix,ntfsunixsec=fail,v4aclpreserve=enable,"
         "chownmode=restricted,accesskrb5=rw,accesskrb5i=na,accesskrb5p=na"},
        // An option given as another type than a number keeps its default.
        {"*", 0, 0, [](request& r) { r.s(65, "1").b(70, false); }, "sync,all_squash,root_squash,ro,insecure," + tail},
    };
    store st;
    for (const auto& c : cases) {
        request r(kAuthCreate);
        r.s(2, c.client).s(4, std::to_string(share)).u(68, c.all_squash).u(69, c.root_squash);
        if (c.more) c.more(r);
        om_answer a = node().call(r);
        ASSERT_TRUE(a.ok()) << c.client << ": " << a.result();
        auto stored = st.auth(std::stoull(a.str(0, 1)));
        ASSERT_TRUE(stored) << c.client;
        EXPECT_EQ(stored->hostname(), c.client);
        EXPECT_EQ(stored->options(), c.want) << c.client;
    }
}

TEST_F(NfsE2E, ModifySendsOnlyTheGivenWordsWithFlag1063) {
    uint64_t share = create_share("/fs1/mod");
    uint64_t auth = create_auth(share, "client1", [](request& r) { r.u(72, 1000); });
    store st;
    auto before = st.auth(auth);
    ASSERT_TRUE(before);
    struct {
        const char* name;
        std::function<void(request&)> items;
        std::vector<std::pair<std::string, std::string>> replaced;  // word before, word after
    } const cases[] = {
        {"access only", [](request& r) { r.u(65, 1); }, {{"ro", "rw"}}},
        {"write mode and secure", [](request& r) { r.u(66, 1).u(70, 0); }, {{"sync", "async"}, {"insecure", "secure"}}},
        {"anonymous id", [](request& r) { r.u(72, 7); }, {{"anonuid=1000", "anonuid=7"}, {"anongid=1000", "anongid=7"}}},
        {"kerberos and security", [](request& r) { r.u(79, 0).u(77, 1); },
         {{"accesskrb5i=na", "accesskrb5i=ro"}, {"sec=unix", "sec=none"}}},
    };
    std::string expected = before->options();
    for (const auto& c : cases) {
        request r(kAuthModify);
        r.s(1, std::to_string(auth));
        c.items(r);
        om_answer a = node().call(r);
        ASSERT_TRUE(a.ok()) << c.name << ": " << a.result();
        for (const auto& [from, to] : c.replaced) {
            // Whole words only: "ro" is not the start of "root_squash".
            std::string padded = "," + expected + ",";
            size_t at = padded.find("," + from + ",");
            ASSERT_NE(at, std::string::npos) << from;
            padded.replace(at + 1, from.size(), to);
            expected = padded.substr(1, padded.size() - 2);
        }
        auto after = st.auth(auth);
        ASSERT_TRUE(after);
        // Every other word is where it was: nothing but the given words went.
        EXPECT_EQ(after->options(), expected) << c.name;
        EXPECT_EQ(after->opts_flag(), 1063u) << c.name;
    }
}

// Option items count only as unsigned numbers: one sent as an enumeration
// is skipped, in create as in modify, and never read as its number.
TEST_F(NfsE2E, OptionItemsOfAnotherTypeAreSkippedNotRefused) {
    uint64_t share = create_share("/fs1/typed");
    uint64_t auth = create_auth(share, "client2", [](request& r) { r.e(65, 1).s(70, "0"); });
    store st;
    auto created = st.auth(auth);
    ASSERT_TRUE(created);
    EXPECT_EQ(created->options().rfind("sync,all_squash,root_squash,ro,insecure,", 0), 0u) << created->options();

    om_answer a = node().call(request(kAuthModify).s(1, std::to_string(auth)).e(65, 1).u(66, 1));
    ASSERT_TRUE(a.ok()) << a.result();
    auto modified = st.auth(auth);
    ASSERT_TRUE(modified);
    EXPECT_NE(modified->options().find("async"), std::string::npos) << modified->options();
    EXPECT_EQ(modified->options().find(",rw"), std::string::npos) << modified->options();

    // With nothing readable left there is nothing to send.
    EXPECT_EQ(node().call(request(kAuthModify).s(1, std::to_string(auth)).e(65, 1)).result(), -14043);
}

// Modify share reads the share (and looks its name up), then the tenant,
// then the fields: the first failure in that order is the one reported.
TEST_F(NfsE2E, ModifyShareReportsTheFirstFailureInItsOrder) {
    uint64_t share = create_share("/fs1/order");
    expect_rows({
        {"bad id before bad tenant", request(kShareModify).s(1, "x").s(4090, "t"), -14074},
        {"empty name before bad tenant", request(kShareModify).s(64, "").s(4090, "t"), -22},
        {"bad tenant before unknown name", request(kShareModify).s(64, "/fs1/none").s(4090, "t"), -5},
        {"unknown name before bad field", request(kShareModify).s(64, "/fs1/none").u(9, 1), -14020},
        {"known name, bad field", request(kShareModify).s(64, "/fs1/order").u(9, 1), -1},
        {"bad tenant before bad field", request(kShareModify).s(1, std::to_string(share)).s(4090, "t").u(9, 1), -5},
    });
    store st;
    EXPECT_EQ(st.share(share)->comment(), "");
}

TEST_F(NfsE2E, GetAndListDecodeTheOptionListIntoItems) {
    uint64_t share = create_share("/fs1/decode");
    uint64_t auth = create_auth(share, "client2", [](request& r) {
        r.u(65, 5).u(70, 0).u(71, 7).u(72, 1000).u(73, 1).u(74, 1).u(75, 1).u(77, 2).u(78, 0).u(79, 1).u(80, 5);
    });
    node().call(request(kAuthModify).s(1, std::to_string(auth)).u(66, 1).u(68, 1));
    const std::map<uint32_t, std::string> want = {
        {1, std::to_string(auth)}, {2, "client2"}, {4, std::to_string(share)}, {65, "5"}, {66, "1"},
        {68, "1"}, {69, "0"}, {70, "0"}, {71, "7"}, {72, "1000"}, {73, "1"}, {74, "1"}, {75, "1"},
        {77, "2"}, {78, "0"}, {79, "1"}, {80, "5"}, {4090, "0"},
    };
    om_answer get = node().call(request(kAuthGet).s(1, std::to_string(auth)));
    ASSERT_TRUE(get.ok()) << get.result();
    om_answer list = node().call(request(kAuthList).s(22, R"({"PARENTID": ")" + std::to_string(share) + R"("})"));
    ASSERT_TRUE(list.ok()) << list.result();
    ASSERT_EQ(list.records(), 1);
    for (const auto& [id, value] : want) {
        EXPECT_EQ(get.str(0, id), value) << "get item " << id;
        EXPECT_EQ(list.str(0, id), value) << "list item " << id;
    }
    EXPECT_EQ(get.str(0, 64), "/fs1/decode");
}

TEST_F(NfsE2E, AuditItemsBecomeTheStoredMask) {
    uint64_t share = create_share("/fs1/audit");
    store st;
    struct {
        const char* list;
        int32_t result;
        uint32_t mask;
    } const cases[] = {
        {"[2,3]", 0, 0x3}, {"[1]", 0, 0x7FF}, {"[9,12]", 0, 0x300}, {"[0]", 0, 0x0}, {"[0,2]", -5, 0x0},
    };
    for (const auto& c : cases) {
        om_answer a = node().call(request(kShareModify).s(1, std::to_string(share)).s(92, c.list));
        EXPECT_EQ(a.result(), c.result) << c.list;
        auto stored = st.share(share);
        ASSERT_TRUE(stored);
        EXPECT_EQ(stored->audit_item(), c.mask) << c.list;
        if (c.result == 0) {
            om_answer get = node().call(request(kShareGet).s(1, std::to_string(share)));
            EXPECT_EQ(get.str(0, 92), c.list);
        }
    }
}

TEST_F(NfsE2E, ListPageStopsBeforeTheAnswerWouldPass57344Bytes) {
    store st;
    const int total = 600;
    for (int i = 0; i < total; ++i)
        ASSERT_NE(st.add_share("/fs1/page/" + std::string(40, 'p') + std::to_string(1000 + i)), 0u) << i;
    om_answer a = node().call(request(kShareList).s(24, R"({"offset": 0, "limit": 1000})"));
    ASSERT_TRUE(a.ok()) << a.result();
    EXPECT_GT(a.records(), 100);
    EXPECT_LT(a.records(), total);
    EXPECT_LE(a.reply.answer().ByteSizeLong(), 57344u);
    // The shares it gives are the first ones, in order.
    EXPECT_EQ(a.str(0, 64), "/fs1/page/" + std::string(40, 'p') + "1000");
    EXPECT_NE(node().cm_log().find("msg obj size may over, current: "), std::string::npos);
    EXPECT_NE(node().cm_log().find(" of 600 share"), std::string::npos);
}

TEST_F(NfsE2E, RangeOffsetCountsFromZeroForTheOperator) {
    std::vector<uint64_t> ids;
    for (int i = 0; i < 5; ++i) ids.push_back(create_share("/fs1/range" + std::to_string(i)));
    for (uint32_t offset : {0u, 1u, 3u}) {
        std::string range = R"({"offset": )" + std::to_string(offset) + R"(, "limit": 2})";
        om_answer a = node().call(request(kShareList).s(24, range).s(23, R"({"sortKey": "ID"})"));
        ASSERT_TRUE(a.ok()) << a.result();
        ASSERT_EQ(a.records(), 2) << offset;
        EXPECT_EQ(a.str(0, 1), std::to_string(ids[offset])) << offset;
        EXPECT_EQ(a.str(1, 1), std::to_string(ids[offset + 1])) << offset;
    }
    // Without a range the store's own page applies.
    EXPECT_EQ(node().call(request(kShareList)).records(), 5);
}

TEST_F(NfsE2E, CursorPagingSeesEveryShareOnce) {
    std::set<std::string> made;
    for (int i = 0; i < 11; ++i) made.insert(std::to_string(create_share("/fs1/cursor" + std::to_string(i))));
    std::vector<std::string> seen;
    std::string last;
    for (int page = 0; page < 10; ++page) {
        request r(kShareList);
        r.s(24, R"({"offset": 0, "limit": 3})").s(23, R"({"sortKey": "ID"})");
        if (!last.empty()) r.s(1, last);
        om_answer a = node().call(r);
        ASSERT_TRUE(a.ok()) << a.result();
        if (a.records() == 0 || a.item(0, 1) == nullptr) break;
        for (int i = 0; i < a.records(); ++i) seen.push_back(a.str(i, 1));
        last = seen.back();
    }
    EXPECT_EQ(seen.size(), made.size());
    EXPECT_EQ(std::set<std::string>(seen.begin(), seen.end()), made);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end(),
                               [](const std::string& a, const std::string& b) { return std::stoull(a) < std::stoull(b); }));

    // The same for permissions.
    uint64_t share = std::stoull(*made.begin());
    for (const char* c : {"client1", "client2", "client3", "*", "@ng_all"}) create_auth(share, c);
    std::vector<std::string> auths;
    last.clear();
    for (int page = 0; page < 10; ++page) {
        request r(kAuthList);
        r.s(24, R"({"offset": 0, "limit": 2})");
        if (!last.empty()) r.s(1, last);
        om_answer a = node().call(r);
        ASSERT_TRUE(a.ok()) << a.result();
        if (a.records() == 0 || a.item(0, 1) == nullptr) break;
        for (int i = 0; i < a.records(); ++i) auths.push_back(a.str(i, 1));
        last = auths.back();
    }
    EXPECT_EQ(auths.size(), 5u);
    EXPECT_EQ(std::set<std::string>(auths.begin(), auths.end()).size(), 5u);
}

TEST_F(NfsE2E, CountEqualsListLength) {
    create_share("/fs1/count/a");
    create_share("/fs1/count/b");
    uint64_t b2 = create_share("/fs2/count/c", "2");
    create_share("/fs3/other", "3");
    node().call(request(kShareModify).s(1, std::to_string(b2)).s(9, "marked"));
    for (const char* c : {"client1", "client2", "192.0.2.0/24"}) create_auth(b2, c);
    const char* share_filters[] = {
        "{}", R"({"FSID": "1"})", R"({"SHAREPATH": "count"})", R"({"DESCRIPTION": "marked"})",
        R"({"ID": ")", R"({"FSID": "2", "SHAREPATH": "/fs2"})", R"({"ID": "abc"})",
    };
    for (std::string f : share_filters) {
        if (f == R"({"ID": ")") f += std::to_string(b2) + "\"}";
        om_answer list = node().call(request(kShareList).s(22, f));
        om_answer count = node().call(request(kShareCount).s(22, f));
        ASSERT_TRUE(list.ok() && count.ok()) << f;
        int listed = list.item(0, 1) == nullptr ? 0 : list.records();
        EXPECT_EQ(count.str(0, 10), std::to_string(listed)) << f;
    }
    const std::string parent = R"({"PARENTID": ")" + std::to_string(b2) + "\"";
    const std::string auth_filters[] = {"{}", parent + "}", parent + R"(, "NAME": "client"})",
                                        R"({"ACCESSVAL": "0"})", R"({"SHARENAME": "/fs2/count/c"})"};
    for (const auto& f : auth_filters) {
        om_answer list = node().call(request(kAuthList).s(22, f));
        om_answer count = node().call(request(kAuthCount).s(22, f));
        ASSERT_TRUE(list.ok() && count.ok()) << f;
        int listed = list.item(0, 1) == nullptr ? 0 : list.records();
        EXPECT_EQ(count.str(0, 10), std::to_string(listed)) << f;
    }
}

TEST_F(NfsE2E, ShareLookedUpByName) {
    uint64_t id = create_share("/fs1/byname");
    om_answer get = node().call(request(kShareGet).s(64, "/fs1/byname"));
    ASSERT_TRUE(get.ok()) << get.result();
    EXPECT_EQ(get.str(0, 1), std::to_string(id));
    ASSERT_TRUE(node().call(request(kShareModify).s(64, "/fs1/byname").s(9, "by name")).ok());
    EXPECT_EQ(store().share(id)->comment(), "by name");

    // A permission on a share named by name, then removed by client and share name.
    om_answer auth = node().call(request(kAuthCreate).s(2, "client1").s(64, "/fs1/byname").u(68, 1).u(69, 0));
    ASSERT_TRUE(auth.ok()) << auth.result();
    ASSERT_TRUE(node().call(request(kAuthDelete).s(2, "client1").s(64, "/fs1/byname")).ok());
    EXPECT_FALSE(store().auth(std::stoull(auth.str(0, 1))));

    ASSERT_TRUE(node().call(request(kShareDelete).s(64, "/fs1/byname")).ok());
    EXPECT_FALSE(store().share(id));
}

TEST_F(NfsE2E, OperationLogAndNotificationOfEveryChange) {
    node().drain_events();
    size_t logged = node().oplogs().size();
    auto last_oplog = [&] {
        auto all = node().oplogs();
        EXPECT_GT(all.size(), logged);
        logged = all.size();
        return all.empty() ? nlohmann::json() : all.back();
    };
    auto one_event = [&] {
        auto ev = node().events(1);
        EXPECT_EQ(ev.size(), 1u);
        return ev.empty() ? OmMessage() : ev.back();
    };
    auto item = [](const OmMessage& m, uint32_t id) -> std::string {
        if (m.record_size() == 0) return "<none>";
        for (const auto& it : m.record(0).item())
            if (it.id() == id) return it.has_u32() ? std::to_string(it.u32()) : it.str();
        return "<absent>";
    };

    om_answer created = node().call(request(kShareCreate).s(64, "/fs1/logged").s(65, "1").s(9, "d").e(90, 2).b(93, false));
    ASSERT_TRUE(created.ok());
    std::string id = created.str(0, 1);
    auto log = last_oplog();
    EXPECT_EQ(log["id"], "0x200f40440005");
    EXPECT_EQ(log["kind"], 3);
    EXPECT_EQ(log["text"], "0,/fs1/logged,1,2,0" + std::string(12, ',') + "0");
    OmMessage ev = one_event();
    EXPECT_EQ(ev.record(0).opcode(), 0xD00C90034ULL);
    EXPECT_EQ(item(ev, 0), "16401");

    ASSERT_TRUE(node().call(request(kShareModify).s(1, id).s(9, "changed")).ok());
    log = last_oplog();
    EXPECT_EQ(log["id"], "0x200f40440044");
    EXPECT_EQ(log["text"], "0," + id);
    ev = one_event();
    EXPECT_EQ(ev.record(0).opcode(), 0xD00C90035ULL);
    EXPECT_EQ(item(ev, 0), "16401");

    om_answer auth = node().call(request(kAuthCreate).s(2, "client1").s(4, id).u(68, 0).u(69, 0).u(65, 1));
    ASSERT_TRUE(auth.ok());
    std::string aid = auth.str(0, 1);
    log = last_oplog();
    EXPECT_EQ(log["id"], "0x200f40440046");
    EXPECT_EQ(log["text"], "0,client1," + id + ",rw");
    ev = one_event();
    EXPECT_EQ(ev.record(0).opcode(), 0xD00C90034ULL);
    EXPECT_EQ(item(ev, 0), "16402");
    EXPECT_EQ(item(ev, 1), aid);

    ASSERT_TRUE(node().call(request(kAuthModify).s(1, aid).u(65, 0)).ok());
    log = last_oplog();
    EXPECT_EQ(log["id"], "0x200f4044004a");
    EXPECT_EQ(log["text"], "0,client1," + id + ",ro") << "a modify names the client and share, as create does";
    ev = one_event();
    EXPECT_EQ(ev.record(0).opcode(), 0xD00C90035ULL);
    EXPECT_EQ(item(ev, 1), aid);

    ASSERT_TRUE(node().call(request(kAuthDelete).s(1, aid)).ok());
    log = last_oplog();
    EXPECT_EQ(log["id"], "0x200f40440048");
    EXPECT_EQ(log["text"], "0,client1," + id) << "a delete by id names the client and share";
    ev = one_event();
    EXPECT_EQ(ev.record(0).opcode(), 0xD00C90036ULL);
    EXPECT_EQ(item(ev, 1), aid);

    ASSERT_TRUE(node().call(request(kShareDelete).s(1, id)).ok());
    log = last_oplog();
    EXPECT_EQ(log["id"], "0x200f40440009");
    EXPECT_EQ(log["text"], "0," + id);
    ev = one_event();
    EXPECT_EQ(ev.record(0).opcode(), 0xD00C90036ULL);
    EXPECT_EQ(item(ev, 0), "16401");
    EXPECT_EQ(item(ev, 1), id);

    // Failures are logged with their code and publish nothing.
    const std::string long_path = "/fs1/" + std::string(96, 'p');
    om_answer failed = node().call(request(kShareCreate).s(64, long_path).s(65, "1").s(4090, "5").u(93, 2));
    EXPECT_EQ(failed.result(), -1);
    log = last_oplog();
    EXPECT_EQ(log["id"], "0x200f40440006");
    EXPECT_EQ(log["kind"], 104);
    // Tenant 5, the path cut to 97 characters and "...", then the code.
    EXPECT_EQ(log["text"], "0,vStore 5," + long_path.substr(0, 97) + "...,0,0,0" + std::string(12, ',') + "1,-1");
    EXPECT_EQ(node().call(request(kShareDelete).s(1, "999999")).reply.kind(), OM_ERR_ACK);
    log = last_oplog();
    EXPECT_EQ(log["id"], "0x200f4044000a");
    EXPECT_TRUE(node().events(1, 500ms).empty());
}

// An operation-log text of a long path: 97 characters and "...".
TEST_F(NfsE2E, LongPathIsCutInTheOperationLog) {
    std::string path = "/fs1/" + std::string(96, 'l');
    ASSERT_EQ(path.size(), 101u);
    ASSERT_TRUE(node().call(request(kShareCreate).s(64, path).s(65, "1")).ok());
    auto logs = node().oplogs();
    ASSERT_FALSE(logs.empty()) << "no operation-log record";
    auto log = logs.back();
    EXPECT_EQ(log["text"], "0," + path.substr(0, 97) + "...,0,0,0" + std::string(12, ',') + "1");
}

// The store down: each command gives up after the time-out with -3, and
// nothing is left half-done.
TEST_F(NfsE2E, StoreDownGivesMinus3AndChangesNothing) {
    uint64_t share = create_share("/fs1/kept");
    node().stop_store();
    node().drain_events();
    struct {
        const char* name;
        request req;
    } const rows[] = {
        {"create share", request(kShareCreate).s(64, "/fs1/lost").s(65, "1")},
        {"delete share", request(kShareDelete).s(1, std::to_string(share))},
        {"modify share by name", request(kShareModify).s(64, "/fs1/kept").s(9, "x")},
        {"list", request(kShareList)},
        {"create permission", request(kAuthCreate).s(2, "client1").s(4, std::to_string(share)).u(68, 0).u(69, 0)},
        {"count permissions", request(kAuthCount)},
    };
    for (const auto& r : rows) {
        auto begin = std::chrono::steady_clock::now();
        om_answer a = node().call(r.req);
        auto took = std::chrono::steady_clock::now() - begin;
        ASSERT_EQ(a.call_rc, 0) << r.name;
        EXPECT_EQ(a.reply.kind(), OM_ERR_ACK) << r.name;
        // A look-up by name fails as a look-up.
        EXPECT_EQ(a.result(), std::string(r.name) == "modify share by name" ? -14020 : -3) << r.name;
        EXPECT_GE(took, std::chrono::milliseconds(kRpcTimeoutMs)) << r.name;
    }
    EXPECT_TRUE(node().events(1, 300ms).empty());
    ASSERT_TRUE(node().start_store());
    store st;
    EXPECT_TRUE(st.share(share));
    EXPECT_EQ(st.share_count(), 1u);
    om_answer auths = node().call(request(kAuthCount));
    ASSERT_TRUE(auths.ok());
    EXPECT_EQ(auths.str(0, 10), "0");
    // And it serves again.
    EXPECT_TRUE(node().call(request(kShareGet).s(1, std::to_string(share))).ok());
}

// The two allocation roads, injected: the store client and the
// notification. Neither leaves a change behind.
TEST_F(NfsE2E, FailedAllocationsGiveMinus6AndChangeNothing) {
    node().stop_cm();
    for (const char* point : {"tvn_store_nfs_api", "tvn_MSGOBJ_Create"}) {
        ASSERT_TRUE(node().start_cm({{"TVN_FAIL_AT", point}}));
        EXPECT_EQ(node().call(request(kShareCreate).s(64, "/fs1/nomem").s(65, "1")).result(), -6) << point;
        EXPECT_EQ(node().call(request(kAuthCreate).s(2, "*").s(4, "1").u(68, 0).u(69, 0)).result(), -6) << point;
        EXPECT_EQ(store().share_count(), 0u) << point;
        EXPECT_TRUE(node().events(1, 300ms).empty()) << point;
        node().stop_cm();
    }
}

// The operator's tool: named options in, readable tables and JSON out.
TEST_F(NfsE2E, TvnOmNamedCommands) {
    const std::string& root = node().root();
    struct {
        std::vector<std::string> args;
        int status;
        std::vector<std::string> shows;
    } const cases[] = {
        {{"nfs", "share", "create", "--path", "/fs1/tool", "--fsid", "1", "--description", "by tool"}, 0,
         {"share 1 (/fs1/tool) created"}},
        {{"nfs", "share", "create", "--path", "/fs2/tool", "--fs-name", "fs2", "--snapshot", "on"}, 0, {"/fs2/tool"}},
        {{"nfs", "share", "modify", "--name", "/fs1/tool", "--audit-items", "2,3", "--freeze", "on"}, 0,
         {"ack", "share 1 (/fs1/tool) modified"}},
        {{"nfs", "share", "list"}, 0,
         {"FILE SYSTEM", "DTREE", "DESCRIPTION", "SWITCHES", "1 (fs1)", "by tool", "freeze=on", "audit=[2,3]",
          "snapshot=on", "2 shares"}},
        {{"nfs", "share", "count", "--fsid", "2"}, 0, {"count: 1"}},
        {{"nfs", "share", "get", "--name", "/fs1/tool", "--json"}, 0,
         {R"("kind":"ack")", R"("64":{"type":"string","value":"/fs1/tool"})"}},
        {{"nfs", "share", "create", "--path", "/fs1/x", "--fsid", "4294967296"}, 1,
         {"result -14078 (file system or dtree id invalid, or file system name not found)"}},
        {{"nfs", "share", "modify", "--id", "1", "--audit-items", "0,2"}, 1, {"result -5"}},
        {{"nfs", "share", "create", "--fsid", "1"}, 2, {}},
        {{"nfs", "client", "create", "--client", "client1", "--share-name", "/fs1/tool", "--all-squash", "no",
          "--root-squash", "yes", "--access", "rw", "--anon-id", "1000", "--sec", "none:unix"},
         0, {"client permission 1 (client1) created"}},
        {{"nfs", "client", "create", "--client", "nohost", "--share-id", "1", "--all-squash", "no", "--root-squash",
          "no"},
         1, {"-14053 (the client's host name does not resolve)"}},
        {{"nfs", "client", "create", "--client", "*", "--share-id", "1", "--all-squash", "no", "--root-squash", "no",
          "--access", "2"},
         1, {"-14042"}},
        {{"nfs", "client", "modify", "--id", "1", "--write-mode", "async", "--krb5", "rw"}, 0, {"ack"}},
        {{"nfs", "client", "list", "--share-name", "/fs1/tool"}, 0,
         {"CLIENT", "ACCESS", "SQUASH", "SECURITY", "client1", "rw", "async", "no_all_squash,root_squash,anon=1000",
          "sec=none:unix", "krb5=rw/na/na"}},
        {{"nfs", "client", "get", "--id", "1"}, 0, {"client1", "1 (/fs1/tool)"}},
        {{"nfs", "client", "count", "--access", "rw"}, 0, {"count: 1"}},
        {{"nfs", "client", "delete", "--client", "client1", "--share-name", "/fs1/tool"}, 0,
         {"client permission 1 (client1) deleted"}},
        {{"nfs", "client", "count"}, 0, {"count: 0"}},
        {{"nfs", "share", "delete", "--id", "1"}, 0, {"share 1 deleted"}},
        {{"nfs", "share", "get", "--id", "1"}, 1, {"result -2 (not found (sibling daemon))"}},
        {{"nfs", "share", "delete", "--id", "1", "--name", "x"}, 2, {}},
    };
    for (const auto& c : cases) {
        std::string line;
        for (const auto& a : c.args) line += a + " ";
        tool_run r = run_tvn_om(root, c.args);
        EXPECT_EQ(r.status, c.status) << line << "\n" << r.out;
        for (const auto& s : c.shows) EXPECT_NE(r.out.find(s), std::string::npos) << line << ": no '" << s << "' in\n" << r.out;
    }
}

}  // namespace
