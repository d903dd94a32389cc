// The stand-in services called in-process through CallMethod, as the RPC
// server calls them.
#include <gtest/gtest.h>

#include <memory>

#include "sim_auth_service.h"
#include "sim_conf_service.h"
#include "sim_kagent_service.h"
#include "sim_kerberos_service.h"
#include "sim_nfs_service.h"
#include "sim_refusing_services.h"
#include "sim_user_mapping_service.h"
#include "sim_result.h"
#include "sim_test_util.h"
#include "sim_windows_user_service.h"

using namespace tvn::sim;
using sim_test::store_fixture;

namespace {

// The server's controller: a failed one means "no reply on the wire".
class probe_controller : public google::protobuf::RpcController {
public:
    void Reset() override { failed = false; }
    bool Failed() const override { return failed; }
    std::string ErrorText() const override { return {}; }
    void StartCancel() override {}
    void SetFailed(const std::string&) override { failed = true; }
    bool IsCanceled() const override { return false; }
    void NotifyOnCancel(google::protobuf::Closure*) override {}
    bool failed = false;
};

class sim_service_calls : public store_fixture {
protected:
    void SetUp() override {
        store_fixture::SetUp();
        nfs_ = std::make_unique<sim_nfs_service>(*store_);
        conf_ = std::make_unique<sim_conf_service>(*store_);
        auth_ = std::make_unique<sim_auth_service>(*store_);
        lookup_ = std::make_unique<sim_lookup_service>(*store_);
        diag_ = std::make_unique<sim_diagnose_service>(*store_);
        kagent_ = std::make_unique<sim_kagent_service>(*store_);
    }

    template <class Req, class Rsp>
    void call(google::protobuf::Service& svc, const char* method, const Req& req, Rsp& rsp) {
        const auto* m = svc.GetDescriptor()->FindMethodByName(method);
        ASSERT_NE(m, nullptr) << method;
        probe_controller ctl;
        rsp.Clear();
        svc.CallMethod(m, &ctl, &req, &rsp, nullptr);
        EXPECT_FALSE(ctl.failed) << method << " must never fail the server's controller";
        EXPECT_TRUE(rsp.IsInitialized()) << method << ": " << rsp.InitializationErrorString();
    }

