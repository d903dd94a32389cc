// The Kerberos commands end to end: OM agent endpoint -> tvn_cm -> tvn_sim
// (stores, diagnose service, kernel agent), on 127.0.0.1.
#include <filesystem>
#include <fstream>

#include "kerberos/tvn_omitf_kerberos_vocab.h"
#include "krb_keytab.h"
#include "talvane_store_conf.pb.h"
#include "tvn_store_conf_api.h"
#include "tvn_test_node.h"

namespace {

namespace v = tvn_krb::vocab;
using namespace tvn_krb;
using req = tvn_test::om_request;

constexpr const char* kPassword = "Join@123";  // the seed's joiner
constexpr const char* kWrongPassword = "Krb-Wr0ng-Secret";

class KerberosE2E : public ::testing::Test {
protected:
    void SetUp() override {
        node_ = std::make_unique<tvn_test::node>();
        ASSERT_TRUE(node_->start());
    }
    void TearDown() override {
        if (HasFailure()) std::cerr << "---- node logs ----\n" << node_->logs().substr(0, 20000) << "\n";
        node_.reset();
    }

    struct row {
        std::string name;
        req request;
        int32_t want;
    };
    void expect_rows(const std::vector<row>& rows) {
        for (const auto& r : rows) {
            auto a = node_->call(r.request);
            ASSERT_EQ(a.call_rc, 0) << r.name;
            EXPECT_EQ(a.result(), r.want) << r.name << "\n" << a;
        }
    }
    static req realm(const std::string& name) {
        return req(v::realm_add.code).s(64, name).s(65, "192.0.2.10").u(67, 1);
    }
    static req enable(const std::string& lif, const std::string& spn, const std::string& password) {
        return req(v::service_change.code).u(68, 1).s(64, lif).s(65, spn).s(66, "joiner").s(67, password);
    }
    uint32_t realm_count() {
        auto a = node_->call(req(v::realm_count.code));
        return a.num(0, 10).value_or(9999);
    }

