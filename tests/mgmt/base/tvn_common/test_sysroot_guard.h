#pragma once
// Points TVN_SYSROOT at a fresh temporary folder for the life of a test.
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

class scoped_sysroot {
public:
    scoped_sysroot() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "tvn_test_XXXXXX").string();
        char* made = ::mkdtemp(tmpl.data());
        root_ = made != nullptr ? made : "";
        const char* old = std::getenv("TVN_SYSROOT");
        if (old != nullptr) old_ = old, had_old_ = true;
        ::setenv("TVN_SYSROOT", root_.c_str(), 1);
    }
    ~scoped_sysroot() {
        if (had_old_)
            ::setenv("TVN_SYSROOT", old_.c_str(), 1);
        else
            ::unsetenv("TVN_SYSROOT");
        std::error_code ec;
        std::filesystem::remove_all(root_, ec);
    }
    const std::string& root() const { return root_; }

private:
    std::string root_;
    std::string old_;
    bool had_old_ = false;
};
