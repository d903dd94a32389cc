#pragma once
// The worker thread every message server runs: build a socket towards the
// server's backend, take one request, hand it to the deal function, answer,
// and rebuild the socket whenever it can no longer be trusted. The proxy
// server's REP workers and the broker's REQ workers differ only in what a
// Role supplies:
//
//   socket_type                  ZMQ_REP or ZMQ_REQ
//   announce(socket)             after connecting (the broker's "worker_ready")
//   envelope                     what travels with a request (the client id)
//   receive(socket, env, frame)  0; -23 at the end; else logged, socket closed
//   answer(socket, env, reply)   sends the reply; false: rebuild the socket
//   create_failed, connect_failed, deal_null, deal_failed: log texts
//
// The sockets the serving thread stands on (front towards clients, back
// towards the workers) come from one place too; a Server supplies back_type,
// receive_hwm and create_back_failed.
//
// Templates, so each server kind keeps its own log call sites and with them
// its own rate limit.
#include <cerrno>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include <zmq.hpp>

#include "itf_tvn_msg_server.h"
#include "tvn_msg_log.h"
#include "tvn_msg_util.h"

// Pause before a worker retries a socket it could not build, so that a
// persistent failure does not spin a core.
inline constexpr auto TVN_MSG_WORKER_RETRY_PAUSE = std::chrono::milliseconds(10);

template <class Role>
void tvn_msg_run_worker(zmq::context_t& ctx, const std::string& backend, tvn_msg_deal_fun deal,
                        void* deal_context, const std::function<void()>& ready) {
    zmq::socket_t socket;
    for (;;) {
        if (!socket) {
            int err = tvn_msg_util::new_socket(ctx, Role::socket_type, socket);
            if (err == ETERM) break;
            if (err != 0) {
                TVN_MSG_LOG_ERR(TVN_MSG_ERR_SOCKET, Role::create_failed, err);
                ready();
                std::this_thread::sleep_for(TVN_MSG_WORKER_RETRY_PAUSE);
                continue;
            }
            tvn_msg_util::set_receive_hwm(socket.handle(), 10);
            err = tvn_msg_util::connect(socket, backend);
            if (err != 0) {
                socket.close();
                if (err == ETERM) break;
                TVN_MSG_LOG_ERR(TVN_MSG_ERR_CONNECT, Role::connect_failed, err);
                ready();
                std::this_thread::sleep_for(TVN_MSG_WORKER_RETRY_PAUSE);
                continue;
            }
            Role::announce(socket);
            ready();
        }

        typename Role::envelope envelope;
        zmq::message_t frame;
        int32_t rc = Role::receive(socket, envelope, frame);
        if (rc == TVN_MSG_ERR_TERMINATED) {
            TVN_MSG_LOG_INF("the msg server worker is terminal.");
            break;
        }
        if (rc != 0) continue;  // the socket is gone; build (and announce) afresh

        // The request is read in place; its frame outlives the deal.
        TVN_MSG request;
        tvn_msg_util::zmsg_view_cmsg(frame, request);
        tvn_msg_scoped reply;
        reply->id = request.id;
        if (deal == nullptr) {
            TVN_MSG_LOG_ERR(TVN_MSG_ERR_NO_DEAL_FUN, "%s", Role::deal_null);
            rc = TVN_MSG_ERR_NO_DEAL_FUN;
        } else {
            rc = deal(deal_context, request, reply.get());
        }
        if (rc != 0) {
            TVN_MSG_LOG_ERR(rc, Role::deal_failed, rc);
            // No reply: the socket still owes one, so it is replaced.
            socket.close();
            continue;
        }
        if (!Role::answer(socket, envelope, reply.get())) socket.close();
    }
}

// Far above any request a peer has reason to send; a larger frame drops its
// connection as soon as its header arrives, before any of it is held.
inline constexpr int64_t kTvnMsgMaxFrameBytes = int64_t{4} << 20;

// Front ROUTER bound to endpoint, back socket bound to backend. 0, or what
// start() returns: -2004 the endpoint is taken, else -2003.
template <class Server>
int32_t tvn_msg_open_server_sockets(zmq::context_t& ctx, const std::string& endpoint,
                                    const std::string& backend, zmq::socket_t& front,
                                    zmq::socket_t& back) {
    int err = tvn_msg_util::new_socket(ctx, ZMQ_ROUTER, front);
    if (err != 0) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_SOCKET,
                        "The msg server start failed, create the zmq socket failed(%d).", err);
        return TVN_MSG_ERR_SOCKET;
    }
    tvn_msg_util::set_receive_hwm(front.handle(), Server::receive_hwm);
    if (zmq_setsockopt(front.handle(), ZMQ_MAXMSGSIZE, &kTvnMsgMaxFrameBytes, sizeof(kTvnMsgMaxFrameBytes)) != 0) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_SOCKET, "The msg server start failed, limit the frame size failed(%d).",
                        zmq_errno());
        return TVN_MSG_ERR_SOCKET;
    }
    err = tvn_msg_util::bind(front, endpoint);
    if (err != 0) {
        const int32_t rc = err == EADDRINUSE ? TVN_MSG_ERR_BIND : TVN_MSG_ERR_SOCKET;
        TVN_MSG_LOG_ERR(rc, "The msg server start failed, bind the frontend socket failed(%d).",
                        err);
        return rc;
    }
    err = tvn_msg_util::new_socket(ctx, Server::back_type, back);
    if (err != 0) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_SOCKET, Server::create_back_failed, err);
        return TVN_MSG_ERR_SOCKET;
    }
    tvn_msg_util::set_receive_hwm(back.handle(), Server::receive_hwm);
    err = tvn_msg_util::bind(back, backend);
    if (err != 0) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_SOCKET,
                        "The msg server start failed, bind the backend socket failed(%d).", err);
        return TVN_MSG_ERR_SOCKET;
    }
    return 0;
}
