#pragma once
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "dpax.h"
#include "dplog.h"
#include "platform_init.h"
#include "process_internal.h"
#include "process_shell.h"
#include "ps_test_topology.h"
#include "tvn_sysroot.h"
#include "tvn_test_files.h"

using tvn_test::read_text;

class ShellTest : public ::testing::Test {
protected:
    void SetUp() override {
        ::unsetenv("TVN_FAIL_AT");
        dplog_destroy();  // the next line opens in the new root
        root_.emplace();
        ps_reset_for_test();
        ps_test::reset();
        tvn::platform_journal_clear();
        dpax_reset_thread_strategies();
    }
    void TearDown() override {
        ::unsetenv("TVN_FAIL_AT");
        dpax_thread_pool_destroy();
        dplog_destroy();
        root_.reset();
    }

    std::string root() const { return root_->root(); }
    std::string platform_log() const { return read_text(tvn::dplog_path()); }
    bool logged(const std::string& text) const { return platform_log().find(text) != std::string::npos; }

    // Writes a file under the test root and returns its path.
    std::string write_file(const std::string& name, const std::string& content) const {
        std::string path = root() + "/" + name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    int32_t run_main(std::vector<std::string> args) {
        args.insert(args.begin(), "tvn_cm");
        std::vector<char*> argv;
        for (auto& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        return ps_main(static_cast<int>(args.size()), argv.data());
    }
    int32_t parse(std::vector<std::string> args) {
        args.insert(args.begin(), "tvn_cm");
        std::vector<char*> argv;
        for (auto& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        return ps_parse_params(static_cast<int>(args.size()), argv.data());
    }

private:
    std::optional<tvn_test::scoped_sysroot> root_;
};
