#pragma once
// Multi-channel: up to N caller threads have requests in flight at once.
// The channel keeps N slots, each with one long-lived REQ connection to the
// remote daemon; a caller borrows a free slot for one exchange (waiting,
// within its own time-out, while all N are busy). A slot whose exchange
// failed drops its socket, which the next request through it rebuilds.
//
// Callers use their slot's socket directly, one thread at a time, so a
// request costs no more thread hand-overs than a plain REQ client; the
// concurrency towards the daemon stays bounded by N.
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "itf_tvn_msg_channel.h"

class tvn_msg_zmq_mchannel : public itf_tvn_msg_channel {
public:
    explicit tvn_msg_zmq_mchannel(unsigned worker_num);
    ~tvn_msg_zmq_mchannel() override;
    tvn_msg_zmq_mchannel(const tvn_msg_zmq_mchannel&) = delete;
    tvn_msg_zmq_mchannel& operator=(const tvn_msg_zmq_mchannel&) = delete;

    // -2001 when the address cannot be rendered.
    int32_t connect(const tvn_msg_addr& addr) override;
    // 0 (also when already open); -2001 no address; -2010 no slots
    // (worker_num 0); -2002 no context.
    int32_t open() override;
    // Ends requests in flight (they fail at once) and waits for them to let
    // go of their sockets.
    int32_t close() override;
    // poll_request's codes; -3 also when no slot frees within the time-out;
    // -2022 when the channel is not open or no connection can be made.
    int32_t request(const TVN_MSG& req, TVN_MSG& rsp, int timeout_ms) override;

    bool is_open();
    // Slots holding a connection to the remote daemon right now.
    std::size_t worker_socket_count();

private:
    struct slot {
        void* socket = nullptr;
        bool busy = false;
    };
    int take_slot(int timeout_ms, std::unique_lock<std::mutex>& lock);

    std::mutex mutex_;
    std::condition_variable cv_;
    void* context_ = nullptr;
    bool opened_ = false;
    tvn_msg_addr addr_;
    std::string endpoint_;
    const unsigned worker_num_;
    std::vector<slot> slots_;
    std::size_t busy_ = 0;
};
