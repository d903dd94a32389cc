#include "tvn_thread_server.h"

#include <chrono>
#include <system_error>

#include "tvn_log.h"

tvn_thread_server::~tvn_thread_server() {
    // The derived part (and its interrupt hook) is gone by now; all that is
    // left is not to leave a joinable thread behind.
    if (thread_.joinable()) {
        interrupt();
        if (thread_.get_id() == std::this_thread::get_id())
            thread_.detach();
        else
            thread_.join();
    }
}

int tvn_thread_server::start_thread_server() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (started_.load()) return 1;
    if (thread_.joinable()) thread_.join();  // a job that ended on its own
    interrupted_.store(false);
    try {
        thread_ = std::thread([this] { run_thread_job(); });
    } catch (const std::system_error& e) {
        TVN_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_ERROR, -1, "Create thread server failed(%s).",
                e.what());
        return 0;
    }
    started_.store(true);
    return 1;
}

int tvn_thread_server::stop_thread_server() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!started_.load()) return 1;
    if (!thread_.joinable()) {
        started_.store(false);
        return 1;
    }
    if (!interupt_thread_work()) {
        TVN_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_ERROR, -1,
                "Interrupt thread server failed, it keeps running.");
        return 0;
    }
    if (thread_.get_id() == std::this_thread::get_id())
        thread_.detach();  // the job stopping itself cannot wait for itself
    else
        thread_.join();
    started_.store(false);
    return 1;
}

bool tvn_thread_server::is_server_start() const { return started_.load(); }

void tvn_thread_server::take_a_rest(unsigned ms) {
    std::unique_lock<std::mutex> lock(rest_mutex_);
    if (interrupted_.load()) return;
    const uint64_t generation = rest_generation_;
    rest_cv_.wait_for(lock, std::chrono::milliseconds(ms), [&] {
        return rest_generation_ != generation || interrupted_.load();
    });
}

void tvn_thread_server::stop_resting() {
    {
        std::lock_guard<std::mutex> lock(rest_mutex_);
        ++rest_generation_;
    }
    rest_cv_.notify_all();
}

void tvn_thread_server::join_server() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) thread_.join();
}

void tvn_thread_server::interrupt() {
    interrupted_.store(true);
    stop_resting();
}

bool tvn_thread_server::interruption_requested() const { return interrupted_.load(); }
