#include "tvn_time.h"

#include <atomic>

#include "tvn_log.h"

namespace tvn {
namespace {
std::atomic<monotonic_clock_fn> g_clock{nullptr};

int read_clock(struct timespec* ts) {
    if (auto fn = g_clock.load(std::memory_order_relaxed)) return fn(ts);
    return ::clock_gettime(CLOCK_MONOTONIC, ts);
}
}  // namespace

void set_monotonic_clock(monotonic_clock_fn fn) { g_clock.store(fn, std::memory_order_relaxed); }

// Shared by both entry points: 0 and true on success.
static bool monotonic_seconds(uint64_t& out) {
    struct timespec ts {};
    if (read_clock(&ts) != 0) {
        TVN_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_ERROR, -1, "Clock_gettime return failed.");
        return false;
    }
    out = static_cast<uint64_t>(ts.tv_sec);
    return true;
}

}  // namespace tvn

uint64_t GetCurTimeStamp() {
    uint64_t now = 0;
    if (!tvn::monotonic_seconds(now)) return 0;
    return now;
}

bool IsTimeout(uint64_t arrival, uint64_t span) {
    uint64_t now = 0;
    if (!tvn::monotonic_seconds(now)) return false;
    uint64_t deadline = arrival + span;
    if (deadline < arrival) {
        TVN_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_ERROR, -1, "timestamp is %llu, overflow.",
                static_cast<unsigned long long>(arrival));
        return false;
    }
    return deadline < now;
}
