#include "tvn_msg_zmq_server.h"

#include <zmq.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "tvn_log.h"
#include "tvn_msg_util.h"

#define MSG_LOG_ERR(err, ...) TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_ERROR, err, __VA_ARGS__)
#define MSG_LOG_INF(...) TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_INFO, 0, __VA_ARGS__)

namespace {
// Pause before a worker retries a socket it could not build, so that a
// persistent failure does not spin a core.
constexpr auto kRetryPause = std::chrono::milliseconds(10);
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
    return core_.bound_locked() ? core_.context_locked() : nullptr;
}

void* tvn_msg_zmq_server::create_socket(int type) {
    auto lock = core_.lock();
    return core_.bound_locked() ? zmq_socket(core_.context_locked(), type) : nullptr;
}

bool tvn_msg_zmq_server::is_bound() {
    auto lock = core_.lock();
    return core_.bound_locked();
}

int32_t tvn_msg_zmq_server::bind(const tvn_msg_addr& addr) {
    auto lock = core_.lock();
    if (core_.bound_locked()) {
        MSG_LOG_ERR(TVN_MSG_ERR_BOUND, "the msg server has binding early.");
        return TVN_MSG_ERR_BOUND;
    }
    addr_ = addr;
    if (worker_num_ < 1) {
        MSG_LOG_ERR(TVN_MSG_ERR_WORKER_NUM,
                    "The msg server start failed, the worker num (%d) is invalid.", worker_num_);
        return TVN_MSG_ERR_WORKER_NUM;
    }
    if (deal_ == nullptr) {
        MSG_LOG_ERR(TVN_MSG_ERR_NO_DEAL_FUN,
                    "The msg server start failed,the messge deal function not set.");
        return TVN_MSG_ERR_NO_DEAL_FUN;
    }
    if (addr_.get_type() == TVN_MSG_ADDR_NOT_SET) {
        MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "The msg server start failed, the server addr not set.");
        return TVN_MSG_ERR_ADDR;
    }
    if (tvn_msg_util::addr_to_string(addr_, endpoint_) < 1) {
        MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "The msg server start failed, the addr is invalid.");
        return TVN_MSG_ERR_ADDR;
    }
    const std::string backend = backend_endpoint_;
    const tvn_msg_deal_fun deal = deal_;
    void* const deal_context = deal_context_;
    int32_t rc = core_.bind_locked(
        lock, worker_num_,
        [backend, deal, deal_context](void* ctx, const std::function<void()>& ready) {
            worker_loop(ctx, backend, deal, deal_context, ready);
        });
    if (rc == TVN_MSG_ERR_CONTEXT)
        MSG_LOG_ERR(rc, "The msg server bind failed, malloc the zmq context failed.");
    return rc;
}

int32_t tvn_msg_zmq_server::start() {
    void* ctx = nullptr;
    int32_t rc = core_.begin_start(ctx);
    if (rc == TVN_MSG_ERR_NOT_BOUND) {
        MSG_LOG_ERR(rc, "the msg server start failed, it is not binding.");
        return rc;
    }
    if (rc == 1) return 0;

    std::string endpoint, backend;
    {
        auto lock = core_.lock();
        endpoint = endpoint_;
        backend = backend_endpoint_;
    }
    void* front = zmq_socket(ctx, ZMQ_ROUTER);
    void* back = nullptr;
    if (front == nullptr) {
        rc = TVN_MSG_ERR_SOCKET;
        MSG_LOG_ERR(rc, "The msg server start failed, create the zmq socket failed(%d).",
                    zmq_errno());
        goto STARTEND;
    }
    tvn_msg_util::set_close_noblock(front);
    tvn_msg_util::set_receive_hwm(front, 50);
    if (zmq_bind(front, endpoint.c_str()) != 0) {
        int err = zmq_errno();
        rc = err == EADDRINUSE ? TVN_MSG_ERR_BIND : TVN_MSG_ERR_SOCKET;
        MSG_LOG_ERR(rc, "The msg server start failed, bind the frontend socket failed(%d).", err);
        goto STARTEND;
    }
    back = zmq_socket(ctx, ZMQ_DEALER);
    if (back == nullptr) {
        rc = TVN_MSG_ERR_SOCKET;
        MSG_LOG_ERR(rc, "The msg server start failed, create the backend socket failed(%d).",
                    zmq_errno());
        goto STARTEND;
    }
    tvn_msg_util::set_close_noblock(back);
    tvn_msg_util::set_receive_hwm(back, 50);
    if (zmq_bind(back, backend.c_str()) != 0) {
        rc = TVN_MSG_ERR_SOCKET;
        MSG_LOG_ERR(rc, "The msg server start failed, bind the backend socket failed(%d).",
                    zmq_errno());
        goto STARTEND;
    }
    // Runs until the context is shut down by stop().
    zmq_proxy(front, back, nullptr);
    rc = 0;

STARTEND:
    if (front != nullptr) zmq_close(front);
    if (back != nullptr) zmq_close(back);
    MSG_LOG_INF("goto STARTEND, rc: %d", rc);
    core_.end_start();
    return rc;
}

