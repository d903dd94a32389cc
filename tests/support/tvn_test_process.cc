#include "tvn_test_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <thread>

#include "tvn_test_wait.h"

extern char** environ;

namespace tvn_test {

namespace {

int code_of(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return -1;
}

std::vector<std::string> environment(const spawn_options& opts) {
    std::vector<std::string> envs;
    for (char** e = environ; *e != nullptr; ++e) {
        std::string_view entry(*e);
        if (opts.clean_tvn_env && entry.starts_with("TVN_")) continue;
        bool replaced = false;
        for (const auto& kv : opts.env)
            replaced = replaced || (entry.starts_with(kv.first) && entry.size() > kv.first.size() &&
                                    entry[kv.first.size()] == '=');
        if (!replaced) envs.emplace_back(entry);
    }
    for (const auto& [k, v] : opts.env) envs.push_back(k + "=" + v);
    return envs;
}

}  // namespace

std::string bin_path(const std::string& name) {
    const char* dir = std::getenv("TVN_BIN_DIR");
    return std::string(dir != nullptr ? dir : ".") + "/" + name;
}

process::process(std::vector<std::string> argv, spawn_options opts) {
    if (opts.merge_err) opts.err_file = opts.out_file;
    if (opts.out_file.empty() || opts.err_file.empty()) {
        own_files_.emplace("tvn_proc");
        if (opts.out_file.empty()) opts.out_file = own_files_->path() + "/stdout";
        if (opts.err_file.empty()) opts.err_file = own_files_->path() + (opts.merge_err ? "/stdout" : "/stderr");
    }
    out_file_ = opts.out_file;
    err_file_ = opts.err_file;
    const int flags = O_WRONLY | O_CREAT | (opts.append ? O_APPEND : O_TRUNC);

    std::vector<std::string> envs = environment(opts);
    std::vector<char*> args, envp;
    for (auto& a : argv) args.push_back(a.data());
    args.push_back(nullptr);
    for (auto& e : envs) envp.push_back(e.data());
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out_file_.c_str(), flags, 0644);
    if (err_file_ == out_file_)
        posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    else
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err_file_.c_str(), flags, 0644);
    if (args[0] == nullptr || posix_spawn(&pid_, args[0], &actions, nullptr, args.data(), envp.data()) != 0)
        pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
}

process::~process() { kill_now(); }

void process::reap(int status) {
    ended_ = true;
    status_ = status;
}

bool process::running() {
    if (pid_ <= 0 || ended_) return false;
    int status = 0;
    if (::waitpid(pid_, &status, WNOHANG) == pid_) reap(status);
    return !ended_;
}

bool process::wait_exit(std::chrono::milliseconds limit) {
    if (pid_ <= 0) return false;
    return eventually([this] { return !running(); }, limit);
}

int process::exit_code() const { return ended_ ? code_of(status_) : -1; }

int process::wait(std::chrono::milliseconds limit) {
    if (wait_exit(limit)) return exit_code();
    kill_now();
    return -1;
}

int process::stop(std::chrono::milliseconds grace, int sig) {
    if (!running()) return exit_code();
    ::kill(pid_, sig);
    if (!wait_exit(grace)) kill_now();
    return exit_code();
}

void process::kill_now() {
    if (!running()) return;
    ::kill(pid_, SIGKILL);
    int status = 0;
    if (::waitpid(pid_, &status, 0) == pid_) reap(status);
}

void process::signal(int sig) const {
    if (pid_ > 0 && !ended_) ::kill(pid_, sig);
}

bool process::wait_for_output(const std::string& text, std::chrono::milliseconds limit, size_t from) {
    auto seen = [&] {
        std::string all = out();
        return all.size() > from && all.find(text, from) != std::string::npos;
    };
    eventually([&] { return seen() || !running(); }, limit);
    return seen();
}

long memory_kb(pid_t pid, const std::string& field) {
    const std::string status = read_text(pid == 0 ? "/proc/self/status" : "/proc/" + std::to_string(pid) + "/status");
    const std::string key = "\n" + field + ":";
    const size_t at = status.find(key);
    if (at == std::string::npos) return -1;
    return std::strtol(status.c_str() + at + key.size(), nullptr, 10);
}

bool wait_child(pid_t pid, int& status, std::chrono::milliseconds limit) {
    bool done = false;
    bool lost = false;
    eventually(
        [&] {
            pid_t r = ::waitpid(pid, &status, WNOHANG);
            done = r == pid;
            lost = r < 0;
            return done || lost;
        },
        limit);
    if (done || lost) return done;
    ::kill(pid, SIGKILL);
    ::waitpid(pid, &status, 0);
    return false;
}

bool sim_process::start(const std::string& root, std::vector<std::string> extra, bool pick_ports) {
    std::vector<std::string> args = {bin_path("tvn_sim"), "--root", root};
    if (pick_ports) args.insert(args.end(), {"--store-port", "0", "--auth-port", "0", "--kagent-port", "0"});
    args.insert(args.end(), extra.begin(), extra.end());
    // Both streams in one file, so that `output` reads as the terminal would.
    spawn_options opts;
    opts.merge_err = true;
    proc_.reset();
    proc_.emplace(std::move(args), opts);
    output.clear();
    ports.clear();
    bool ready = proc_->started() && proc_->wait_for_output("tvn_sim: ready", std::chrono::seconds(30));
    refresh();
    return ready;
}

int sim_process::finish(int code) {
    refresh();
    return code;
}

int sim_process::stop(int sig) {
    if (!proc_ || !proc_->running()) return -1;
    return finish(proc_->stop(std::chrono::seconds(30), sig));
}

void sim_process::kill_now() {
    if (!proc_) return;
    proc_->kill_now();
    refresh();
}

int sim_process::run_to_exit(const std::string& root, std::vector<std::string> extra) {
    start(root, std::move(extra));
    return finish(proc_->wait(std::chrono::seconds(30)));
}

bool sim_process::alive() { return proc_ && proc_->running(); }

int sim_process::port(const std::string& daemon) const {
    auto it = ports.find(daemon);
    return it == ports.end() ? -1 : it->second;
}

void sim_process::refresh() {
    if (!proc_) return;
    output = proc_->out();
    for (const char* d : {"store daemon", "authentication daemon", "kernel agent"}) {
        const std::string key = std::string("tvn_sim: ") + d + " on 127.0.0.1:";
        auto at = output.find(key);
        if (at != std::string::npos) ports[d] = std::atoi(output.c_str() + at + key.size());
    }
}

}  // namespace tvn_test
