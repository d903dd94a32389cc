#pragma once
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "dplog.h"
#include "platform_init.h"
#include "test_sysroot_guard.h"
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

class CoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        ::unsetenv("TVN_FAIL_AT");
        ::unsetenv("TVN_NODE_ID");
        dplog_destroy();
        root_.emplace();
        tvn::platform_journal_clear();
    }
    void TearDown() override {
        ::unsetenv("TVN_FAIL_AT");
        ::unsetenv("TVN_NODE_ID");
        dplog_destroy();
        root_.reset();
    }
    std::string path(const std::string& abs) const { return root_->root() + abs; }
    std::string platform_log() const { return read_text(path("/var/log/platform/process_shell.log")); }

private:
    std::optional<scoped_sysroot> root_;
};
