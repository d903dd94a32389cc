// The agent stand-in through its real endpoint: how commands reach the
// entry, how every kind of answer comes back, what happens to bytes and
// frames that are not a command, and notifications.
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <zmq.hpp>
#include <zmq_addon.hpp>

#include "om_agent.pb.h"
#include "tvn_msgobj.h"
#include "tvn_om_endpoint.h"
#include "tvn_om_msg.h"
#include "tvn_omm_agent.h"
#include "tvn_test_node.h"
#include "tvn_test_service_files.h"

namespace {

using tvn_test::scoped_env;

constexpr int64_t kWaitMs = 10000;

// What the test entry does is chosen by the command's operation code.
enum : uint64_t { kAck = 1, kErrAck = 2, kEnd = 3, kSilent = 4, kSlowAck = 5, kNotify = 6, kTwice = 7 };

std::atomic<int> g_calls{0};
std::atomic<int> g_in_flight{0};
std::atomic<int> g_max_in_flight{0};

void answer_by_opcode(void* handle, const void* data, size_t length, bool queue) {
    ++g_calls;
    void* req = nullptr;
    if (MSGOBJ_Decode(666, data, length, &req) != 0) {
        queue ? MSG_EndMsg(handle, -1) : endRpcCall(-1, handle);
        return;
    }
    uint64_t op = 0;
    MSGOBJ_GetOpcode(req, 0, &op);
    auto ack = [&](void* obj) { return queue ? MSG_AckMsgObj(handle, obj) : OMAgent_AckMsgObj(handle, obj); };
    switch (op) {
        case kAck:
        case kSlowAck:
        case kTwice: {
            if (op == kSlowAck) {
                int now = ++g_in_flight;
                for (int seen = g_max_in_flight.load(); now > seen && !g_max_in_flight.compare_exchange_weak(seen, now);) {
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                --g_in_flight;
            }
            void* ans = MSGOBJ_Create(1, 4091);
            MSGOBJ_SetOpcode(ans, 0, op);
            MSGOBJ_SetItemString(ans, 0, 64, queue ? "queue" : "rpc");
            EXPECT_EQ(ack(ans), 0);
            if (op == kTwice) {
                EXPECT_NE(ack(ans), 0);
            }
            MSGOBJ_Destroy(ans);
            break;
        }
        case kErrAck: queue ? MSG_PostErrAck(handle, op, -14073) : OMAgent_PostErrAck(handle, op, -14073); break;
        case kEnd: queue ? MSG_EndMsg(handle, 7) : endRpcCall(7, handle); break;
        case kNotify: {
            void* n = MSGOBJ_Create(1, 4091);
            MSGOBJ_SetOpcode(n, 0, 0xD00C90034ULL);
            MSGOBJ_SetItemUnsigned(n, 0, 0, 16401);
            EXPECT_EQ(OMAgent_NotifyMsgObj(n), 0);
            MSGOBJ_Destroy(n);
            endRpcCall(0, handle);
            break;
        }
        default: break;  // kSilent: leave the call unanswered
    }
    MSGOBJ_Destroy(req);
}

void test_entry(void* ctx, const void* data, unsigned int length) { answer_by_opcode(ctx, data, length, false); }

void test_queue(void* msg) {
    const void* body = nullptr;
    uint32_t len = 0;
    ASSERT_EQ(MSG_GetMsgInfo(msg, &body, &len), 0);
    answer_by_opcode(msg, body, len, true);
}

int32_t cfg_fn(MSG_CFG_S* cfg) {
    cfg->worker_threads = 4;
    return 0;
}

std::string command(uint64_t opcode) { return tvn_test::om_request(opcode).message().SerializeAsString(); }

OmReply parse(const std::string& bytes) {
    OmReply r;
    EXPECT_TRUE(r.ParseFromString(bytes));
    return r;
}

class Agent : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(Msg_RegisterCfgFunc(cfg_fn), 0);
        ASSERT_EQ(MSG_MemManageInit(), 0);
        ASSERT_EQ(MSG_ClientInit("MSG_CLIENT_TEST", test_queue), 0);
        ASSERT_EQ(OMM_AGENTInit(), 0);
        ASSERT_EQ(rpcInitWork("../conf/ccm_conf.xml"), 0);
        ASSERT_EQ(regRpcEntrySet(test_entry), 0);
        endpoint_ = tvn::om::bound_command_endpoint();
        ASSERT_FALSE(endpoint_.empty());
    }
    void TearDown() override {
        rpcExitWork();
        OMM_AGENTExit();
        MSG_ClientExit();
    }
    OmReply call(const std::string& bytes, bool queue = false) {
        std::string reply;
        EXPECT_EQ(tvn::om::call(endpoint_, bytes, kWaitMs, &reply, queue), 0);
        return parse(reply);
    }

