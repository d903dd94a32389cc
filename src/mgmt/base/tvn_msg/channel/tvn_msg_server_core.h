#pragma once
// Lifecycle shared by the message servers: one ZeroMQ context per bind,
// worker threads, the running loop, and a stop that never hangs.
//
// bound (context + workers) -> running (loop in start) -> stopped. stop()
// shuts the context down, which ends the loop's poll and every worker's
// receive with ETERM; whoever leaves last (start's tail, or stop itself
// when nothing runs) joins the workers and terminates the context, so a
// stopped server can be bound again at once.
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <zmq.hpp>

class tvn_msg_server_core {
public:
    tvn_msg_server_core() = default;
    ~tvn_msg_server_core();
    tvn_msg_server_core(const tvn_msg_server_core&) = delete;
    tvn_msg_server_core& operator=(const tvn_msg_server_core&) = delete;

    std::unique_lock<std::mutex> lock() { return std::unique_lock<std::mutex>(mutex_); }

    // A worker's body: worker(context, ready). It calls ready() once its
    // first socket is connected (or could not be), so that bind returns
    // with every worker attached: a proxy's round-robin only spreads work
    // over the workers attached when requests arrive.
    using worker_fn =
        std::function<void(zmq::context_t& context, const std::function<void()>& ready)>;

    // With the lock held. Waits for a previous run's teardown, creates the
    // context and worker_num threads, and waits (bounded) for them to be
    // ready. 0; -2002 no context; -6 no threads (context destroyed again).
    int32_t bind_locked(std::unique_lock<std::mutex>& lock, int worker_num,
                        const worker_fn& worker);
    bool bound_locked() const { return bound_; }
    bool running_locked() const { return running_; }
    zmq::context_t* context_locked() const { return context_.get(); }

    // 0: the caller is now the loop, with the context in ctx;
    // 1: already running; -2024: not bound.
    int32_t begin_start(zmq::context_t*& ctx);
    // The loop has ended and closed its sockets.
    void end_start();
    // 0. Waits for the loop to let go unless called on one of the server's
    // own threads.
    int32_t stop();

private:
    void teardown(std::unique_lock<std::mutex>& lock);
    bool on_own_thread_locked() const;

    std::mutex mutex_;
    std::condition_variable cv_;
    std::unique_ptr<zmq::context_t> context_;
    bool bound_ = false;
    bool running_ = false;
    std::vector<std::thread> workers_;
    int ready_workers_ = 0;
    uint64_t teardowns_ = 0;
    // Teardowns still closing a context they took: a new bind waits for
    // them (the old sockets still hold the port), and so does a stop that
    // finds the context already taken.
    int closing_ = 0;
    std::thread::id loop_thread_;
};
