#include "tvn_msg_zmq_lrubroker.h"

#include <zmq.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <thread>
#include <utility>

#include "tvn_log.h"
#include "tvn_msg_util.h"
#include "tvn_time.h"

#define MSG_LOG_ERR(err, ...) TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_ERROR, err, __VA_ARGS__)
#define MSG_LOG_INF(...) TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_INFO, 0, __VA_ARGS__)

namespace {

constexpr char kWorkerReady[] = "worker_ready";
constexpr auto kRetryPause = std::chrono::milliseconds(10);

// One owned frame. Moving hands the bytes over without copying them.
class zframe {
public:
    zframe() { zmq_msg_init(&msg_); }
    ~zframe() { zmq_msg_close(&msg_); }
    zframe(zframe&& other) noexcept {
        zmq_msg_init(&msg_);
        zmq_msg_move(&msg_, &other.msg_);
    }
    zframe& operator=(zframe&& other) noexcept {
        if (this != &other) zmq_msg_move(&msg_, &other.msg_);
        return *this;
    }
    zframe(const zframe&) = delete;
    zframe& operator=(const zframe&) = delete;

    zmq_msg_t* get() { return &msg_; }
    std::size_t size() { return zmq_msg_size(&msg_); }
    const char* data() { return static_cast<const char*>(zmq_msg_data(&msg_)); }
    std::string str() { return std::string(data(), size()); }
    // Receives one part; false with the errno on failure.
    bool recv(void* socket, int& err) {
        while (zmq_msg_recv(&msg_, socket, 0) < 0) {
            err = zmq_errno();
            if (err != EINTR) return false;
        }
        return true;
    }
    bool send(void* socket, bool more) {
        return zmq_msg_send(&msg_, socket, more ? ZMQ_SNDMORE : 0) >= 0;
    }

private:
    zmq_msg_t msg_;
};

bool has_more(void* socket) {
    int more = 0;
    size_t len = sizeof(more);
    return zmq_getsockopt(socket, ZMQ_RCVMORE, &more, &len) == 0 && more != 0;
}

// Throws away what is left of a message that will not be served.
void discard_rest(void* socket) {
    while (has_more(socket)) {
        zframe part;
        int err = 0;
        if (!part.recv(socket, err)) return;
    }
}

void send_bytes(void* socket, const std::string& bytes, bool more) {
    zmq_send(socket, bytes.data(), bytes.size(), more ? ZMQ_SNDMORE : 0);
}

struct raw_msg {
    std::string client;
    uint64_t arrival = 0;
    uint32_t id = 0;
    uint32_t ext = 0;
    zframe frame;  // the request frame as it came, header included
};

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
        MSG_LOG_ERR(TVN_MSG_ERR_BOUND, "the msg server has binding early.");
        return TVN_MSG_ERR_BOUND;
    }
    addr_ = addr;
    if (worker_num_ < 1) {
        MSG_LOG_ERR(TVN_MSG_ERR_WORKER_NUM,
                    "the msg server start failed,the worker num (%d) is invalid.", worker_num_);
        return TVN_MSG_ERR_WORKER_NUM;
    }
    if (addr_.get_type() == TVN_MSG_ADDR_NOT_SET) {
        MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "the msg server start failed,the server addr not set.");
        return TVN_MSG_ERR_ADDR;
    }
    if (tvn_msg_util::addr_to_string(addr_, endpoint_) < 1) {
        MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "the msg server start failed,the addr is invalid.");
        return TVN_MSG_ERR_ADDR;
    }
    if (deal_ == nullptr) {
        MSG_LOG_ERR(TVN_MSG_ERR_NO_DEAL_FUN,
                    "the msg server start failed,the messge deal function not set.");
        return TVN_MSG_ERR_NO_DEAL_FUN;
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
    else if (rc == TVN_MSG_ERR_NOMEM)
        MSG_LOG_ERR(rc, "the msg server start failed,malloc the thread group failed.");
    return rc;
}

