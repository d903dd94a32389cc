#include "tvn_msg_zmq_lrubroker.h"

#include <cerrno>
#include <cstring>
#include <string>

#include "tvn_msg_log.h"
#include "tvn_msg_util.h"
#include "tvn_msg_worker_loop.h"

namespace {

constexpr char kWorkerReady[] = "worker_ready";

// Throws away what is left of a message that will not be served.
void discard_rest(void* socket) {
    while (tvn_msg_util::has_more(socket)) {
        zmq::message_t part;
        if (tvn_msg_util::recv_frame(socket, part) != 0) return;
    }
}

// REQ workers behind the broker: they announce themselves, and every request
// and reply carries the client's identity.
struct req_worker {
    static constexpr int socket_type = ZMQ_REQ;
    static constexpr const char* create_failed =
        "the msg server create response conn failed,create the response socket failed(%d).";
    static constexpr const char* connect_failed =
        "the msg server create response conn failed,connect the addr failed(%d).";
    static constexpr const char* deal_null =
        "The msg server worker deal the msg error. the msg_deal is null.";
    static constexpr const char* deal_failed = "The msg server worker deal the msg error.(%d).";

    struct envelope {
        std::string client;
    };

    static void announce(zmq::socket_t& socket) {
        tvn_msg_util::send_str(socket.handle(), kWorkerReady, false);
    }

    static int32_t receive(zmq::socket_t& socket, envelope& env, zmq::message_t& frame) {
        int32_t rc = tvn_msg_util::receive_str(socket, env.client);
        if (rc == TVN_MSG_ERR_TERMINATED) return rc;
        if (rc != 0) {
            TVN_MSG_LOG_ERR(rc, "the msg server worker receive error.(%d).", rc);
            return rc;
        }
        std::string empty;
        rc = tvn_msg_util::receive_str(socket, empty);
        if (rc == 0) rc = tvn_msg_util::receive_zmsg(socket, frame);
        if (rc == TVN_MSG_ERR_TERMINATED) return rc;
        if (rc == 0 && frame.size() >= TVN_MSG_HEADER_LEN) return 0;
        TVN_MSG_LOG_ERR(rc, "The msg server worker receive error.(%d).", rc);
        socket.close();
        return rc != 0 ? rc : TVN_MSG_ERR_EMPTY_REPLY;
    }

    // The reply itself tells the broker that this worker is idle again.
    static bool answer(zmq::socket_t& socket, const envelope& env, TVN_MSG& reply) {
        reply.ext = 0;
        tvn_msg_util::send_str(socket.handle(), env.client, true);
        tvn_msg_util::send_str(socket.handle(), std::string(), true);
        tvn_msg_util::send_cmsg(socket.handle(), reply, false);
        return true;
    }
};

// Front and back are ROUTERs: replies are routed to the worker by identity.
struct lru_broker {
    static constexpr int back_type = ZMQ_ROUTER;
    static constexpr int receive_hwm = 100;
    static constexpr const char* create_back_failed =
        "the msg server start failed, create the backend socket failed(%d).";
};

// The five frames that hand a request to a worker.
void send_to_worker(void* back, const std::string& worker, const std::string& client,
                    zmq::message_t& request) {
    tvn_msg_util::send_str(back, worker, true);
    tvn_msg_util::send_str(back, std::string(), true);
    tvn_msg_util::send_str(back, client, true);
    tvn_msg_util::send_str(back, std::string(), true);
    (void)tvn_msg_util::send_frame(back, request, false);
}

}  // namespace

tvn_msg_zmq_lrubroker::~tvn_msg_zmq_lrubroker() { stop(); }

void tvn_msg_zmq_lrubroker::set_worker_num(int worker_num) {
    auto lock = core_.lock();
    worker_num_ = worker_num;
}

void tvn_msg_zmq_lrubroker::set_msg_deal_fun(tvn_msg_deal_fun deal, void* context) {
    auto lock = core_.lock();
    deal_ = deal;
    deal_context_ = context;
}

