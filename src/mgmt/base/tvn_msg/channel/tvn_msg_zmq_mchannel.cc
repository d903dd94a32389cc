#include "tvn_msg_zmq_mchannel.h"

#include <new>

#include "tvn_msg_log.h"
#include "tvn_msg_util.h"


namespace {
constexpr char kFrontName[] = "frontrouter";
constexpr char kFrontEndpoint[] = "inproc://frontrouter";
constexpr char kBackendEndpoint[] = "inproc://backendworker";

// A REQ socket towards endpoint in the proxy server's context, with the
// options every channel socket carries; empty (logged) when it could not be
// made or connected.
zmq::socket_t connect_req_socket(tvn_msg_zmq_server& server, const std::string& endpoint) {
    zmq::socket_t socket;
    int err = server.create_socket(ZMQ_REQ, socket);
    if (err != 0) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_NO_CONNECTION,
                        "the msg channel create client conn failed,create the client socket "
                        "failed(%d).",
                        err);
        return socket;
    }
    tvn_msg_util::set_send_hwm(socket.handle(), 1);
    err = tvn_msg_util::connect(socket, endpoint);
    if (err != 0) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_NO_CONNECTION,
                        "the msg channel create client conn failed,connect the addr failed(%d).",
                        err);
        socket.close();
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
        TVN_MSG_LOG_INF("the msg channel has opened.");
        return 0;
    }
    if (endpoint_.empty()) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_ADDR, "the msg channel open failed,the connect addr not set.");
        return TVN_MSG_ERR_ADDR;
    }
    if (!server_) {
        server_.reset(new (std::nothrow) tvn_msg_zmq_server());
        if (!server_) {
            TVN_MSG_LOG_ERR(TVN_MSG_ERR_NOMEM,
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
        TVN_MSG_LOG_ERR(rc, "the msg channel open failed,bind worker server failed.");
        return rc;
    }
    if (start_thread_server() <= 0) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_THREAD_START,
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
    zmq::socket_t socket = connect_req_socket(*server_, kFrontEndpoint);
    if (!socket) return TVN_MSG_ERR_NO_CONNECTION;
    const int32_t rc = tvn_msg_util::poll_request(socket.handle(), req, rsp, timeout_ms);
    if (rc != 0) TVN_MSG_LOG_ERR(rc, "the msg client mchannel requet failed(%d).", rc);
    return rc;
}

void* tvn_msg_zmq_mchannel::take_worker_socket() {
    const auto self = std::this_thread::get_id();
    std::lock_guard<std::mutex> guard(socket_map_mutex_);
    if (closing_) return nullptr;
    auto it = worker_sockets_.find(self);
    if (it == worker_sockets_.end()) {
        if (!server_) return nullptr;
        zmq::socket_t socket = connect_req_socket(*server_, endpoint_);
        if (!socket) return nullptr;
        it = worker_sockets_.emplace(self, worker_conn{std::move(socket), false}).first;
    }
    it->second.busy = true;
    return it->second.socket.handle();
}

void tvn_msg_zmq_mchannel::give_back_worker_socket(bool failed) {
    std::lock_guard<std::mutex> guard(socket_map_mutex_);
    auto it = worker_sockets_.find(std::this_thread::get_id());
    if (it == worker_sockets_.end()) return;
    it->second.busy = false;
    // A REQ socket whose exchange failed is stuck waiting for its reply; the
    // next request on this thread gets a fresh one.
    if (!failed && !closing_) return;
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
    if (rc != 0) TVN_MSG_LOG_ERR(rc, "the msg client mchannel worker requet failed(%d).", rc);
    return rc;
}

void tvn_msg_zmq_mchannel::run_thread_job() {
    if (server_) server_->start();
}

bool tvn_msg_zmq_mchannel::interupt_thread_work() {
    if (server_) server_->stop();
    TVN_MSG_LOG_INF("the msg client mchannel interupt success.");
    return true;
}
