#pragma once
// Runs a program with its output captured; every wait is bounded.
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

extern char** environ;

class child_process {
public:
    explicit child_process(const std::vector<std::string>& argv) {
        int out[2], err[2];
        if (::pipe(out) != 0 || ::pipe(err) != 0) return;
        posix_spawn_file_actions_t fa;
        posix_spawn_file_actions_init(&fa);
        posix_spawn_file_actions_adddup2(&fa, out[1], 1);
        posix_spawn_file_actions_adddup2(&fa, err[1], 2);
        posix_spawn_file_actions_addclose(&fa, out[0]);
        posix_spawn_file_actions_addclose(&fa, err[0]);
        std::vector<char*> args;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        if (posix_spawn(&pid_, args[0], &fa, nullptr, args.data(), environ) != 0) pid_ = -1;
        posix_spawn_file_actions_destroy(&fa);
        ::close(out[1]);
        ::close(err[1]);
        out_fd_ = out[0];
        err_fd_ = err[0];
    }
    ~child_process() {
        if (pid_ > 0 && !reaped_) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        if (out_fd_ >= 0) ::close(out_fd_);
        if (err_fd_ >= 0) ::close(err_fd_);
    }
    child_process(const child_process&) = delete;
    child_process& operator=(const child_process&) = delete;

    bool started() const { return pid_ > 0; }

    // Reads output until the program ends or the time is up; the exit
    // status, or -1 when it did not end in time (it is then killed).
    int wait(int timeout_ms) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
        while (pump(10)) {
            if (std::chrono::steady_clock::now() >= deadline) {
                ::kill(pid_, SIGKILL);
                ::waitpid(pid_, nullptr, 0);
                reaped_ = true;
                return -1;
            }
        }
        int status = 0;
        ::waitpid(pid_, &status, 0);
        reaped_ = true;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    // Whether the program is still running (reads what it wrote so far).
    bool running() { return pump(0); }

    const std::string& out() const { return out_; }
    const std::string& err() const { return err_; }

private:
    // Reads what is there; true while either pipe is still open.
    bool pump(int wait_ms) {
        pollfd fds[2] = {{out_fd_, POLLIN, 0}, {err_fd_, POLLIN, 0}};
        if (out_fd_ < 0 && err_fd_ < 0) return false;
        if (::poll(fds, 2, wait_ms) > 0) {
            drain(fds[0], out_fd_, out_);
            drain(fds[1], err_fd_, err_);
        }
        return out_fd_ >= 0 || err_fd_ >= 0;
    }
    static void drain(const pollfd& p, int& fd, std::string& into) {
        if (fd < 0 || !(p.revents & (POLLIN | POLLHUP | POLLERR))) return;
        char buf[4096];
        ssize_t n = ::read(fd, buf, sizeof(buf));
        if (n > 0) {
            into.append(buf, static_cast<size_t>(n));
        } else {
            ::close(fd);
            fd = -1;
        }
    }

    pid_t pid_ = -1;
    bool reaped_ = false;
    int out_fd_ = -1, err_fd_ = -1;
    std::string out_, err_;
};

inline std::string tool_path(const char* name) {
    const char* dir = std::getenv("TVN_BIN_DIR");
    return std::string(dir != nullptr ? dir : ".") + "/" + name;
}
