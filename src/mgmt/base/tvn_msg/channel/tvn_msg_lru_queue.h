#pragma once
// The broker's bookkeeping, apart from its sockets: which workers are idle
// (least recently used first) and which client requests wait for one. The
// broker loop owns one and does only the socket work around it.
//
//   worker_idle     a worker announced itself or answered
//   admit           a client's request: hand it out at once, queue it, or
//                   refuse it when MAX_QUEUED_REQUESTS already wait
//   next            the next (worker, request) pair to send, dropping on the
//                   way every request whose caller has given up waiting
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include <zmq.hpp>

class tvn_msg_lru_queue {
public:
    // Requests queued beyond this many are dropped.
    static constexpr std::size_t MAX_QUEUED_REQUESTS = 1000;

    struct request {
        std::string client;    // routing identity of the caller
        uint64_t arrival = 0;  // monotonic seconds
        uint32_t id = 0;
        uint32_t ext = 0;      // the caller's time-out in ms (0: none)
        zmq::message_t frame;  // the request frame as it came, header included
    };

    enum class admit_result {
        dispatch,  // `worker` is to serve it now; the frame is left with the caller
        queued,    // the frame now waits in the queue
        full,      // refused (logged); the frame is left with the caller
    };

    void worker_idle(std::string worker);
    // frame must hold at least the 8-byte header.
    admit_result admit(const std::string& client, zmq::message_t& frame, std::string& worker);
    // False when no worker is idle or no request waits (what is left over
    // after dropping expired ones).
    bool next(std::string& worker, request& out);

    std::size_t queued() const { return requests_.size(); }
    std::size_t idle_workers() const { return workers_.size(); }

private:
    std::deque<std::string> workers_;  // idle, least recently used first
    std::deque<request> requests_;     // oldest first
};
