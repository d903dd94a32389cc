// The AD domain commands end to end: OM agent endpoint -> tvn_cm -> tvn_sim
// (configuration store and authentication daemon), on 127.0.0.1.
#include <fstream>
#include <map>

#include "auth/tvn_omitf_auth_vocab.h"
#include "talvane_store_conf.pb.h"
#include "tvn_store_conf_api.h"
#include "tvn_test_files.h"
#include "tvn_test_node.h"

namespace {

using namespace std::chrono_literals;
using request = tvn_test::om_request;
using reply = tvn_test::om_reply;
namespace vocab = tvn_auth::vocab;

constexpr uint64_t kModify = vocab::ad_modify.code, kGet = vocab::ad_get.code;
constexpr const char* kJoinPassword = "Join@123";  // the seed's "joiner"
constexpr const char* kWrongPassword = "Wr0ng-S3cret!";

class AdE2E : public ::testing::Test {
protected:
    void SetUp() override {
        tvn_test::node_options o;
        // Long enough for the checks made while an operation runs, even under
        // the sanitizers.
        o.sim_args = {"--join-ms", "1500"};
        node_ = std::make_unique<tvn_test::node>(o);
        ASSERT_TRUE(node_->start());
    }
    void TearDown() override {
        if (HasFailure()) std::cerr << "---- node logs ----\n" << node_->logs().substr(0, 20000) << "\n";
        node_.reset();
    }
    tvn_test::node& node() { return *node_; }

    static request join(const std::string& account, const std::string& password, uint32_t op) {
        return std::move(request(kModify).s(64, account).s(65, password).u(68, op));
    }
    reply get() { return node().call(request(kGet)); }
    // Waits until no join or leave runs; the join state then.
    uint32_t settled_state() {
        uint32_t state = 99;
        EXPECT_TRUE(tvn_test::eventually([&] {
            auto a = get();
            state = a.num(0, 68).value_or(99);
            return a.ok() && state != 2 && state != 3;
        }));
        return state;
    }
    // A tenant's stored pairs, read from the store directly.
    std::map<std::string, std::string> pairs(std::vector<std::string> keys, uint32_t tenant = 0) {
        tvn_store_conf_api api("127.0.0.1");
        tvn_gettenant_cfg_req req;
        tvn_gettenant_cfg_rsp rsp;
        req.set_tenant_id(tenant);
        for (const auto& k : keys) req.add_key(k);
        EXPECT_EQ(api.get_tenant_config(req, rsp, 10000), 0);
        std::map<std::string, std::string> out;
        for (const auto& p : rsp.config()) out[p.key()] = p.value();
        return out;
    }

    struct row {
        std::string name;
        request req;
        int32_t want;
    };
    void expect_rows(const std::vector<row>& rows) {
        for (const auto& r : rows) {
            reply a = node().call(r.req);
            ASSERT_EQ(a.call_rc, 0) << r.name;
            EXPECT_EQ(a.result(), r.want) << r.name << "\n" << a;
            EXPECT_EQ(a.kind(), r.want == 0 ? OM_ACK : OM_ERR_ACK) << r.name;
        }
    }

