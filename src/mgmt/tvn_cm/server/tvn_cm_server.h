#pragma once
// The service's RPC server: tvn_cm_service and tvn_failover_service on
// TCP 127.0.0.1:6106, served by an RPC server with 2 workers from a thread
// of its own.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

#include "tvn_msg_rpc_server.h"
#include "tvn_thread_server.h"

class tvn_cm_serviceimp;
class tvn_failover_serviceimp;

class tvn_cm_server : public tvn_thread_server {
public:
    static constexpr const char* LISTEN_HOST = "127.0.0.1";
    static constexpr int32_t LISTEN_PORT = 6106;
    static constexpr int WORKER_NUM = 2;

    static tvn_cm_server& instance();

    // Creates the services, initialises the RPC server and starts the
    // serving thread. 0; -6 no memory; the RPC server's init code; -1 when
    // the thread cannot start. A server that already runs is left alone.
    int32_t start_listening();
    // Blocks until the serving thread has ended, then joins it.
    void wait_listening();
    // Same, for at most `timeout`; true when it has ended.
    bool wait_listening_for(std::chrono::milliseconds timeout);
    // Ends serving (also a start under way or still to come: a stop asked
    // before the thread binds makes it end at once).
    int32_t stop_listening();
    // Result of the last serving run: 0 after a clean stop, -2004 when the
    // port was taken, another messaging code otherwise.
    int32_t last_result() const;

    bool interupt_thread_work() override;
    void run_thread_job() override;

    tvn_cm_server();
    ~tvn_cm_server() override;

private:
    tvn_msg_rpc_server rpc_server_;
    std::unique_ptr<tvn_cm_serviceimp> cm_service_;
    std::unique_ptr<tvn_failover_serviceimp> failover_service_;
    mutable std::mutex state_mutex_;
    std::condition_variable ended_cv_;
    bool job_ended_ = true;
    bool stop_requested_ = false;
    int32_t result_ = 0;
};
