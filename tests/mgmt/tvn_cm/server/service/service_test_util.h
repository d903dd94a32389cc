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
#include "tvn_log.h"
#include "tvn_sysroot.h"
#include "tvn_test_files.h"
#include "tvn_test_process.h"
#include "tvn_test_wait.h"

using tvn_test::eventually;
using tvn_test::read_text;
using tvn_test::write_text;

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
    std::optional<tvn_test::scoped_sysroot> root_;
};

// The real tvn_cm under a given system root with a clean TVN_* environment,
// standard output and error kept in files of that root.
class cm_process : public tvn_test::process {
public:
    cm_process(const std::string& root, std::vector<std::string> args, tvn_test::env_list env = {})
        : process(argv(std::move(args)), options(root, std::move(env))) {}

private:
    static std::vector<std::string> argv(std::vector<std::string> args) {
        args.insert(args.begin(), tvn_test::bin_path("tvn_cm"));
        return args;
    }
    static tvn_test::spawn_options options(const std::string& root, tvn_test::env_list env) {
        static int serial = 0;
        ++serial;
        env.insert(env.begin(), {"TVN_SYSROOT", root});
        return {.env = std::move(env),
                .clean_tvn_env = true,
                .out_file = root + "/stdout." + std::to_string(serial),
                .err_file = root + "/stderr." + std::to_string(serial)};
    }
};
