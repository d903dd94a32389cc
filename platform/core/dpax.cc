#include "dpax.h"

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include <execinfo.h>
#include <pthread.h>
#include <unistd.h>

#include "dplog.h"
#include "platform_init.h"
#include "tvn_fault.h"

namespace {

std::atomic<bool> g_instant_map{false};

struct strategy_table {
    std::mutex mutex;
    dpax_thread_strategy rows[DPAX_THREAD_CLASS_NUM]{};
    bool set[DPAX_THREAD_CLASS_NUM]{};
};
strategy_table& strategies() {
    static strategy_table t;
    return t;
}

class thread_pool {
public:
    int32_t create(uint32_t num) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!threads_.empty()) return -17;  // one pool per process
        stopping_ = false;
        try {
            for (uint32_t i = 0; i < num; ++i) threads_.emplace_back([this] { run(); });
        } catch (...) {
            stopping_ = true;
            std::vector<std::thread> started;
            started.swap(threads_);
            lock.unlock();
            cv_.notify_all();
            for (auto& t : started) t.join();
            return -11;
        }
        return 0;
    }
    int32_t submit(void (*job)(void*), void* arg) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (threads_.empty() || stopping_ || job == nullptr) return -1;
            jobs_.emplace_back(job, arg);
        }
        cv_.notify_one();
        return 0;
    }
    uint32_t size() {
        std::lock_guard<std::mutex> lock(mutex_);
        return static_cast<uint32_t>(threads_.size());
    }
    void destroy() {
        std::vector<std::thread> threads;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
            threads.swap(threads_);
        }
        cv_.notify_all();
        for (auto& t : threads) t.join();
    }

private:
    void run() {
        for (;;) {
            std::pair<void (*)(void*), void*> job;
            {
                std::unique_lock<std::mutex> lock(mutex_);
                cv_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
                if (jobs_.empty()) return;  // stopping and drained
                job = jobs_.front();
                jobs_.pop_front();
            }
            job.first(job.second);
        }
    }
    std::mutex mutex_;
    std::condition_variable cv_;
    std::deque<std::pair<void (*)(void*), void*>> jobs_;
    std::vector<std::thread> threads_;
    bool stopping_ = false;
};
thread_pool& pool() {
    static thread_pool p;
    return p;
}

const uint32_t kDefaultSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGSYS};
std::mutex g_signal_mutex;
std::vector<uint32_t> g_handled;

void write_str(int fd, const char* s) {
    size_t len = std::strlen(s);
    while (len > 0) {
        ssize_t n = ::write(fd, s, len);
        if (n <= 0) return;
        s += n;
        len -= static_cast<size_t>(n);
    }
}

// Decimal text of a small number without the allocator.
void format_uint(char* out, size_t size, unsigned v) {
    char tmp[16];
    size_t n = 0;
    do {
        tmp[n++] = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v != 0 && n < sizeof(tmp));
    size_t i = 0;
    while (n > 0 && i + 1 < size) out[i++] = tmp[--n];
    out[i] = '\0';
}

void exception_handler(int sig) {
    int fd = dplog_fd();
    if (fd < 0) fd = STDERR_FILENO;
    char num[16];
    format_uint(num, sizeof(num), static_cast<unsigned>(sig));
    write_str(fd, "dpax exception: signal ");
    write_str(fd, num);
    write_str(fd, ", stack follows\n");
    void* frames[64];
    int n = ::backtrace(frames, 64);
    ::backtrace_symbols_fd(frames, n, fd);
    // End the way the signal would have ended the process without us.
    ::signal(sig, SIG_DFL);
    ::raise(sig);
}

int32_t install(const uint32_t* signals, uint32_t num) {
    // backtrace loads its unwinder on first use, which must not happen
    // inside a signal handler.
    void* warm[1];
    (void)::backtrace(warm, 1);
    std::lock_guard<std::mutex> lock(g_signal_mutex);
    for (uint32_t i = 0; i < num; ++i) {
        int sig = static_cast<int>(signals[i]);
        if (sig <= 0 || sig >= NSIG || sig == SIGKILL || sig == SIGSTOP) return -22;
    }
    for (uint32_t i = 0; i < num; ++i) {
        struct sigaction sa {};
        sa.sa_handler = exception_handler;
        sigemptyset(&sa.sa_mask);
        sa.sa_flags = SA_RESTART;
        if (::sigaction(static_cast<int>(signals[i]), &sa, nullptr) != 0) return -1;
        g_handled.push_back(signals[i]);
    }
    return 0;
}

}  // namespace

