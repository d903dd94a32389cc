#pragma once
// Shared by the service's tests: a temporary system root with the service
// log open in it, file helpers, and a closure that counts its runs.
#include <google/protobuf/stubs/callback.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "dplog.h"
#include "test_sysroot_guard.h"
#include "tvn_log.h"
#include "tvn_sysroot.h"

inline std::string read_text(const std::string& path) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) return {};
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void write_text(const std::string& path, const std::string& text) {
    tvn::make_parent_dirs(path);
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

// Polls `cond` every 10 ms for at most `limit`.
inline bool eventually(const std::function<bool()>& cond,
                       std::chrono::milliseconds limit = std::chrono::milliseconds(10000)) {
    auto end = std::chrono::steady_clock::now() + limit;
    while (!cond()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

class counting_closure : public google::protobuf::Closure {
public:
    void Run() override { ++runs; }
    int runs = 0;
};

class ServiceTest : public ::testing::Test {
protected:
    void SetUp() override {
        ::unsetenv("TVN_FAIL_AT");
        ::unsetenv("TVN_NODE_ID");
        dplog_destroy();
        root_.emplace();
        ASSERT_EQ(TvnLogInit(666, TVN_LOG_DEBUG, "/var/log/platform"), 0);
        // Every message opens a window of its own, so the per-site rate
        // limit never hides what a test looks for.
        tvn::set_log_clock([] {
            static std::atomic<uint64_t> now{1000};
            return now.fetch_add(61) + 61;
        });
    }
    void TearDown() override {
        ::unsetenv("TVN_FAIL_AT");
        ::unsetenv("TVN_NODE_ID");
        TvnLogFini();
        tvn::set_log_clock(nullptr);
        dplog_destroy();
        root_.reset();
    }
    std::string root() const { return root_->root(); }
    std::string path(const std::string& abs) const { return root() + abs; }
    std::string service_log() const { return read_text(path("/var/log/platform/tvn_cm.log")); }
    std::string platform_log() const { return read_text(path("/var/log/platform/process_shell.log")); }
    bool logged(const std::string& text) const { return service_log().find(text) != std::string::npos; }

private:
    std::optional<scoped_sysroot> root_;
};
