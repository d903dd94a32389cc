#include "tvn_msg_zmq_server.h"

#include <cerrno>

#include "tvn_msg_log.h"
#include "tvn_msg_util.h"
#include "tvn_msg_worker_loop.h"

namespace {

// REP workers behind ZeroMQ's own proxy: one frame in, one frame out.
struct rep_worker {
    static constexpr int socket_type = ZMQ_REP;
    static constexpr const char* create_failed =
        "The msg server create response conn failed,create the response socket failed(%d).";
    static constexpr const char* connect_failed =
        "The msg server create response conn failed,connect the addr failed(%d).";
    static constexpr const char* deal_null =
        "the msg server worker deal the msg error. the msg_deal is null.";
    static constexpr const char* deal_failed = "msg server worker deal the msg error(%d).";

    struct envelope {};

    static void announce(zmq::socket_t&) {}

    static int32_t receive(zmq::socket_t& socket, envelope&, zmq::message_t& frame) {
        int32_t rc = tvn_msg_util::receive_zmsg(socket, frame);
        if (rc == TVN_MSG_ERR_TERMINATED) return rc;
        if (rc == 0 && frame.size() < TVN_MSG_HEADER_LEN) {
            rc = TVN_MSG_ERR_EMPTY_REPLY;
            socket.close();
        }
        if (rc != 0) TVN_MSG_LOG_ERR(rc, "the msg server worker receive error.(%d).", rc);
        return rc;
    }

    static bool answer(zmq::socket_t& socket, const envelope&, const TVN_MSG& reply) {
        zmq::message_t out;
        if (tvn_msg_util::cmsg_to_zmsg(reply, out) != 0) return false;
        const int err = tvn_msg_util::send_frame(socket.handle(), out, false);
        if (err != 0) TVN_MSG_LOG_ERR(TVN_MSG_ERR_SEND, "Zmq send response msg failed %d.", err);
        return true;
    }
};

// ZeroMQ's proxy spreads requests over the REP workers from a DEALER.
struct proxy_server {
    static constexpr int back_type = ZMQ_DEALER;
    static constexpr int receive_hwm = 50;
    static constexpr const char* create_back_failed =
        "The msg server start failed, create the backend socket failed(%d).";
};

}  // namespace

tvn_msg_zmq_server::~tvn_msg_zmq_server() { stop(); }

void tvn_msg_zmq_server::set_worker_num(int worker_num) {
    auto lock = core_.lock();
    worker_num_ = worker_num;
}

void tvn_msg_zmq_server::set_msg_deal_fun(tvn_msg_deal_fun deal, void* context) {
    auto lock = core_.lock();
    deal_ = deal;
    deal_context_ = context;
}

void tvn_msg_zmq_server::set_inproc_addr(const std::string& endpoint) {
    auto lock = core_.lock();
    backend_endpoint_ = endpoint;
}

void* tvn_msg_zmq_server::get_zmq_context() {
    auto lock = core_.lock();
    return core_.bound_locked() ? core_.context_locked()->handle() : nullptr;
}

int tvn_msg_zmq_server::create_socket(int type, zmq::socket_t& socket) {
    auto lock = core_.lock();
    if (!core_.bound_locked()) {
        socket.close();
        return ENOTSUP;
    }
    return tvn_msg_util::new_socket(*core_.context_locked(), type, socket);
}

bool tvn_msg_zmq_server::is_bound() {
    auto lock = core_.lock();
    return core_.bound_locked();
}

int32_t tvn_msg_zmq_server::bind(const tvn_msg_addr& addr) {
    auto lock = core_.lock();
    if (core_.bound_locked()) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_BOUND, "the msg server has binding early.");
        return TVN_MSG_ERR_BOUND;
    }
    addr_ = addr;
    if (worker_num_ < 1) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_WORKER_NUM,
                        "The msg server start failed, the worker num (%d) is invalid.", worker_num_);
        return TVN_MSG_ERR_WORKER_NUM;
    }
    if (deal_ == nullptr) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_NO_DEAL_FUN,
                        "The msg server start failed,the messge deal function not set.");
        return TVN_MSG_ERR_NO_DEAL_FUN;
    }
    if (addr_.get_type() == TVN_MSG_ADDR_NOT_SET) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "The msg server start failed, the server addr not set.");
        return TVN_MSG_ERR_ADDR;
    }
    if (tvn_msg_util::addr_to_string(addr_, endpoint_) < 1) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "The msg server start failed, the addr is invalid.");
        return TVN_MSG_ERR_ADDR;
    }
    const std::string backend = backend_endpoint_;
    const tvn_msg_deal_fun deal = deal_;
    void* const deal_context = deal_context_;
    int32_t rc = core_.bind_locked(
        lock, worker_num_,
        [backend, deal, deal_context](zmq::context_t& ctx, const std::function<void()>& ready) {
            tvn_msg_run_worker<rep_worker>(ctx, backend, deal, deal_context, ready);
        });
    if (rc == TVN_MSG_ERR_CONTEXT)
        TVN_MSG_LOG_ERR(rc, "The msg server bind failed, malloc the zmq context failed.");
    return rc;
}

int32_t tvn_msg_zmq_server::start() {
    zmq::context_t* ctx = nullptr;
    int32_t rc = core_.begin_start(ctx);
    if (rc == TVN_MSG_ERR_NOT_BOUND) {
        TVN_MSG_LOG_ERR(rc, "the msg server start failed, it is not binding.");
        return rc;
    }
    if (rc == 1) return 0;

    std::string endpoint, backend;
    {
        auto lock = core_.lock();
        endpoint = endpoint_;
        backend = backend_endpoint_;
    }
    rc = serve(*ctx, endpoint, backend);
    TVN_MSG_LOG_INF("goto STARTEND, rc: %d", rc);
    core_.end_start();
    return rc;
}

int32_t tvn_msg_zmq_server::serve(zmq::context_t& ctx, const std::string& endpoint,
                                  const std::string& backend) {
    zmq::socket_t front, back;
    const int32_t rc = tvn_msg_open_server_sockets<proxy_server>(ctx, endpoint, backend, front, back);
    if (rc != 0) return rc;
    // Runs until the context is shut down by stop().
    zmq_proxy(front.handle(), back.handle(), nullptr);
    return 0;
}

int32_t tvn_msg_zmq_server::stop() { return core_.stop(); }
