#pragma once
// The process shell: owns main, reads the command line and the attribute
// file, brings the program's modules up in a fixed order (init pass, then
// activate pass) and parks the main thread until the exit flag is raised.
// Every line it logs goes to the platform log under module 398 and begins
// with "PS ".
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "dplog.h"
#include "ps_module.h"

constexpr uint32_t PS_LOG_MODULE = 398;

// The base module (id 0, name "base"): memory locking, thread strategies,
// thread pool, signals. Its attribute table is ps_base_attr_table.
extern ps_module g_module_ps_base;
extern ps_attr ps_base_attr_table[];

// Runs the shell; returns the exit code (1 when start-up failed).
int32_t ps_main(int argc, char** argv);

// Command line: -l/--lsid, -v/--version, -f/--file, -s/--startType.
// 0, or 4 for an unknown option, a bad number or a missing lsid/version
// (the usage text is then on standard error).
int32_t ps_parse_params(int argc, char** argv);
extern const char* const PS_USAGE_TEXT;

const char* ps_get_process_name();
const char* ps_get_log_output_dir();
uint64_t ps_get_lsid();
uint64_t ps_get_version();
const char* ps_get_start_type();
int64_t ps_get_nopreemt_flag();
uint64_t ps_get_active_success_times();

// Attribute file and tables.
int32_t ps_attrs_parse(const char* path);
ps_attr* ps_attrs_get(const ps_module* module, const char* name);
int32_t ps_set_i_attr(ps_attr* row, const char* value);
int32_t ps_set_b_attr(ps_attr* row, const char* value);
int32_t ps_set_s_attr(ps_attr* row, const char* value);
int64_t ps_get_i_attr(const ps_attr* row);
bool ps_get_b_attr(const ps_attr* row);
const char* ps_get_s_attr(const ps_attr* row);
void ps_prt_i_attr(const ps_attr* row);
void ps_prt_b_attr(const ps_attr* row);
void ps_prt_s_attr(const ps_attr* row);
void ps_attrs_dump(const ps_module* module);

// "N:bind-info" for thread class 0..5 (default, critical, ctrl, manage,
// io, background).
int32_t ps_set_thread_strategy(uint32_t thread_class, const char* text);
void ps_init_thread_strategy();

// Take effect only when called before the base module's init.
int32_t ps_signal_init_with_list(const uint32_t* list, uint32_t count);
void ps_signal_switch_on();
void ps_signal_switch_off();

ps_module* process_get_module_by_name(const char* name);
// Finishes the modules from the last to the first; the first non-zero
// status stops the walk and is returned.
int32_t process_finish_modules();

// Raises the exit flag without waking the main thread; see
// process_request_exit for the whole sequence.
void process_set_exit(int32_t code);
bool process_get_exit();
void process_set_exit_code(int32_t code);
int32_t process_get_exit_code();
std::condition_variable& process_get_main_cond();
std::mutex& process_get_main_mutex();
// Locks the main mutex, raises the flag with the code and wakes ps_main.
void process_request_exit(int32_t code);
void process_set_init_done();
bool process_is_init_done();

// Dumps the stack, flushes the log and ends the process with status 0.
[[noreturn]] void ps_exit(int32_t code);
// Closes the platform log channel.
void ps_log_flush(int32_t code);

#define PS_LOG(level, ...) dplog(PS_LOG_MODULE, level, __VA_ARGS__)
