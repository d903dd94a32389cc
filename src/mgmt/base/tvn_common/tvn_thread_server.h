#pragma once
// Runs one long job on a thread of its own and stops it cleanly. A derived
// class supplies the job and the way to tell it to end; the job may sleep
// with take_a_rest and is woken early by stop_resting.
//
// A derived class must call stop_thread_server() in its own destructor: the
// base cannot reach the derived interrupt hook once the derived part is gone.
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace talvane_thread {
// libstdc++ waits with a relative time-out on CLOCK_MONOTONIC, so a change
// of the wall clock neither lengthens nor cuts a rest short.
using steady_condition_variable = std::condition_variable;
}  // namespace talvane_thread

class tvn_thread_server {
public:
    tvn_thread_server() = default;
    virtual ~tvn_thread_server();
    tvn_thread_server(const tvn_thread_server&) = delete;
    tvn_thread_server& operator=(const tvn_thread_server&) = delete;

    // True when the job has been told to end (stop then joins it).
    virtual bool interupt_thread_work() = 0;
    // The job; returns when it ends.
    virtual void run_thread_job() = 0;

    // 1 when running (also when it already ran), 0 when no thread could be made.
    int start_thread_server();
    // 1 when stopped (or never started); 0 when the interrupt hook refused,
    // the job then still runs.
    int stop_thread_server();
    bool is_server_start() const;

    // Waits up to ms milliseconds on the monotonic clock, less when woken.
    void take_a_rest(unsigned ms);
    void stop_resting();
    void join_server();
    // Asks the job to end: wakes it from a rest and makes later rests
    // return at once until the next start. The job may poll
    // interruption_requested().
    void interrupt();
    bool interruption_requested() const;

private:
    mutable std::mutex mutex_;  // start and stop
    std::mutex rest_mutex_;
    talvane_thread::steady_condition_variable rest_cv_;
    uint64_t rest_generation_ = 0;  // bumped by stop_resting, under rest_mutex_
    std::atomic<bool> started_{false};
    std::atomic<bool> interrupted_{false};
    std::thread thread_;
};