int32_t tvn_msg_zmq_lrubroker::start() {
    void* ctx = nullptr;
    int32_t rc = core_.begin_start(ctx);
    if (rc == TVN_MSG_ERR_NOT_BOUND) {
        MSG_LOG_ERR(rc, "the msg server startfailed, it is not binding.");
        return rc;
    }
    if (rc == 1) {
        MSG_LOG_INF("the msg server has running.");
        return 0;
    }
    std::string endpoint;
    {
        auto lock = core_.lock();
        endpoint = endpoint_;
    }
    void* front = zmq_socket(ctx, ZMQ_ROUTER);
    void* back = nullptr;
    if (front == nullptr) {
        rc = TVN_MSG_ERR_SOCKET;
        MSG_LOG_ERR(rc, "The msg server start failed, create the zmq socket failed(%d).",
                    zmq_errno());
    } else {
        tvn_msg_util::set_close_noblock(front);
        tvn_msg_util::set_receive_hwm(front, 100);
        if (zmq_bind(front, endpoint.c_str()) != 0) {
            int err = zmq_errno();
            rc = err == EADDRINUSE ? TVN_MSG_ERR_BIND : TVN_MSG_ERR_SOCKET;
            MSG_LOG_ERR(rc, "The msg server start failed, bind the frontend socket failed(%d).",
                        err);
        } else if ((back = zmq_socket(ctx, ZMQ_ROUTER)) == nullptr) {
            rc = TVN_MSG_ERR_SOCKET;
            MSG_LOG_ERR(rc, "the msg server start failed, create the backend socket failed(%d).",
                        zmq_errno());
        } else {
            tvn_msg_util::set_close_noblock(back);
            tvn_msg_util::set_receive_hwm(back, 100);
            if (zmq_bind(back, backend_endpoint_.c_str()) != 0) {
                rc = TVN_MSG_ERR_SOCKET;
                MSG_LOG_ERR(rc,
                            "The msg server start failed, bind the backend socket failed(%d).",
                            zmq_errno());
            } else {
                run_loop(front, back);
            }
        }
    }
    if (front != nullptr) zmq_close(front);
    if (back != nullptr) zmq_close(back);
    queued_.store(0, std::memory_order_relaxed);
    core_.end_start();
    return rc;
}

int32_t tvn_msg_zmq_lrubroker::stop() { return core_.stop(); }

