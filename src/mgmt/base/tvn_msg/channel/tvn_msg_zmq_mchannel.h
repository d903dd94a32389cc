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

    // Connections to the remote daemon held by worker threads right now.
    std::size_t worker_socket_count();

private:
    void* acquire_client_socket();
    void release_client_socket(void* socket, bool reusable);
    void* worker_socket();
    void forget_worker_socket();
    static void on_worker_exit(void* context);

    std::mutex open_mutex_;
    std::unique_ptr<tvn_msg_zmq_server> server_;
    tvn_msg_addr addr_;
    std::string endpoint_;
    const unsigned worker_num_;
    int32_t job_result_ = 0;

    std::mutex socket_map_mutex_;
    std::map<std::thread::id, void*> worker_sockets_;

    // Caller-side sockets to the in-process front. One whose exchange
    // completed is in a clean state and is kept for the next caller rather
    // than rebuilt; a failed one is closed. No socket is made once close()
    // has begun, so the context's termination never waits on a newcomer.
    std::mutex client_mutex_;
    bool accepting_ = false;
    void* client_context_ = nullptr;
    std::vector<void*> idle_client_sockets_;
};
