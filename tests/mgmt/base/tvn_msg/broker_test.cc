// The LRU broker on loopback TCP, driven by REQ and DEALER clients and a
// deal function under the test's control.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "tvn_msg_zmq_lrubroker.h"
#include "tvn_test_fake_daemon.h"

using namespace tvn_test;

namespace {

// What the workers did, and a gate that holds them until the test opens it.
struct deal_probe {
    std::mutex mutex;
    std::condition_variable cv;
    bool gate_open = true;
    std::vector<uint32_t> ids;               // in the order deals began
    std::vector<std::thread::id> threads;    // worker of each deal
    std::set<uint32_t> fail_ids;             // deals that fail (no reply)
    int in_flight = 0;

    void close_gate() {
        std::lock_guard<std::mutex> lock(mutex);
        gate_open = false;
    }
    void open_gate() {
        {
            std::lock_guard<std::mutex> lock(mutex);
            gate_open = true;
        }
        cv.notify_all();
    }
    std::size_t count() {
        std::lock_guard<std::mutex> lock(mutex);
        return ids.size();
    }
    std::vector<uint32_t> seen_ids() {
        std::lock_guard<std::mutex> lock(mutex);
        return ids;
    }

    static int deal(void* context, const TVN_MSG& request, TVN_MSG& reply) {
        auto* self = static_cast<deal_probe*>(context);
        std::unique_lock<std::mutex> lock(self->mutex);
        self->ids.push_back(request.id);
        self->threads.push_back(std::this_thread::get_id());
        ++self->in_flight;
        self->cv.wait(lock, [self] { return self->gate_open; });
        --self->in_flight;
        if (self->fail_ids.count(request.id) != 0) return -99;
        lock.unlock();
        const std::string payload = "re:" + payload_of(request);
        reply.len = static_cast<uint32_t>(payload.size());
        reply.data = new char[payload.size()];
        std::memcpy(reply.data, payload.data(), payload.size());
        return 0;
    }
};

class BrokerTest : public ::testing::Test {
protected:
    void start_broker(int workers) {
        port_ = free_port();
        broker_.set_worker_num(workers);
        broker_.set_msg_deal_fun(&deal_probe::deal, &probe_);
        ASSERT_EQ(broker_.bind(loopback(port_)), 0);
        thread_ = std::thread([this] { start_rc_ = broker_.start(); });
        ASSERT_TRUE(eventually([this] { return broker_.is_running(); }));
    }
    void TearDown() override {
        probe_.open_gate();
        broker_.stop();
        if (thread_.joinable()) thread_.join();
        EXPECT_EQ(start_rc_.load(), 0);
    }
    // One REQ exchange on a fresh socket.
    int call(uint32_t id, const std::string& payload, std::string* reply, int timeout_ms) {
        void* req = socket(ZMQ_REQ);
        zmq_connect(req, tcp_endpoint(port_).c_str());
        TVN_MSG msg = make_msg(id, payload);
        TVN_MSG rsp;
        int rc = tvn_msg_util::poll_request(req, msg, rsp, timeout_ms);
        if (rc == 0 && reply != nullptr) *reply = payload_of(rsp);
        tvn_msg_free(rsp);
        tvn_msg_free(msg);
        return rc;
    }
    // Clients call from several threads; the environment's socket list is one.
    void* socket(int type) {
        std::lock_guard<std::mutex> lock(env_mutex_);
        return env_.socket(type);
    }
    void* dealer() {
        void* d = socket(ZMQ_DEALER);
        zmq_connect(d, tcp_endpoint(port_).c_str());
        return d;
    }

