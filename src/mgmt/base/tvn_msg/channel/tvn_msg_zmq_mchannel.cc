#include "tvn_msg_zmq_mchannel.h"

#include <zmq.h>

#include <new>

#include "tvn_log.h"
#include "tvn_msg_util.h"

#define MSG_LOG_ERR(err, ...) TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_ERROR, err, __VA_ARGS__)
#define MSG_LOG_INF(...) TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_INFO, 0, __VA_ARGS__)

namespace {
constexpr char kFrontName[] = "frontrouter";
constexpr char kFrontEndpoint[] = "inproc://frontrouter";
constexpr char kBackendEndpoint[] = "inproc://backendworker";

// A REQ socket with the options every channel socket carries.
void* make_req_socket(void* ctx, const char* endpoint, const char* create_log,
                      const char* connect_log) {
    void* socket = zmq_socket(ctx, ZMQ_REQ);
    if (socket == nullptr) {
        MSG_LOG_ERR(TVN_MSG_ERR_NO_CONNECTION, "%s(%d).", create_log, zmq_errno());
        return nullptr;
    }
    tvn_msg_util::set_close_noblock(socket);
    tvn_msg_util::set_send_hwm(socket, 1);
    if (zmq_connect(socket, endpoint) != 0) {
        MSG_LOG_ERR(TVN_MSG_ERR_NO_CONNECTION, "%s(%d).", connect_log, zmq_errno());
        zmq_close(socket);
        return nullptr;
    }
    return socket;
}
}  // namespace

tvn_msg_zmq_mchannel::tvn_msg_zmq_mchannel(unsigned worker_num) : worker_num_(worker_num) {}

tvn_msg_zmq_mchannel::~tvn_msg_zmq_mchannel() { close(); }

int32_t tvn_msg_zmq_mchannel::connect(const tvn_msg_addr& addr) {
    std::lock_guard<std::mutex> lock(open_mutex_);
    addr_ = addr;
    if (tvn_msg_util::addr_to_string(addr_, endpoint_) != 1) return TVN_MSG_ERR_ADDR;
    return 0;
}

int32_t tvn_msg_zmq_mchannel::open() {
    std::lock_guard<std::mutex> lock(open_mutex_);
    if (is_server_start()) {
        MSG_LOG_INF("the msg channel has opened.");
        return 0;
    }
    if (endpoint_.empty()) {
        MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "the msg channel open failed,the connect addr not set.");
        return TVN_MSG_ERR_ADDR;
    }
    if (!server_) {
        server_.reset(new (std::nothrow) tvn_msg_zmq_server());
        if (!server_) {
            MSG_LOG_ERR(TVN_MSG_ERR_NOMEM,
                        "the msg channel open failed,malloc the worker server failed.");
            return TVN_MSG_ERR_NOMEM;
        }
        server_->set_worker_num(static_cast<int>(worker_num_));
        server_->set_inproc_addr(kBackendEndpoint);
        server_->set_msg_deal_fun(&tvn_msg_zmq_mchannel::msg_worker, this);
        server_->set_worker_exit_fun(&tvn_msg_zmq_mchannel::on_worker_exit, this);
    }
    int32_t rc = server_->bind(tvn_msg_addr(TVN_MSG_ADDR_INPROC, kFrontName));
    if (rc != 0) {
        MSG_LOG_ERR(rc, "the msg channel open failed,bind worker server failed.");
        return rc;
    }
    {
        std::lock_guard<std::mutex> guard(client_mutex_);
        client_context_ = server_->get_zmq_context();
        accepting_ = true;
    }
    if (start_thread_server() <= 0) {
        MSG_LOG_ERR(TVN_MSG_ERR_THREAD_START,
                    "the msg channel open failed,start worker thread server failed.");
        {
            std::lock_guard<std::mutex> guard(client_mutex_);
            accepting_ = false;
            client_context_ = nullptr;
        }
        server_->stop();
        return TVN_MSG_ERR_THREAD_START;
    }
    return 0;
}

