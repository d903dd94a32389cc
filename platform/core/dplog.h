#pragma once
// The platform log. The stand-in writes /var/log/platform/process_shell.log
// under the system root, one line a message: time, level, module, source
// file, line, function, text and error code. It opens itself on first use,
// so components may log before dplog_init; dplog_destroy closes it and a
// later message opens it again.
#include <cstdint>

// 0, or -1 when the file cannot be opened (or TVN_FAIL_AT names it).
int32_t dplog_init();
void dplog_destroy();
bool dplog_is_open();

void dplog_print(uint32_t module, int level, int32_t err_code, const char* file, int line,
                 const char* function, const char* format, ...)
    __attribute__((format(printf, 7, 8)));

// Async-signal-safe: writes the text as one line if the file is open.
void dplog_write_raw(const char* text);
// Descriptor of the open log file, or -1 (for stack dumps).
int dplog_fd();

#ifdef __cplusplus
#include <string>
namespace tvn {
// Absolute path of the platform log under the current system root.
std::string dplog_path();
}  // namespace tvn
#endif

#define DPLOG_BASE_NAME(path) (__builtin_strrchr(path, '/') ? __builtin_strrchr(path, '/') + 1 : path)

#define dplog(module, level, ...) \
    dplog_print(module, level, 0, DPLOG_BASE_NAME(__FILE__), __LINE__, __func__, __VA_ARGS__)
#define dplog_rc(module, level, err_code, ...) \
    dplog_print(module, level, err_code, DPLOG_BASE_NAME(__FILE__), __LINE__, __func__, __VA_ARGS__)
