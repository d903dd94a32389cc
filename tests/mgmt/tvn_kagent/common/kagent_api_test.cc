// Kernel agent wrapper against a stand-in agent on a free loopback port.
#include <gtest/gtest.h>

#include "talvane_util.h"
#include "tvn_kagent_api.h"
#include "tvn_test_fake_daemon.h"

using namespace tvn_test;

namespace {

bool log_level_answer(const raw_rpc_peer::seen&, std::string& response) {
    response = filled<tvn_ka_log_level_resp>().SerializeAsString();
    return true;
}

TEST(KagentApi, SetLogLevelSendsTheInternalLevel) {
    const int port = free_port();
    raw_rpc_peer agent(port, log_level_answer);
    tvn_kagent_api api("127.0.0.1", false, 1, port);
    const struct {
        int32_t given;
        int32_t sent;
    } rows[] = {{300, 2}, {400, 1}, {700, 0}, {500, 3}, {-1, 3}};
    for (const auto& row : rows) {
        tvn_ka_log_level_req req;
        req.set_level(row.given);
        tvn_ka_log_level_resp rsp;
        ASSERT_EQ(api.KagentSetLogLevel(req, rsp, 5000), 0) << row.given;
        tvn_ka_log_level_req sent;
        ASSERT_TRUE(sent.ParseFromString(agent.requests().back().payload));
        EXPECT_EQ(sent.level(), row.sent) << row.given;
        EXPECT_EQ(req.level(), row.given);  // the caller's record is left alone
    }
    EXPECT_EQ(agent.requests().back().id,
              talvane_util::method_id("tvn_kagent_service.kagent_set_log_level"));
}

TEST(KagentApi, SidMapCacheCallsAnswerMinus7WithoutTraffic) {
    const int port = free_port();
    raw_rpc_peer agent(port, log_level_answer);
    tvn_kagent_api api("127.0.0.1", false, 1, port);
    tvn_sidmap_get_cache_req get;
    tvn_sidmap_get_cache_rsp get_rsp;
    EXPECT_EQ(api.kagent_get_sidmap_cache(get, get_rsp, 5000), -7);
    tvn_sidmap_clear_cache_req clear;
    tvn_sidmap_clear_cache_rsp clear_rsp;
    EXPECT_EQ(api.kagent_clear_sidmap_cache(clear, clear_rsp, 5000), -7);
    EXPECT_EQ(api.open_count(), 0u);
    EXPECT_EQ(agent.count(), 0u);
}

TEST(KagentApi, AnAgentThatIsDownTimesOutAndTheClientIsKept) {
    const int port = free_port();
    tvn_kagent_api api("127.0.0.1", true, 2, port);
    auto req = filled<tvn_get_kagent_state_req>();
    tvn_get_kagent_state_rsp rsp;
    EXPECT_EQ(api.kagent_get_state(req, rsp, 200), TVN_MSG_ERR_TIMEOUT);
    EXPECT_EQ(api.kagent_get_state(req, rsp, 200), TVN_MSG_ERR_TIMEOUT);
    EXPECT_EQ(api.open_count(), 1u);
    EXPECT_TRUE(api.is_client_open());
}

TEST(KagentApi, AFailedOpenIsRetriedOnTheNextCall) {
    // A multi-channel without workers cannot open.
    tvn_kagent_api api("127.0.0.1", true, 0, free_port());
    auto req = filled<tvn_get_kagent_state_req>();
    tvn_get_kagent_state_rsp rsp;
    EXPECT_EQ(api.kagent_get_state(req, rsp, 100), TVN_MSG_ERR_WORKER_NUM);
    EXPECT_EQ(api.kagent_get_state(req, rsp, 100), TVN_MSG_ERR_WORKER_NUM);
    EXPECT_EQ(api.open_count(), 2u);
    EXPECT_FALSE(api.is_client_open());
}

TEST(KagentApi, RenamedMethodsReachTheirRpcs) {
    const int port = free_port();
    raw_rpc_peer agent(port, [](const raw_rpc_peer::seen&, std::string& r) {
        r.clear();
        return true;
    });
    tvn_kagent_api api("127.0.0.1", false, 1, port);
    auto snap = filled<tvn_ka_fs_snapshot_req>();
    tvn_ka_fs_snapshot_rsp snap_rsp;
    EXPECT_EQ(api.kagent_create_fs_snapshot(snap, snap_rsp, 5000u), TVN_MSG_ERR_EMPTY_REPLY);
    EXPECT_EQ(api.kagent_delete_fs_snapshot(snap, snap_rsp, 5000u), TVN_MSG_ERR_EMPTY_REPLY);
    auto seen = agent.requests();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].id, talvane_util::method_id("tvn_kagent_service.kagent_create_snap"));
    EXPECT_EQ(seen[1].id, talvane_util::method_id("tvn_kagent_service.kagent_delete_snap"));
    EXPECT_EQ(api.port(), 6105 == tvn_kagent_api::KAGENT_PORT ? port : -1);
}

}  // namespace