bool tvn_msg_zmq_lrubroker::is_bound() {
    auto lock = core_.lock();
    return core_.bound_locked();
}

bool tvn_msg_zmq_lrubroker::is_running() {
    auto lock = core_.lock();
    return core_.running_locked();
}

int32_t tvn_msg_zmq_lrubroker::bind(const tvn_msg_addr& addr) {
    auto lock = core_.lock();
    if (core_.bound_locked()) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_BOUND, "the msg server has binding early.");
        return TVN_MSG_ERR_BOUND;
    }
    addr_ = addr;
    if (worker_num_ < 1) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_WORKER_NUM,
                        "the msg server start failed,the worker num (%d) is invalid.", worker_num_);
        return TVN_MSG_ERR_WORKER_NUM;
    }
    if (addr_.get_type() == TVN_MSG_ADDR_NOT_SET) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "the msg server start failed,the server addr not set.");
        return TVN_MSG_ERR_ADDR;
    }
    if (tvn_msg_util::addr_to_string(addr_, endpoint_) < 1) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "the msg server start failed,the addr is invalid.");
        return TVN_MSG_ERR_ADDR;
    }
    if (deal_ == nullptr) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_NO_DEAL_FUN,
                        "the msg server start failed,the messge deal function not set.");
        return TVN_MSG_ERR_NO_DEAL_FUN;
    }
    const std::string backend = backend_endpoint_;
    const tvn_msg_deal_fun deal = deal_;
    void* const deal_context = deal_context_;
    int32_t rc = core_.bind_locked(
        lock, worker_num_,
        [backend, deal, deal_context](zmq::context_t& ctx, const std::function<void()>& ready) {
            tvn_msg_run_worker<req_worker>(ctx, backend, deal, deal_context, ready);
        });
    if (rc == TVN_MSG_ERR_CONTEXT)
        TVN_MSG_LOG_ERR(rc, "The msg server bind failed, malloc the zmq context failed.");
    else if (rc == TVN_MSG_ERR_NOMEM)
        TVN_MSG_LOG_ERR(rc, "the msg server start failed,malloc the thread group failed.");
    return rc;
}

int32_t tvn_msg_zmq_lrubroker::start() {
    zmq::context_t* ctx = nullptr;
    int32_t rc = core_.begin_start(ctx);
    if (rc == TVN_MSG_ERR_NOT_BOUND) {
        TVN_MSG_LOG_ERR(rc, "the msg server startfailed, it is not binding.");
        return rc;
    }
    if (rc == 1) {
        TVN_MSG_LOG_INF("the msg server has running.");
        return 0;
    }
    std::string endpoint;
    {
        auto lock = core_.lock();
        endpoint = endpoint_;
    }
    rc = serve(*ctx, endpoint);
    queued_.store(0, std::memory_order_relaxed);
    core_.end_start();
    return rc;
}

int32_t tvn_msg_zmq_lrubroker::stop() { return core_.stop(); }

int32_t tvn_msg_zmq_lrubroker::serve(zmq::context_t& ctx, const std::string& endpoint) {
    zmq::socket_t front, back;
    const int32_t rc =
        tvn_msg_open_server_sockets<lru_broker>(ctx, endpoint, backend_endpoint_, front, back);
    if (rc != 0) return rc;
    run_loop(front, back);
    return 0;
}

