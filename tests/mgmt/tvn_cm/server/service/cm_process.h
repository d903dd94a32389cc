#pragma once
// Runs the real tvn_cm binary (from $TVN_BIN_DIR) under a given system root
// with a clean TVN_* environment, standard output and error kept in files.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

extern char** environ;

class cm_process {
public:
    cm_process(const std::string& root, std::vector<std::string> args,
               std::vector<std::pair<std::string, std::string>> env = {})
        : out_(root + "/stdout." + std::to_string(++serial())), err_(root + "/stderr." + std::to_string(serial())) {
        const char* bin_dir = std::getenv("TVN_BIN_DIR");
        std::string bin = std::string(bin_dir != nullptr ? bin_dir : ".") + "/tvn_cm";
        std::vector<std::string> envs;
        for (char** e = environ; *e != nullptr; ++e)
            if (std::strncmp(*e, "TVN_", 4) != 0) envs.emplace_back(*e);
        envs.push_back("TVN_SYSROOT=" + root);
        for (auto& [k, v] : env) envs.push_back(k + "=" + v);
        args.insert(args.begin(), bin);

        std::vector<char*> argv, envp;
        for (auto& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        for (auto& e : envs) envp.push_back(e.data());
        envp.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (posix_spawn(&pid_, bin.c_str(), &actions, nullptr, argv.data(), envp.data()) != 0) pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    ~cm_process() {
        if (pid_ > 0 && !exited_) {
            ::kill(pid_, SIGKILL);
            int status;
            ::waitpid(pid_, &status, 0);
        }
    }
    cm_process(const cm_process&) = delete;
    cm_process& operator=(const cm_process&) = delete;

    pid_t pid() const { return pid_; }
    bool running() {
        if (pid_ <= 0 || exited_) return false;
        int status;
        pid_t r = ::waitpid(pid_, &status, WNOHANG);
        if (r == pid_) {
            exited_ = true;
            status_ = status;
        }
        return !exited_;
    }
    // True when the process ended within `limit`; its wait status in `status`.
    bool wait_exit(std::chrono::milliseconds limit, int& status) {
        auto end = std::chrono::steady_clock::now() + limit;
        while (running()) {
            if (std::chrono::steady_clock::now() >= end) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        status = status_;
        return pid_ > 0;
    }
    void signal(int sig) const {
        if (pid_ > 0) ::kill(pid_, sig);
    }
    const std::string& out_file() const { return out_; }
    const std::string& err_file() const { return err_; }

private:
    static int& serial() {
        static int n = 0;
        return n;
    }
    std::string out_;
    std::string err_;
    pid_t pid_ = -1;
    bool exited_ = false;
    int status_ = 0;
};
