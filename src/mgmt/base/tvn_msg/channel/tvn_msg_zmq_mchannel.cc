#include "tvn_msg_zmq_mchannel.h"

#include <zmq.h>

#include <chrono>

#include "tvn_log.h"
#include "tvn_msg_util.h"

#define MSG_LOG_ERR(err, ...) TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_ERROR, err, __VA_ARGS__)
#define MSG_LOG_INF(...) TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_INFO, 0, __VA_ARGS__)

tvn_msg_zmq_mchannel::tvn_msg_zmq_mchannel(unsigned worker_num) : worker_num_(worker_num) {}

tvn_msg_zmq_mchannel::~tvn_msg_zmq_mchannel() { close(); }

int32_t tvn_msg_zmq_mchannel::connect(const tvn_msg_addr& addr) {
    std::lock_guard<std::mutex> lock(mutex_);
    addr_ = addr;
    if (tvn_msg_util::addr_to_string(addr_, endpoint_) != 1) return TVN_MSG_ERR_ADDR;
    return 0;
}

int32_t tvn_msg_zmq_mchannel::open() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (opened_) {
        MSG_LOG_INF("the msg channel has opened.");
        return 0;
    }
    // A close still letting go of its sockets finishes first.
    cv_.wait(lock, [this] { return context_ == nullptr; });
    if (endpoint_.empty()) {
        MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "the msg channel open failed,the connect addr not set.");
        return TVN_MSG_ERR_ADDR;
    }
    if (worker_num_ < 1) {
        MSG_LOG_ERR(TVN_MSG_ERR_WORKER_NUM, "the msg channel open failed,bind worker server failed.");
        return TVN_MSG_ERR_WORKER_NUM;
    }
    void* ctx = zmq_ctx_new();
    if (ctx == nullptr) {
        MSG_LOG_ERR(TVN_MSG_ERR_CONTEXT,
                    "the msg channel open failed,malloc the zmq context failed(%d).", zmq_errno());
        return TVN_MSG_ERR_CONTEXT;
    }
    context_ = ctx;
    slots_.assign(worker_num_, slot{});
    busy_ = 0;
    opened_ = true;
    return 0;
}

int32_t tvn_msg_zmq_mchannel::close() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!opened_) return 0;
    opened_ = false;
    void* ctx = context_;
    // Exchanges in flight end at once with ETERM and hand their slots back.
    zmq_ctx_shutdown(ctx);
    cv_.notify_all();
    cv_.wait(lock, [this] { return busy_ == 0; });
    for (auto& s : slots_) {
        if (s.socket != nullptr) zmq_close(s.socket);
        s.socket = nullptr;
    }
    slots_.clear();
    lock.unlock();
    zmq_ctx_term(ctx);
    lock.lock();
    context_ = nullptr;
    cv_.notify_all();
    MSG_LOG_INF("the msg client mchannel interupt success.");
    return 0;
}

bool tvn_msg_zmq_mchannel::is_open() {
    std::lock_guard<std::mutex> lock(mutex_);
    return opened_;
}

std::size_t tvn_msg_zmq_mchannel::worker_socket_count() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::size_t n = 0;
    for (const auto& s : slots_) n += s.socket != nullptr ? 1 : 0;
    return n;
}

// Index of a free slot, marked busy; -3 when none frees in time, -2022 when
// the channel is (or becomes) closed. Prefers a slot that is connected.
int tvn_msg_zmq_mchannel::take_slot(int timeout_ms, std::unique_lock<std::mutex>& lock) {
    auto pick = [this]() -> int {
        int fallback = -1;
        for (std::size_t i = 0; i < slots_.size(); ++i) {
            if (slots_[i].busy) continue;
            if (slots_[i].socket != nullptr) return static_cast<int>(i);
            if (fallback < 0) fallback = static_cast<int>(i);
        }
        return fallback;
    };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    int index = -1;
    cv_.wait_until(lock, deadline, [&] { return !opened_ || (index = pick()) >= 0; });
    if (!opened_) return TVN_MSG_ERR_NO_CONNECTION;
    if (index < 0) return TVN_MSG_ERR_TIMEOUT;
    slots_[index].busy = true;
    ++busy_;
    return index;
}

int32_t tvn_msg_zmq_mchannel::request(const TVN_MSG& req, TVN_MSG& rsp, int timeout_ms) {
    if (timeout_ms < 0) timeout_ms = 0;
    const auto start = std::chrono::steady_clock::now();
    std::unique_lock<std::mutex> lock(mutex_);
    const int index = take_slot(timeout_ms, lock);
    if (index < 0) {
        MSG_LOG_ERR(index, "the msg client mchannel requet failed(%d).", index);
        return index;
    }
    void* socket = slots_[index].socket;
    void* ctx = context_;
    const std::string endpoint = endpoint_;
    lock.unlock();

    int32_t rc = 0;
    if (socket == nullptr) {
        // This slot's connection is (re)made by the request that needs it.
        socket = zmq_socket(ctx, ZMQ_REQ);
        if (socket == nullptr) {
            MSG_LOG_ERR(TVN_MSG_ERR_NO_CONNECTION,
                        "the msg channel create client conn failed,create the client socket "
                        "failed(%d).",
                        zmq_errno());
            rc = TVN_MSG_ERR_NO_CONNECTION;
        } else {
            tvn_msg_util::set_close_noblock(socket);
            tvn_msg_util::set_send_hwm(socket, tvn_msg_util::REQ_SEND_HWM);
            if (zmq_connect(socket, endpoint.c_str()) != 0) {
                MSG_LOG_ERR(TVN_MSG_ERR_NO_CONNECTION,
                            "the msg channel create client conn failed,connect the addr "
                            "failed(%d).",
                            zmq_errno());
                zmq_close(socket);
                socket = nullptr;
                rc = TVN_MSG_ERR_NO_CONNECTION;
            } else {
                lock.lock();
                slots_[index].socket = socket;
                lock.unlock();
            }
        }
    }
    if (rc == 0) {
        // What was spent waiting for a slot comes off the caller's time-out.
        const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(
                                std::chrono::steady_clock::now() - start)
                                .count();
        const int left = waited >= timeout_ms ? 0 : timeout_ms - static_cast<int>(waited);
        rc = tvn_msg_util::poll_request(socket, req, rsp, left);
        if (rc != 0) {
            // A REQ socket whose exchange failed is stuck: the slot drops it.
            MSG_LOG_ERR(rc, "the msg client mchannel worker requet failed(%d).", rc);
            zmq_close(socket);
            socket = nullptr;
        }
    }

    lock.lock();
    slots_[index].socket = socket;
    slots_[index].busy = false;
    --busy_;
    lock.unlock();
    cv_.notify_all();
    return rc;
}
