#pragma once
// Single REQ socket shared by all caller threads, one exchange at a time.
#include <memory>
#include <mutex>
#include <string>

#include <zmq.hpp>

#include "itf_tvn_msg_channel.h"

class tvn_msg_zmq_channel : public itf_tvn_msg_channel {
public:
    tvn_msg_zmq_channel() = default;
    ~tvn_msg_zmq_channel() override;
    tvn_msg_zmq_channel(const tvn_msg_zmq_channel&) = delete;
    tvn_msg_zmq_channel& operator=(const tvn_msg_zmq_channel&) = delete;

    int32_t connect(const tvn_msg_addr& addr) override;
    int32_t open() override;
    int32_t close() override;
    int32_t request(const TVN_MSG& req, TVN_MSG& rsp, int timeout_ms) override;

    bool is_open() const;

private:
    int32_t open_session();  // caller holds mutex_
    void close_locked();

    mutable std::mutex mutex_;
    // Declared before the socket: the socket must close before its context.
    std::unique_ptr<zmq::context_t> context_;
    zmq::socket_t socket_;
    bool opened_ = false;
    tvn_msg_addr addr_;
    std::string endpoint_;
    int last_error_ = 0;
};