int32_t dpax_log_init() { return tvn::platform_call("dpax_log_init"); }

int32_t dpax_Init() { return tvn::platform_call("dpax_Init"); }

void dpax_set_instant_map_flag(bool locked) { g_instant_map.store(locked); }
bool dpax_get_instant_map_flag() { return g_instant_map.load(); }

int32_t dpax_initThreadStrategy(uint32_t thread_class, const dpax_thread_strategy* strategy) {
    if (thread_class >= DPAX_THREAD_CLASS_NUM || strategy == nullptr) return -22;
    if (int32_t rc = tvn::platform_call("dpax_initThreadStrategy"); rc != 0) return rc;
    auto& t = strategies();
    std::lock_guard<std::mutex> lock(t.mutex);
    t.rows[thread_class].policy = strategy->policy;
    std::memcpy(t.rows[thread_class].bind_info, strategy->bind_info, DPAX_BIND_INFO_LEN);
    t.rows[thread_class].bind_info[DPAX_BIND_INFO_LEN - 1] = '\0';
    t.set[thread_class] = true;
    return 0;
}

int32_t dpax_get_thread_strategy(uint32_t thread_class, dpax_thread_strategy* out) {
    if (thread_class >= DPAX_THREAD_CLASS_NUM || out == nullptr) return -22;
    auto& t = strategies();
    std::lock_guard<std::mutex> lock(t.mutex);
    if (!t.set[thread_class]) return -61;
    *out = t.rows[thread_class];
    return 0;
}

void dpax_reset_thread_strategies() {
    auto& t = strategies();
    std::lock_guard<std::mutex> lock(t.mutex);
    for (auto& s : t.set) s = false;
}

int32_t dpax_thrd_setcurthreadinfo(const char* name) {
    if (int32_t rc = tvn::platform_call("dpax_thrd_setcurthreadinfo"); rc != 0) return rc;
    if (name == nullptr || *name == '\0') return 0;
    char short_name[16];
    std::strncpy(short_name, name, sizeof(short_name) - 1);
    short_name[sizeof(short_name) - 1] = '\0';
    (void)::pthread_setname_np(::pthread_self(), short_name);
    return 0;
}

int32_t dpax_thread_pool_create(uint32_t num) {
    if (num == 0) return -22;
    if (int32_t rc = tvn::platform_call("dpax_thread_pool_create"); rc != 0) return rc;
    return pool().create(num);
}

int32_t dpax_thread_pool_submit(void (*job)(void*), void* arg) { return pool().submit(job, arg); }

uint32_t dpax_thread_pool_size() { return pool().size(); }

void dpax_thread_pool_destroy() { pool().destroy(); }

int32_t dpax_symbol_init() {
    if (int32_t rc = tvn::platform_call("dpax_symbol_init"); rc != 0) return rc;
    void* warm[1];
    (void)::backtrace(warm, 1);
    return 0;
}

void dpax_dump_stack() {
    void* frames[64];
    int n = ::backtrace(frames, 64);
    dplog(0, 6, "dpax dump stack, %d frames.", n);
    int fd = dplog_fd();
    if (fd >= 0) ::backtrace_symbols_fd(frames, n, fd);
}

int32_t dpax_exception_init() {
    if (int32_t rc = tvn::platform_call("dpax_exception_init"); rc != 0) return rc;
    return install(kDefaultSignals, sizeof(kDefaultSignals) / sizeof(kDefaultSignals[0]));
}

int32_t dpax_exception_init_with_list(const uint32_t* signals, uint32_t num) {
    if (signals == nullptr || num == 0) return -22;
    if (int32_t rc = tvn::platform_call("dpax_exception_init_with_list"); rc != 0) return rc;
    return install(signals, num);
}

uint32_t dpax_exception_handled(uint32_t* out, uint32_t max) {
    std::lock_guard<std::mutex> lock(g_signal_mutex);
    uint32_t n = 0;
    for (uint32_t sig : g_handled) {
        if (out != nullptr && n < max) out[n] = sig;
        ++n;
    }
    return n;
}