    std::unique_ptr<tvn_test::node> node_;
};

TEST_F(KerberosE2E, RealmCommandsRefuseBadItemsWithTheirCodesAndStoreNothing) {
    const uint32_t before = realm_count();
    expect_rows({
        {"no name", req(v::realm_add.code).s(65, "192.0.2.10").u(67, 1), KRB_ERR_NAME},
        {"name with ..", realm("A..B"), KRB_ERR_NAME},
        {"name with space", realm("A B"), KRB_ERR_NAME},
        {"name of 256", realm(std::string(256, 'a')), KRB_ERR_NAME},
        {"no KDC", req(v::realm_add.code).s(64, "R1").u(67, 1), KRB_ERR_ADDRESS},
        {"KDC not an address", realm("R1").s(65, "kdc.example.com"), KRB_ERR_ADDRESS},
        {"port 0", realm("R1").u(66, 0), KRB_ERR_PORT},
        {"port 65536", realm("R1").u(66, 65536), KRB_ERR_PORT},
        {"vendor 3", realm("R1").u(67, 3), KRB_ERR_VENDOR},
        {"vendor 0", realm("R1").u(67, 0), KRB_ERR_VENDOR},
        {"AD server with /", realm("R1").s(68, "ad/1"), KRB_ERR_AD_SERVER},
        {"AD server of 256", realm("R1").s(68, std::string(256, 'a')), KRB_ERR_AD_SERVER},
        {"AD address", realm("R1").s(69, "300.1.1.1"), KRB_ERR_ADDRESS},
        {"tenant text", realm("R1").s(4090, "x1"), KRB_ERR_INVALID},
        {"modify vendor", req(v::realm_modify.code).s(64, "R1").u(67, 7), KRB_ERR_VENDOR},
        {"modify unknown", req(v::realm_modify.code).s(64, "NOPE.EXAMPLE").u(66, 89), -2},
        {"delete without name", req(v::realm_delete.code), KRB_ERR_NAME},
        {"list range of 101", req(v::realm_list.code).s(70, R"({"offset": 0, "limit": 101})"), KRB_ERR_INVALID},
    });
    EXPECT_EQ(realm_count(), before);
}

TEST_F(KerberosE2E, RealmLifeCycle) {
    // Both vendors; no port is 88.
    ASSERT_TRUE(node_->call(realm("CORP.EXAMPLE.COM").s(68, "dc1.corp.example.com").s(69, "192.0.2.11")).ok());
    ASSERT_TRUE(
        node_->call(req(v::realm_add.code).s(64, "UNIX.EXAMPLE").s(65, "2001:db8::5").u(66, 750).e(67, 2)).ok());
    EXPECT_EQ(node_->call(realm("corp.example.com")).result(), -17) << "names are unique without regard to case";

    auto show = node_->call(req(v::realm_show.code).s(64, "CORP.EXAMPLE.COM"));
    ASSERT_TRUE(show.ok()) << show;
    EXPECT_EQ(show.num(0, 66), 88u);
    EXPECT_EQ(show.num(0, 67), 1u);
    EXPECT_EQ(show.str(0, 68), "dc1.corp.example.com");
    // Without a name both realms answer: one answer is expected.
    EXPECT_EQ(node_->call(req(v::realm_show.code)).result(), KRB_ERR_NAME);

    ASSERT_TRUE(node_->call(req(v::realm_modify.code).s(64, "UNIX.EXAMPLE").u(66, 88).u(67, 1)).ok());
    show = node_->call(req(v::realm_show.code).s(64, "UNIX.EXAMPLE"));
    EXPECT_EQ(show.num(0, 66), 88u);
    EXPECT_EQ(show.num(0, 67), 1u);
    EXPECT_EQ(show.str(0, 65), "2001:db8::5") << "modify keeps what it is not given";

    auto list = node_->call(req(v::realm_list.code).s(70, R"({"offset": 1, "limit": 5})"));
    ASSERT_TRUE(list.ok());
    EXPECT_EQ(list.records(), 1);
    EXPECT_EQ(realm_count(), 2u);

    // The module status is asked before a realm is added.
    std::filesystem::create_directories(node_->path("/var/lib/tvn_sim"));
    std::ofstream(node_->path("/var/lib/tvn_sim/krb_ko_status")) << "-11";
    EXPECT_EQ(node_->call(realm("LATE.EXAMPLE")).result(), -11);
    std::filesystem::remove(node_->path("/var/lib/tvn_sim/krb_ko_status"));
    EXPECT_NE(node_->cm_log().find("KO not ready, rc is -11"), std::string::npos);

    ASSERT_TRUE(node_->call(req(v::realm_delete.code).s(64, "UNIX.EXAMPLE")).ok());
    EXPECT_EQ(node_->call(req(v::realm_delete.code).s(64, "UNIX.EXAMPLE")).result(), -2);
    EXPECT_EQ(realm_count(), 1u);
}

TEST_F(KerberosE2E, EncryptionTypesAndCacheSize) {
    auto set = [](const std::string& list) { return req(v::enctypes_set.code).s(64, list); };
    expect_rows({
        {"lower case", set("aes128"), KRB_ERR_ENCRYPT_TYPE},
        {"unknown", set("AES128,RC4"), KRB_ERR_ENCRYPT_TYPE},
        {"empty element", set("AES128,,DES"), KRB_ERR_ENCRYPT_TYPE},
        {"only a comma", set(","), KRB_ERR_ENCRYPT_TYPE},
        {"size 19", req(v::cache_size_set.code).u(69, 19), KRB_ERR_CACHE_SIZE},
        {"size 101", req(v::cache_size_set.code).u(69, 101), KRB_ERR_CACHE_SIZE},
        {"size 20", req(v::cache_size_set.code).u(69, 20), 0},
        {"size 100", req(v::cache_size_set.code).u(69, 100), 0},
    });
    EXPECT_EQ(node_->call(req(v::cache_size_show.code)).num(0, 69), 100u);
    EXPECT_EQ(node_->call(req(v::enctypes_show.code).s(4090, "1")).str(0, 64), "AES128,AES256") << "the default";

    ASSERT_TRUE(node_->call(set("AES128,DES3,")).ok());
    EXPECT_EQ(node_->call(req(v::enctypes_show.code)).str(0, 64), "AES128,DES3");

    // A list that reached the store by another road is refused on reading.
    tvn_store_conf_api conf("127.0.0.1");
    tvn_settenant_cfg_req bad;
    auto* pair = bad.add_config();
    pair->set_tenant_id(0);
    pair->set_key("kerberos_encrypt_type");
    pair->set_value("AES128,rc4");
    tvn_conf_common_rsp rsp;
    ASSERT_EQ(conf.set_tenant_config(bad, rsp, 5000), 0);
    EXPECT_EQ(node_->call(req(v::enctypes_show.code)).result(), KRB_ERR_STORED_ENCRYPT);
}

TEST_F(KerberosE2E, ServicesKeytabsAndCaches) {
    ASSERT_TRUE(node_->call(realm("SVC.EXAMPLE")).ok());
    const std::string spn = "nfs/server.svc.example@SVC.EXAMPLE";
    expect_rows({
        {"wrong password", enable("lif1", spn, kWrongPassword), -5014},
        {"no password", enable("lif1", spn, kPassword).drop(67), KRB_ERR_ACCOUNT},
        {"password of 33", enable("lif1", spn, std::string(33, 'p')), KRB_ERR_ACCOUNT},
        {"account of 129", enable("lif1", spn, kPassword).s(66, std::string(129, 'a')), KRB_ERR_ACCOUNT},
        {"LIF of 257", enable(std::string(257, 'l'), spn, kPassword), KRB_ERR_LIF_NAME},
        {"SPN of 389", enable("lif1", std::string(389, 's'), kPassword), KRB_ERR_SPN},
        {"LIF of another tenant", enable("lif3", spn, kPassword), -2},
        {"list by LIF and SPN", req(v::service_list.code).s(64, "lif1").s(65, spn), KRB_ERR_INVALID},
    });
    ASSERT_TRUE(node_->call(enable("lif1", spn, kPassword)).ok());
    EXPECT_EQ(node_->call(enable("lif2", spn, kPassword)).result(), -17) << "one LIF per SPN";
    ASSERT_TRUE(node_->call(enable("lif2", spn, kPassword).b(70, true)).ok()) << "unless overwritten";
    auto show = node_->call(req(v::service_show.code).s(64, "lif2"));
    EXPECT_EQ(show.str(0, 65), spn);
    EXPECT_EQ(show.str(0, 69), "SVC.EXAMPLE");
    EXPECT_EQ(node_->call(req(v::service_count.code).s(69, "SVC.EXAMPLE")).num(0, 10), 1u);
    EXPECT_EQ(node_->call(req(v::service_list.code).s(65, spn)).records(), 1);

    auto lifs = node_->call(req(v::lif_list.code).s(22, R"({"lifName": "lif"})"));
    EXPECT_EQ(lifs.records(), 2);
    EXPECT_EQ(node_->call(req(v::lif_count.code).s(22, R"({"lifName": "2"})")).num(0, 10), 1u);
    EXPECT_EQ(node_->call(req(v::lif_count.code).s(22, R"({"ip": "2"})")).result(), KRB_ERR_INVALID);

    // Keytabs: a real one holding the SPN's host, and a file that is not one.
    std::filesystem::create_directories(node_->path("/tmp"));
    std::ofstream(node_->path("/tmp/nfs.keytab"), std::ios::binary) << krb_test::keytab_bytes(
        {{{"nfs", "server.svc.example"}, "SVC.EXAMPLE"}, {{"host", "server.svc.example"}, "SVC.EXAMPLE"}});
    std::ofstream(node_->path("/tmp/plain.txt")) << "not a keytab\n";
    auto import = [](const std::string& host, const std::string& path) {
        return req(v::keytab_import.code).s(71, host).s(80, "lif2").s(72, path);
    };
    const size_t logs = node_->oplogs().size();
    auto a = node_->call(import("server.svc.example", "/tmp/nfs.keytab"));
    ASSERT_TRUE(a.ok()) << a;
    EXPECT_EQ(a.str(0, 79), std::string(KRB_KEYTAB_DIR) + "/0");
    expect_rows({
        {"not a keytab", import("server.svc.example", "/tmp/plain.txt"), -22},
        {"no such file", import("server.svc.example", "/tmp/none.keytab"), -2},
        {"another host", import("other.svc.example", "/tmp/nfs.keytab"), -2},
        {"SPN with ._", import("server._svc", "/tmp/nfs.keytab"), KRB_ERR_SPN},
        {"SPN with /", import("nfs/server", "/tmp/nfs.keytab"), KRB_ERR_SPN},
        {"LIF with ..", import("server.svc.example", "/tmp/nfs.keytab").s(80, "lif..2"), KRB_ERR_NAME},
    });
    auto records = node_->new_oplogs(logs);
    ASSERT_FALSE(records.empty());
    EXPECT_NE(records.front().dump().find("server.svc.example"), std::string::npos);

    // The kernel's caches, over the kernel channel.
    auto cleared = node_->call(req(v::cache_clear.code).s(65, "spn").s(66, spn));
    ASSERT_TRUE(cleared.ok()) << cleared;
    EXPECT_EQ(cleared.num(0, 10), 1u);
    EXPECT_TRUE(node_->call(req(v::cache_clear.code).s(65, "context")).ok());
    EXPECT_EQ(node_->call(req(v::cache_clear.code).s(65, "tickets")).result(), KRB_ERR_INVALID);
    // A kernel that does not take the request.
    node_->stop_cm();
    ASSERT_TRUE(node_->start_cm({{"TVN_FAIL_AT", "tvn_kchannel_request"}}));
    EXPECT_EQ(node_->call(req(v::cache_clear.code).s(65, "user")).result(), -1);

    ASSERT_TRUE(node_->call(req(v::service_change.code).u(68, 0).s(64, "lif2")).ok());
    EXPECT_EQ(node_->call(req(v::service_show.code).s(64, "lif2")).result(), -2);

    // Neither password reached a file but the directory's own database.
    for (const char* secret : {kPassword, kWrongPassword})
        for (const auto& f : node_->files_containing(secret))
            EXPECT_NE(f.find("store.db"), std::string::npos) << secret << " in " << f;
    EXPECT_TRUE(node_->files_containing(kWrongPassword).empty());
}

TEST_F(KerberosE2E, OperatorToolDrivesTheFamily) {
    auto run = [](std::vector<std::string> args) { return tvn_test::run_tool("tvn_om", args); };
    auto r =
        run({"krb", "realm", "add", "--name", "TOOL.EXAMPLE", "--kdc-ip", "192.0.2.20", "--vendor", "non-windows"});
    ASSERT_EQ(r.status, 0) << r.out;
    r = run({"krb", "realm", "show", "--name", "TOOL.EXAMPLE"});
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("port: 88"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("vendor: non-windows"), std::string::npos) << r.out;
    r = run({"krb", "cache-size", "set", "--size", "101"});
    EXPECT_EQ(r.status, 1) << r.out;

    // The password comes from a file, never from the command line.
    const std::string pw_file = node_->path("/../krb_pw");
    std::ofstream(pw_file) << kWrongPassword << "\n";
    r = run({"krb", "service", "enable", "--lif", "lif1", "--spn", "nfs/a@TOOL.EXAMPLE", "--account", "joiner",
             "--password-file", pw_file});
    EXPECT_EQ(r.status, 1) << r.out;
    EXPECT_NE(r.out.find("-5014"), std::string::npos) << r.out;
    std::filesystem::remove(pw_file);
    EXPECT_TRUE(node_->files_containing(kWrongPassword).empty());
}

}  // namespace
