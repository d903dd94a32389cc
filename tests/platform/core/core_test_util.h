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
#include "tvn_sysroot.h"
#include "tvn_test_files.h"

using tvn_test::read_text;
using tvn_test::write_text;

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
    std::optional<tvn_test::scoped_sysroot> root_;
};