    std::unique_ptr<tvn_test::node> node_;
};

TEST_F(AdE2E, ModifyRefusesBadRequestsInItsOrderAndStoresNothing) {
    const std::string s16(16, 'N'), s128(128, 'f'), s256(256, 'o'), a64(64, 'a');
    expect_rows({
        // Join items come first.
        {"account without password or operation", request(kModify).s(64, "joiner").s(70, "x.com"), -22},
        {"account and operation without password", request(kModify).s(64, "joiner").u(68, 1), -22},
        {"password and operation without account", request(kModify).s(65, "pw").u(68, 1), -22},
        {"empty account", join("", "pw", 1), -22},
        {"empty password", join("joiner", "", 1), -22},
        {"operation 0xFFFFFFFF", join("joiner", "pw", 0xFFFFFFFFu), -22},
        {"overwrite as text", join("joiner", "pw", 1).s(78, "yes"), -22},
        // Then the tenant, then the settings.
        {"tenant empty", request(kModify).s(70, "x.com").s(4090, ""), -1},
        {"tenant not digits", request(kModify).s(70, "x.com").s(4090, "1a"), -22},
        {"fqdn empty", request(kModify).s(70, ""), -5},
        {"fqdn as a number", request(kModify).u(70, 3), -22},
        {"ddns ttl 2592001", request(kModify).u(80, 2592001), -22},
        {"session threshold 0", request(kModify).u(86, 0), -22},
        {"session threshold 10001", request(kModify).u(86, 10001), -22},
        // Settings are read before the join state is: -5 wins over -5026.
        {"empty site and a leave while not joined", join("joiner", "pw", 0).s(76, ""), -5},
        {"leave while not joined", join("joiner", "pw", 0).s(76, "site1"), -5026},
        // The join state is read before the lengths: -5026 wins over -5043.
        {"bad netbios name and a leave while not joined", join("joiner", "pw", 0).s(75, "a;b"), -5026},
        {"OU of 256", request(kModify).s(72, s256), -22},
        {"account of 64 with a setting", join(a64, "pw", 1).s(76, "site1"), -22},
        {"password of 128 with a setting", join("joiner", s128, 1).s(76, "site1"), -22},
        {"site of 256", request(kModify).s(76, s256), -22},
        {"netbios name of 16", request(kModify).s(75, s16), -22},
        {"fqdn of 128", request(kModify).s(70, s128), -22},
        {"netbios name with a semicolon", request(kModify).s(75, "NAS;1"), -5043},
        {"netbios name with a tab", request(kModify).s(75, "NAS\t1"), -5043},
        {"netbios name with a quote", request(kModify).s(75, "NAS\"1"), -5043},
    });
    auto stored = pairs({"fqdn", "target_dn", "cluster_nbname", "ads_site", "ddns_ttl", "session_with_threshold"});
    EXPECT_TRUE(stored.empty()) << stored.begin()->first;
    EXPECT_EQ(get().num(0, 68), 0u);
}

TEST_F(AdE2E, BoundaryValuesAreStoredAndNtlmAboveSixIgnored) {
    const std::string nb15(15, 'N');
    ASSERT_TRUE(node()
                    .call(request(kModify)
                              .s(70, "corp.example.com").s(75, nb15).s(72, "OU=nas,DC=corp").s(76, "site1")
                              .u(71, 6).b(79, true).u(80, 2592000).b(81, true).b(82, false).b(83, true)
                              .u(85, 7).u(86, 10000))
                    .ok());
    ASSERT_TRUE(node().call(request(kModify).u(71, 7).u(86, 1)).ok());
    auto a = get();
    ASSERT_TRUE(a.ok()) << a;
    const std::pair<uint32_t, std::string> want[] = {
        {70, "corp.example.com"}, {75, nb15}, {72, "OU=nas,DC=corp"}, {76, "site1"}, {71, "6"}, {79, "true"},
        {80, "2592000"}, {81, "true"}, {82, "false"}, {83, "true"}, {85, "7"}, {86, "1"}, {68, "0"}, {77, "0"},
        {4090, "0"},
    };
    for (const auto& [id, value] : want) EXPECT_EQ(a.str(0, id), value) << "item " << id;
    auto stored = pairs({"forwarding_eanble", "ddns_enable", "lmauth_level"});
    EXPECT_EQ(stored["forwarding_eanble"], "1");
    EXPECT_EQ(stored["ddns_enable"], "true");
    EXPECT_EQ(stored["lmauth_level"], "6");
}

TEST_F(AdE2E, JoinRunsThenTheDomainMayChangeOnlyAsTheJoinStateAllows) {
    ASSERT_TRUE(node().call(join("joiner", kJoinPassword, 1)).ok());
    EXPECT_EQ(get().num(0, 68), 2u);
    expect_rows({{"any change while the join runs", request(kModify).s(76, "site1"), -5057}});
    ASSERT_EQ(settled_state(), 1u);
    EXPECT_EQ(get().num(0, 77), 0u);
    expect_rows({
        {"join while joined", join("joiner", kJoinPassword, 1), -5077},
        {"fqdn while joined", request(kModify).s(70, "corp.example.com"), -5077},
        {"OU while joined", request(kModify).s(72, "OU=x"), -5077},
        {"netbios name while joined", request(kModify).s(75, "NAS2"), -5077},
        {"site while joined", request(kModify).s(76, "site2"), 0},
        {"leave", join("joiner", kJoinPassword, 0), 0},
    });
    expect_rows({{"any change while the leave runs", request(kModify).s(76, "site3"), -5057}});
    EXPECT_EQ(get().num(0, 68), 3u);
    EXPECT_EQ(settled_state(), 0u);
}

TEST_F(AdE2E, RefusedJoinsShowTheirTranslatedError) {
    struct refused {
        std::string name, fqdn, account, password;
        uint32_t om_code;
    };
    const refused rows[] = {
        {"wrong password", "corp.example.com", "joiner", kWrongPassword, 1},
        {"no join right", "corp.example.com", "alice", "Alice@123", 1},
        {"unknown domain", "nowhere.example.org", "joiner", kJoinPassword, 2},
    };
    for (const auto& r : rows) {
        ASSERT_TRUE(node().call(request(kModify).s(70, r.fqdn)).ok()) << r.name;
        ASSERT_TRUE(node().call(join(r.account, r.password, 1)).ok()) << r.name;
        EXPECT_EQ(settled_state(), 0u) << r.name;
        EXPECT_EQ(get().num(0, 77), r.om_code) << r.name;
    }
}

TEST_F(AdE2E, ModifyWritesOneOperationRecordPerSetting) {
    size_t skip = node().oplogs().size();
    ASSERT_TRUE(node().call(request(kModify).s(72, "OU=nas,DC=corp").u(71, 3).b(79, true)).ok());
    auto recs = node().new_oplogs(skip);
    ASSERT_TRUE(tvn_test::eventually([&] { return (recs = node().new_oplogs(skip, 0ms)).size() >= 3; }));
    std::map<std::string, std::string> got;
    for (const auto& r : recs) got[r["id"].get<std::string>()] = r["text"].get<std::string>();
    EXPECT_EQ(got["0x200f40450020"].substr(got["0x200f40450020"].find(',') + 1), "OU=nas;DC=corp");
    EXPECT_NE(got["0x200f40450030"].find(",3"), std::string::npos);
    EXPECT_NE(got["0x200f00cb0001"].find(",true"), std::string::npos);

    ASSERT_TRUE(node().call(join("joiner", kJoinPassword, 1)).ok());
    ASSERT_EQ(settled_state(), 1u);
    skip = node().oplogs().size();
    EXPECT_EQ(node().call(request(kModify).s(70, "other.example.com").s(4090, "0")).result(), -5077);
    recs.clear();
    ASSERT_TRUE(tvn_test::eventually([&] { return !(recs = node().new_oplogs(skip, 0ms)).empty(); }));
    EXPECT_EQ(recs[0]["id"], "0x200f40450023");
    EXPECT_EQ(recs[0]["kind"], 3);
    EXPECT_NE(recs[0]["text"].get<std::string>().find(",other.example.com,-5077"), std::string::npos);

    // A leave names the domain from the store when the request has none.
    skip = node().oplogs().size();
    ASSERT_TRUE(node().call(join("joiner", kJoinPassword, 0)).ok());
    ASSERT_TRUE(tvn_test::eventually([&] { return !(recs = node().new_oplogs(skip, 0ms)).empty(); }));
    EXPECT_EQ(recs[0]["id"], "0x200f4045000c");
    EXPECT_NE(recs[0]["text"].get<std::string>().find(",no,"), std::string::npos);
}

TEST_F(AdE2E, DnsSettingsUseTheirKeysAndAShorterListClearsTheRest) {
    const uint64_t set = vocab::dns_set.code, show = vocab::dns_get.code, del = vocab::dns_delete.code;
    ASSERT_TRUE(node().call(request(set).s(64, "10.0.0.1,10.0.0.2").s(65, "a.example.com,b.example.com")).ok());
    ASSERT_TRUE(node().call(request(set).s(65, "c.example.com")).ok());
    auto stored = pairs({"DNS_IP", "DNS_IP1", "DNS_IP2", "DNS_DOM0", "DNS_DOM1", "DNS_DOM5"});
    EXPECT_EQ(stored["DNS_IP"], "10.0.0.1");
    EXPECT_EQ(stored["DNS_IP1"], "10.0.0.2");
    EXPECT_EQ(stored["DNS_DOM0"], "c.example.com");
    EXPECT_EQ(stored["DNS_DOM1"], "");
    auto a = node().call(request(show));
    EXPECT_EQ(a.str(0, 64), "10.0.0.1,10.0.0.2");
    EXPECT_EQ(a.str(0, 65), "c.example.com");
    expect_rows({
        {"four servers", request(set).s(64, "10.0.0.1,10.0.0.2,10.0.0.3,10.0.0.4"), -22},
        {"a server that is no address", request(set).s(64, "dns.example.com"), -22},
        {"seven domains", request(set).s(65, "a.b,c.d,e.f,g.h,i.j,k.l,m.n"), -22},
        {"a bad domain", request(set).s(65, "a..b"), -22},
        {"neither list", request(set), -22},
    });
    ASSERT_TRUE(node().call(request(del)).ok());
    a = node().call(request(show));
    EXPECT_EQ(a.str(0, 64), "");
    EXPECT_EQ(a.str(0, 65), "");
}

TEST_F(AdE2E, ConnectivityChecksAnswerTheirTimeOrTheirRefusal) {
    const uint64_t ad = vocab::test_ad.code, dns = vocab::test_dns.code, ldap = vocab::test_ldap.code,
                   ldap2 = vocab::test_ldap.second_code, nis = vocab::test_nis.code;
    for (const request& ok : {request(ad), request(ad).s(70, "corp.example.com"), request(dns).s(64, "[127.0.0.1]"),
                              request(ldap).s(64, "127.0.0.1").u(65, 389), request(ldap2).s(64, "127.0.0.1"),
                              request(nis).s(64, "127.0.0.1")}) {
        auto a = node().call(ok);
        EXPECT_TRUE(a.ok()) << a;
        EXPECT_TRUE(a.num(0, 66).has_value()) << a;
    }
    expect_rows({
        {"AD fqdn of 128", request(ad).s(70, std::string(128, 'a')), -22},
        {"AD domain unknown", request(ad).s(70, "nowhere.example.org"), -113},
        {"two DNS addresses", request(dns).s(64, "[127.0.0.1,127.0.0.2]"), -22},
        {"LDAP address of 257", request(ldap).s(64, std::string(257, '1')), -22},
        {"LDAP address ending in a comma", request(ldap).s(64, "127.0.0.1,"), -22},
        {"LDAP port 0", request(ldap).s(64, "127.0.0.1").u(65, 0), -22},
        {"LDAP port 65536", request(ldap).s(64, "127.0.0.1").u(65, 65536), -22},
        {"LDAP server unreachable", request(ldap).s(64, "192.0.2.250"), -113},
        {"NIS without address", request(nis), -22},
    });
}

TEST_F(AdE2E, OtherCommandsCheckTheirItems) {
    expect_rows({
        {"dc list mode 3", request(vocab::dc_list.code).u(71, 3), -22},
        {"dc list detect-one without address", request(vocab::dc_list.code).u(71, 1), -22},
        {"dc list bad address", request(vocab::dc_list.code).s(70, "10.0.0"), -22},
        {"pref-dc of 16", request(vocab::pref_dc_set.code).s(64, std::string(16, 'D')), -22},
        {"pref-dc empty", request(vocab::pref_dc_set.code).s(64, ""), -22},
        {"refresh 5", request(vocab::refresh.code).e(65, 5), -22},
        {"refresh dc", request(vocab::refresh.code).e(65, 1), 0},
        {"host name and address", request(vocab::lookup_host.code).s(64, "a").s(65, "127.0.0.1"), -22},
        {"host name with ..", request(vocab::lookup_host.code).s(64, "a..b"), -22},
        {"host name with _.", request(vocab::lookup_host.code).s(64, "a_.b"), -22},
        {"host name blank", request(vocab::lookup_host.code).s(64, "  "), -22},
        {"source without either", request(vocab::ad_source.code), -22},
        {"source name without domain", request(vocab::ad_source.code).s(2, "alice"), -22},
        {"source unknown account", request(vocab::ad_source.code).s(2, "CORP\\nobody"), -2},
        {"security ntlm 7", request(vocab::security_set.code).e(64, 7), -22},
    });
    auto dcs = node().call(request(vocab::dc_list.code).u(71, 2));
    ASSERT_TRUE(dcs.ok()) << dcs;
    EXPECT_GE(dcs.records(), 2);
    ASSERT_TRUE(node().call(request(vocab::pref_dc_set.code).s(64, "DC2")).ok());
    EXPECT_EQ(node().call(request(vocab::pref_dc_get.code)).str(0, 64), "DC2");
    EXPECT_EQ(node().call(request(vocab::dc_list.code)).str(0, 64), "DC2");  // the preferred one first
    ASSERT_TRUE(node().call(request(vocab::pref_dc_delete.code)).ok());
    EXPECT_FALSE(node().call(request(vocab::pref_dc_get.code)).has(0, 64));
    auto host = node().call(request(vocab::lookup_host.code).s(64, "localhost"));
    EXPECT_EQ(host.str(0, 65), "127.0.0.1") << host;
    auto src = node().call(request(vocab::ad_source.code).s(2, "CORP\\alice"));
    EXPECT_EQ(src.str(0, 2), "CORP\\alice") << src;
    auto acct = node().call(request(vocab::lookup_account.code).s(69, src.str(0, 1)));
    EXPECT_EQ(acct.str(0, 73), "CORP\\alice") << acct;
    ASSERT_TRUE(node().call(request(vocab::security_set.code).e(64, 2).b(65, true)).ok());
    auto sec = node().call(request(vocab::security_get.code));
    EXPECT_EQ(sec.str(0, 64), "2");
    EXPECT_EQ(sec.str(0, 65), "1");
}

TEST_F(AdE2E, SessionsAppearOnceJoinedThroughTvnOm) {
    tvn_test::temp_dir outside{"ad_pw"};
    const std::string pw_file = outside.path() + "/pw", bad_file = outside.path() + "/bad";
    std::ofstream(pw_file) << kJoinPassword << "\n";
    std::ofstream(bad_file) << kWrongPassword << "\n";

    auto refused = tvn_test::run_tool("tvn_om", {"ad", "join", "--account", "joiner", "--password-file", bad_file, "--wait"});
    EXPECT_EQ(refused.status, 1) << refused.out;
    EXPECT_NE(refused.out.find("join error 1"), std::string::npos) << refused.out;
    auto joined = tvn_test::run_tool("tvn_om", {"ad", "join", "--account", "joiner", "--password-file", pw_file, "--wait"});
    EXPECT_EQ(joined.status, 0) << joined.out;
    EXPECT_NE(joined.out.find("joined (state 1)"), std::string::npos) << joined.out;
    auto sessions = node().call(request(vocab::sessions.code));
    ASSERT_TRUE(sessions.ok()) << sessions;
    EXPECT_GE(sessions.records(), 1);

    // No password text anywhere under the root: logs, operation log, databases.
    for (const char* secret : {kJoinPassword, kWrongPassword})
        EXPECT_EQ(node().files_containing(secret), std::vector<std::string>{}) << secret;
}

TEST_F(AdE2E, TheSecondarySideLeavesWithoutTheAdministratorsCredentials) {
    ASSERT_TRUE(node().call(join("joiner", kJoinPassword, 1)).ok());
    ASSERT_EQ(settled_state(), 1u);
    tvn_store_conf_api api("127.0.0.1");
    tvn_settenant_cfg_req mark;
    tvn_conf_common_rsp marked;
    auto* p = mark.add_config();
    p->set_tenant_id(0);
    p->set_key("multi_dc_role");
    p->set_value("slave");
    ASSERT_EQ(api.set_tenant_config(mark, marked, 10000), 0);
    ASSERT_TRUE(node().call(join("joiner", kJoinPassword, 0)).ok());
    EXPECT_EQ(settled_state(), 0u);
    // The daemon saw a leave by some made-up account, never by "joiner".
    const std::string sim_log = tvn_test::read_text(node().path("/var/log/platform/tvn_sim.log"));
    EXPECT_NE(sim_log.find("leave of tenant 0 by "), std::string::npos) << sim_log;
    EXPECT_EQ(sim_log.find("leave of tenant 0 by joiner"), std::string::npos) << sim_log;
}

TEST_F(AdE2E, AStoreThatDoesNotAnswerGivesTimeOutAndStoresNothing) {
    node().stop_store();
    expect_rows({
        {"modify", request(kModify).s(76, "site1"), -3},
        {"get", request(kGet), -3},
    });
    ASSERT_TRUE(node().start_store());
    EXPECT_TRUE(pairs({"ads_site"}).empty());
}

}  // namespace
