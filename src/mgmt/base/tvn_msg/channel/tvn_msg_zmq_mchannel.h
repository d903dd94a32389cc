#pragma once
// Multi-channel: up to N caller threads have requests in flight at once.
// Each request goes on a REQ socket of its own to an in-process proxy
// server ("inproc://frontrouter"); each of that server's N worker threads
// keeps one long-lived REQ connection to the remote daemon and forwards the
// request with the caller's own time-out (carried in the request's ext).
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "itf_tvn_msg_channel.h"
#include "tvn_msg_zmq_server.h"
#include "tvn_thread_server.h"

class tvn_msg_zmq_mchannel : public itf_tvn_msg_channel, public tvn_thread_server {
public:
    explicit tvn_msg_zmq_mchannel(unsigned worker_num);
    ~tvn_msg_zmq_mchannel() override;
    tvn_msg_zmq_mchannel(const tvn_msg_zmq_mchannel&) = delete;
    tvn_msg_zmq_mchannel& operator=(const tvn_msg_zmq_mchannel&) = delete;

    // -2001 when the address cannot be rendered.
    int32_t connect(const tvn_msg_addr& addr) override;
    // 0 (also when already open); -2001 no address; -6 no server; the
    // server's bind code (-2010 for N = 0); -2021 no proxy thread.
    int32_t open() override;
    // Ends requests in flight (they fail at once) and the proxy.
    int32_t close() override;
    // poll_request's codes; -2022 when the channel is not open or no
    // connection to the proxy can be made.
    int32_t request(const TVN_MSG& req, TVN_MSG& rsp, int timeout_ms) override;

    // Deal function of the internal server's workers.
    static int msg_worker(void* context, const TVN_MSG& req, TVN_MSG& rsp);

    bool interupt_thread_work() override;
    void run_thread_job() override;

    // Connections to the remote daemon held by worker threads right now.
    std::size_t worker_socket_count();

private:
    // A worker thread's connection to the remote daemon. `busy` while its
    // thread runs an exchange on it: only that thread may then touch it.
    struct worker_conn {
        zmq::socket_t socket;
        bool busy = false;
    };
    // Null when no connection can be had.
    void* take_worker_socket();
    void give_back_worker_socket(bool failed);

    std::mutex open_mutex_;
    std::unique_ptr<tvn_msg_zmq_server> server_;
    tvn_msg_addr addr_;
    std::string endpoint_;
    const unsigned worker_num_;

    std::mutex socket_map_mutex_;
    std::map<std::thread::id, worker_conn> worker_sockets_;
    // Set by close() before it clears the map: no worker makes a new
    // connection after that, and one busy at that moment closes its own
    // when its exchange ends.
    bool closing_ = false;
};
