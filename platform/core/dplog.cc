#include "dplog.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <fmt/format.h>

#include "tvn_fault.h"
#include "tvn_sysroot.h"

namespace {

std::mutex g_mutex;
// Read without the mutex by the signal-safe writer.
std::atomic<int> g_fd{-1};

bool stderr_wanted() {
    const char* e = std::getenv("TVN_LOG_STDERR");
    return e != nullptr && *e != '\0' && *e != '0';
}

// Caller holds g_mutex.
int open_locked() {
    int fd = g_fd.load(std::memory_order_relaxed);
    if (fd >= 0) return fd;
    std::string path = tvn::dplog_path();
    if (tvn::make_parent_dirs(path) != 0) return -1;
    fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0640);
    if (fd >= 0) g_fd.store(fd, std::memory_order_release);
    return fd;
}

void write_all(int fd, const char* data, size_t len) {
    while (len > 0) {
        ssize_t n = ::write(fd, data, len);
        if (n < 0) {
            if (errno == EINTR) continue;
            return;
        }
        data += n;
        len -= static_cast<size_t>(n);
    }
}

}  // namespace

namespace tvn {
std::string dplog_path() { return sysroot_path("/var/log/platform/process_shell.log"); }
}  // namespace tvn

int32_t dplog_init() {
    if (tvn::fail_at("dplog_init")) return -1;
    std::lock_guard<std::mutex> lock(g_mutex);
    return open_locked() >= 0 ? 0 : -1;
}

void dplog_destroy() {
    std::lock_guard<std::mutex> lock(g_mutex);
    int fd = g_fd.exchange(-1, std::memory_order_acq_rel);
    if (fd >= 0) ::close(fd);
}

bool dplog_is_open() { return g_fd.load(std::memory_order_acquire) >= 0; }

int dplog_fd() { return g_fd.load(std::memory_order_acquire); }

void dplog_print(uint32_t module, int level, int32_t err_code, const char* file, int line,
                 const char* function, const char* format, ...) {
    char text[1024];
    va_list ap;
    va_start(ap, format);
    int n = std::vsnprintf(text, sizeof(text), format != nullptr ? format : "", ap);
    va_end(ap);
    if (n < 0) text[0] = '\0';
    // One message, one line: texts that carry a line break (attribute file
    // content, for one) must not split the record.
    for (char* p = text; *p != '\0'; ++p)
        if (*p == '\n' || *p == '\r') *p = ' ';

    struct timeval tv {};
    ::gettimeofday(&tv, nullptr);
    struct tm tm_utc {};
    time_t secs = tv.tv_sec;
    ::gmtime_r(&secs, &tm_utc);
    char stamp[40];
    std::strftime(stamp, sizeof(stamp), "%Y-%m-%dT%H:%M:%S", &tm_utc);

    fmt::memory_buffer out;
    fmt::format_to(std::back_inserter(out), "{}.{:06d}Z [{}] {} {}:{} {}: {} (rc={})\n", stamp,
                   static_cast<long>(tv.tv_usec), level, module, file != nullptr ? file : "-", line,
                   function != nullptr ? function : "-", text, err_code);

    std::lock_guard<std::mutex> lock(g_mutex);
    int fd = open_locked();
    if (fd >= 0) write_all(fd, out.data(), out.size());
    if (stderr_wanted()) write_all(STDERR_FILENO, out.data(), out.size());
}

void dplog_write_raw(const char* text) {
    int fd = g_fd.load(std::memory_order_acquire);
    if (fd < 0 || text == nullptr) return;
    write_all(fd, text, std::strlen(text));
    write_all(fd, "\n", 1);
}