int32_t tvn_msg_zmq_mchannel::close() {
    std::lock_guard<std::mutex> lock(open_mutex_);
    {
        std::lock_guard<std::mutex> guard(client_mutex_);
        accepting_ = false;
        client_context_ = nullptr;
        for (void* socket : idle_client_sockets_) zmq_close(socket);
        idle_client_sockets_.clear();
    }
    // Workers close their own remote sockets as they end (on_worker_exit).
    stop_thread_server();
    if (server_) server_->stop();
    std::lock_guard<std::mutex> guard(socket_map_mutex_);
    for (auto& entry : worker_sockets_) zmq_close(entry.second);
    worker_sockets_.clear();
    return 0;
}

void* tvn_msg_zmq_mchannel::acquire_client_socket() {
    std::lock_guard<std::mutex> guard(client_mutex_);
    if (!accepting_ || client_context_ == nullptr || !is_server_start()) return nullptr;
    if (!idle_client_sockets_.empty()) {
        void* socket = idle_client_sockets_.back();
        idle_client_sockets_.pop_back();
        return socket;
    }
    return make_req_socket(
        client_context_, kFrontEndpoint,
        "the msg channel create client conn failed,create the client socket failed",
        "the msg channel create client conn failed,connect the addr failed");
}

void tvn_msg_zmq_mchannel::release_client_socket(void* socket, bool reusable) {
    std::lock_guard<std::mutex> guard(client_mutex_);
    if (reusable && accepting_)
        idle_client_sockets_.push_back(socket);
    else
        zmq_close(socket);
}

int32_t tvn_msg_zmq_mchannel::request(const TVN_MSG& req, TVN_MSG& rsp, int timeout_ms) {
    void* socket = acquire_client_socket();
    if (socket == nullptr) return TVN_MSG_ERR_NO_CONNECTION;
    int32_t rc = tvn_msg_util::poll_request(socket, req, rsp, timeout_ms);
    if (rc != 0) MSG_LOG_ERR(rc, "the msg client mchannel requet failed(%d).", rc);
    release_client_socket(socket, rc == 0);
    return rc;
}

void* tvn_msg_zmq_mchannel::worker_socket() {
    const auto self = std::this_thread::get_id();
    std::lock_guard<std::mutex> guard(socket_map_mutex_);
    auto it = worker_sockets_.find(self);
    if (it != worker_sockets_.end()) return it->second;
    void* ctx = server_ ? server_->get_zmq_context() : nullptr;
    if (ctx == nullptr) return nullptr;
    void* socket = make_req_socket(
        ctx, endpoint_.c_str(),
        "the msg channel create client conn failed,create the client socket failed",
        "the msg channel create client conn failed,connect the addr failed");
    if (socket != nullptr) worker_sockets_.emplace(self, socket);
    return socket;
}

void tvn_msg_zmq_mchannel::forget_worker_socket() {
    std::lock_guard<std::mutex> guard(socket_map_mutex_);
    auto it = worker_sockets_.find(std::this_thread::get_id());
    if (it == worker_sockets_.end()) return;
    zmq_close(it->second);
    worker_sockets_.erase(it);
}

void tvn_msg_zmq_mchannel::on_worker_exit(void* context) {
    static_cast<tvn_msg_zmq_mchannel*>(context)->forget_worker_socket();
}

std::size_t tvn_msg_zmq_mchannel::worker_socket_count() {
    std::lock_guard<std::mutex> guard(socket_map_mutex_);
    return worker_sockets_.size();
}

int tvn_msg_zmq_mchannel::msg_worker(void* context, const TVN_MSG& req, TVN_MSG& rsp) {
    if (context == nullptr) return TVN_MSG_ERR_NO_CONTEXT;
    auto* self = static_cast<tvn_msg_zmq_mchannel*>(context);
    void* socket = self->worker_socket();
    if (socket == nullptr) return TVN_MSG_ERR_NO_CONNECTION;
    // The caller's own time-out travels in ext.
    int32_t rc = tvn_msg_util::poll_request(socket, req, rsp, static_cast<int>(req.ext));
    if (rc != 0) {
        // A REQ socket whose exchange failed is stuck; the next request on
        // this thread gets a fresh one.
        self->forget_worker_socket();
        MSG_LOG_ERR(rc, "the msg client mchannel worker requet failed(%d).", rc);
    }
    return rc;
}

void tvn_msg_zmq_mchannel::run_thread_job() {
    if (server_) job_result_ = server_->start();
}

bool tvn_msg_zmq_mchannel::interupt_thread_work() {
    if (server_) server_->stop();
    MSG_LOG_INF("the msg client mchannel interupt success.");
    return true;
}