    std::unique_ptr<sim_nfs_service> nfs_;
    std::unique_ptr<sim_conf_service> conf_;
    std::unique_ptr<sim_auth_service> auth_;
    std::unique_ptr<sim_lookup_service> lookup_;
    std::unique_ptr<sim_diagnose_service> diag_;
    std::unique_ptr<sim_kagent_service> kagent_;
};

// Reads the result a reply carries, wherever its record keeps it.
int64_t result_of(const google::protobuf::Message& rsp) {
    const auto* d = rsp.GetDescriptor();
    const auto* r = rsp.GetReflection();
    for (const char* name : {"result", "status", "rsp_status"}) {
        const auto* f = d->FindFieldByName(name);
        if (f == nullptr || f->is_repeated()) continue;
        switch (f->cpp_type()) {
            case google::protobuf::FieldDescriptor::CPPTYPE_INT32: return r->GetInt32(rsp, f);
            case google::protobuf::FieldDescriptor::CPPTYPE_UINT32:
                return static_cast<int32_t>(r->GetUInt32(rsp, f));
            case google::protobuf::FieldDescriptor::CPPTYPE_MESSAGE:
                return result_of(r->GetMessage(rsp, f));
            default: break;
        }
    }
    return 0;
}

TEST_F(sim_service_calls, EveryMethodOfEveryServiceAnswersWithAWholeReply) {
    sim_cifs_store_service cifs;
    sim_user_mapping_store_service mapping(*store_);
    sim_windows_user_service windows(*store_);
    std::string err;
    ASSERT_EQ(windows.open(err), SIM_OK) << err;
    sim_kerberos_realm_store_service realm(*store_);
    sim_kerberos_store_service krb(*store_);
    sim_kerberos_encrypt_store_service enc(*store_);
    google::protobuf::Service* all[] = {nfs_.get(), conf_.get(), auth_.get(), lookup_.get(),
                                        diag_.get(), kagent_.get(), &cifs, &mapping,
                                        &windows, &realm, &krb, &enc};
    int refused = 0, methods = 0;
    for (auto* svc : all) {
        const auto* sd = svc->GetDescriptor();
        for (int i = 0; i < sd->method_count(); ++i) {
            const auto* m = sd->method(i);
            // The emptiest request that still parses: required fields at
            // their defaults, as a careless caller might send.
            std::unique_ptr<google::protobuf::Message> req(svc->GetRequestPrototype(m).New());
            std::unique_ptr<google::protobuf::Message> rsp(svc->GetResponsePrototype(m).New());
            fill_required(req.get());
            // A synchronous join would wait for a clock this test holds still.
            if (const auto* f = req->GetDescriptor()->FindFieldByName("async"))
                req->GetReflection()->SetBool(req.get(), f, true);
            probe_controller ctl;
            svc->CallMethod(m, &ctl, req.get(), rsp.get(), nullptr);
            ++methods;
            EXPECT_FALSE(ctl.failed) << m->full_name();
            EXPECT_TRUE(rsp->IsInitialized()) << m->full_name();
            if (result_of(*rsp) == SIM_ERR_NOT_SUPPORTED) ++refused;
        }
    }
    EXPECT_GT(methods, 250);
    EXPECT_GT(refused, 0);
    EXPECT_LT(refused, methods);
}

TEST_F(sim_service_calls, AnOfferedMethodIsNotRefusedAndAnOtherOneIs) {
    struct {
        google::protobuf::Service* svc;
        const char* method;
        bool offered;
    } cases[] = {
        {nfs_.get(), "get_share", true},
        {conf_.get(), "get_tenant_config", true},
        {conf_.get(), "export_conf", false},
        {conf_.get(), "DropDatabase", false},
        {auth_.get(), "auth_via_raw_ntlm", false},
        {lookup_.get(), "LookupUserNameMapping", false},
        {diag_.get(), "get_ldap_common_cfg", false},
        {kagent_.get(), "kagent_get_sidmap_cache", false},
        {kagent_.get(), "kagent_create_dtree", false},
    };
    for (const auto& c : cases) {
        const auto* m = c.svc->GetDescriptor()->FindMethodByName(c.method);
        ASSERT_NE(m, nullptr) << c.method;
        std::unique_ptr<google::protobuf::Message> req(c.svc->GetRequestPrototype(m).New());
        std::unique_ptr<google::protobuf::Message> rsp(c.svc->GetResponsePrototype(m).New());
        fill_required(req.get());
        probe_controller ctl;
        c.svc->CallMethod(m, &ctl, req.get(), rsp.get(), nullptr);
        EXPECT_EQ(result_of(*rsp) == SIM_ERR_NOT_SUPPORTED, !c.offered) << c.method;
    }
}

TEST_F(sim_service_calls, SharesThroughTheService) {
    tvn_nfs_add_share_req add = sim_test::add_req("/fs1/share1", 0, 3);
    tvn_nfs_add_share_rsp added;
    call(*nfs_, "add_share", add, added);
    EXPECT_EQ(added.status().result(), 0);
    EXPECT_EQ(added.share_id(), 1u);
    EXPECT_EQ(added.fsid(), 3u);
    EXPECT_EQ(added.dtreeid(), 0u);

    call(*nfs_, "add_share", add, added);
    EXPECT_EQ(added.status().result(), SIM_ERR_EXIST);
    EXPECT_NE(added.status().desc().find("/fs1/share1"), std::string::npos);
    EXPECT_FALSE(added.has_share_id());

    tvn_nfs_queryshareid_byname_req by_name;
    by_name.set_tenant_id(0);
    by_name.set_alias("/fs1/share1");
    tvn_nfs_queryshareid_byname_rsp found;
    call(*nfs_, "get_shareid_by_sharename", by_name, found);
    EXPECT_EQ(found.rsp_status(), 0);
    EXPECT_EQ(found.share_id(), 1u);
    by_name.set_alias("/nope");
    call(*nfs_, "get_shareid_by_sharename", by_name, found);
    EXPECT_EQ(found.rsp_status(), SIM_ERR_NOT_FOUND);
    EXPECT_FALSE(found.has_share_id());

    tvn_nfs_get_share_req get;
    get.set_share_id(1);
    tvn_nfs_get_share_rsp got;
    call(*nfs_, "get_share", get, got);
    ASSERT_EQ(got.status().result(), 0);
    EXPECT_EQ(got.share_info().path(), "/fs1/share1");
    EXPECT_EQ(got.share_info().fsid(), 3u);
    get.set_share_id(99);
    call(*nfs_, "get_share", get, got);
    EXPECT_EQ(got.status().result(), SIM_ERR_NOT_FOUND);
    EXPECT_FALSE(got.has_share_info());
}

TEST_F(sim_service_calls, ConfigurationPairsAndTenants) {
    tvn_settenant_cfg_req set;
    auto* p = set.add_config();
    p->set_tenant_id(1);
    p->set_key("multi_dc_role");
    p->set_value("slave");
    tvn_conf_common_rsp done;
    call(*conf_, "set_tenant_config", set, done);
    EXPECT_EQ(done.result(), 0);

    // The multi-DC check answers per tenant named in its one pair.
    struct { uint32_t tenant; int32_t flag; } cases[] = {{0, 0}, {1, sim_conf_service::kMultiDcSlaveFlag}};
    for (const auto& c : cases) {
        tvn_settenant_cfg_req check;
        auto* q = check.add_config();
        q->set_tenant_id(c.tenant);
        q->set_key("fqdn");
        q->set_value("");
        call(*conf_, "check_multi_dc_slave", check, done);
        EXPECT_EQ(done.result(), 0);
        EXPECT_EQ(done.flag(), c.flag) << c.tenant;
    }

    tvn_check_tenant_exist_req exist;
    tvn_check_tenant_exist_rsp exists;
    for (auto [tenant, rc] : {std::pair{0u, 0}, std::pair{1u, 0}, std::pair{9u, -2}}) {
        exist.set_tenant_id(tenant);
        call(*conf_, "check_tenant_exist", exist, exists);
        EXPECT_EQ(exists.result(), rc) << tenant;
    }
    tvn_tenant_list_req list;
    tvn_tenant_list_rsp tenants;
    call(*conf_, "get_tenant_list", list, tenants);
    EXPECT_EQ(tenants.tenant_info_size(), 2);
}

TEST_F(sim_service_calls, JoinThroughDiagnoseIsSeenByLookup) {
    tvn_join_domain_req join;
    join.set_tenant_id(0);
    join.set_admin_account("Administrator");
    join.set_admin_password("Admin@123");
    join.set_async(true);
    join.set_overwrite_same_account(false);
    tvn_join_domain_rsp accepted;
    call(*diag_, "join_domain", join, accepted);
    EXPECT_EQ(accepted.status(), 0);

    tvn_lookup_join_state_req q;
    tvn_lookup_join_state_rsp s;
    call(*lookup_, "lookup_join_state", q, s);
    EXPECT_EQ(s.join_state(), JOIN_STATE_JOINING);
    now_ms += 1000;
    call(*lookup_, "lookup_join_state", q, s);
    EXPECT_EQ(s.join_state(), JOIN_STATE_JOINED);
    EXPECT_EQ(s.join_fqdn(), "corp.example.com");

    call(*diag_, "join_domain", join, accepted);
    EXPECT_EQ(accepted.status(), SIM_JOIN_ALREADY_JOINED);

    tvn_get_msrpc_session_req sess;
    tvn_get_msrpc_session_rsp sessions;
    call(*diag_, "get_msrpc_session", sess, sessions);
    EXPECT_EQ(sessions.session_info_size(), 2) << "one per live domain controller";

    tvn_lookup_machine_principal_name_req mq;
    tvn_lookup_machine_principal_name_rsp mp;
    call(*lookup_, "lookup_machine_principal_name", mq, mp);
    EXPECT_EQ(mp.name(), "NAS-SIM$@CORP.EXAMPLE.COM");
}

TEST_F(sim_service_calls, ConnectivityAnsweredFromTheTables) {
    struct {
        TvnConnectType type;
        const char* address;
        int port;  // -1: not given
        int32_t status;
    } cases[] = {
        {CONNECT_TYPE_AD, "corp.example.com", -1, 0},
        {CONNECT_TYPE_AD, "", -1, 0},  // the tenant's (default) domain
        {CONNECT_TYPE_AD, "other.example.org", -1, SIM_ERR_UNREACHABLE},
        {CONNECT_TYPE_DNS, "192.0.2.53", -1, 0},
        {CONNECT_TYPE_DNS, "203.0.113.1", -1, SIM_ERR_UNREACHABLE},
        {CONNECT_TYPE_LDAP, "ldap1,192.0.2.10", 389, 0},
        {CONNECT_TYPE_LDAP, "ldap1,nosuchhost", 389, SIM_ERR_UNREACHABLE},
        {CONNECT_TYPE_LDAP, "ldap1", 0, SIM_ERR_INVALID},
        {CONNECT_TYPE_LDAP, "ldap1", 70000, SIM_ERR_INVALID},
        {CONNECT_TYPE_DEFAULT, "localhost", -1, 0},
        {CONNECT_TYPE_DEFAULT, "", -1, SIM_ERR_INVALID},
    };
    for (const auto& c : cases) {
        tvn_check_connectivity_req req;
        req.set_tenant_id(0);
        req.set_type(c.type);
        req.set_address(c.address);
        if (c.port >= 0) req.set_port(static_cast<uint32_t>(c.port));
        tvn_check_connectivity_rsp rsp;
        call(*diag_, "check_connectivity", req, rsp);
        EXPECT_EQ(rsp.status(), c.status) << c.address;
        EXPECT_EQ(rsp.elapsed() > 0, c.status == 0) << c.address;
    }
    tvn_check_connectivity_req dns;
    dns.set_type(CONNECT_TYPE_AD);  // CheckDnsAvailable always checks a DNS server
    dns.set_address("192.0.2.53");
    tvn_check_connectivity_rsp rsp;
    call(*diag_, "CheckDnsAvailable", dns, rsp);
    EXPECT_EQ(rsp.status(), 0);
}

TEST_F(sim_service_calls, AccountLookupsByNameSidAndId) {
    tvn_lookup_userinfo_by_name_req byname;
    byname.set_name("CORP\\alice");
    byname.set_dest(LOOKUP_ON_AD);
    byname.set_with_group(true);
    tvn_lookup_userinfo_rsp u;
    call(*lookup_, "lookup_userinfo_by_name", byname, u);
    ASSERT_EQ(u.status(), 0);
    EXPECT_EQ(u.userinfo().name(), "CORP\\alice");
    EXPECT_EQ(u.userinfo().iid(), 101101u);
    EXPECT_EQ(u.userinfo().pgname(), "CORP\\Domain Users");
    EXPECT_EQ(u.userinfo().groups_size(), 2);

    byname.set_dest(LOOKUP_ON_LOCAL);
    call(*lookup_, "lookup_userinfo_by_name", byname, u);
    EXPECT_EQ(u.status(), SIM_ERR_NOT_FOUND);

    tvn_lookup_userinfo_by_sid_req bysid;
    bysid.set_sid("S-1-5-21-1111111111-2222222222-3333333333-513");
    call(*lookup_, "lookup_userinfo_by_sid", bysid, u);
    ASSERT_EQ(u.status(), 0);
    EXPECT_EQ(u.userinfo().is_group(), 1u);

    tvn_lookup_allcred_by_name_req cred;
    cred.set_name("CORP\\bob");
    cred.set_mapping_type(MAPPING_WIN_TO_UNIX);
    tvn_lookup_allcred_rsp c;
    call(*lookup_, "lookup_allcred_by_name", cred, c);
    ASSERT_EQ(c.status(), 0);
    EXPECT_EQ(c.result().unix_cred().uid(), 101102u);
    EXPECT_EQ(c.result().win_cred().gsids_size(), 2);
}

TEST_F(sim_service_calls, HostsResolveOnlyFromTheTables) {
    struct { const char* name; int32_t status; const char* first; } cases[] = {
        {"client2", 0, "192.0.2.22"},
        {"localhost", 0, "127.0.0.1"},
        {"example.com", SIM_ERR_NOT_FOUND, nullptr},
    };
    for (const auto& c : cases) {
        tvn_lookup_hostinfo_by_name_req req;
        req.set_hostname(c.name);
        tvn_lookup_hostinfo_rsp rsp;
        call(*lookup_, "lookup_hostinfo_by_name", req, rsp);
        EXPECT_EQ(rsp.status(), c.status) << c.name;
        if (c.first != nullptr) {
            ASSERT_GT(rsp.hostinfos_size(), 0);
            EXPECT_EQ(rsp.hostinfos(0), c.first);
        }
    }
    tvn_netgroups_check_req check;
    check.add_netgrps("ng_nosuch");
    check.add_netgrps("ng_clients");
    check.set_clnt_ip("192.0.2.22");
    tvn_netgroups_check_rsp matched;
    call(*lookup_, "netgroups_check", check, matched);
    EXPECT_EQ(matched.status(), 0);
    EXPECT_EQ(matched.matched_index(), 1u);
}

TEST_F(sim_service_calls, KernelAgentAnswersFromTheInventory) {
    struct { const char* value; int32_t result; const char* answer; } cases[] = {
        {"fs2", 0, "2"}, {"1:vs1_fs1", 0, "101"}, {"vs1_fs1", SIM_ERR_NOT_FOUND, ""},
        {"x:fs1", SIM_ERR_INVALID, ""},
    };
    for (const auto& c : cases) {
        tvn_ka_pum_req pum;
        pum.set_module("fs");
        pum.set_cmdstr("get_fsid_by_name");
        pum.set_value(c.value);
        tvn_ka_pum_rsp rsp;
        call(*kagent_, "kagent_pum", pum, rsp);
        EXPECT_EQ(rsp.result(), c.result) << c.value;
        EXPECT_EQ(rsp.value(), c.answer) << c.value;
    }
    tvn_ka_get_controller_req ctl;
    ctl.set_node_id(1);
    tvn_ka_get_controller_rsp name;
    call(*kagent_, "kagent_get_controller", ctl, name);
    EXPECT_EQ(name.node_name(), "CTE0.B");

    tvn_ka_get_ip_req ip;
    ip.set_tenant_id(0);
    tvn_ka_get_ip_rsp ips;
    call(*kagent_, "kagent_get_ip", ip, ips);
    EXPECT_EQ(ips.ip_size(), 2) << "peer all ones: every controller";
    ip.set_peer_id(1);
    call(*kagent_, "kagent_get_ip", ip, ips);
    ASSERT_EQ(ips.ip_size(), 1);
    EXPECT_EQ(ips.ip(0), "192.0.2.101");

    tvn_ka_get_tenantid_by_fsid_req t;
    t.set_fsid(101);
    tvn_ka_get_tenantid_by_fsid_rsp tenant;
    call(*kagent_, "kagent_get_tenantid_by_fsid", t, tenant);
    EXPECT_EQ(tenant.tenantid(), 1u);
}

}  // namespace
