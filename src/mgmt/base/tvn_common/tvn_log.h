#pragma once
// The service log. One file per process ("tvn_cm.log" in the directory given
// to TvnLogInit), one line per message. Every call site goes through
// TVN_LOG, which keeps that site's own rate limit: at most 3 messages per
// 60-second window, then one "%d messages suppressed." when the next window
// opens. Levels follow syslog: 3 critical, 4 error, 6 information, 7 debug.
#include <cstdint>
#include <mutex>

#define TVN_LOG_MODULE_CM "proto_tvn_cm"
#define TVN_LOG_MODULE_MSG "proto_tvn_msg"
#define TVN_LOG_MODULE_COMM "proto_tvn_comm"

enum {
    TVN_LOG_CRIT = 3,
    TVN_LOG_ERROR = 4,
    TVN_LOG_WARN = 5,
    TVN_LOG_INFO = 6,
    TVN_LOG_DEBUG = 7,
};

// Opens the service log of a log module at a level (messages above it are
// dropped) in a directory (resolved under the system root, created if
// missing). 0, or a negative code when the directory or file cannot be made.
int TvnLogInit(uint32_t log_module, int level, const char* dir);
// Same, with the file name chosen by the caller (the stand-in daemons keep
// their own files beside the service's).
int TvnLogInitFile(uint32_t log_module, int level, const char* dir, const char* file_name);
void TvnLogFini();
bool TvnLogIsOpen();

// Level of a log module on the internal scale of TvnConvertLogLevelToInternal
// (0 debug, 1 information, 2 error, 3 critical only).
void TvnSetLogLevel(uint32_t log_module, int internal_level);
int TvnGetLogLevel(uint32_t log_module);
// 300 -> 2, 400 -> 1, 700 -> 0, anything else -> 3.
int TvnConvertLogLevelToInternal(int level);
// Whether a message of this syslog level would be written now.
bool TvnLogLevelEnabled(int level);

// Writes one line (no rate limit; use TVN_LOG).
void TvnLogPrint(const char* module_name, int level, int32_t err_code, const char* file,
                 const char* function, int line, const char* format, ...)
    __attribute__((format(printf, 7, 8)));

namespace tvn {

// Wall-clock seconds used by the rate limit; replaceable by tests.
using log_clock_fn = uint64_t (*)();
void set_log_clock(log_clock_fn clock);  // nullptr restores gettimeofday
uint64_t log_clock_now();

// Per-call-site counters of the rate limit.
class log_site {
public:
    // True when the caller may log its message now. Writes the
    // suppression report itself when one is due.
    bool admit(const char* module_name, int level, int32_t err_code, const char* file,
               const char* function, int line);

private:
    std::mutex mutex_;
    uint32_t logged_ = 0;
    uint32_t suppressed_ = 0;
    uint64_t window_start_ = 0;
    uint64_t last_report_ = 0;
};

constexpr const char* file_base_name(const char* path) {
    const char* base = path;
    for (const char* p = path; *p != '\0'; ++p)
        if (*p == '/') base = p + 1;
    return base;
}

// A call site handed to a shared helper, so that the helper's lines name the
// caller's file, function and line and count against the caller's own rate
// limit. Without this, every command that uses one helper would share the
// helper's single budget of 3 lines a minute. TVN_HERE makes one: it expands
// to a lambda with its own static counters, so each place TVN_HERE is written
// (and, in a template, each instantiation) is a site of its own.
struct log_here {
    log_site* site;
    const char* file;
    const char* function;
    int line;
};

}  // namespace tvn

#define TVN_HERE                                                                                \
    (::tvn::log_here{[]() -> ::tvn::log_site* {                                               \
                         static ::tvn::log_site tvn_here_site_;                                 \
                         return &tvn_here_site_;                                                \
                     }(),                                                                       \
                     ::tvn::file_base_name(__FILE__), __func__, __LINE__})

#define TVN_LOG(module_name, level, err_code, ...)                                          \
    do {                                                                                    \
        if (TvnLogLevelEnabled(level)) {                                                    \
            static ::tvn::log_site tvn_log_site_;                                           \
            constexpr const char* tvn_log_file_ = ::tvn::file_base_name(__FILE__);          \
            if (tvn_log_site_.admit(module_name, level, err_code, tvn_log_file_, __func__,  \
                                    __LINE__))                                              \
                TvnLogPrint(module_name, level, err_code, tvn_log_file_, __func__, __LINE__, \
                            __VA_ARGS__);                                                   \
        }                                                                                   \
    } while (0)

// TVN_LOG at a site handed in by the caller (a tvn::log_here).
#define TVN_LOG_AT(here, module_name, level, err_code, ...)                                      \
    do {                                                                                         \
        if (TvnLogLevelEnabled(level)) {                                                         \
            const ::tvn::log_here& tvn_log_here_ = (here);                                       \
            if (tvn_log_here_.site->admit(module_name, level, err_code, tvn_log_here_.file,      \
                                          tvn_log_here_.function, tvn_log_here_.line))           \
                TvnLogPrint(module_name, level, err_code, tvn_log_here_.file,                    \
                            tvn_log_here_.function, tvn_log_here_.line, __VA_ARGS__);            \
        }                                                                                        \
    } while (0)

#define TVN_LOG_ERR(module_name, err_code, ...) TVN_LOG(module_name, TVN_LOG_ERROR, err_code, __VA_ARGS__)
#define TVN_LOG_INF(module_name, ...) TVN_LOG(module_name, TVN_LOG_INFO, 0, __VA_ARGS__)