    scoped_log log_;
    zmq_env env_;
    std::mutex env_mutex_;
    deal_probe probe_;
    tvn_msg_zmq_lrubroker broker_;
    int port_ = 0;
    std::thread thread_;
    std::atomic<int> start_rc_{0};
};

TEST_F(BrokerTest, HandsEachRequestToTheWorkerIdleLongest) {
    start_broker(2);
    // Two requests at once put both workers to use (and both on the queue).
    probe_.close_gate();
    std::thread a([&] { EXPECT_EQ(call(1, "a", nullptr, 5000), 0); });
    std::thread b([&] { EXPECT_EQ(call(2, "b", nullptr, 5000), 0); });
    ASSERT_TRUE(eventually([&] { return probe_.count() == 2; }));
    probe_.open_gate();
    a.join();
    b.join();

    for (uint32_t id = 10; id < 16; ++id) ASSERT_EQ(call(id, "s", nullptr, 5000), 0);
    std::lock_guard<std::mutex> lock(probe_.mutex);
    ASSERT_EQ(probe_.threads.size(), 8u);
    // Least recently used: sequential requests alternate between the two.
    for (std::size_t i = 3; i < 8; ++i) EXPECT_NE(probe_.threads[i], probe_.threads[i - 1]) << i;
    EXPECT_EQ(probe_.threads[2], probe_.threads[4]);
}

TEST_F(BrokerTest, SecondClientWaitsBehindTheOnlyWorker) {
    start_broker(1);
    probe_.close_gate();
    std::string first, second;
    std::thread a([&] { EXPECT_EQ(call(1, "first", &first, 5000), 0); });
    ASSERT_TRUE(eventually([&] { return probe_.count() == 1; }));
    std::thread b([&] { EXPECT_EQ(call(2, "second", &second, 5000), 0); });
    // The second request is queued, not dealt, while the worker is busy.
    ASSERT_TRUE(eventually([&] { return broker_.queued_requests() == 1; }));
    EXPECT_EQ(probe_.count(), 1u);
    probe_.open_gate();
    a.join();
    b.join();
    EXPECT_EQ(first, "re:first");
    EXPECT_EQ(second, "re:second");
    EXPECT_EQ(probe_.seen_ids(), (std::vector<uint32_t>{1, 2}));
}

TEST_F(BrokerTest, AThousandQueuedRequestsAreTheLimit) {
    start_broker(1);
    probe_.close_gate();
    void* d = dealer();
    // One in the worker, then 1000 queued, then one too many.
    send_parts(d, {"", frame_bytes(1, 0, "busy")});
    ASSERT_TRUE(eventually([&] { return probe_.count() == 1; }));
    for (uint32_t id = 2; id <= 1002; ++id) send_parts(d, {"", frame_bytes(id, 0, "q")});
    ASSERT_TRUE(log_.wait_for("the msg server worker receive too many message(1000)."));
    EXPECT_EQ(broker_.queued_requests(), tvn_msg_zmq_lrubroker::MAX_QUEUED_REQUESTS);
    probe_.open_gate();

    std::set<uint32_t> answered;
    while (answered.size() < 1001) {
        auto parts = recv_parts(d, 5000);
        if (parts.empty()) break;
        uint32_t id = 0;
        std::memcpy(&id, parts.back().data(), 4);
        answered.insert(id);
    }
    EXPECT_EQ(answered.size(), 1001u);
    EXPECT_EQ(answered.count(1001), 1u);  // the 1000th queued was kept
    EXPECT_EQ(answered.count(1002), 0u);  // the one after it was dropped
    EXPECT_TRUE(recv_parts(d, 50).empty());
}

TEST_F(BrokerTest, QueuedRequestsOlderThanTheirCallersTimeOutAreDropped) {
    fake_monotonic_clock clock;
    start_broker(1);
    probe_.close_gate();
    void* d = dealer();
    send_parts(d, {"", frame_bytes(1, 0, "busy")});
    ASSERT_TRUE(eventually([&] { return probe_.count() == 1; }));
    send_parts(d, {"", frame_bytes(2, 1500, "expires")});  // span 1500/1000 + 1 = 2 s
    send_parts(d, {"", frame_bytes(3, 0, "patient")});     // never expires
    send_parts(d, {"", frame_bytes(4, 3000, "in time")});  // span 4 s
    // All three are stamped before time moves.
    ASSERT_TRUE(eventually([&] { return broker_.queued_requests() == 3; }));
    clock.advance_seconds(3);
    probe_.open_gate();

    std::set<uint32_t> answered;
    for (int i = 0; i < 3; ++i) {
        auto parts = recv_parts(d, 5000);
        if (parts.empty()) break;
        uint32_t id = 0;
        std::memcpy(&id, parts.back().data(), 4);
        answered.insert(id);
    }
    EXPECT_EQ(answered, (std::set<uint32_t>{1, 3, 4}));
    EXPECT_EQ(probe_.seen_ids(), (std::vector<uint32_t>{1, 3, 4}));
    EXPECT_TRUE(log_.contains("The request msg(id:2) is abandoned because of overtime."));
}

TEST_F(BrokerTest, AFailingWorkerAnnouncesItselfAgain) {
    start_broker(1);
    {
        // The hand-over to the worker goes through libzmq, which the race
        // detector does not see: the lock states the order it cannot.
        std::lock_guard<std::mutex> lock(probe_.mutex);
        probe_.fail_ids.insert(1);
    }
    EXPECT_EQ(call(1, "fails", nullptr, 200), TVN_MSG_ERR_TIMEOUT);
    std::string reply;
    EXPECT_EQ(call(2, "works", &reply, 5000), 0);
    EXPECT_EQ(reply, "re:works");
    EXPECT_TRUE(log_.contains("The msg server worker deal the msg error.(-99)."));
}

TEST_F(BrokerTest, MalformedEnvelopesAreDroppedAndTheLoopServesOn) {
    start_broker(1);
    void* d = dealer();
    send_parts(d, {frame_bytes(1, 0, "no delimiter")});           // missing delimiter
    send_parts(d, {""});                                          // delimiter, no request
    send_parts(d, {"", "abc"});                                   // 3-byte frame
    send_parts(d, {"", frame_bytes(2, 0, "x"), "extra part"});    // two request frames
    send_parts(d, {"", std::string(4u << 20, '\xEE')});           // huge garbage frame
    std::string reply;
    EXPECT_EQ(call(3, "still here", &reply, 5000), 0);
    EXPECT_EQ(reply, "re:still here");
    // Only the huge frame carries a header; nothing but it and the good one
    // reached a worker.
    auto ids = probe_.seen_ids();
    ASSERT_EQ(ids.size(), 2u);
    EXPECT_EQ(ids.back(), 3u);
    EXPECT_TRUE(log_.contains("the msg server worker receive client empty frame failed."));
    EXPECT_TRUE(log_.contains("the msg server worker receive client msg frame failed."));
}

TEST(Broker, BindChecksAndLifecycle) {
    tvn_msg_zmq_lrubroker broker;
    EXPECT_EQ(broker.start(), TVN_MSG_ERR_NOT_BOUND);
    EXPECT_EQ(broker.bind(loopback(free_port())), TVN_MSG_ERR_WORKER_NUM);
    broker.set_worker_num(1);
    EXPECT_EQ(broker.bind(tvn_msg_addr()), TVN_MSG_ERR_ADDR);
    EXPECT_EQ(broker.bind(loopback(free_port())), TVN_MSG_ERR_NO_DEAL_FUN);
    deal_probe probe;
    broker.set_msg_deal_fun(&deal_probe::deal, &probe);
    const int port = free_port();
    EXPECT_EQ(broker.bind(loopback(port)), 0);
    EXPECT_EQ(broker.bind(loopback(port)), TVN_MSG_ERR_BOUND);
    // Stopped before it ever ran: workers end, and it can be bound again.
    EXPECT_EQ(broker.stop(), 0);
    EXPECT_FALSE(broker.is_bound());
    EXPECT_EQ(broker.bind(loopback(port)), 0);
    EXPECT_EQ(broker.stop(), 0);
}

TEST(Broker, APortInUseIsReported) {
    const int port = free_port();
    zmq_env env;
    void* holder = env.socket(ZMQ_ROUTER);
    ASSERT_EQ(zmq_bind(holder, tcp_endpoint(port).c_str()), 0);
    deal_probe probe;
    tvn_msg_zmq_lrubroker broker;
    broker.set_worker_num(1);
    broker.set_msg_deal_fun(&deal_probe::deal, &probe);
    ASSERT_EQ(broker.bind(loopback(port)), 0);
    EXPECT_EQ(broker.start(), TVN_MSG_ERR_BIND);
    EXPECT_FALSE(broker.is_bound());
}

}  // namespace
