#include "tvn_msg_zmq_channel.h"

#include "tvn_msg_log.h"
#include "tvn_msg_util.h"

tvn_msg_zmq_channel::~tvn_msg_zmq_channel() {
    std::lock_guard<std::mutex> lock(mutex_);
    close_locked();
}

int32_t tvn_msg_zmq_channel::connect(const tvn_msg_addr& addr) {
    if (!tvn_msg_util::is_valid_addr(addr)) return TVN_MSG_ERR_ADDR;
    std::lock_guard<std::mutex> lock(mutex_);
    addr_ = addr;
    return 0;
}

int32_t tvn_msg_zmq_channel::open() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (opened_) return 0;
    if (addr_.get_type() == TVN_MSG_ADDR_NOT_SET) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "the msg channel open failed,the connect addr not set.");
        return TVN_MSG_ERR_ADDR;
    }
    if (tvn_msg_util::addr_to_string(addr_, endpoint_) < 1) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "the msg channel open failed,the addr is invalid.");
        return TVN_MSG_ERR_ADDR;
    }
    try {
        context_ = std::make_unique<zmq::context_t>();
    } catch (const zmq::error_t& e) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_CONTEXT,
                        "the msg channel open failed,malloc the zmq context failed(%d).", e.num());
        return TVN_MSG_ERR_CONTEXT;
    }
    int32_t rc = open_session();
    if (rc != 0) {
        context_.reset();
        return rc;
    }
    last_error_ = 0;
    opened_ = true;
    return 0;
}

int32_t tvn_msg_zmq_channel::open_session() {
    socket_.close();
    zmq::socket_t socket;
    int err = tvn_msg_util::new_socket(*context_, ZMQ_REQ, socket);
    if (err != 0) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_SOCKET,
                        "the msg channel open session failed,create the client socket failed(%d).",
                        err);
        return TVN_MSG_ERR_SOCKET;
    }
    tvn_msg_util::set_send_hwm(socket.handle(), 1);
    err = tvn_msg_util::connect(socket, endpoint_);
    if (err != 0) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_CONNECT,
                        "the msg channel open session failed,connect the addr failed(%d).", err);
        return TVN_MSG_ERR_CONNECT;
    }
    socket_ = std::move(socket);
    return 0;
}

int32_t tvn_msg_zmq_channel::request(const TVN_MSG& req, TVN_MSG& rsp, int timeout_ms) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!opened_) return TVN_MSG_ERR_NO_CONNECTION;
    // A REQ socket whose exchange failed still expects the lost reply: it
    // must be rebuilt before it can send again.
    if (last_error_ != 0 || !socket_) {
        int32_t rc = open_session();
        if (rc != 0) return rc;
        last_error_ = 0;
    }
    int32_t rc = tvn_msg_util::poll_request(socket_.handle(), req, rsp, timeout_ms);
    if (rc != 0) {
        int err = zmq_errno();
        last_error_ = err != 0 ? err : rc;
    } else {
        last_error_ = 0;
    }
    return rc;
}

int32_t tvn_msg_zmq_channel::close() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!opened_) {
        TVN_MSG_LOG_INF("the msg channel has not opened, no need close.");
        return 0;
    }
    close_locked();
    return 0;
}

void tvn_msg_zmq_channel::close_locked() {
    socket_.close();
    context_.reset();
    opened_ = false;
}

bool tvn_msg_zmq_channel::is_open() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return opened_;
}
