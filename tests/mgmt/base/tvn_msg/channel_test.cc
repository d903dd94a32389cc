// Client channels against REP peers on loopback TCP.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "tvn_msg_zmq_channel.h"
#include "tvn_msg_zmq_mchannel.h"
#include "tvn_msg_zmq_server.h"
#include "tvn_test_fake_daemon.h"

using namespace tvn_test;

namespace {

// A REP peer on a loopback port; `answer` decides per request whether to
// reply (true) and with what.
class rep_peer {
public:
    using answer_fn = std::function<bool(const std::string& request, std::string& reply)>;

    rep_peer(int port, answer_fn answer)
        : ctx_(zmq_ctx_new()), endpoint_(tcp_endpoint(port)), answer_(std::move(answer)) {
        bound_ = rebind();
        thread_ = std::thread([this] { run(); });
    }
    ~rep_peer() {
        stop_ = true;
        thread_.join();
        if (socket_ != nullptr) zmq_close(socket_);
        zmq_ctx_term(ctx_);
    }
    bool bound() const { return bound_; }

private:
    bool rebind() {
        if (socket_ != nullptr) zmq_close(socket_);
        socket_ = zmq_socket(ctx_, ZMQ_REP);
        int linger = 0;
        zmq_setsockopt(socket_, ZMQ_LINGER, &linger, sizeof(linger));
        return zmq_bind(socket_, endpoint_.c_str()) == 0;
    }
    void run() {
        while (!stop_) {
            auto parts = recv_parts(socket_, 10);
            if (parts.empty()) continue;
            std::string reply;
            if (answer_(parts.back(), reply)) {
                send_parts(socket_, {reply});
            } else {
                // A REP socket must answer before it can receive again:
                // rebuild it to leave this request unanswered.
                while (!rebind() && !stop_)
                    std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        }
    }

    void* ctx_;
    void* socket_ = nullptr;
    std::string endpoint_;
    bool bound_ = false;
    answer_fn answer_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

// Echoes the payload back with the request's id.
bool echo(const std::string& request, std::string& reply) {
    uint32_t id = 0;
    std::memcpy(&id, request.data(), 4);
    reply = frame_bytes(id, 0, request.substr(8));
    return true;
}

TEST(MsgChannel, OpenTwiceAndCloseUnopened) {
    tvn_msg_zmq_channel never;
    EXPECT_EQ(never.close(), 0);

    tvn_msg_zmq_channel channel;
    EXPECT_EQ(channel.open(), TVN_MSG_ERR_ADDR);  // no address yet
    EXPECT_EQ(channel.connect(loopback(free_port())), 0);
    EXPECT_EQ(channel.open(), 0);
    EXPECT_EQ(channel.open(), 0);
    EXPECT_TRUE(channel.is_open());
    EXPECT_EQ(channel.close(), 0);
    EXPECT_FALSE(channel.is_open());

    tvn_msg_zmq_channel too_long;
    too_long.connect(tvn_msg_addr(TVN_MSG_ADDR_TCP, std::string(70, 'h'), 1));
    EXPECT_EQ(too_long.open(), TVN_MSG_ERR_ADDR);
}

TEST(MsgChannel, RebuildsItsSocketAfterATimeOutThenSucceeds) {
    const int port = free_port();
    std::atomic<int> seen{0};
    rep_peer peer(port, [&](const std::string& req, std::string& reply) {
        // The first request goes unanswered.
        return seen++ == 0 ? false : echo(req, reply);
    });
    ASSERT_TRUE(peer.bound());

    tvn_msg_zmq_channel channel;
    ASSERT_EQ(channel.connect(loopback(port)), 0);
    ASSERT_EQ(channel.open(), 0);
    TVN_MSG req = make_msg(3, "hello");
    TVN_MSG rsp;
    EXPECT_EQ(channel.request(req, rsp, 300), TVN_MSG_ERR_TIMEOUT);
    // Without a rebuild the REQ socket would refuse to send (EFSM).
    ASSERT_EQ(channel.request(req, rsp, 5000), 0);
    EXPECT_EQ(payload_of(rsp), "hello");
    EXPECT_EQ(rsp.id, 3u);
    tvn_msg_free(rsp);
    tvn_msg_free(req);
    channel.close();
}

TEST(MsgMChannel, OpenTwiceRefusalsAndCloseUnopened) {
    scoped_log log;
    tvn_msg_zmq_mchannel never(2);
    EXPECT_EQ(never.close(), 0);
    EXPECT_EQ(never.open(), TVN_MSG_ERR_ADDR);  // no address yet
    EXPECT_EQ(never.connect(tvn_msg_addr(TVN_MSG_ADDR_TCP, std::string(70, 'h'), 1)),
              TVN_MSG_ERR_ADDR);
    EXPECT_EQ(never.open(), TVN_MSG_ERR_ADDR);

    tvn_msg_zmq_mchannel no_workers(0);
    ASSERT_EQ(no_workers.connect(loopback(free_port())), 0);
    EXPECT_EQ(no_workers.open(), TVN_MSG_ERR_WORKER_NUM);
    EXPECT_TRUE(log.contains("the msg channel open failed,bind worker server failed."));

    tvn_msg_zmq_mchannel channel(2);
    ASSERT_EQ(channel.connect(loopback(free_port())), 0);
    ASSERT_EQ(channel.open(), 0);
    EXPECT_TRUE(channel.is_server_start());
    EXPECT_FALSE(log.contains("the msg channel has opened."));
    EXPECT_EQ(channel.open(), 0);  // already running: nothing is made again
    EXPECT_TRUE(log.contains("the msg channel has opened."));
    EXPECT_EQ(channel.close(), 0);
    EXPECT_FALSE(channel.is_server_start());
    EXPECT_TRUE(log.contains("the msg client mchannel interupt success."));
    EXPECT_EQ(channel.close(), 0);
}

TEST(MsgMChannel, RunsNCallsAtOnce) {
    constexpr int kN = 4;
    const int port = free_port();
    // The peer is a ROUTER so that it can hold all requests before answering:
    // it answers only once kN are in flight at the same time.
    zmq_env env;
    void* router = env.socket(ZMQ_ROUTER);
    ASSERT_EQ(zmq_bind(router, tcp_endpoint(port).c_str()), 0);
    std::atomic<bool> all_at_once{false};
    std::atomic<int> forwarded_with_callers_timeout{0};
    std::thread peer([&] {
        std::vector<std::vector<std::string>> held;
        while (held.size() < static_cast<std::size_t>(kN)) {
            auto parts = recv_parts(router, 5000);
            if (parts.empty()) return;
            uint32_t ext = 0;
            std::memcpy(&ext, parts.back().data() + 4, 4);
            if (ext == 4321) ++forwarded_with_callers_timeout;
            held.push_back(parts);
        }
        all_at_once = true;
        for (auto& parts : held) {
            std::string reply;
            echo(parts.back(), reply);
            send_parts(router, {parts[0], "", reply});
        }
    });

    tvn_msg_zmq_mchannel channel(kN);
    ASSERT_EQ(channel.connect(loopback(port)), 0);
    ASSERT_EQ(channel.open(), 0);
    EXPECT_EQ(channel.open(), 0);
    std::atomic<int> ok{0};
    std::vector<std::thread> callers;
    for (int i = 0; i < kN; ++i) {
        callers.emplace_back([&, i] {
            TVN_MSG req = make_msg(10 + i, "call" + std::to_string(i));
            TVN_MSG rsp;
            if (channel.request(req, rsp, 4321) == 0 && payload_of(rsp) == "call" + std::to_string(i))
                ++ok;
            tvn_msg_free(rsp);
            tvn_msg_free(req);
        });
    }
    for (auto& t : callers) t.join();
    peer.join();
    EXPECT_TRUE(all_at_once);
    EXPECT_EQ(ok.load(), kN);
    EXPECT_EQ(forwarded_with_callers_timeout.load(), kN);
    // One long-lived connection per worker thread.
    EXPECT_EQ(channel.worker_socket_count(), static_cast<std::size_t>(kN));
    EXPECT_EQ(channel.close(), 0);
    EXPECT_EQ(channel.worker_socket_count(), 0u);
}

TEST(MsgMChannel, PeerDownTimesOutThenAFreshWorkerSocketSucceeds) {
    scoped_log log;
    const int port = free_port();
    tvn_msg_zmq_mchannel channel(1);
    ASSERT_EQ(channel.connect(loopback(port)), 0);
    ASSERT_EQ(channel.open(), 0);
    TVN_MSG req = make_msg(1, "ping");
    TVN_MSG rsp;
    EXPECT_EQ(channel.request(req, rsp, 200), TVN_MSG_ERR_TIMEOUT);
    // The worker gave up its socket on failure.
    EXPECT_TRUE(eventually([&] { return channel.worker_socket_count() == 0; }));
    EXPECT_TRUE(log.contains("the msg client mchannel requet failed(-3)."));
    EXPECT_TRUE(log.wait_for("the msg client mchannel worker requet failed(-3)."));

    rep_peer peer(port, echo);
    ASSERT_TRUE(peer.bound());
    ASSERT_EQ(channel.request(req, rsp, 5000), 0);
    EXPECT_EQ(payload_of(rsp), "ping");
    EXPECT_EQ(channel.worker_socket_count(), 1u);
    tvn_msg_free(rsp);
    tvn_msg_free(req);
    channel.close();
}

TEST(MsgMChannel, ClosedChannelRefusesAndReopens) {
    const int port = free_port();
    rep_peer peer(port, echo);
    tvn_msg_zmq_mchannel channel(2);
    ASSERT_EQ(channel.connect(loopback(port)), 0);
    TVN_MSG req = make_msg(1, "a");
    TVN_MSG rsp;
    EXPECT_EQ(channel.request(req, rsp, 100), TVN_MSG_ERR_NO_CONNECTION);
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(channel.open(), 0);
        ASSERT_EQ(channel.request(req, rsp, 5000), 0) << round;
        tvn_msg_free(rsp);
        ASSERT_EQ(channel.close(), 0);
        EXPECT_EQ(channel.request(req, rsp, 100), TVN_MSG_ERR_NO_CONNECTION);
    }
    tvn_msg_free(req);
}

TEST(MsgMChannel, OneWorkerServesCallersOneAfterAnother) {
    constexpr int kCallers = 4;
    const int port = free_port();
    // A ROUTER peer that looks, before it answers each request, whether
    // another one has come meanwhile: with one worker none ever does.
    zmq_env env;
    void* router = env.socket(ZMQ_ROUTER);
    ASSERT_EQ(zmq_bind(router, tcp_endpoint(port).c_str()), 0);
    std::atomic<int> most_at_once{0};
    std::thread peer([&] {
        std::vector<std::vector<std::string>> pending;
        int answered = 0;
        while (answered < kCallers) {
            auto parts = recv_parts(router, pending.empty() ? 5000 : 30);
            if (!parts.empty()) {
                pending.push_back(parts);
                most_at_once = std::max<int>(most_at_once, static_cast<int>(pending.size()));
                continue;
            }
            if (pending.empty()) return;
            std::string reply;
            echo(pending.front().back(), reply);
            send_parts(router, {pending.front()[0], "", reply});
            pending.erase(pending.begin());
            ++answered;
        }
    });

    tvn_msg_zmq_mchannel channel(1);
    ASSERT_EQ(channel.connect(loopback(port)), 0);
    ASSERT_EQ(channel.open(), 0);
    std::atomic<int> ok{0};
    std::vector<std::thread> callers;
    for (int i = 0; i < kCallers; ++i) {
        callers.emplace_back([&, i] {
            TVN_MSG req = make_msg(20 + i, "c" + std::to_string(i));
            TVN_MSG rsp;
            if (channel.request(req, rsp, 5000) == 0 && payload_of(rsp) == "c" + std::to_string(i))
                ++ok;
            tvn_msg_free(rsp);
            tvn_msg_free(req);
        });
    }
    for (auto& t : callers) t.join();
    peer.join();
    EXPECT_EQ(ok.load(), kCallers);
    EXPECT_EQ(most_at_once.load(), 1);
    EXPECT_EQ(channel.worker_socket_count(), 1u);
    EXPECT_EQ(channel.close(), 0);
}

TEST(MsgMChannel, BehindTheOnlyWorkerACallerWaitsWithinItsOwnTimeOut) {
    const int port = free_port();
    // The peer holds the first request until told to answer.
    std::mutex m;
    std::condition_variable cv;
    bool release = false;
    rep_peer peer(port, [&](const std::string& req, std::string& reply) {
        if (req.substr(8) == "slow") {
            std::unique_lock<std::mutex> lock(m);
            cv.wait(lock, [&] { return release; });
        }
        return echo(req, reply);
    });
    tvn_msg_zmq_mchannel channel(1);
    ASSERT_EQ(channel.connect(loopback(port)), 0);
    ASSERT_EQ(channel.open(), 0);
    std::atomic<int> slow_rc{-1};
    std::thread slow([&] {
        TVN_MSG req = make_msg(1, "slow");
        TVN_MSG rsp;
        slow_rc = channel.request(req, rsp, 5000);
        tvn_msg_free(rsp);
        tvn_msg_free(req);
    });
    ASSERT_TRUE(eventually([&] { return channel.worker_socket_count() == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    // The only worker is busy: a caller with a short time-out gives up.
    TVN_MSG req = make_msg(2, "fast");
    TVN_MSG rsp;
    EXPECT_EQ(channel.request(req, rsp, 50), TVN_MSG_ERR_TIMEOUT);
    // One with a long time-out waits for the worker and is served after.
    std::atomic<int> waiting_rc{-1};
    std::thread waiting([&] {
        TVN_MSG r = make_msg(3, "after");
        TVN_MSG out;
        waiting_rc = channel.request(r, out, 5000);
        tvn_msg_free(out);
        tvn_msg_free(r);
    });
    {
        std::lock_guard<std::mutex> lock(m);
        release = true;
    }
    cv.notify_all();
    slow.join();
    waiting.join();
    EXPECT_EQ(slow_rc.load(), 0);
    EXPECT_EQ(waiting_rc.load(), 0);
    tvn_msg_free(req);
    channel.close();
}

TEST(MsgMChannel, CloseEndsRequestsInFlight) {
    const int port = free_port();
    rep_peer peer(port, [](const std::string&, std::string&) { return false; });
    tvn_msg_zmq_mchannel channel(2);
    ASSERT_EQ(channel.connect(loopback(port)), 0);
    ASSERT_EQ(channel.open(), 0);
    std::atomic<int> rc{1};
    std::thread caller([&] {
        TVN_MSG req = make_msg(1, "never answered");
        TVN_MSG rsp;
        rc = channel.request(req, rsp, 60000);
        tvn_msg_free(req);
    });
    ASSERT_TRUE(eventually([&] { return channel.worker_socket_count() == 1; }));
    EXPECT_EQ(channel.close(), 0);  // must not wait out the minute
    caller.join();
    EXPECT_NE(rc.load(), 0);
    EXPECT_NE(rc.load(), TVN_MSG_ERR_TIMEOUT);
}

// The proxy-style server on inproc, with REQ clients in its own context.
TEST(MsgZmqServer, ServesRebuildsAfterAFailedDealAndRestarts) {
    struct probe {
        static int deal(void*, const TVN_MSG& request, TVN_MSG& reply) {
            if (payload_of(request) == "fail") return -9;
            const std::string out = "re:" + payload_of(request);
            reply.len = static_cast<uint32_t>(out.size());
            reply.data = new char[out.size()];
            std::memcpy(reply.data, out.data(), out.size());
            return 0;
        }
    };
    tvn_msg_zmq_server server;
    EXPECT_EQ(server.start(), TVN_MSG_ERR_NOT_BOUND);
    EXPECT_EQ(server.get_zmq_context(), nullptr);
    server.set_worker_num(1);
    server.set_msg_deal_fun(&probe::deal, nullptr);
    server.set_inproc_addr("inproc://test_backend");
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(server.bind(tvn_msg_addr(TVN_MSG_ADDR_INPROC, "test_front")), 0);
        EXPECT_EQ(server.bind(tvn_msg_addr(TVN_MSG_ADDR_INPROC, "test_front")), TVN_MSG_ERR_BOUND);
        std::atomic<int> start_rc{-1};
        std::thread serving([&] { start_rc = server.start(); });
        ASSERT_NE(server.get_zmq_context(), nullptr);
        auto exchange = [&](const std::string& text, int timeout, std::string* out) {
            zmq::socket_t req;
            EXPECT_EQ(server.create_socket(ZMQ_REQ, req), 0);
            EXPECT_EQ(tvn_msg_util::connect(req, "inproc://test_front"), 0);
            TVN_MSG msg = make_msg(4, text);
            TVN_MSG rsp;
            int rc = tvn_msg_util::poll_request(req.handle(), msg, rsp, timeout);
            if (rc == 0 && out != nullptr) *out = payload_of(rsp);
            tvn_msg_free(rsp);
            tvn_msg_free(msg);
            return rc;
        };
        std::string out;
        EXPECT_EQ(exchange("fail", 100, nullptr), TVN_MSG_ERR_TIMEOUT);
        EXPECT_EQ(exchange("ok", 5000, &out), 0) << round;
        EXPECT_EQ(out, "re:ok");
        EXPECT_EQ(server.stop(), 0);
        serving.join();
        EXPECT_EQ(start_rc.load(), 0);
        EXPECT_FALSE(server.is_bound());
    }
}

}  // namespace