void tvn_msg_zmq_lrubroker::run_loop(zmq::socket_t& front_socket, zmq::socket_t& back_socket) {
    void* const front = front_socket.handle();
    void* const back = back_socket.handle();
    tvn_msg_lru_queue queue;

    auto dispatch_queue = [&]() {
        std::string worker;
        tvn_msg_lru_queue::request next;
        while (queue.next(worker, next)) send_to_worker(back, worker, next.client, next.frame);
        queued_.store(queue.queued(), std::memory_order_relaxed);
    };

    // Back: a worker announces itself or answers a client.
    auto on_back = [&]() {
        zmq::message_t worker_id;
        int err = tvn_msg_util::recv_frame(back, worker_id);
        if (err != 0) {
            TVN_MSG_LOG_ERR(err, "the msg server worker receive worker addr frame failed.");
            return;
        }
        zmq::message_t empty;
        if (!tvn_msg_util::has_more(back) || (err = tvn_msg_util::recv_frame(back, empty)) != 0 ||
            empty.size() != 0 || !tvn_msg_util::has_more(back)) {
            TVN_MSG_LOG_ERR(err, "the msg server worker receive worker empty frame failed.");
            discard_rest(back);
            return;
        }
        queue.worker_idle(worker_id.to_string());
        zmq::message_t client;
        if ((err = tvn_msg_util::recv_frame(back, client)) != 0) {
            TVN_MSG_LOG_ERR(err, "the msg server worker receive client addr frame failed.");
            return;
        }
        if (!tvn_msg_util::has_more(back) && client.size() == sizeof(kWorkerReady) - 1 &&
            std::memcmp(client.data(), kWorkerReady, client.size()) == 0)
            return;
        zmq::message_t delimiter, reply;
        if (!tvn_msg_util::has_more(back) ||
            (err = tvn_msg_util::recv_frame(back, delimiter)) != 0 ||
            !tvn_msg_util::has_more(back) || (err = tvn_msg_util::recv_frame(back, reply)) != 0) {
            TVN_MSG_LOG_ERR(err, "the msg server worker receive worker reply frame failed.");
            discard_rest(back);
            return;
        }
        discard_rest(back);
        (void)tvn_msg_util::send_frame(front, client, true);
        tvn_msg_util::send_str(front, std::string(), true);
        (void)tvn_msg_util::send_frame(front, reply, false);
    };

    // Front: a client's request, as [identity][empty][request].
    auto on_front = [&]() {
        zmq::message_t client;
        int err = tvn_msg_util::recv_frame(front, client);
        if (err != 0) {
            TVN_MSG_LOG_ERR(err, "the msg server worker receive client addr frame failed.");
            return;
        }
        zmq::message_t empty;
        if (!tvn_msg_util::has_more(front) || (err = tvn_msg_util::recv_frame(front, empty)) != 0 ||
            empty.size() != 0) {
            TVN_MSG_LOG_ERR(err, "the msg server worker receive client empty frame failed.");
            discard_rest(front);
            return;
        }
        zmq::message_t request;
        if (!tvn_msg_util::has_more(front) ||
            (err = tvn_msg_util::recv_frame(front, request)) != 0) {
            TVN_MSG_LOG_ERR(err, "the msg server worker receive client msg frame failed.");
            return;
        }
        // A request is exactly one frame of at least the 8-byte header.
        const bool extra = tvn_msg_util::has_more(front);
        discard_rest(front);
        if (extra || request.size() < TVN_MSG_HEADER_LEN) {
            TVN_MSG_LOG_ERR(TVN_MSG_ERR_EMPTY_REPLY,
                            "the msg server worker receive client msg frame failed.");
            return;
        }
        const std::string identity = client.to_string();
        std::string worker;
        if (queue.admit(identity, request, worker) == tvn_msg_lru_queue::admit_result::dispatch)
            send_to_worker(back, worker, identity, request);
        queued_.store(queue.queued(), std::memory_order_relaxed);
    };

    // Both sockets are read as soon as they hold something: a request that
    // finds no idle worker is queued (with its arrival time, for the age
    // check) rather than left in the socket. The wait has no time-out; it
    // ends with the context (ETERM).
    for (;;) {
        zmq_pollitem_t items[2] = {{back, 0, ZMQ_POLLIN, 0}, {front, 0, ZMQ_POLLIN, 0}};
        if (zmq_poll(items, 2, -1) < 0) {
            const int err = zmq_errno();
            if (err == ETERM) break;
            if (err != EINTR) TVN_MSG_LOG_ERR(err, "the msg server worker poll failed.");
            continue;
        }
        if (items[0].revents & ZMQ_POLLIN) {
            on_back();
            dispatch_queue();
        }
        if (items[1].revents & ZMQ_POLLIN) on_front();
    }
}
