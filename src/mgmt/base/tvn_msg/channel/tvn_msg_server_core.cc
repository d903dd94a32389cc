#include "tvn_msg_server_core.h"

#include <algorithm>
#include <chrono>
#include <new>

#include "tvn_msg_def.h"

tvn_msg_server_core::~tvn_msg_server_core() { stop(); }

int32_t tvn_msg_server_core::bind_locked(std::unique_lock<std::mutex>& lock, int worker_num,
                                         const worker_fn& worker) {
    // A previous run may still be joining its workers.
    cv_.wait(lock, [this] { return !running_ && workers_.empty() && context_ == nullptr && closing_ == 0; });
    std::unique_ptr<zmq::context_t> owned;
    try {
        owned = std::make_unique<zmq::context_t>();
    } catch (const std::exception&) {
        return TVN_MSG_ERR_CONTEXT;
    }
    zmq::context_t* ctx = owned.get();
    ready_workers_ = 0;
    auto ready = [this] {
        {
            std::lock_guard<std::mutex> guard(mutex_);
            ++ready_workers_;
        }
        cv_.notify_all();
    };
    try {
        workers_.reserve(static_cast<std::size_t>(worker_num));
        for (int i = 0; i < worker_num; ++i)
            workers_.emplace_back([worker, ctx, ready] {
                bool told = false;
                auto once = [&] {
                    if (!told) ready();
                    told = true;
                };
                worker(*ctx, once);
                once();
            });
    } catch (...) {
        ctx->shutdown();
        for (auto& t : workers_) t.join();
        workers_.clear();
        return TVN_MSG_ERR_NOMEM;  // the context goes with `owned`
    }
    // Visible to stop() while the workers come up.
    context_ = std::move(owned);
    const uint64_t generation = teardowns_;
    // Bounded: a worker that cannot start only costs the wait.
    cv_.wait_for(lock, std::chrono::seconds(5), [&] {
        return ready_workers_ >= worker_num || teardowns_ != generation;
    });
    if (teardowns_ != generation) return TVN_MSG_ERR_NOT_BOUND;  // stopped meanwhile
    bound_ = true;
    return 0;
}

int32_t tvn_msg_server_core::begin_start(zmq::context_t*& ctx) {
    std::lock_guard<std::mutex> guard(mutex_);
    if (!bound_) return TVN_MSG_ERR_NOT_BOUND;
    if (running_) return 1;
    running_ = true;
    loop_thread_ = std::this_thread::get_id();
    ctx = context_.get();
    return 0;
}

void tvn_msg_server_core::end_start() {
    std::unique_lock<std::mutex> lock(mutex_);
    teardown(lock);
    running_ = false;
    loop_thread_ = std::thread::id();
    cv_.notify_all();
}

int32_t tvn_msg_server_core::stop() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!context_) {
        // Another stop (or the loop's own end) is tearing down: wait for it
        // instead of closing the same context twice.
        if (!on_own_thread_locked()) cv_.wait(lock, [this] { return !running_ && closing_ == 0; });
        return 0;
    }
    context_->shutdown();
    bound_ = false;
    if (running_) {
        // The loop tears down itself; a worker (or the loop) stopping its own
        // server must not wait for itself.
        if (!on_own_thread_locked()) cv_.wait(lock, [this] { return !running_; });
        return 0;
    }
    teardown(lock);
    cv_.notify_all();
    return 0;
}

void tvn_msg_server_core::teardown(std::unique_lock<std::mutex>& lock) {
    ++teardowns_;
    // Exactly one teardown owns the close of a context: two stops racing
    // (the stop handler's and the waiting thread's) must not both end it.
    std::unique_ptr<zmq::context_t> ctx = std::move(context_);
    bound_ = false;
    if (!ctx) return;
    std::vector<std::thread> workers;
    workers.swap(workers_);
    ++closing_;
    ctx->shutdown();
    lock.unlock();
    for (auto& t : workers)
        if (t.joinable() && t.get_id() != std::this_thread::get_id()) t.join();
        else if (t.joinable()) t.detach();
    // Waits until every socket of the context is closed (in-process clients
    // see ETERM and let go), then frees it.
    ctx->close();
    ctx.reset();
    lock.lock();
    --closing_;
    cv_.notify_all();
}

bool tvn_msg_server_core::on_own_thread_locked() const {
    const auto self = std::this_thread::get_id();
    if (self == loop_thread_) return true;
    return std::any_of(workers_.begin(), workers_.end(),
                       [self](const std::thread& t) { return t.get_id() == self; });
}
