#pragma once
// Message server behind every RPC server: ROUTER front for remote REQ
// clients, ROUTER back for in-process REQ workers, least-recently-used
// dispatch, bounded queueing and age-based dropping of queued requests.
#include <atomic>
#include <cstddef>
#include <string>

#include "itf_tvn_msg_server.h"
#include "tvn_msg_lru_queue.h"
#include "tvn_msg_server_core.h"

class tvn_msg_zmq_lrubroker : public itf_tvn_msg_server {
public:
    // Requests queued beyond this many are dropped.
    static constexpr std::size_t MAX_QUEUED_REQUESTS = tvn_msg_lru_queue::MAX_QUEUED_REQUESTS;

    tvn_msg_zmq_lrubroker() = default;
    ~tvn_msg_zmq_lrubroker() override;
    tvn_msg_zmq_lrubroker(const tvn_msg_zmq_lrubroker&) = delete;
    tvn_msg_zmq_lrubroker& operator=(const tvn_msg_zmq_lrubroker&) = delete;

    int32_t bind(const tvn_msg_addr& addr) override;
    // Blocks in the broker loop until stop(). 0 after a clean stop; -2024
    // not bound; -2003 sockets; -2004 the endpoint is already in use.
    int32_t start() override;
    // Ends the loop and the workers; waits for start() to return unless
    // called from one of the server's own threads.
    int32_t stop() override;
    void set_worker_num(int worker_num) override;
    void set_msg_deal_fun(tvn_msg_deal_fun deal, void* context) override;

    bool is_bound();
    bool is_running();
    // Requests waiting for a worker right now (as last seen by the loop).
    std::size_t queued_requests() const { return queued_.load(std::memory_order_relaxed); }

private:
    // Sockets, then the loop; the code start() returns.
    int32_t serve(zmq::context_t& ctx, const std::string& endpoint);
    void run_loop(zmq::socket_t& front, zmq::socket_t& back);

    tvn_msg_server_core core_;
    tvn_msg_addr addr_;
    std::string endpoint_;
    const std::string backend_endpoint_ = "inproc://workers";
    int worker_num_ = 0;
    tvn_msg_deal_fun deal_ = nullptr;
    void* deal_context_ = nullptr;
    std::atomic<std::size_t> queued_{0};
};
