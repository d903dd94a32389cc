// The broker's worker and request bookkeeping, without sockets.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <vector>

#include "tvn_msg_lru_queue.h"
#include "tvn_test_fake_daemon.h"

using namespace tvn_test;

namespace {

using admit_result = tvn_msg_lru_queue::admit_result;

zmq::message_t request_frame(uint32_t id, uint32_t ext, const std::string& payload = "p") {
    const std::string bytes = frame_bytes(id, ext, payload);
    return zmq::message_t(bytes.data(), bytes.size());
}

// Queues a request (no worker may be idle) and checks that it stayed queued.
void enqueue(tvn_msg_lru_queue& queue, const std::string& client, uint32_t id, uint32_t ext) {
    zmq::message_t frame = request_frame(id, ext);
    std::string worker;
    ASSERT_EQ(queue.admit(client, frame, worker), admit_result::queued);
    EXPECT_EQ(frame.size(), 0u) << "the queue keeps the frame";
}

// The log's clock, moved a rate-limit window on for each case of a table, so
// that every case may log afresh.
class log_window_per_case {
public:
    log_window_per_case() { tvn::set_log_clock(&now); }
    ~log_window_per_case() { tvn::set_log_clock(nullptr); }
    void next() { seconds() += 120; }

private:
    static std::atomic<uint64_t>& seconds() {
        static std::atomic<uint64_t> value{1000};
        return value;
    }
    static uint64_t now() { return seconds().load(); }
};

// Every (worker, client, request id) the queue hands out now.
std::vector<std::string> drain(tvn_msg_lru_queue& queue) {
    std::vector<std::string> out;
    std::string worker;
    tvn_msg_lru_queue::request next;
    while (queue.next(worker, next)) {
        uint32_t id = 0;
        std::memcpy(&id, next.frame.data(), sizeof(id));
        EXPECT_EQ(id, next.id);
        out.push_back(worker + ">" + next.client + "#" + std::to_string(id));
    }
    return out;
}

TEST(LruQueue, AnIdleWorkerTakesARequestAtOnceLeastRecentlyUsedFirst) {
    tvn_msg_lru_queue queue;
    queue.worker_idle("w1");
    queue.worker_idle("w2");
    std::vector<std::string> served;
    for (const char* client : {"c1", "c2"}) {
        zmq::message_t frame = request_frame(1, 1000);
        std::string worker;
        ASSERT_EQ(queue.admit(client, frame, worker), admit_result::dispatch);
        EXPECT_EQ(frame.size(), 9u) << "the frame stays with the caller to send";
        served.push_back(worker);
        queue.worker_idle(worker);  // it answers at once
    }
    EXPECT_EQ(served, (std::vector<std::string>{"w1", "w2"}));
    EXPECT_EQ(queue.queued(), 0u);
    EXPECT_EQ(queue.idle_workers(), 2u);
}

TEST(LruQueue, RequestsWaitInArrivalOrderUntilWorkersFreeUp) {
    tvn_msg_lru_queue queue;
    enqueue(queue, "c1", 1, 0);
    enqueue(queue, "c2", 2, 0);
    enqueue(queue, "c3", 3, 0);
    EXPECT_EQ(queue.queued(), 3u);
    EXPECT_TRUE(drain(queue).empty()) << "no worker is idle";

    queue.worker_idle("w1");
    EXPECT_EQ(drain(queue), (std::vector<std::string>{"w1>c1#1"}));
    queue.worker_idle("w2");
    queue.worker_idle("w1");
    EXPECT_EQ(drain(queue), (std::vector<std::string>{"w2>c2#2", "w1>c3#3"}));
    EXPECT_EQ(queue.queued(), 0u);
    EXPECT_EQ(queue.idle_workers(), 0u);
}

TEST(LruQueue, AThousandQueuedRequestsAreTheLimit) {
    scoped_log log;
    tvn_msg_lru_queue queue;
    for (uint32_t i = 0; i < tvn_msg_lru_queue::MAX_QUEUED_REQUESTS; ++i)
        enqueue(queue, "c", i, 0);
    EXPECT_EQ(queue.queued(), 1000u);

    zmq::message_t frame = request_frame(5000, 0);
    std::string worker;
    EXPECT_EQ(queue.admit("late", frame, worker), admit_result::full);
    EXPECT_EQ(frame.size(), 9u);
    EXPECT_EQ(queue.queued(), 1000u);
    EXPECT_TRUE(log.contains("the msg server worker receive too many message(1000)."));

    // Even an idle worker does not let a request past a full queue.
    queue.worker_idle("w1");
    EXPECT_EQ(queue.admit("late", frame, worker), admit_result::full);
}

TEST(LruQueue, RequestsOlderThanTheirCallersTimeOutAreDroppedWithoutAWorker) {
    // Expiry span = ext / 1000 + 1 seconds; expired once waited longer.
    struct row {
        uint32_t ext;
        long waited_s;
        bool served;
    };
    const row rows[] = {
        {1500, 2, true}, {1500, 3, false}, {999, 1, true},   {999, 2, false},
        {0, 100000, true}, {1, 2, false},  {30000, 31, true}, {30000, 32, false},
    };
    log_window_per_case window;
    for (const auto& r : rows) {
        window.next();
        scoped_log log;
        fake_monotonic_clock clock;
        tvn_msg_lru_queue queue;
        enqueue(queue, "c", 77, r.ext);
        clock.advance_seconds(r.waited_s);
        queue.worker_idle("w1");
        const auto served = drain(queue);
        EXPECT_EQ(served.size(), r.served ? 1u : 0u) << r.ext << " after " << r.waited_s;
        EXPECT_EQ(queue.queued(), 0u);
        EXPECT_EQ(queue.idle_workers(), r.served ? 0u : 1u) << "a dropped request takes no worker";
        EXPECT_EQ(log.contains("The request msg(id:77) is abandoned because of overtime."),
                  !r.served)
            << r.ext;
    }
}

TEST(LruQueue, ExpiredRequestsAreSkippedAndTheNextLiveOneIsServed) {
    fake_monotonic_clock clock;
    tvn_msg_lru_queue queue;
    enqueue(queue, "old1", 1, 1000);
    enqueue(queue, "old2", 2, 1000);
    enqueue(queue, "patient", 3, 0);
    clock.advance_seconds(10);
    enqueue(queue, "fresh", 4, 1000);
    queue.worker_idle("w1");
    EXPECT_EQ(drain(queue), (std::vector<std::string>{"w1>patient#3"}));
    EXPECT_EQ(queue.queued(), 1u);
    queue.worker_idle("w1");
    EXPECT_EQ(drain(queue), (std::vector<std::string>{"w1>fresh#4"}));
}

}  // namespace
