#pragma once
// Programs a test runs: started with posix_spawn, standard output and error
// kept in files, every wait bounded, and stopped with SIGTERM and then
// SIGKILL when they do not end in time.
#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tvn_test_files.h"

namespace tvn_test {

using env_list = std::vector<std::pair<std::string, std::string>>;

// A program of the build ($TVN_BIN_DIR/<name>).
std::string bin_path(const std::string& name);

struct spawn_options {
    env_list env{};              // added to (or replacing in) the environment
    bool clean_tvn_env = false;  // drop every inherited TVN_* variable first
    // Where standard output and error go; empty: a temporary file of the
    // process's own. The same name for both keeps them in one file.
    std::string out_file{};
    std::string err_file{};
    bool merge_err = false;      // standard error into standard output's file
    bool append = false;         // add to the files instead of truncating them
};

class process {
public:
    // argv[0] is the program's path.
    explicit process(std::vector<std::string> argv, spawn_options opts = {});
    // Kills what still runs (SIGKILL: a test that wants a clean end calls stop).
    ~process();
    process(const process&) = delete;
    process& operator=(const process&) = delete;

    bool started() const { return pid_ > 0; }
    pid_t pid() const { return pid_; }
    // Whether it still runs; reaps it once it has ended.
    bool running();
    // True when it ended within `limit` (it is left running otherwise).
    bool wait_exit(std::chrono::milliseconds limit);
    // Its exit status, 128 + the signal that ended it, or -1 while it runs.
    int exit_code() const;
    // Waits up to `limit` for it to end by itself; its exit code, or -1 when
    // it did not (it is then killed).
    int wait(std::chrono::milliseconds limit = std::chrono::seconds(30));
    // `sig`, then SIGKILL when it has not ended within `grace`; its exit code.
    int stop(std::chrono::milliseconds grace = std::chrono::seconds(10), int sig = SIGTERM);
    void kill_now();
    void signal(int sig) const;

    const std::string& out_file() const { return out_file_; }
    const std::string& err_file() const { return err_file_; }
    std::string out() const { return read_text(out_file_); }
    std::string err() const { return read_text(err_file_); }
    // Waits up to `limit` for `text` in standard output, at or after byte
    // `from`; false as soon as the program has ended without writing it.
    bool wait_for_output(const std::string& text, std::chrono::milliseconds limit, size_t from = 0);

private:
    void reap(int status);

    pid_t pid_ = -1;
    bool ended_ = false;
    int status_ = 0;
    std::optional<temp_dir> own_files_;
    std::string out_file_;
    std::string err_file_;
};

// A memory figure of a running process from /proc/<pid>/status, in kB:
// "VmRSS" (resident now), "VmHWM" (the peak resident size); -1 when the
// process or the field is not there. 0 is this process.
long memory_kb(pid_t pid, const std::string& field);

// Waits up to `limit` for a forked child; a child that does not end is
// killed and reported with false. `status` is the raw wait status.
bool wait_child(pid_t pid, int& status, std::chrono::milliseconds limit = std::chrono::seconds(10));

// Runs tvn_sim under a system root of the test's own and reads the
// addresses it prints. Ports are the kernel's pick unless the arguments
// name them.
class sim_process {
public:
    sim_process() = default;
    sim_process(const sim_process&) = delete;
    sim_process& operator=(const sim_process&) = delete;

    // Starts it and waits (bounded) for "tvn_sim: ready". False when it exits
    // or says nothing in time; `output` then holds what it printed.
    bool start(const std::string& root, std::vector<std::string> extra = {}, bool pick_ports = true);
    // `sig` and wait; the exit status, or -1 when it was not running.
    int stop(int sig = SIGTERM);
    // SIGKILL: no chance to tidy up.
    void kill_now();
    // Runs it to its end (for start-up failures); the exit status.
    int run_to_exit(const std::string& root, std::vector<std::string> extra);

    bool alive();
    pid_t pid() const { return proc_ ? proc_->pid() : -1; }
    // The port a daemon serves on: "store daemon", "authentication daemon",
    // "kernel agent"; -1 when it did not say.
    int port(const std::string& daemon) const;

    std::string output;
    std::map<std::string, int> ports;

private:
    int finish(int code);
    void refresh();

    std::optional<process> proc_;
};

}  // namespace tvn_test
