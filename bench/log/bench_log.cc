// Cost of one service-log call: written, suppressed by the per-site rate
// limit, and filtered by level; beside a raw formatted write of the same line.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

#include "tvn_log.h"

namespace {

using clock_type = std::chrono::steady_clock;

template <typename F>
double ns_per_call(int n, F&& f) {
    auto t0 = clock_type::now();
    for (int i = 0; i < n; ++i) f(i);
    auto t1 = clock_type::now();
    return std::chrono::duration<double, std::nano>(t1 - t0).count() / n;
}

uint64_t g_fake_now = 1000;
uint64_t fake_clock() { return g_fake_now; }

}  // namespace

int main() {
    std::string root = (std::filesystem::temp_directory_path() / ("tvn_bench_log." + std::to_string(::getpid()))).string();
    ::setenv("TVN_SYSROOT", root.c_str(), 1);
    if (TvnLogInit(666, 6, "/var/log/platform") != 0) {
        std::fprintf(stderr, "cannot open the log under %s\n", root.c_str());
        return 1;
    }
    constexpr int kLogged = 20000;
    constexpr int kSuppressed = 2000000;

    // Written: a fresh 60-second window per call keeps every message admitted.
    tvn::set_log_clock(&fake_clock);
    double logged = ns_per_call(kLogged, [](int i) {
        g_fake_now += 60;
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -22, "share %d of tenant %u rejected", i, 5u);
    });
    // Suppressed: one window, the first three pass and the rest are counted.
    g_fake_now += 60;
    double suppressed = ns_per_call(kSuppressed, [](int i) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -22, "share %d of tenant %u rejected", i, 5u);
    });
    tvn::set_log_clock(nullptr);
    double suppressed_real_clock = ns_per_call(kSuppressed, [](int i) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -22, "share %d of tenant %u rejected", i, 5u);
    });
    double filtered = ns_per_call(kSuppressed, [](int i) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_DEBUG, 0, "debug %d", i);
    });
    TvnLogFini();

    // Baseline: format the same text and append it with one flushed write.
    std::string raw_path = root + "/raw.log";
    FILE* raw = std::fopen(raw_path.c_str(), "a");
    double baseline = ns_per_call(kLogged, [raw](int i) {
        std::fprintf(raw, "2026-01-01T00:00:00.000000Z [4] proto_tvn_cm bench_log.cc:1 main: share %d of tenant %u rejected (rc=-22)\n", i, 5u);
        std::fflush(raw);
    });
    std::fclose(raw);
    std::filesystem::remove_all(root);

    std::printf("service log, ns per call\n");
    std::printf("  %-34s %10.1f\n", "logged (written + flushed)", logged);
    std::printf("  %-34s %10.1f\n", "raw fprintf + fflush baseline", baseline);
    std::printf("  %-34s %10.2f\n", "ratio logged / baseline", logged / baseline);
    std::printf("  %-34s %10.1f\n", "suppressed (injected clock)", suppressed);
    std::printf("  %-34s %10.1f\n", "suppressed (gettimeofday)", suppressed_real_clock);
    std::printf("  %-34s %10.1f\n", "filtered by level", filtered);
    return 0;
}
