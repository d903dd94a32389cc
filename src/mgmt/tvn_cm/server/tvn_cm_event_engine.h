#pragma once
// The service's background jobs: periodic work run on one thread of the
// engine's own, started at start-up and stopped and joined at teardown.
//
// Built-in job: "failover_data_refresh" (every 2 s) re-reads the failover
// data file when it changed, so the failover service answers from the
// file's current content without a restart.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class tvn_cm_event_engine {
public:
    using job_fn = std::function<void()>;
    static constexpr uint32_t FAILOVER_REFRESH_MS = 2000;

    static tvn_cm_event_engine& instance();

    // 0, -1 when the thread cannot be started (or TVN_FAIL_AT names
    // "tvn_cm_event_engine"). Starting a running engine is a no-op.
    int32_t start_work();
    // Stops and joins the thread; a job under way finishes first.
    void stop_work();
    bool is_working() const;

    // Adds a job run every period_ms (first run one period after start).
    // 0, or -22 for an empty name, a zero period, no function or a name in use.
    int32_t add_job(const std::string& name, uint32_t period_ms, job_fn fn);
    // Times a job has run (0 for an unknown name).
    uint64_t job_runs(const std::string& name) const;

    // Engines other than the service's own (tests).
    tvn_cm_event_engine();
    ~tvn_cm_event_engine();
    tvn_cm_event_engine(const tvn_cm_event_engine&) = delete;
    tvn_cm_event_engine& operator=(const tvn_cm_event_engine&) = delete;

private:
    struct job {
        std::string name;
        std::chrono::milliseconds period;
        job_fn fn;
        std::chrono::steady_clock::time_point due;
        uint64_t runs = 0;
    };
    void run();

    mutable std::mutex mutex_;
    std::condition_variable cv_;
    std::vector<job> jobs_;
    bool stopping_ = false;
    bool working_ = false;
    std::thread thread_;
};
