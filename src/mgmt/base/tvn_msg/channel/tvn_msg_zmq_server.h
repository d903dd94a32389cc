#pragma once
// Proxy-style message server: ROUTER front, DEALER back, worker REP sockets
// (ZeroMQ's own proxy between them). In-process clients reach it through
// get_zmq_context() and an inproc endpoint.
#include <string>

#include "itf_tvn_msg_server.h"
#include "tvn_msg_server_core.h"

class tvn_msg_zmq_server : public itf_tvn_msg_server {
public:
    tvn_msg_zmq_server() = default;
    ~tvn_msg_zmq_server() override;
    tvn_msg_zmq_server(const tvn_msg_zmq_server&) = delete;
    tvn_msg_zmq_server& operator=(const tvn_msg_zmq_server&) = delete;

    int32_t bind(const tvn_msg_addr& addr) override;
    // Blocks in the proxy until stop(). 0 after a clean stop; -2024 not
    // bound; -2003 sockets; -2004 the endpoint is already in use.
    int32_t start() override;
    // Ends start() and the workers; waits for start() to let go of the
    // endpoint unless called from one of the server's own threads.
    int32_t stop() override;
    void set_worker_num(int worker_num) override;
    void set_msg_deal_fun(tvn_msg_deal_fun deal, void* context) override;

    void set_inproc_addr(const std::string& endpoint);
    // The context's handle, for in-process clients; null when not bound.
    void* get_zmq_context();
    // A socket of `type` (LINGER 0) in that context, made under the server's
    // lock so that a stop cannot let go of the context meanwhile (a socket
    // made before the stop only sees its calls fail with ETERM, and the stop
    // waits until it is closed). 0, or the errno with socket left empty
    // (ENOTSUP when not bound).
    int create_socket(int type, zmq::socket_t& socket);
    bool is_bound();

private:
    // The proxy between the front and back sockets, until the context ends.
    static int32_t serve(zmq::context_t& ctx, const std::string& endpoint,
                         const std::string& backend);

    tvn_msg_server_core core_;
    tvn_msg_addr addr_;
    std::string endpoint_;
    std::string backend_endpoint_ = "inproc://workers";
    int worker_num_ = 0;
    tvn_msg_deal_fun deal_ = nullptr;
    void* deal_context_ = nullptr;
};
