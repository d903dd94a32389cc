// Wire framing, endpoint rendering and the request-with-time-out.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "tvn_msg_util.h"
#include "tvn_test_fake_daemon.h"

using namespace tvn_test;

namespace {

TEST(MsgFrame, LayoutIsIdExtThenPayload) {
    TVN_MSG msg = make_msg(0x11223344u, "payload!");
    msg.ext = 0xA0B0C0D0u;
    zmq::message_t frame;
    ASSERT_EQ(tvn_msg_util::cmsg_to_zmsg(msg, frame), 0);
    ASSERT_EQ(frame.size(), 8u + 8u);
    const auto* bytes = frame.data<unsigned char>();
    uint32_t id = 0, ext = 0;
    std::memcpy(&id, bytes, 4);
    std::memcpy(&ext, bytes + 4, 4);
    EXPECT_EQ(id, 0x11223344u);
    EXPECT_EQ(ext, 0xA0B0C0D0u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes + 8), 8), "payload!");

    tvn_msg_util::set_zmsg_ext(frame, 42);
    TVN_MSG back;
    ASSERT_EQ(tvn_msg_util::zmsg_to_cmsg(frame, back), 0);
    EXPECT_EQ(back.id, 0x11223344u);
    EXPECT_EQ(back.ext, 42u);
    EXPECT_EQ(payload_of(back), "payload!");
    tvn_msg_free(msg);
    tvn_msg_free(back);
}

TEST(MsgFrame, EmptyPayloadIsAnEightByteFrame) {
    TVN_MSG msg;
    msg.id = 7;
    zmq::message_t frame;
    ASSERT_EQ(tvn_msg_util::cmsg_to_zmsg(msg, frame), 0);
    EXPECT_EQ(frame.size(), 8u);
    TVN_MSG back;
    EXPECT_EQ(tvn_msg_util::zmsg_to_cmsg(frame, back), 0);
    EXPECT_EQ(back.id, 7u);
    EXPECT_EQ(back.len, 0u);
    EXPECT_EQ(back.data, nullptr);
}

TEST(MsgFrame, FramesShorterThanTheHeaderAreRefused) {
    for (std::size_t size : {0u, 1u, 3u, 7u}) {
        zmq::message_t frame(size);
        std::memset(frame.data(), 0xAB, size);
        TVN_MSG back;
        back.id = 99;
        EXPECT_EQ(tvn_msg_util::zmsg_to_cmsg(frame, back), TVN_MSG_ERR_EMPTY_REPLY) << size;
        EXPECT_EQ(back.data, nullptr);
        EXPECT_EQ(back.len, 0u);
        tvn_msg_util::set_zmsg_ext(frame, 1);  // must not write past the end
    }
}

TEST(MsgAddr, RenderingOfEachKind) {
    struct row {
        tvn_msg_addr addr;
        int rc;
        const char* text;
    };
    const std::string long_host(60, 'h');
    const row rows[] = {
        {tvn_msg_addr(TVN_MSG_ADDR_TCP, "127.0.0.1", 6102), 1, "tcp://127.0.0.1:6102"},
        {tvn_msg_addr(TVN_MSG_ADDR_IPC, "/var/run/x"), 1, "ipc:///var/run/x.ipc"},
        {tvn_msg_addr(TVN_MSG_ADDR_INPROC, "frontrouter"), 1, "inproc://frontrouter"},
        {tvn_msg_addr(), 0, ""},
        {tvn_msg_addr(TVN_MSG_ADDR_TCP, long_host, 6102), -1, ""},
    };
    for (const auto& r : rows) {
        std::string out;
        EXPECT_EQ(tvn_msg_util::addr_to_string(r.addr, out), r.rc) << r.text;
        EXPECT_EQ(out, r.text);
        EXPECT_TRUE(tvn_msg_util::is_valid_addr(r.addr));
    }
    tvn_msg_addr unset;
    EXPECT_EQ(unset.get_type(), TVN_MSG_ADDR_NOT_SET);
    EXPECT_EQ(unset.get_port(), 0);
}

