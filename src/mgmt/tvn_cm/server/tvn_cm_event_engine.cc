#include "tvn_cm_event_engine.h"

#include <exception>

#include <pthread.h>

#include "tvn_failover_service_data.h"
#include "tvn_fault.h"
#include "tvn_log.h"

tvn_cm_event_engine& tvn_cm_event_engine::instance() {
    static tvn_cm_event_engine* engine = [] {
        auto* e = new tvn_cm_event_engine();
        (void)e->add_job("failover_data_refresh", FAILOVER_REFRESH_MS,
                         [] { (void)tvn_failover_data::instance().refresh(); });
        return e;
    }();
    return *engine;
}

tvn_cm_event_engine::tvn_cm_event_engine() = default;

tvn_cm_event_engine::~tvn_cm_event_engine() { stop_work(); }

int32_t tvn_cm_event_engine::add_job(const std::string& name, uint32_t period_ms, job_fn fn) {
    if (name.empty() || period_ms == 0 || !fn) return -22;
    std::lock_guard<std::mutex> lock(mutex_);
    for (const job& j : jobs_)
        if (j.name == name) return -22;
    auto period = std::chrono::milliseconds(period_ms);
    jobs_.push_back(job{name, period, std::move(fn), std::chrono::steady_clock::now() + period, 0});
    cv_.notify_all();
    return 0;
}

uint64_t tvn_cm_event_engine::job_runs(const std::string& name) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const job& j : jobs_)
        if (j.name == name) return j.runs;
    return 0;
}

int32_t tvn_cm_event_engine::start_work() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (working_) return 0;
    if (tvn::fail_at("tvn_cm_event_engine")) return -1;
    stopping_ = false;
    auto now = std::chrono::steady_clock::now();
    for (job& j : jobs_) j.due = now + j.period;
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::exception&) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -1, "Create cm event engine thread failed.");
        return -1;
    }
    working_ = true;
    return 0;
}

void tvn_cm_event_engine::stop_work() {
    std::thread t;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!working_) return;
        stopping_ = true;
        working_ = false;
        t.swap(thread_);
    }
    cv_.notify_all();
    if (t.joinable()) t.join();
}

bool tvn_cm_event_engine::is_working() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return working_;
}

void tvn_cm_event_engine::run() {
    (void)pthread_setname_np(pthread_self(), "tvn_cm_event");
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
        auto now = std::chrono::steady_clock::now();
        auto next = now + std::chrono::hours(1);
        for (size_t i = 0; i < jobs_.size() && !stopping_; ++i) {
            if (jobs_[i].due <= now) {
                job_fn fn = jobs_[i].fn;
                std::string name = jobs_[i].name;
                // Jobs run without the lock so add_job and stop_work stay prompt.
                lock.unlock();
                try {
                    fn();
                } catch (const std::exception& e) {
                    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -1, "Event job %s failed: %s.", name.c_str(), e.what());
                } catch (...) {
                    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -1, "Event job %s failed.", name.c_str());
                }
                lock.lock();
                ++jobs_[i].runs;
                // From now: a slow job does not make the next runs pile up.
                jobs_[i].due = std::chrono::steady_clock::now() + jobs_[i].period;
            }
            if (jobs_[i].due < next) next = jobs_[i].due;
        }
        if (stopping_) break;
        cv_.wait_until(lock, next);
    }
}