    scoped_env ep_{"TVN_OM_ENDPOINT", "tcp://127.0.0.1:0"};
    scoped_env ev_{"TVN_OM_EVENTS", "tcp://127.0.0.1:0"};
    std::string endpoint_;
};

TEST_F(Agent, EachAnswerComesBackAsItsReplyKind) {
    OmReply ack = call(command(kAck));
    EXPECT_EQ(ack.kind(), OM_ACK);
    EXPECT_EQ(ack.result(), 0);
    EXPECT_EQ(ack.opcode(), kAck);
    ASSERT_EQ(ack.answer().record_size(), 1);
    EXPECT_EQ(ack.answer().record(0).item(0).str(), "rpc");

    OmReply err = call(command(kErrAck));
    EXPECT_EQ(err.kind(), OM_ERR_ACK);
    EXPECT_EQ(err.result(), -14073);
    EXPECT_EQ(err.opcode(), kErrAck);
    EXPECT_FALSE(err.has_answer());

    OmReply end = call(command(kEnd));
    EXPECT_EQ(end.kind(), OM_CALL_END);
    EXPECT_EQ(end.result(), 7);
}

TEST_F(Agent, QueueRoadAnswersThroughTheMessageLayer) {
    OmReply ack = call(command(kAck), true);
    EXPECT_EQ(ack.kind(), OM_ACK);
    EXPECT_EQ(ack.answer().record(0).item(0).str(), "queue");
    EXPECT_EQ(call(command(kErrAck), true).kind(), OM_ERR_ACK);
    OmReply end = call(command(kEnd), true);
    EXPECT_EQ(end.kind(), OM_CALL_END);
    EXPECT_EQ(end.result(), 7);
}

TEST_F(Agent, AnUnansweredCallIsClosedWithMinusOne) {
    OmReply r = call(command(kSilent));
    EXPECT_EQ(r.kind(), OM_CALL_END);
    EXPECT_EQ(r.result(), -1);
}

TEST_F(Agent, OnlyTheFirstAnswerCounts) {
    OmReply r = call(command(kTwice));
    EXPECT_EQ(r.kind(), OM_ACK);
}

TEST_F(Agent, AnswersOfOneRoadAreRefusedOnTheOther) {
    std::string reply;
    const std::string silent = command(kSilent);
    ASSERT_EQ(tvn::om::invoke_local(silent.data(), silent.size(), false, &reply), 0);
    EXPECT_EQ(parse(reply).kind(), OM_CALL_END);
    // A queue-road answer given an RPC context (and the reverse) is refused.
    EXPECT_NE(MSG_EndMsg(nullptr, 0), 0);
    EXPECT_NE(endRpcCall(0, nullptr), 0);
    EXPECT_NE(OMAgent_PostErrAck(nullptr, 1, 1), 0);
}

TEST_F(Agent, FramesThatAreNotACommandAreClosedAndServingGoesOn) {
    zmq::context_t ctx;
    zmq::socket_t s(ctx, zmq::socket_type::dealer);
    s.set(zmq::sockopt::linger, 0);
    s.set(zmq::sockopt::rcvtimeo, static_cast<int>(kWaitMs));
    s.connect(endpoint_);
    struct row {
        const char* what;
        std::vector<std::string> frames;
        bool delimited;
    } rows[] = {
        {"three frames after the delimiter", {"", "a", "b", "c"}, true},
        {"two frames without the queue marker", {"", "nope", "x"}, true},
        {"garbage bytes", {"", std::string("\x08\xff\xff", 3)}, true},
        {"empty command", {"", ""}, true},
        {"no delimiter at all", {command(kAck)}, false},
    };
    for (const auto& row : rows) {
        for (size_t i = 0; i < row.frames.size(); ++i)
            s.send(zmq::buffer(row.frames[i]), i + 1 < row.frames.size() ? zmq::send_flags::sndmore : zmq::send_flags::none);
        std::vector<zmq::message_t> parts;
        ASSERT_TRUE(zmq::recv_multipart(s, std::back_inserter(parts))) << row.what;
        ASSERT_EQ(parts.size(), row.delimited ? 2u : 1u) << row.what;
        OmReply r = parse(parts.back().to_string());
        if (std::string(row.what) == "no delimiter at all") {
            EXPECT_EQ(r.kind(), OM_ACK) << row.what;
        } else {
            EXPECT_EQ(r.kind(), OM_CALL_END) << row.what;
            EXPECT_EQ(r.result(), -1) << row.what;
        }
    }
    EXPECT_EQ(call(command(kAck)).kind(), OM_ACK);
}

