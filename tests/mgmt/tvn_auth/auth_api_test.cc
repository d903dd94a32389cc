// Authentication wrapper against a stand-in daemon on a free loopback port.
#include <gtest/gtest.h>

#include "talvane_util.h"
#include "tvn_auth_api.h"
#include "tvn_test_fake_daemon.h"

using namespace tvn_test;

namespace {

// Answers each method with its own (default) response record.
bool typed_answer(const raw_rpc_peer::seen& request, std::string& response) {
    response = default_response(request.id, {tvn_auth_service::descriptor(),
                                             tvn_lookup_service::descriptor(),
                                             tvn_diagnose_service::descriptor()});
    return true;
}

TEST(AuthApi, ThreeServicesShareOneConnection) {
    const int port = free_port();
    raw_rpc_peer daemon(port, typed_answer);
    tvn_auth_api api("127.0.0.1", false, 1, port);
    EXPECT_EQ(tvn_auth_api::AUTH_PORT, 6103);

    auto lookup = filled<tvn_lookup_usersinfo_by_sids_req>();
    tvn_lookup_usersinfo_rsp lookup_rsp;
    EXPECT_EQ(api.lookup_userinfo_list_by_sid(lookup, lookup_rsp, 5000), 0);
    auto spnego = filled<tvn_auth_spnego_req>();
    tvn_auth_spnego_rsp spnego_rsp;
    EXPECT_EQ(api.auth_via_spnego(spnego, spnego_rsp, 5000), 0);
    auto join = filled<tvn_join_domain_req>();
    tvn_join_domain_rsp join_rsp;
    EXPECT_EQ(api.unjoin_domain(join, join_rsp, 25000), 0);
    auto state = filled<tvn_lookup_join_state_req>();
    tvn_lookup_join_state_rsp state_rsp;
    EXPECT_EQ(api.join_state(state, state_rsp, 5000), 0);
    auto dns = filled<tvn_check_connectivity_req>();
    tvn_check_connectivity_rsp dns_rsp;
    EXPECT_EQ(api.CheckDnsAvailable(dns, dns_rsp, 5000), 0);

    const char* expected[] = {
        "tvn_lookup_service.lookup_usersinfo_by_sids", "tvn_auth_service.auth_via_spnego",
        "tvn_diagnose_service.unjoin_domain", "tvn_lookup_service.lookup_join_state",
        "tvn_diagnose_service.CheckDnsAvailable"};
    auto seen = daemon.requests();
    ASSERT_EQ(seen.size(), 5u);
    for (std::size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i].id, talvane_util::method_id(expected[i])) << expected[i];
        EXPECT_EQ(seen[i].identity, seen[0].identity) << "one connection";
    }
    EXPECT_EQ(seen[2].ext, 25000u);
    EXPECT_EQ(api.open_count(), 1u);
}

TEST(AuthApi, NtlmAndKerberosFailuresAreLoggedAlike) {
    scoped_log log;
    tvn_auth_api unopenable("127.0.0.1", true, 0, free_port());
    auto ntlm = filled<tvn_auth_raw_ntlm_req>();
    tvn_auth_raw_ntlm_rsp ntlm_rsp;
    EXPECT_EQ(unopenable.auth_via_raw_ntlm(ntlm, ntlm_rsp, 100), TVN_MSG_ERR_WORKER_NUM);
    EXPECT_TRUE(log.contains("Open RPC client for auth failed."));
    EXPECT_TRUE(log.contains("proto_tvn_auth"));

    tvn_auth_api silent("127.0.0.1", false, 1, free_port());
    auto realm = filled<TvnAuthNfsKerberosJoinRealmReq>();
    TvnAuthNfsKerberosJoinRealmRsp realm_rsp;
    EXPECT_EQ(silent.AuthKerberosUnjoinDomain(realm, realm_rsp, 100), TVN_MSG_ERR_TIMEOUT);
    EXPECT_TRUE(log.contains("RPC call for raw ntlm auth failed."));
}

}  // namespace
