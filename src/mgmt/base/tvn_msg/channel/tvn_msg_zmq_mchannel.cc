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

// Gives a REQ socket made in the proxy's context the options every channel
// socket carries and connects it; null (logged, the socket closed) when it
// could not be made or connected.
void* connect_req_socket(void* socket, const char* endpoint) {
    if (socket == nullptr) {
        MSG_LOG_ERR(TVN_MSG_ERR_NO_CONNECTION,
                    "the msg channel create client conn failed,create the client socket "
                    "failed(%d).",
                    zmq_errno());
        return nullptr;
    }
    tvn_msg_util::set_close_noblock(socket);
    tvn_msg_util::set_send_hwm(socket, 1);
    if (zmq_connect(socket, endpoint) != 0) {
        MSG_LOG_ERR(TVN_MSG_ERR_NO_CONNECTION,
                    "the msg channel create client conn failed,connect the addr failed(%d).",
                    zmq_errno());
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
    if (tvn_msg_util::addr_to_string(addr_, endpoint_) != 1) {
        endpoint_.clear();
        return TVN_MSG_ERR_ADDR;
    }
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
    }
    {
        std::lock_guard<std::mutex> guard(socket_map_mutex_);
        closing_ = false;
    }
    int32_t rc = server_->bind(tvn_msg_addr(TVN_MSG_ADDR_INPROC, kFrontName));
    if (rc != 0) {
        MSG_LOG_ERR(rc, "the msg channel open failed,bind worker server failed.");
        return rc;
    }
    if (start_thread_server() <= 0) {
        MSG_LOG_ERR(TVN_MSG_ERR_THREAD_START,
                    "the msg channel open failed,start worker thread server failed.");
        server_->stop();
        return TVN_MSG_ERR_THREAD_START;
    }
    return 0;
}

int32_t tvn_msg_zmq_mchannel::close() {
    std::lock_guard<std::mutex> lock(open_mutex_);
    {
        std::lock_guard<std::mutex> guard(socket_map_mutex_);
        closing_ = true;
        for (auto it = worker_sockets_.begin(); it != worker_sockets_.end();) {
            // A socket in use belongs to its thread until the exchange ends
            // (at once, when the proxy's context goes below); that thread
            // closes it then.
            if (it->second.busy) {
                ++it;
                continue;
            }
            zmq_close(it->second.socket);
            it = worker_sockets_.erase(it);
        }
    }
    stop_thread_server();
    // Also ends a server bound by an open that could not start its thread.
    if (server_) server_->stop();
    return 0;
}

int32_t tvn_msg_zmq_mchannel::request(const TVN_MSG& req, TVN_MSG& rsp, int timeout_ms) {
    // The thread server's flag is set only after server_ exists.
    if (!is_server_start()) return TVN_MSG_ERR_NO_CONNECTION;
    void* socket = connect_req_socket(server_->create_socket(ZMQ_REQ), kFrontEndpoint);
    if (socket == nullptr) return TVN_MSG_ERR_NO_CONNECTION;
    const int32_t rc = tvn_msg_util::poll_request(socket, req, rsp, timeout_ms);
    if (rc != 0) MSG_LOG_ERR(rc, "the msg client mchannel requet failed(%d).", rc);
    zmq_close(socket);
    return rc;
}

void* tvn_msg_zmq_mchannel::take_worker_socket() {
    const auto self = std::this_thread::get_id();
    std::lock_guard<std::mutex> guard(socket_map_mutex_);
    if (closing_) return nullptr;
    auto it = worker_sockets_.find(self);
    if (it == worker_sockets_.end()) {
        if (!server_) return nullptr;
        void* socket = connect_req_socket(server_->create_socket(ZMQ_REQ), endpoint_.c_str());
        if (socket == nullptr) return nullptr;
        it = worker_sockets_.emplace(self, worker_conn{socket, false}).first;
    }
    it->second.busy = true;
    return it->second.socket;
}

void tvn_msg_zmq_mchannel::give_back_worker_socket(bool failed) {
    std::lock_guard<std::mutex> guard(socket_map_mutex_);
    auto it = worker_sockets_.find(std::this_thread::get_id());
    if (it == worker_sockets_.end()) return;
    it->second.busy = false;
    // A REQ socket whose exchange failed is stuck waiting for its reply; the
    // next request on this thread gets a fresh one.
    if (!failed && !closing_) return;
    zmq_close(it->second.socket);
    worker_sockets_.erase(it);
}

std::size_t tvn_msg_zmq_mchannel::worker_socket_count() {
    std::lock_guard<std::mutex> guard(socket_map_mutex_);
    return worker_sockets_.size();
}

int tvn_msg_zmq_mchannel::msg_worker(void* context, const TVN_MSG& req, TVN_MSG& rsp) {
    if (context == nullptr) return TVN_MSG_ERR_NO_CONTEXT;
    auto* self = static_cast<tvn_msg_zmq_mchannel*>(context);
    void* socket = self->take_worker_socket();
    if (socket == nullptr) return TVN_MSG_ERR_NO_CONNECTION;
    // The caller's own time-out travels in ext.
    const int32_t rc = tvn_msg_util::poll_request(socket, req, rsp, static_cast<int>(req.ext));
    self->give_back_worker_socket(rc != 0);
    if (rc != 0) MSG_LOG_ERR(rc, "the msg client mchannel worker requet failed(%d).", rc);
    return rc;
}

void tvn_msg_zmq_mchannel::run_thread_job() {
    if (server_) server_->start();
}

bool tvn_msg_zmq_mchannel::interupt_thread_work() {
    if (server_) server_->stop();
    MSG_LOG_INF("the msg client mchannel interupt success.");
    return true;
}
