// RPC client and server end to end on loopback TCP.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "talvane_cm.pb.h"
#include "talvane_failover.pb.h"
#include "talvane_util.h"
#include "tvn_msg_rpc_client.h"
#include "tvn_msg_rpc_controller.h"
#include "tvn_msg_rpc_server.h"
#include "tvn_test_fake_daemon.h"

using namespace tvn_test;
using google::protobuf::Closure;
using google::protobuf::RpcController;

namespace {

class test_cm_service : public tvn_cm_service {
public:
    std::atomic<int> calls{0};
    void get_cm_state(RpcController*, const tvn_get_cm_state_req*, tvn_get_cm_state_rsp* rsp,
                      Closure* done) override {
        ++calls;
        rsp->set_result(7);
        if (done != nullptr) done->Run();
    }
    // Fills its answer but reports failure: nothing may reach the caller.
    void get_cluster_info(RpcController* controller, const tvn_get_cluster_info_req*,
                          tvn_get_cluster_info_rsp* rsp, Closure* done) override {
        ++calls;
        rsp->set_result(0);
        rsp->set_node_id(3);
        controller->SetFailed("refused");
        if (done != nullptr) done->Run();
    }
};

class test_failover_service : public tvn_failover_service {
public:
    void get_node_name(RpcController*, const tvn_get_node_name_req*, tvn_get_node_name_rsp* rsp,
                       Closure* done) override {
        rsp->set_result(0);
        rsp->set_node_name("node-a");
        if (done != nullptr) done->Run();
    }
};

int32_t cm_state(tvn_msg_rpc_client& client, int timeout_ms, int32_t* result = nullptr) {
    tvn_cm_service_Stub stub(&client);
    tvn_msg_rpc_controller controller;
    controller.SetTimeout(timeout_ms);
    tvn_get_cm_state_req req;
    tvn_get_cm_state_rsp rsp;
    stub.get_cm_state(&controller, &req, &rsp, nullptr);
    if (result != nullptr && !controller.Failed()) *result = rsp.result();
    return controller.Failed() ? controller.GetErrno() : 0;
}

int32_t node_name(tvn_msg_rpc_client& client, std::string* name) {
    tvn_failover_service_Stub stub(&client);
    tvn_msg_rpc_controller controller;
    controller.SetTimeout(5000);
    tvn_get_node_name_req req;
    tvn_get_node_name_rsp rsp;
    stub.get_node_name(&controller, &req, &rsp, nullptr);
    if (!controller.Failed()) *name = rsp.node_name();
    return controller.Failed() ? controller.GetErrno() : 0;
}

class RpcTest : public ::testing::TestWithParam<bool> {
protected:
    bool multi() const { return GetParam(); }
    test_cm_service cm_;
    test_failover_service failover_;
    const int port_ = free_port();
};

TEST_P(RpcTest, TwoServicesOnOneServer) {
    running_rpc_server server(2, {&cm_, &failover_}, port_);
    tvn_msg_rpc_client client(multi());
    ASSERT_EQ(client.open(loopback(port_), 2), 0);
    int32_t result = 0;
    EXPECT_EQ(cm_state(client, 5000, &result), 0);
    EXPECT_EQ(result, 7);
    std::string name;
    EXPECT_EQ(node_name(client, &name), 0);
    EXPECT_EQ(name, "node-a");
    EXPECT_EQ(client.get_last_error(), 0);
}

TEST_P(RpcTest, AnUnknownMethodLeavesTheCallerWithATimeOut) {
    running_rpc_server server(2, {&failover_}, port_);
    tvn_msg_rpc_client client(multi());
    ASSERT_EQ(client.open(loopback(port_), 2), 0);
    EXPECT_EQ(cm_state(client, 300), TVN_MSG_ERR_TIMEOUT);
    // The server lives on.
    std::string name;
    EXPECT_EQ(node_name(client, &name), 0);
}

TEST_P(RpcTest, AHandlerThatFailsSendsNoReply) {
    running_rpc_server server(1, {&cm_}, port_);
    tvn_msg_rpc_client client(multi());
    ASSERT_EQ(client.open(loopback(port_), 2), 0);
    tvn_cm_service_Stub stub(&client);
    tvn_msg_rpc_controller controller;
    controller.SetTimeout(300);
    tvn_get_cluster_info_req req;
    req.set_info_type(0);
    tvn_get_cluster_info_rsp rsp;
    stub.get_cluster_info(&controller, &req, &rsp, nullptr);
    EXPECT_EQ(controller.GetErrno(), TVN_MSG_ERR_TIMEOUT);
    EXPECT_EQ(controller.ErrorText(), "remote request failed.");
    EXPECT_FALSE(rsp.has_node_id());
    EXPECT_EQ(cm_.calls.load(), 1);
    // Its worker comes back for the next call.
    EXPECT_EQ(cm_state(client, 5000), 0);
}

INSTANTIATE_TEST_SUITE_P(SingleAndMultiChannel, RpcTest, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "multi" : "single"; });

