#include "tvn_log.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <fmt/format.h>

#include "tvn_sysroot.h"

namespace {

struct log_state {
    std::mutex mutex;
    FILE* file = nullptr;
    uint32_t module = 0;
    bool to_stderr = false;
};

log_state& state() {
    static log_state s;
    return s;
}

// Highest syslog level written; 6 until someone says otherwise.
std::atomic<int> g_max_level{TVN_LOG_INFO};
std::atomic<int> g_internal_level{1};
std::atomic<bool> g_stderr_checked{false};

std::atomic<tvn::log_clock_fn> g_clock{nullptr};

int internal_to_max_level(int internal) {
    switch (internal) {
        case 0: return TVN_LOG_DEBUG;
        case 1: return TVN_LOG_INFO;
        case 2: return TVN_LOG_ERROR;
        default: return TVN_LOG_CRIT;
    }
}

int max_level_to_internal(int level) {
    if (level >= TVN_LOG_DEBUG) return 0;
    if (level >= TVN_LOG_INFO) return 1;
    if (level >= TVN_LOG_ERROR) return 2;
    return 3;
}

bool stderr_wanted() {
    const char* e = std::getenv("TVN_LOG_STDERR");
    return e != nullptr && *e != '\0' && *e != '0';
}

}  // namespace

int TvnLogInitFile(uint32_t log_module, int level, const char* dir, const char* file_name) {
    if (dir == nullptr || *dir == '\0' || file_name == nullptr || *file_name == '\0') return -EINVAL;
    std::string folder = tvn::sysroot_path(dir);
    int rc = tvn::make_dirs(folder, 0755);
    if (rc != 0) return rc;
    std::string path = folder + "/" + file_name;
    int fd = tvn::open_append_regular(path);
    if (fd < 0) return fd;
    FILE* f = ::fdopen(fd, "a");
    if (f == nullptr) {
        int err = errno;
        ::close(fd);
        return -err;
    }
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.file != nullptr) std::fclose(s.file);
    s.file = f;
    s.module = log_module;
    s.to_stderr = stderr_wanted();
    g_max_level.store(level, std::memory_order_relaxed);
    g_internal_level.store(max_level_to_internal(level), std::memory_order_relaxed);
    return 0;
}

int TvnLogInit(uint32_t log_module, int level, const char* dir) {
    return TvnLogInitFile(log_module, level, dir, "tvn_cm.log");
}

void TvnLogFini() {
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.file != nullptr) {
        std::fclose(s.file);
        s.file = nullptr;
    }
}

bool TvnLogIsOpen() {
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.file != nullptr;
}

int TvnConvertLogLevelToInternal(int level) {
    switch (level) {
        case 300: return 2;
        case 400: return 1;
        case 700: return 0;
        default: return 3;
    }
}

void TvnSetLogLevel(uint32_t /*log_module*/, int internal_level) {
    // One process logs for one module; the module number is kept for callers.
    g_internal_level.store(internal_level, std::memory_order_relaxed);
    g_max_level.store(internal_to_max_level(internal_level), std::memory_order_relaxed);
}

int TvnGetLogLevel(uint32_t /*log_module*/) { return g_internal_level.load(std::memory_order_relaxed); }

bool TvnLogLevelEnabled(int level) { return level <= g_max_level.load(std::memory_order_relaxed); }

void TvnLogPrint(const char* module_name, int level, int32_t err_code, const char* file,
                 const char* function, int line, const char* format, ...) {
    auto& s = state();
    if (!g_stderr_checked.load(std::memory_order_relaxed)) {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.to_stderr = s.to_stderr || stderr_wanted();
        g_stderr_checked.store(true, std::memory_order_relaxed);
    }
    char text[1024];
    va_list ap;
    va_start(ap, format);
    int n = std::vsnprintf(text, sizeof(text), format != nullptr ? format : "", ap);
    va_end(ap);
    if (n < 0) text[0] = '\0';
    // Values come from operators and peers: a newline or an escape sequence
    // in a share path must not forge a line or drive a terminal.
    fmt::memory_buffer safe;
    for (const char* c = text; *c != '\0'; ++c) {
        unsigned char u = static_cast<unsigned char>(*c);
        if (u >= 0x20 && u != 0x7f) {
            safe.push_back(*c);
        } else if (u == '\n') {
            safe.append(std::string_view("\\n"));
        } else if (u == '\r') {
            safe.append(std::string_view("\\r"));
        } else if (u == '\t') {
            safe.append(std::string_view("\\t"));
        } else {
            fmt::format_to(std::back_inserter(safe), "\\x{:02x}", u);
        }
    }
    std::string_view text_view(safe.data(), safe.size());

    struct timeval tv {};
    ::gettimeofday(&tv, nullptr);
    // Breaking the time down is the dearest part of a line; do it once a second.
    thread_local time_t stamp_secs = -1;
    thread_local char stamp[40];
    if (tv.tv_sec != stamp_secs) {
        struct tm tm_utc {};
        time_t secs = tv.tv_sec;
        ::gmtime_r(&secs, &tm_utc);
        std::strftime(stamp, sizeof(stamp), "%Y-%m-%dT%H:%M:%S", &tm_utc);
        stamp_secs = tv.tv_sec;
    }

    fmt::memory_buffer out;
    fmt::format_to(std::back_inserter(out), "{}.{:06d}Z [{}] {} {}:{} {}: {} (rc={})\n", stamp,
                   static_cast<long>(tv.tv_usec), level, module_name != nullptr ? module_name : "-",
                   file != nullptr ? file : "-", line, function != nullptr ? function : "-", text_view,
                   err_code);

    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.file != nullptr) {
        std::fwrite(out.data(), 1, out.size(), s.file);
        std::fflush(s.file);
    }
    if (s.to_stderr) std::fwrite(out.data(), 1, out.size(), stderr);
}

namespace tvn {

void set_log_clock(log_clock_fn clock) { g_clock.store(clock, std::memory_order_relaxed); }

uint64_t log_clock_now() {
    if (auto clock = g_clock.load(std::memory_order_relaxed)) return clock();
    struct timeval tv {};
    ::gettimeofday(&tv, nullptr);
    return static_cast<uint64_t>(tv.tv_sec);
}

bool log_site::admit(const char* module_name, int level, int32_t err_code, const char* file,
                     const char* function, int line) {
    uint64_t now = log_clock_now();
    uint32_t report = 0;
    bool pass;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (now >= window_start_ + 60 || now < window_start_) {
            window_start_ = now;
            logged_ = 0;
            if (suppressed_ != 0 && (now >= last_report_ + 60 || now < last_report_)) {
                report = suppressed_;
                suppressed_ = 0;
                last_report_ = now;
            }
        }
        pass = logged_ < 3;
        if (pass)
            ++logged_;
        else
            ++suppressed_;
    }
    if (report != 0)
        TvnLogPrint(module_name, level, err_code, file, function, line, "%d messages suppressed.",
                    static_cast<int>(report));
    return pass;
}

}  // namespace tvn