void tvn_msg_zmq_lrubroker::run_loop(void* front, void* back) {
    std::deque<std::string> workers;  // idle, least recently used first
    std::deque<raw_msg> requests;

    // Hands one request to the worker idle longest.
    auto send_to_worker = [&](const std::string& client, zframe& request) {
        std::string worker = std::move(workers.front());
        workers.pop_front();
        send_bytes(back, worker, true);
        send_bytes(back, std::string(), true);
        send_bytes(back, client, true);
        send_bytes(back, std::string(), true);
        request.send(back, false);
    };

    auto dispatch_queue = [&]() {
        bool drained = false;
        while (!requests.empty() && !workers.empty()) {
            raw_msg& oldest = requests.front();
            const uint64_t span = oldest.ext / 1000 + 1;
            if (oldest.ext != 0 && IsTimeout(oldest.arrival, span)) {
                // Its caller has given up: no worker computes an answer for nobody.
                MSG_LOG_ERR(TVN_MSG_ERR_TIMEOUT,
                            "The request msg(id:%u) is abandoned because of overtime.", oldest.id);
            } else {
                send_to_worker(oldest.client, oldest.frame);
            }
            requests.pop_front();
            drained = true;
        }
        if (drained && requests.empty()) std::deque<raw_msg>().swap(requests);
        if (drained) queued_.store(requests.size(), std::memory_order_relaxed);
    };

    // Back: a worker announces itself or answers a client.
    auto on_back = [&]() {
        int err = 0;
        zframe worker_id;
        if (!worker_id.recv(back, err)) {
            MSG_LOG_ERR(err, "the msg server worker receive worker addr frame failed.");
            return;
        }
        zframe empty;
        if (!has_more(back) || !empty.recv(back, err) || empty.size() != 0 || !has_more(back)) {
            MSG_LOG_ERR(err, "the msg server worker receive worker empty frame failed.");
            discard_rest(back);
            return;
        }
        workers.push_back(worker_id.str());
        zframe client;
        if (!client.recv(back, err)) {
            MSG_LOG_ERR(err, "the msg server worker receive client addr frame failed.");
            return;
        }
        if (!has_more(back) && client.size() == sizeof(kWorkerReady) - 1 &&
            std::memcmp(client.data(), kWorkerReady, client.size()) == 0)
            return;
        zframe delimiter, reply;
        if (!has_more(back) || !delimiter.recv(back, err) || !has_more(back) ||
            !reply.recv(back, err)) {
            MSG_LOG_ERR(err, "the msg server worker receive worker reply frame failed.");
            discard_rest(back);
            return;
        }
        discard_rest(back);
        client.send(front, true);
        send_bytes(front, std::string(), true);
        reply.send(front, false);
    };

    // Front: a client's request, as [identity][empty][request].
    auto on_front = [&]() {
        int err = 0;
        zframe client;
        if (!client.recv(front, err)) {
            MSG_LOG_ERR(err, "the msg server worker receive client addr frame failed.");
            return;
        }
        zframe empty;
        if (!has_more(front) || !empty.recv(front, err) || empty.size() != 0) {
            MSG_LOG_ERR(err, "the msg server worker receive client empty frame failed.");
            discard_rest(front);
            return;
        }
        zframe request;
        if (!has_more(front) || !request.recv(front, err)) {
            MSG_LOG_ERR(err, "the msg server worker receive client msg frame failed.");
            return;
        }
        // A request is exactly one frame of at least the 8-byte header.
        const bool extra = has_more(front);
        discard_rest(front);
        if (extra || request.size() < TVN_MSG_HEADER_LEN) {
            MSG_LOG_ERR(TVN_MSG_ERR_EMPTY_REPLY,
                        "the msg server worker receive client msg frame failed.");
            return;
        }
        if (requests.size() > MAX_QUEUED_REQUESTS - 1) {
            MSG_LOG_ERR(TVN_MSG_ERR_NOMEM, "the msg server worker receive too many message(%d).",
                        static_cast<int>(requests.size()));
            return;
        }
        if (workers.empty()) {
            raw_msg queued;
            queued.client = client.str();
            queued.arrival = GetCurTimeStamp();
            std::memcpy(&queued.id, request.data(), sizeof(queued.id));
            std::memcpy(&queued.ext, request.data() + 4, sizeof(queued.ext));
            queued.frame = std::move(request);
            requests.push_back(std::move(queued));
            queued_.store(requests.size(), std::memory_order_relaxed);
            return;
        }
        send_to_worker(client.str(), request);
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
            if (err != EINTR) MSG_LOG_ERR(err, "the msg server worker poll failed.");
            continue;
        }
        if (items[0].revents & ZMQ_POLLIN) {
            on_back();
            dispatch_queue();
        }
        if (items[1].revents & ZMQ_POLLIN) on_front();
    }
}

