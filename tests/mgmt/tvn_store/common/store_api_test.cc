// Store wrappers against a stand-in peer on a free loopback port.
#include <gtest/gtest.h>

#include "talvane_util.h"
#include "tvn_store_cifs_api.h"
#include "tvn_store_conf_api.h"
#include "tvn_store_kerberos_api.h"
#include "tvn_store_nfs_api.h"
#include "tvn_store_user_mapping_api.h"
#include "tvn_store_windows_user_api.h"
#include "tvn_test_fake_daemon.h"

using namespace tvn_test;

namespace {

// Answers every request with an empty payload: enough to show which method
// arrived (the caller then sees -2009).
bool empty_answer(const raw_rpc_peer::seen&, std::string& response) {
    response.clear();
    return true;
}

// Answers add_share with a share id.
bool add_share_answer(const raw_rpc_peer::seen&, std::string& response) {
    auto rsp = filled<tvn_nfs_add_share_rsp>();
    rsp.set_share_id(42);
    response = rsp.SerializeAsString();
    return true;
}

tvn_nfs_add_share_req add_share_req() {
    auto req = filled<tvn_nfs_add_share_req>();
    req.set_fsid(1);
    req.set_path("/fs1");
    return req;
}

TEST(StoreApi, DefaultsToTheStoreDaemon) {
    tvn_store_nfs_api api("127.0.0.1", false);
    EXPECT_EQ(api.port(), 6102);
    EXPECT_EQ(api.host(), "127.0.0.1");
    EXPECT_FALSE(api.is_client_open());
    EXPECT_EQ(TvnStoreWindowsUserApi("127.0.0.1").port(), 6102);
    EXPECT_EQ(TvnStoreKerberosApi("127.0.0.1").port(), 6102);
}

TEST(StoreApi, AStoreThatIsDownIsATransportErrorAndTheReplyIsUntouched) {
    const int port = free_port();
    tvn_store_nfs_api api("127.0.0.1", false, port);
    tvn_nfs_add_share_rsp rsp;
    EXPECT_EQ(api.add_share(add_share_req(), rsp, 200), TVN_MSG_ERR_TIMEOUT);
    EXPECT_FALSE(rsp.has_status());
    EXPECT_FALSE(rsp.has_share_id());

    // The store comes up: the same client carries on, without reopening.
    raw_rpc_peer peer(port, add_share_answer);
    ASSERT_TRUE(peer.bound());
    EXPECT_EQ(api.add_share(add_share_req(), rsp, 5000), 0);
    EXPECT_EQ(rsp.share_id(), 42u);
    EXPECT_EQ(api.add_share(add_share_req(), rsp, 5000), 0);
    EXPECT_EQ(api.open_count(), 1u);
    ASSERT_EQ(peer.count(), 2u);
    EXPECT_EQ(peer.requests()[0].ext, 5000u);
}

// Fails its first stub allocation, as an out-of-memory open would.
class flaky_nfs_api : public tvn_store_nfs_api {
public:
    using tvn_store_nfs_api::tvn_store_nfs_api;
    int stub_attempts = 0;

protected:
    bool create_stubs(google::protobuf::RpcChannel* channel) override {
        if (stub_attempts++ == 0) return false;
        return tvn_store_nfs_api::create_stubs(channel);
    }
};

TEST(StoreApi, AFailedOpenIsRetriedAndAGoodOneIsNeverRepeated) {
    const int port = free_port();
    raw_rpc_peer peer(port, add_share_answer);
    flaky_nfs_api api("127.0.0.1", false, port);
    tvn_nfs_add_share_rsp rsp;
    EXPECT_EQ(api.add_share(add_share_req(), rsp, 5000), TVN_MSG_ERR_NOMEM);
    EXPECT_FALSE(api.is_client_open());
    EXPECT_EQ(peer.count(), 0u);
    EXPECT_EQ(api.add_share(add_share_req(), rsp, 5000), 0);
    EXPECT_TRUE(api.is_client_open());
    EXPECT_EQ(api.add_share(add_share_req(), rsp, 5000), 0);
    EXPECT_EQ(api.open_count(), 2u);
    EXPECT_EQ(api.stub_attempts, 2);
}

TEST(StoreApi, AnAddressThatCannotBeRenderedIsRetriedOnEveryCall) {
    tvn_store_conf_api api(std::string(70, 'h'), false, 1);
    auto req = filled<tvn_gettenant_cfg_req>();
    tvn_gettenant_cfg_rsp rsp;
    EXPECT_EQ(api.get_tenant_config(req, rsp, 100), TVN_MSG_ERR_ADDR);
    EXPECT_EQ(api.get_tenant_config(req, rsp, 100), TVN_MSG_ERR_ADDR);
    EXPECT_EQ(api.open_count(), 2u);
}

TEST(StoreApi, AnUnsignedTimeOutBeyondRangeIsCapped) {
    const int port = free_port();
    raw_rpc_peer peer(port, add_share_answer);
    tvn_store_nfs_api api("127.0.0.1", false, port);
    tvn_nfs_add_share_rsp rsp;
    EXPECT_EQ(api.add_share(add_share_req(), rsp, 0xFFFFFFFFu), 0);
    ASSERT_EQ(peer.count(), 1u);
    EXPECT_EQ(peer.requests()[0].ext, 2147483647u);
}

// Each wrapper method must reach the RPC of its own service.
TEST(StoreApi, WrapperMethodsReachTheirRpcs) {
    const int port = free_port();
    raw_rpc_peer peer(port, empty_answer);
    std::vector<std::string> expected;

    tvn_store_nfs_api nfs("127.0.0.1", false, port);
    {
        auto req = filled<AddVpcMapReq>();
        AddVpcMapRsp rsp;
        req.set_tenant_id(0);
        nfs.AddVpc(req, rsp, 5000);
        expected.push_back("tvn_store_nfs_service.add_vpc");
        auto byname = filled<tvn_nfs_queryshareid_byname_req>();
        tvn_nfs_queryshareid_byname_rsp byname_rsp;
        byname.set_tenant_id(0);
        byname.set_alias("a");
        nfs.get_shareid_by_sharename(byname, byname_rsp, 5000);
        expected.push_back("tvn_store_nfs_service.get_shareid_by_sharename");
    }
    tvn_store_cifs_api cifs("127.0.0.1", false, port);
    {
        auto req = filled<tvn_cifs_modify_share_req>();
        tvn_cifs_common_rsp rsp;
        cifs.modify_share(req, rsp, 5000);
        expected.push_back("tvn_store_cifs_service.modify_share_info");
    }
    tvn_store_conf_api conf("127.0.0.1", false, port);
    {
        auto req = filled<tvn_tenant_list_req>();
        tvn_tenant_list_rsp rsp;
        conf.GetTenantListFromCache(req, rsp, 5000);
        expected.push_back("tvn_store_conf_service.GetTenantListFromCache");
    }
    TvnStoreWindowsUserApi windows("127.0.0.1", false, port);
    {
        auto req = filled<GetWindowsGroupCountReq>();
        GetWindowsGroupCountRsp rsp;
        windows.Api_QueryWindowsGroupCount(req, rsp, 10000);
        expected.push_back("TvnStoreWindowsUserMgmtService.QueryWindowsGroupCount");
    }
    tvn_store_user_mapping_api mapping("127.0.0.1", false, port);
    {
        auto req = filled<tvn_user_mapping_rule_count_req>();
        tvn_user_mapping_rule_count_rsp rsp;
        mapping.count_user_mapping_rule(req, rsp, 5000);
        expected.push_back("tvn_store_user_mapping_service.count_user_mapping_rule");
    }
    TvnStoreKerberosApi kerberos("127.0.0.1", false, port);
    {
        auto realm = filled<KerberosGetRealmConfigCountReq>();
        KerberosGetRealmConfigCountRsp realm_rsp;
        kerberos.GetKerberosRealmConfigCount(realm, realm_rsp, 10000);
        expected.push_back("TvnStoreKerberosRealmService.GetKerberosRealmConfigCount");
        auto lif = filled<KerberosGetLifCountReq>();
        KerberosGetLifCountRsp lif_rsp;
        kerberos.GetKerberosLifCount(lif, lif_rsp, 10000);
        expected.push_back("TvnStoreKerberosService.GetKerberosLifCount");
        auto enc = filled<KerberosAskEncyptTypeReq>();
        KerberosAskEncyptTypeRsp enc_rsp;
        kerberos.GetKerberosEncryptType(enc, enc_rsp, 10000);
        expected.push_back("TvnStoreKerberosEncryptService.GetKerberosEncryptType");
        EXPECT_EQ(kerberos.open_count(), 1u);  // three services, one connection
    }

    auto seen = peer.requests();
    ASSERT_EQ(seen.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(seen[i].id, talvane_util::method_id(expected[i])) << expected[i];
    EXPECT_EQ(seen[4].ext, 10000u);
}

}  // namespace