int32_t tvn_msg_zmq_server::stop() { return core_.stop(); }

void tvn_msg_zmq_server::worker_loop(void* ctx, const std::string& backend, tvn_msg_deal_fun deal,
                                     void* deal_context, const std::function<void()>& ready) {
    void* socket = nullptr;
    for (;;) {
        if (socket == nullptr) {
            socket = zmq_socket(ctx, ZMQ_REP);
            if (socket == nullptr) {
                if (zmq_errno() == ETERM) break;
                MSG_LOG_ERR(TVN_MSG_ERR_SOCKET,
                            "The msg server create response conn failed,create the response "
                            "socket failed(%d).",
                            zmq_errno());
                ready();
                std::this_thread::sleep_for(kRetryPause);
                continue;
            }
            tvn_msg_util::set_close_noblock(socket);
            tvn_msg_util::set_receive_hwm(socket, 10);
            if (zmq_connect(socket, backend.c_str()) != 0) {
                int err = zmq_errno();
                zmq_close(socket);
                socket = nullptr;
                if (err == ETERM) break;
                MSG_LOG_ERR(TVN_MSG_ERR_CONNECT,
                            "The msg server create response conn failed,connect the addr "
                            "failed(%d).",
                            err);
                ready();
                std::this_thread::sleep_for(kRetryPause);
                continue;
            }
            ready();
        }

        zmq_msg_t frame;
        zmq_msg_init(&frame);
        int32_t rc = tvn_msg_util::receive_zmsg(socket, &frame);
        if (rc == TVN_MSG_ERR_TERMINATED) {
            zmq_msg_close(&frame);
            MSG_LOG_INF("the msg server worker is terminal.");
            break;
        }
        if (rc != 0) {
            zmq_msg_close(&frame);
            MSG_LOG_ERR(rc, "the msg server worker receive error.(%d).", rc);
            continue;  // receive_zmsg closed the socket; rebuild it
        }
        TVN_MSG request, reply;
        rc = tvn_msg_util::zmsg_to_cmsg(&frame, request);
        zmq_msg_close(&frame);
        reply.id = request.id;
        if (rc == 0) {
            if (deal == nullptr) {
                MSG_LOG_ERR(TVN_MSG_ERR_NO_DEAL_FUN,
                            "the msg server worker deal the msg error. the msg_deal is null.");
                rc = TVN_MSG_ERR_NO_DEAL_FUN;
            } else {
                rc = deal(deal_context, request, reply);
            }
        }
        if (rc != 0) {
            MSG_LOG_ERR(rc, "msg server worker deal the msg error(%d).", rc);
            tvn_msg_free(request);
            tvn_msg_free(reply);
            // A REP socket that cannot answer must be rebuilt.
            zmq_close(socket);
            socket = nullptr;
            continue;
        }
        zmq_msg_t out;
        if (tvn_msg_util::cmsg_to_zmsg(reply, &out) != 0) {
            zmq_msg_close(&out);
            zmq_close(socket);
            socket = nullptr;
        } else if (zmq_msg_send(&out, socket, 0) < 0) {
            MSG_LOG_ERR(TVN_MSG_ERR_SEND, "Zmq send response msg failed %d.", zmq_errno());
            zmq_msg_close(&out);
        }
        tvn_msg_free(request);
        tvn_msg_free(reply);
    }
    if (socket != nullptr) zmq_close(socket);
}
