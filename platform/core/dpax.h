#pragma once
// Platform core (dpax): platform log channel, thread classes and pool,
// exception and signal handling, symbol table, stack dumps, INI items.
// Every call that can fail honours TVN_FAIL_AT with its own name and then
// returns -1.
#include <cstddef>
#include <cstdint>

int32_t dpax_log_init();
int32_t dpax_Init();

// Told by the process shell once all pages are locked in memory.
void dpax_set_instant_map_flag(bool locked);
bool dpax_get_instant_map_flag();

// Thread classes: 0 default, 1 critical, 2 ctrl, 3 manage, 4 io, 5 background.
constexpr uint32_t DPAX_THREAD_CLASS_NUM = 6;
constexpr size_t DPAX_BIND_INFO_LEN = 320;
struct dpax_thread_strategy {
    int64_t policy;                       // the number before the ":"
    char bind_info[DPAX_BIND_INFO_LEN];   // the text after it (e.g. a cpu list)
};
// 0, or -22 for an unknown class.
int32_t dpax_initThreadStrategy(uint32_t thread_class, const dpax_thread_strategy* strategy);
// 0 and a copy of the class's strategy, -61 when none was set, -22 for a bad class.
int32_t dpax_get_thread_strategy(uint32_t thread_class, dpax_thread_strategy* out);
void dpax_reset_thread_strategies();

// Names the calling thread for the platform (and for ps/top, 15 characters).
int32_t dpax_thrd_setcurthreadinfo(const char* name);

// The platform thread pool: `num` threads running submitted jobs in order.
int32_t dpax_thread_pool_create(uint32_t num);
// 0, or -1 when no pool exists.
int32_t dpax_thread_pool_submit(void (*job)(void*), void* arg);
uint32_t dpax_thread_pool_size();
// Runs the queued jobs to the end and joins the threads.
void dpax_thread_pool_destroy();

// Symbol table for stack dumps.
int32_t dpax_symbol_init();
// Writes the calling thread's stack to the platform log.
void dpax_dump_stack();

// Exception handling: a fatal signal writes its number and the stack to
// the platform log, then ends the process the way the signal would have.
// The default set is SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGSYS.
int32_t dpax_exception_init();
int32_t dpax_exception_init_with_list(const uint32_t* signals, uint32_t num);
// Signals currently handled (for diagnostics and tests).
uint32_t dpax_exception_handled(uint32_t* out, uint32_t max);

// INI items. Paths are the platform's absolute paths and are resolved under
// the system root. Lines are "[section]" and "key=value"; white space
// around names and values is not part of them; lines starting with ";" or
// "#" are comments.
// 0 and the value; -2 no such file, -61 no such section or key, -34 the
// value does not fit `size` (including its NUL), -22 bad arguments.
int32_t dpax_ini_read_item(const char* path, const char* section, const char* key, char* value,
                           uint32_t size);
// Replaces the key's value in its section (or adds the key, or the section
// and the key); the rest of the file is kept as it was. The file and its
// missing folders are created. 0, or a negative errno.
int32_t dpax_ini_write_item(const char* path, const char* section, const char* key,
                            const char* value);