TEST(RpcServer, StartStopAndStartAgain) {
    test_cm_service cm;
    const int port = free_port();
    tvn_msg_rpc_server server;
    ASSERT_EQ(server.init(2), 0);
    server.register_service(&cm);
    server.register_service(&cm);  // a second registration replaces the first
    for (int round = 0; round < 2; ++round) {
        std::atomic<int> rc{-1};
        std::thread serving([&] { rc = server.start(loopback(port)); });
        ASSERT_TRUE(eventually([&] { return server.is_running(); })) << round;
        tvn_msg_rpc_client client(false);
        ASSERT_EQ(client.open(loopback(port), 1), 0);
        EXPECT_EQ(cm_state(client, 5000), 0) << round;
        EXPECT_EQ(server.stop(), 0);
        serving.join();
        EXPECT_EQ(rc.load(), 0) << round;
        EXPECT_FALSE(server.is_running());
    }
    server.unregister();
}

TEST(RpcServer, StopDuringStartUpEndsIt) {
    test_cm_service cm;
    for (int round = 0; round < 20; ++round) {
        tvn_msg_rpc_server server;
        ASSERT_EQ(server.init(1), 0);
        server.register_service(&cm);
        std::atomic<bool> done{false};
        std::thread serving([&] {
            server.start(loopback(free_port()));
            done = true;
        });
        // Whatever point start() has reached when stop() comes, once start()
        // has been entered a stop ends it.
        for (int i = 0; i < 5000 && !done; ++i) {
            server.stop();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_TRUE(done) << round;
        if (!done) server.stop();
        serving.join();
    }
}

// A serving thread may be told to stop after it decided to start but before
// start() is entered: that stop must not be lost.
TEST(RpcServer, AStopBeforeStartIsKeptForThatStartAndInitForgetsIt) {
    test_cm_service cm;
    const int port = free_port();
    tvn_msg_rpc_server server;
    ASSERT_EQ(server.init(1), 0);
    server.register_service(&cm);
    // Runs start() on a thread; true when it returned within 5 s (else the
    // server is stopped so that the thread can be joined).
    auto start_returns = [&](int* rc) {
        std::atomic<bool> done{false};
        std::thread serving([&] {
            *rc = server.start(loopback(port));
            done = true;
        });
        const bool returned = eventually([&] { return done.load(); });
        if (!returned) server.stop();
        serving.join();
        return returned;
    };

    EXPECT_EQ(server.stop(), 0);
    int rc = -1;
    EXPECT_TRUE(start_returns(&rc));
    EXPECT_EQ(rc, 0);
    EXPECT_FALSE(server.is_running());

    // Used up by that start: the next one serves until stopped.
    std::thread serving([&] { rc = server.start(loopback(port)); });
    EXPECT_TRUE(eventually([&] { return server.is_running(); }));
    EXPECT_EQ(server.stop(), 0);
    serving.join();
    EXPECT_EQ(rc, 0);

    // A stop after the run ended is forgotten by a new init.
    EXPECT_EQ(server.stop(), 0);
    ASSERT_EQ(server.init(1), 0);
    std::thread again([&] { rc = server.start(loopback(port)); });
    EXPECT_TRUE(eventually([&] { return server.is_running(); }));
    tvn_msg_rpc_client client(false);
    ASSERT_EQ(client.open(loopback(port), 1), 0);
    EXPECT_EQ(cm_state(client, 5000), 0);
    EXPECT_EQ(server.stop(), 0);
    again.join();
    server.unregister();
}

TEST(RpcServer, InitRefusesZeroWorkers) {
    tvn_msg_rpc_server server;
    EXPECT_EQ(server.init(0), TVN_MSG_ERR_NO_CONTEXT);
    EXPECT_EQ(server.start(loopback(free_port())), TVN_MSG_ERR_NO_SERVER);
}

TEST(RpcServer, GarbageForAKnownMethodIsDroppedAndServiceGoesOn) {
    scoped_log log;
    test_cm_service cm;
    const int port = free_port();
    running_rpc_server server(1, {&cm}, port);
    zmq_env env;
    void* req = env.socket(ZMQ_REQ);
    zmq_connect(req, tcp_endpoint(port).c_str());
    TVN_MSG garbage = make_msg(talvane_util::method_id("tvn_cm_service.get_cluster_info"),
                               std::string("\xff\xff\xff\xff\x0f", 5));
    TVN_MSG rsp;
    EXPECT_EQ(tvn_msg_util::poll_request(req, garbage, rsp, 300), TVN_MSG_ERR_TIMEOUT);
    tvn_msg_free(garbage);
    EXPECT_TRUE(log.wait_for("request parse failed"));
    tvn_msg_rpc_client client(false);
    ASSERT_EQ(client.open(loopback(port), 1), 0);
    EXPECT_EQ(cm_state(client, 5000), 0);
    EXPECT_EQ(cm.calls.load(), 1);
}

TEST(RpcClient, CallsBeforeOpenAndWithoutControllerFail) {
    tvn_msg_rpc_client client(false);
    EXPECT_EQ(cm_state(client, 100), TVN_MSG_ERR_NOT_OPEN);
    EXPECT_EQ(client.get_last_error(), TVN_MSG_ERR_NOT_OPEN);

    const auto* method = tvn_cm_service::descriptor()->FindMethodByName("get_cm_state");
    tvn_get_cm_state_req req;
    tvn_get_cm_state_rsp rsp;
    client.CallMethod(method, nullptr, &req, &rsp, nullptr);
    EXPECT_EQ(client.get_last_error(), TVN_MSG_ERR_NO_CONTROLLER);
}

TEST(RpcClient, ARequestMissingRequiredFieldsIsNotSent) {
    tvn_msg_rpc_client client(false);
    ASSERT_EQ(client.open(loopback(free_port()), 1), 0);
    tvn_cm_service_Stub stub(&client);
    tvn_msg_rpc_controller controller;
    tvn_get_cluster_info_req req;  // info_type is required
    tvn_get_cluster_info_rsp rsp;
    stub.get_cluster_info(&controller, &req, &rsp, nullptr);
    EXPECT_EQ(controller.GetErrno(), TVN_MSG_ERR_REQUEST_FORMAT);
    EXPECT_EQ(controller.ErrorText(), "error request format.");
}

TEST(RpcController, DefaultsResetAndCodes) {
    tvn_msg_rpc_controller c;
    EXPECT_EQ(c.GetTimeout(), 10000);
    EXPECT_FALSE(c.Failed());
    c.SetTimeout(5);
    c.SetFailed("bad");
    EXPECT_EQ(c.GetErrno(), -1);
    EXPECT_EQ(c.ErrorText(), "bad");
    c.StartCancel();
    EXPECT_TRUE(c.IsCanceled());
    EXPECT_EQ(c.GetErrno(), -2);
    c.Reset();
    EXPECT_FALSE(c.Failed());
    EXPECT_FALSE(c.IsCanceled());
    EXPECT_EQ(c.GetTimeout(), 10000);
    EXPECT_EQ(c.ErrorText(), "");
}

}  // namespace
