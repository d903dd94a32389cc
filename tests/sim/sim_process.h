#pragma once
// Runs the real tvn_sim binary (found through $TVN_BIN_DIR) under a system
// root of the test's own, on ports the kernel picks, and reads the ports it
// prints.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

class sim_process {
public:
    sim_process() = default;
    ~sim_process() { kill_now(); }
    sim_process(const sim_process&) = delete;
    sim_process& operator=(const sim_process&) = delete;

    static std::string binary() {
        const char* dir = std::getenv("TVN_BIN_DIR");
        return std::string(dir != nullptr ? dir : ".") + "/tvn_sim";
    }

    // Starts tvn_sim and waits (bounded) for its "ready" line. False when it
    // exits or says nothing in time; `output` then holds what it printed.
    bool start(const std::string& root, std::vector<std::string> extra = {}) {
        int out[2];
        if (::pipe(out) != 0) return false;
        std::vector<std::string> args = {binary(),        "--root",        root,
                                         "--store-port",  "0",             "--auth-port",
                                         "0",             "--kagent-port", "0"};
        args.insert(args.end(), extra.begin(), extra.end());
        pid_ = ::fork();
        if (pid_ == 0) {
            ::dup2(out[1], STDOUT_FILENO);
            ::dup2(out[1], STDERR_FILENO);
            ::close(out[0]);
            ::close(out[1]);
            std::vector<char*> argv;
            for (auto& a : args) argv.push_back(a.data());
            argv.push_back(nullptr);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        ::close(out[1]);
        fd_ = out[0];
        output.clear();
        ports.clear();
        return read_until("tvn_sim: ready", std::chrono::seconds(30));
    }

    // SIGTERM (or SIGINT) and wait; the exit status, or -1.
    int stop(int sig = SIGTERM) {
        if (pid_ <= 0) return -1;
        ::kill(pid_, sig);
        int status = wait_exit();
        drain();
        return status;
    }

    // SIGKILL: no chance to tidy up.
    void kill_now() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        wait_exit();
        drain();
    }

    // Runs tvn_sim to its end (for start-up failures); the exit status.
    int run_to_exit(const std::string& root, std::vector<std::string> extra) {
        start(root, std::move(extra));
        int status = wait_exit();
        drain();
        return status;
    }

    bool alive() const { return pid_ > 0 && ::kill(pid_, 0) == 0; }
    pid_t pid() const { return pid_; }
    int port(const std::string& daemon) const {
        auto it = ports.find(daemon);
        return it == ports.end() ? -1 : it->second;
    }

    std::string output;
    std::map<std::string, int> ports;  // "store daemon", "authentication daemon", "kernel agent"

private:
    int wait_exit() {
        if (pid_ <= 0) return -1;
        int status = 0;
        ::waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    bool read_until(const std::string& marker, std::chrono::seconds limit) {
        const auto give_up = std::chrono::steady_clock::now() + limit;
        while (std::chrono::steady_clock::now() < give_up) {
            pollfd p{fd_, POLLIN, 0};
            if (::poll(&p, 1, 100) <= 0) continue;
            char buf[512];
            ssize_t n = ::read(fd_, buf, sizeof(buf));
            if (n <= 0) return false;  // it exited
            output.append(buf, static_cast<size_t>(n));
            parse_ports();
            if (output.find(marker) != std::string::npos) return true;
        }
        return false;
    }

    void drain() {
        if (fd_ < 0) return;
        char buf[512];
        ssize_t n;
        ::fcntl(fd_, F_SETFL, O_NONBLOCK);
        while ((n = ::read(fd_, buf, sizeof(buf))) > 0) output.append(buf, static_cast<size_t>(n));
        ::close(fd_);
        fd_ = -1;
    }

    void parse_ports() {
        for (const char* d : {"store daemon", "authentication daemon", "kernel agent"}) {
            const std::string key = std::string("tvn_sim: ") + d + " on 127.0.0.1:";
            auto at = output.find(key);
            if (at != std::string::npos) ports[d] = std::atoi(output.c_str() + at + key.size());
        }
    }

    pid_t pid_ = -1;
    int fd_ = -1;
};
