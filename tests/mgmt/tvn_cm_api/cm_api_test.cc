// Management service wrapper against a stand-in service on a free port.
#include <gtest/gtest.h>

#include "talvane_util.h"
#include "tvn_cm_api.h"
#include "tvn_test_fake_daemon.h"

using namespace tvn_test;

namespace {

// Answers as the service would, with only `result` set.
bool result_only(const raw_rpc_peer::seen& request, std::string& response) {
    if (request.id == talvane_util::method_id("tvn_failover_service.get_node_info"))
        response = filled<tvn_get_node_info_rsp>().SerializeAsString();
    else
        response = filled<tvn_cm_set_log_level_rsq>().SerializeAsString();
    return true;
}

TEST(CmApi, SetLogLevelAlwaysWaitsThirtySeconds) {
    const int port = free_port();
    raw_rpc_peer service(port, result_only);
    tvn_cm_api api("127.0.0.1", false, port);
    EXPECT_EQ(tvn_cm_api::CM_PORT, 6106);
    auto req = filled<tvn_cm_set_log_level_req>();
    tvn_cm_set_log_level_rsq rsp;
    EXPECT_EQ(api.set_log_level(req, rsp, 100), 0);
    ASSERT_EQ(service.count(), 1u);
    EXPECT_EQ(service.requests()[0].ext, 30000u);
    EXPECT_EQ(service.requests()[0].id, talvane_util::method_id("tvn_cm_service.set_log_level"));
}

TEST(CmApi, KeyQueriesAnswerZeroWithoutTraffic) {
    const int port = free_port();
    raw_rpc_peer service(port, result_only);
    tvn_cm_api api("127.0.0.1", false, port);
    auto by_index = filled<tvn_cm_get_key_by_index_req>();
    tvn_cm_get_key_by_index_rsp by_index_rsp;
    EXPECT_EQ(api.get_key_by_index(by_index, by_index_rsp, 5000), 0);
    EXPECT_FALSE(by_index_rsp.has_key());
    EXPECT_FALSE(by_index_rsp.has_result());
    auto latest = filled<tvn_cm_get_latest_key_req>();
    tvn_cm_get_latest_key_rsp latest_rsp;
    EXPECT_EQ(api.get_latest_key(latest, latest_rsp, 5000), 0);
    EXPECT_FALSE(latest_rsp.has_index());
    EXPECT_EQ(service.count(), 0u);
    EXPECT_EQ(api.open_count(), 0u);
}

TEST(CmApi, FailoverCallsUseTheCallersTimeOutOnTheSameClient) {
    const int port = free_port();
    raw_rpc_peer service(port, result_only);
    tvn_cm_api api("127.0.0.1", false, port);
    auto req = filled<tvn_get_node_info_req>();
    tvn_get_node_info_rsp rsp;
    ASSERT_EQ(api.get_node_info(req, rsp, 1234), 0);
    EXPECT_EQ(rsp.node_id(), 4294967295u);  // not set by the service
    EXPECT_EQ(service.requests()[0].ext, 1234u);
    auto state = filled<tvn_get_cm_state_req>();
    tvn_get_cm_state_rsp state_rsp;
    EXPECT_EQ(api.get_cm_state(state, state_rsp, 5000), 0);
    EXPECT_EQ(api.open_count(), 1u);
    ASSERT_EQ(service.count(), 2u);
    EXPECT_EQ(service.requests()[1].identity, service.requests()[0].identity);
}

TEST(CmApi, AServiceThatDoesNotAnswerIsATimeOut) {
    const int port = free_port();
    raw_rpc_peer service(port, [](const raw_rpc_peer::seen&, std::string&) { return false; });
    tvn_cm_api api("127.0.0.1", true, port);
    auto req = filled<tvn_get_node_name_req>();
    tvn_get_node_name_rsp rsp;
    EXPECT_EQ(api.get_node_name(req, rsp, 200), TVN_MSG_ERR_TIMEOUT);
    EXPECT_FALSE(rsp.has_node_name());
}

}  // namespace
