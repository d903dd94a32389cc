#include "tvn_msg_zmq_channel.h"

#include <zmq.h>

#include "tvn_log.h"
#include "tvn_msg_util.h"

#define MSG_LOG_ERR(err, ...) TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_ERROR, err, __VA_ARGS__)
#define MSG_LOG_INF(...) TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_INFO, 0, __VA_ARGS__)

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
        MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "the msg channel open failed,the connect addr not set.");
        return TVN_MSG_ERR_ADDR;
    }
    if (tvn_msg_util::addr_to_string(addr_, endpoint_) < 1) {
        MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "the msg channel open failed,the addr is invalid.");
        return TVN_MSG_ERR_ADDR;
    }
    context_ = zmq_ctx_new();
    if (context_ == nullptr) {
        MSG_LOG_ERR(TVN_MSG_ERR_CONTEXT,
                    "the msg channel open failed,malloc the zmq context failed(%d).", zmq_errno());
        return TVN_MSG_ERR_CONTEXT;
    }
    int32_t rc = open_session();
    if (rc != 0) {
        zmq_ctx_term(context_);
        context_ = nullptr;
        return rc;
    }
    last_error_ = 0;
    opened_ = true;
    return 0;
}

int32_t tvn_msg_zmq_channel::open_session() {
    if (socket_ != nullptr) {
        zmq_close(socket_);
        socket_ = nullptr;
    }
    void* socket = zmq_socket(context_, ZMQ_REQ);
    if (socket == nullptr) {
        MSG_LOG_ERR(TVN_MSG_ERR_SOCKET,
                    "the msg channel open session failed,create the client socket failed(%d).",
                    zmq_errno());
        return TVN_MSG_ERR_SOCKET;
    }
    tvn_msg_util::set_close_noblock(socket);
    tvn_msg_util::set_send_hwm(socket, 1);
    if (zmq_connect(socket, endpoint_.c_str()) != 0) {
        MSG_LOG_ERR(TVN_MSG_ERR_CONNECT,
                    "the msg channel open session failed,connect the addr failed(%d).",
                    zmq_errno());
        zmq_close(socket);
        return TVN_MSG_ERR_CONNECT;
    }
    socket_ = socket;
    return 0;
}

int32_t tvn_msg_zmq_channel::request(const TVN_MSG& req, TVN_MSG& rsp, int timeout_ms) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!opened_) return TVN_MSG_ERR_NO_CONNECTION;
    // A REQ socket whose exchange failed still expects the lost reply: it
    // must be rebuilt before it can send again.
    if (last_error_ != 0 || socket_ == nullptr) {
        int32_t rc = open_session();
        if (rc != 0) return rc;
        last_error_ = 0;
    }
    int32_t rc = tvn_msg_util::poll_request(socket_, req, rsp, timeout_ms);
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
        MSG_LOG_INF("the msg channel has not opened, no need close.");
        return 0;
    }
    close_locked();
    return 0;
}

void tvn_msg_zmq_channel::close_locked() {
    if (socket_ != nullptr) {
        zmq_close(socket_);
        socket_ = nullptr;
    }
    if (context_ != nullptr) {
        zmq_ctx_term(context_);
        context_ = nullptr;
    }
    opened_ = false;
}

bool tvn_msg_zmq_channel::is_open() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return opened_;
}