TEST_F(Agent, ManyCommandsFromSeveralClientsAreAllAnsweredConcurrently) {
    constexpr int kClients = 6, kEach = 8;
    std::atomic<int> acks{0};
    std::vector<std::thread> clients;
    for (int c = 0; c < kClients; ++c)
        clients.emplace_back([&] {
            for (int i = 0; i < kEach; ++i) {
                std::string reply;
                if (tvn::om::call(endpoint_, command(kSlowAck), kWaitMs, &reply) == 0 && parse(reply).kind() == OM_ACK)
                    ++acks;
            }
        });
    for (auto& t : clients) t.join();
    EXPECT_EQ(acks.load(), kClients * kEach);
    // Served on several threads at once, not one after the other.
    EXPECT_GT(g_max_in_flight.load(), 1);
}

TEST_F(Agent, NotificationsArePublishedOnTheEventsEndpoint) {
    zmq::context_t ctx;
    zmq::socket_t sub(ctx, zmq::socket_type::sub);
    sub.set(zmq::sockopt::linger, 0);
    sub.set(zmq::sockopt::subscribe, "");
    sub.set(zmq::sockopt::rcvtimeo, 200);
    sub.connect(tvn::om::bound_events_endpoint());
    // A subscription takes a moment to reach the publisher; publish until
    // one arrives (bounded).
    zmq::message_t got;
    bool received = false;
    for (int attempt = 0; attempt < 50 && !received; ++attempt) {
        EXPECT_EQ(call(command(kNotify)).kind(), OM_CALL_END);
        received = sub.recv(got, zmq::recv_flags::none).has_value();
    }
    ASSERT_TRUE(received);
    OmMessage n;
    ASSERT_TRUE(n.ParseFromString(got.to_string()));
    EXPECT_EQ(n.record(0).opcode(), 0xD00C90034ULL);
}

TEST_F(Agent, RestartsAfterStopAndRefusesASecondStart) {
    EXPECT_EQ(rpcInitWork("x"), -1);
    rpcExitWork();
    EXPECT_TRUE(tvn::om::bound_command_endpoint().empty());
    ASSERT_EQ(rpcInitWork("x"), 0);
    ASSERT_EQ(regRpcEntrySet(test_entry), 0);
    endpoint_ = tvn::om::bound_command_endpoint();
    EXPECT_EQ(call(command(kAck)).kind(), OM_ACK);
}

TEST_F(Agent, NoReplyWithinTheTimeOutIsMinusThree) {
    zmq::context_t ctx;
    zmq::socket_t mute(ctx, zmq::socket_type::router);
    mute.set(zmq::sockopt::linger, 0);
    mute.bind("tcp://127.0.0.1:*");
    std::string reply;
    EXPECT_EQ(tvn::om::call(mute.get(zmq::sockopt::last_endpoint), command(kAck), 50, &reply), -3);
}

TEST(AgentStart, BusyPortAndInjectedFaultsFail) {
    zmq::context_t ctx;
    zmq::socket_t squatter(ctx, zmq::socket_type::router);
    squatter.set(zmq::sockopt::linger, 0);
    squatter.bind("tcp://127.0.0.1:*");
    scoped_env ep("TVN_OM_ENDPOINT", squatter.get(zmq::sockopt::last_endpoint).c_str());
    EXPECT_EQ(rpcInitWork("x"), -1);
    {
        scoped_env ev("TVN_OM_EVENTS", squatter.get(zmq::sockopt::last_endpoint).c_str());
        EXPECT_EQ(OMM_AGENTInit(), -1);
    }
    const char* names[] = {"Msg_RegisterCfgFunc", "MSG_MemManageInit", "MSG_ClientInit", "MSG_RegisterPID",
                           "OMM_AGENTInit",       "rpcInitWork",       "regRpcEntrySet"};
    for (const char* name : names) {
        scoped_env fail("TVN_FAIL_AT", name);
        int32_t rc = 0;
        std::string n(name);
        if (n == "Msg_RegisterCfgFunc") rc = Msg_RegisterCfgFunc(cfg_fn);
        if (n == "MSG_MemManageInit") rc = MSG_MemManageInit();
        if (n == "MSG_ClientInit") rc = MSG_ClientInit("c", test_queue);
        if (n == "MSG_RegisterPID") rc = MSG_RegisterPID(666);
        if (n == "OMM_AGENTInit") rc = OMM_AGENTInit();
        if (n == "rpcInitWork") rc = rpcInitWork("x");
        if (n == "regRpcEntrySet") rc = regRpcEntrySet(test_entry);
        EXPECT_EQ(rc, -1) << name;
    }
    scoped_env fail("TVN_FAIL_AT", "OMM_AGENT_REG_SYS_FREE");
    int dummy = 0;
    EXPECT_EQ(OMM_AgentRegSysInfo(OMM_AGENT_REG_SYS_LOG, &dummy), 0);
    EXPECT_EQ(OMM_AgentRegSysInfo(OMM_AGENT_REG_SYS_FREE, &dummy), -1);
    EXPECT_EQ(OMM_AgentRegSysInfo(OMM_AGENT_REG_SYS_BUTT, &dummy), -1);
    OMM_AGENTExit();
}

}  // namespace
