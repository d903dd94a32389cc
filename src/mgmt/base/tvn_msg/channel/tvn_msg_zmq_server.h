#pragma once
// Proxy-style message server: ROUTER front, DEALER back, worker REP sockets.
// Used inside the process by the multi-channel.
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "itf_tvn_msg_server.h"

class tvn_msg_zmq_server : public itf_tvn_msg_server {
public:
    tvn_msg_zmq_server() = default;
    ~tvn_msg_zmq_server() override;
    tvn_msg_zmq_server(const tvn_msg_zmq_server&) = delete;
    tvn_msg_zmq_server& operator=(const tvn_msg_zmq_server&) = delete;

    int32_t bind(const tvn_msg_addr& addr) override;
    int32_t start() override;
    int32_t stop() override;
    void set_worker_num(int worker_num) override;
    void set_msg_deal_fun(tvn_msg_deal_fun deal, void* context) override;

    void set_inproc_addr(const std::string& endpoint);
    // The context, for in-process clients; null when not bound.
    void* get_zmq_context() const;
    bool is_bound() const;

private:
    void worker_loop(void* context);
    void join_workers();
    void terminate_context_locked(std::unique_lock<std::mutex>& lock);

    mutable std::mutex mutex_;
    std::condition_variable state_cv_;
    void* context_ = nullptr;
    bool bound_ = false;
    bool running_ = false;
    tvn_msg_addr addr_;
    std::string endpoint_;
    std::string backend_endpoint_ = "inproc://workers";
    int worker_num_ = 0;
    tvn_msg_deal_fun deal_ = nullptr;
    void* deal_context_ = nullptr;
    std::vector<std::thread> workers_;
};
