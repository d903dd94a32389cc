#pragma once
// Multi-channel: up to N caller threads have requests in flight at once.
// Callers talk REQ to an in-process proxy server ("inproc://frontrouter");
// each of its N worker threads keeps one long-lived REQ connection to the
// remote daemon and forwards the request with the caller's own time-out.
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "itf_tvn_msg_channel.h"
#include "tvn_msg_zmq_server.h"
#include "tvn_thread_server.h"

class tvn_msg_zmq_mchannel : public itf_tvn_msg_channel, public tvn_thread_server {
public:
    explicit tvn_msg_zmq_mchannel(unsigned worker_num);
    ~tvn_msg_zmq_mchannel() override;

    int32_t connect(const tvn_msg_addr& addr) override;
    int32_t open() override;
    int32_t close() override;
    int32_t request(const TVN_MSG& req, TVN_MSG& rsp, int timeout_ms) override;

    // Deal function of the internal server's workers.
    static int msg_worker(void* context, const TVN_MSG& req, TVN_MSG& rsp);

    bool interupt_thread_work() override;
    void run_thread_job() override;

private:
    void* acquire_client_socket();
    void release_client_socket(void* socket, bool reusable);
    void clear_client_sockets();
    void* worker_socket();
    void reset_worker_socket();
    void clear_worker_sockets();

    std::mutex open_mutex_;
    std::unique_ptr<tvn_msg_zmq_server> server_;
    tvn_msg_addr addr_;
    std::string endpoint_;
    unsigned worker_num_;

    std::mutex socket_map_mutex_;
    std::map<std::thread::id, void*> worker_sockets_;

    // Caller-side sockets to the in-process front whose last exchange
    // completed, kept for the next caller instead of being rebuilt.
    std::mutex idle_mutex_;
    std::vector<void*> idle_client_sockets_;
};
