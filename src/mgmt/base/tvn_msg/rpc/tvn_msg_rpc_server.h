#pragma once
// Serves protobuf services on a ZeroMQ endpoint through an LRU broker.
// Use: init(workers); register_service(...) for each service; start(addr)
// on a thread of its own (it blocks); stop() from elsewhere; unregister().
// The server does not own the service objects.
#include <google/protobuf/service.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "tvn_msg_def.h"
#include "tvn_msg_rpc_method.h"

class tvn_msg_zmq_lrubroker;

class tvn_msg_rpc_server {
public:
    tvn_msg_rpc_server();
    ~tvn_msg_rpc_server();
    tvn_msg_rpc_server(const tvn_msg_rpc_server&) = delete;
    tvn_msg_rpc_server& operator=(const tvn_msg_rpc_server&) = delete;

    // 0; -5 when worker_num < 1; -6 when the broker cannot be made. Begins
    // a new serving cycle: a stop() remembered from before is forgotten.
    int32_t init(int worker_num);
    // Registers every method of the service (a method id registered before
    // is replaced). A null service is ignored.
    void register_service(google::protobuf::Service* service);
    // Binds and serves until stop(). 0 after a clean stop; -2013 without
    // init; the broker's bind or start code otherwise (-2003 when the
    // endpoint cannot be bound, e.g. the port is in use).
    int32_t start(const tvn_msg_addr& addr);
    // Ends a start() that runs or is under way (also one that has not bound
    // yet); waits until it has let go of the endpoint. A stop() while no
    // start() is under way is remembered: the next start() then returns 0 at
    // once without serving (a thread about to start is stopped all the same,
    // whenever the stop lands).
    int32_t stop();
    bool is_running();
    void unregister();

    // Deal function run on the broker's worker threads.
    static int msg_worker(void* context, const TVN_MSG& request, TVN_MSG& reply);

private:
    std::unique_ptr<tvn_msg_zmq_lrubroker> server_;
    std::mutex state_mutex_;  // start/stop hand-over; never held while serving
    bool starting_ = false;
    bool stop_requested_ = false;
    bool stop_pending_ = false;  // a stop() that came before start()
    std::mutex mutex_;  // the method map
    std::map<uint32_t, tvn_msg_rpc_method> methods_;
};