// A REP peer on inproc that answers each request as the test says.
class PollRequestTest : public ::testing::Test {
protected:
    void SetUp() override {
        rep_ = env_.socket(ZMQ_REP);
        ASSERT_EQ(zmq_bind(rep_, "inproc://poll_request"), 0);
        req_ = env_.socket(ZMQ_REQ);
        ASSERT_EQ(zmq_connect(req_, "inproc://poll_request"), 0);
    }
    // Receives the request on the REP side and returns its frame bytes.
    std::string take_request() {
        auto parts = recv_parts(rep_, 2000);
        return parts.empty() ? std::string() : parts.back();
    }
    zmq_env env_;
    void* rep_ = nullptr;
    void* req_ = nullptr;
};

TEST_F(PollRequestTest, NoReplyWithinTheTimeOutIsMinus3) {
    TVN_MSG req = make_msg(1, "x");
    TVN_MSG rsp;
    EXPECT_EQ(tvn_msg_util::poll_request(req_, req, rsp, 30), TVN_MSG_ERR_TIMEOUT);
    EXPECT_EQ(rsp.data, nullptr);
    tvn_msg_free(req);
}

TEST_F(PollRequestTest, AnEightByteReplyIsMinus2009) {
    TVN_MSG req = make_msg(1, "x");
    std::thread peer([&] {
        take_request();
        send_parts(rep_, {frame_bytes(1, 0, "")});
    });
    TVN_MSG rsp;
    EXPECT_EQ(tvn_msg_util::poll_request(req_, req, rsp, 2000), TVN_MSG_ERR_EMPTY_REPLY);
    EXPECT_EQ(rsp.data, nullptr);
    peer.join();
    tvn_msg_free(req);
}

TEST_F(PollRequestTest, AShortReplyIsMinus2009) {
    TVN_MSG req = make_msg(1, "x");
    std::thread peer([&] {
        take_request();
        send_parts(rep_, {"abc"});
    });
    TVN_MSG rsp;
    EXPECT_EQ(tvn_msg_util::poll_request(req_, req, rsp, 2000), TVN_MSG_ERR_EMPTY_REPLY);
    peer.join();
    tvn_msg_free(req);
}

TEST_F(PollRequestTest, ExtIsAlwaysTheCallersTimeOut) {
    for (int timeout : {0, 1500, 30000}) {
        TVN_MSG req = make_msg(5, "abc");
        req.ext = 777;  // whatever the record holds
        std::string seen;
        std::thread peer([&] {
            seen = take_request();
            send_parts(rep_, {frame_bytes(5, 0, "ok")});
        });
        TVN_MSG rsp;
        // With a time-out of 0 the reply may not be there yet.
        int rc = tvn_msg_util::poll_request(req_, req, rsp, timeout == 0 ? 0 : timeout);
        peer.join();
        ASSERT_GE(seen.size(), 8u);
        uint32_t ext = 0;
        std::memcpy(&ext, seen.data() + 4, 4);
        EXPECT_EQ(ext, static_cast<uint32_t>(timeout));
        if (timeout != 0) {
            EXPECT_EQ(rc, 0);
            EXPECT_EQ(payload_of(rsp), "ok");
            EXPECT_EQ(rsp.id, 5u);
        } else {
            // The REQ socket is left waiting for its reply: drain it.
            if (rc == TVN_MSG_ERR_TIMEOUT) recv_parts(req_, 2000);
        }
        tvn_msg_free(rsp);
        tvn_msg_free(req);
    }
}

TEST(MsgReceive, ATerminatedContextIsMinus23AndClosesTheSocket) {
    zmq::context_t ctx;
    zmq::socket_t rep;
    ASSERT_EQ(tvn_msg_util::new_socket(ctx, ZMQ_REP, rep), 0);
    ASSERT_EQ(tvn_msg_util::bind(rep, "inproc://terminated"), 0);
    int32_t rc = 0;
    std::thread receiver([&] {
        std::string text;
        rc = tvn_msg_util::receive_str(rep, text);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ctx.shutdown();
    receiver.join();
    EXPECT_EQ(rc, TVN_MSG_ERR_TERMINATED);
    EXPECT_FALSE(rep);
    zmq::socket_t none;
    std::string text;
    EXPECT_EQ(tvn_msg_util::receive_str(none, text), TVN_MSG_ERR_NULL_SOCKET);
}

}  // namespace
