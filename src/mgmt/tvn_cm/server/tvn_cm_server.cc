#include "tvn_cm_server.h"

#include <new>

#include "tvn_cm_serviceimp.h"
#include "tvn_failover_service.h"
#include "tvn_log.h"
#include "tvn_msg_def.h"

tvn_cm_server& tvn_cm_server::instance() {
    // Never destroyed: the serving thread may still be winding down while
    // the process exits.
    static tvn_cm_server* server = new tvn_cm_server();
    return *server;
}

tvn_cm_server::tvn_cm_server() = default;

tvn_cm_server::~tvn_cm_server() {
    stop_listening();
    stop_thread_server();
    rpc_server_.unregister();
}

int32_t tvn_cm_server::start_listening() {
    if (is_server_start()) return 0;
    if (!cm_service_) {
        cm_service_.reset(new (std::nothrow) tvn_cm_serviceimp());
        failover_service_.reset(new (std::nothrow) tvn_failover_serviceimp());
        if (!cm_service_ || !failover_service_) {
            cm_service_.reset();
            failover_service_.reset();
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -6, "New serviceimp failed.");
            return -6;
        }
    }
    int32_t rc = rpc_server_.init(WORKER_NUM);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "The cm rpc server init failed.");
        return rc;
    }
    rpc_server_.register_service(cm_service_.get());
    rpc_server_.register_service(failover_service_.get());
    {
        std::lock_guard<std::mutex> lock(state_mutex_);
        job_ended_ = false;
        result_ = 0;
    }
    if (start_thread_server() != 1) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -1, "The cm rpc server start failed.");
        std::lock_guard<std::mutex> lock(state_mutex_);
        job_ended_ = true;
        ended_cv_.notify_all();
        return -1;
    }
    return 0;
}

void tvn_cm_server::run_thread_job() {
    bool stop_first;
    {
        std::lock_guard<std::mutex> lock(state_mutex_);
        stop_first = stop_requested_;
    }
    int32_t rc = 0;
    if (!stop_first) rc = rpc_server_.start(tvn_msg_addr(TVN_MSG_ADDR_TCP, LISTEN_HOST, LISTEN_PORT));
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "The cm rpc server run thread job failed.");
        if (rc == TVN_MSG_ERR_BIND) TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "The cm rpc port is already used.");
    }
    {
        std::lock_guard<std::mutex> lock(state_mutex_);
        result_ = rc;
        job_ended_ = true;
    }
    ended_cv_.notify_all();
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, rc, "The cm rpc server run thread job stop.");
}

bool tvn_cm_server::wait_listening_for(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(state_mutex_);
    return ended_cv_.wait_for(lock, timeout, [this] { return job_ended_; });
}

void tvn_cm_server::wait_listening() {
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "The cm rpc server wait listening.");
    {
        std::unique_lock<std::mutex> lock(state_mutex_);
        ended_cv_.wait(lock, [this] { return job_ended_; });
    }
    // The job has returned; collect its thread so nothing of the server
    // runs during teardown.
    (void)stop_thread_server();
    std::lock_guard<std::mutex> lock(state_mutex_);
    stop_requested_ = false;  // consumed: a later start serves again
}

int32_t tvn_cm_server::stop_listening() {
    {
        std::lock_guard<std::mutex> lock(state_mutex_);
        stop_requested_ = true;
    }
    return rpc_server_.stop();
}

int32_t tvn_cm_server::last_result() const {
    std::lock_guard<std::mutex> lock(state_mutex_);
    return result_;
}

bool tvn_cm_server::interupt_thread_work() {
    (void)rpc_server_.stop();
    return true;
}