void tvn_msg_zmq_lrubroker::worker_loop(void* ctx, const std::string& backend,
                                        tvn_msg_deal_fun deal, void* deal_context,
                                        const std::function<void()>& ready) {
    void* socket = nullptr;
    for (;;) {
        if (socket == nullptr) {
            socket = zmq_socket(ctx, ZMQ_REQ);
            if (socket == nullptr) {
                if (zmq_errno() == ETERM) break;
                MSG_LOG_ERR(TVN_MSG_ERR_SOCKET,
                            "the msg server create response conn failed,create the response "
                            "socket failed(%d).",
                            zmq_errno());
                ready();
                std::this_thread::sleep_for(kRetryPause);
                continue;
            }
            tvn_msg_util::set_close_noblock(socket);
            tvn_msg_util::set_receive_hwm(socket, 10);
            if (zmq_connect(socket, backend.c_str()) != 0) {
                const int err = zmq_errno();
                zmq_close(socket);
                socket = nullptr;
                if (err == ETERM) break;
                MSG_LOG_ERR(TVN_MSG_ERR_CONNECT,
                            "the msg server create response conn failed,connect the addr "
                            "failed(%d).",
                            err);
                ready();
                std::this_thread::sleep_for(kRetryPause);
                continue;
            }
            tvn_msg_util::send_str(socket, kWorkerReady, false);
            ready();
        }

        std::string client, empty;
        int32_t rc = tvn_msg_util::receive_str(socket, client);
        if (rc == 0) {
            rc = tvn_msg_util::receive_str(socket, empty);
            if (rc == TVN_MSG_ERR_TERMINATED) {
                MSG_LOG_INF("the msg server worker is terminal.");
                break;
            }
        } else if (rc == TVN_MSG_ERR_TERMINATED) {
            MSG_LOG_INF("the msg server worker is terminal.");
            break;
        } else {
            MSG_LOG_ERR(rc, "the msg server worker receive error.(%d).", rc);
            continue;  // the socket is gone; announce afresh
        }
        if (rc != 0) {
            MSG_LOG_ERR(rc, "The msg server worker receive error.(%d).", rc);
            continue;
        }

        // The request's payload is read in place from its frame.
        zmq_msg_t frame;
        zmq_msg_init(&frame);
        rc = tvn_msg_util::receive_zmsg(socket, &frame);
        if (rc == TVN_MSG_ERR_TERMINATED) {
            zmq_msg_close(&frame);
            MSG_LOG_INF("the msg server worker is terminal.");
            break;
        }
        if (rc != 0 || zmq_msg_size(&frame) < TVN_MSG_HEADER_LEN) {
            zmq_msg_close(&frame);
            MSG_LOG_ERR(rc, "The msg server worker receive error.(%d).", rc);
            if (socket != nullptr) {
                zmq_close(socket);
                socket = nullptr;
            }
            continue;
        }
        TVN_MSG request;
        const char* bytes = static_cast<const char*>(zmq_msg_data(&frame));
        std::memcpy(&request.id, bytes, sizeof(request.id));
        std::memcpy(&request.ext, bytes + 4, sizeof(request.ext));
        request.len = static_cast<uint32_t>(zmq_msg_size(&frame) - TVN_MSG_HEADER_LEN);
        request.data = request.len != 0 ? const_cast<char*>(bytes + TVN_MSG_HEADER_LEN) : nullptr;

        TVN_MSG reply;
        reply.id = request.id;
        if (deal == nullptr) {
            MSG_LOG_ERR(TVN_MSG_ERR_NO_DEAL_FUN,
                        "The msg server worker deal the msg error. the msg_deal is null.");
            rc = TVN_MSG_ERR_NO_DEAL_FUN;
        } else {
            rc = deal(deal_context, request, reply);
        }
        zmq_msg_close(&frame);
        if (rc != 0) {
            MSG_LOG_ERR(rc, "The msg server worker deal the msg error.(%d).", rc);
            tvn_msg_free(reply);
            // No reply: this socket still owes one, so it is replaced and
            // the worker announces itself afresh.
            zmq_close(socket);
            socket = nullptr;
            continue;
        }
        reply.ext = 0;
        tvn_msg_util::send_str(socket, client, true);
        tvn_msg_util::send_str(socket, std::string(), true);
        tvn_msg_util::send_cmsg(socket, reply, false);
        tvn_msg_free(reply);
    }
    if (socket != nullptr) zmq_close(socket);
}
