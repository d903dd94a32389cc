#pragma once
// Helpers shared by the OM framework's tests: environment overrides, the
// service log and alarm file of a temporary system root, and a log clock
// that opens a fresh rate-limit window on demand.
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "test_sysroot_guard.h"
#include "tvn_alarm.h"
#include "tvn_log.h"
#include "tvn_sysroot.h"

class scoped_env {
public:
    scoped_env(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) old_ = old, had_ = true;
        if (value != nullptr)
            ::setenv(name, value, 1);
        else
            ::unsetenv(name);
    }
    ~scoped_env() {
        if (had_)
            ::setenv(name_.c_str(), old_.c_str(), 1);
        else
            ::unsetenv(name_.c_str());
    }
    scoped_env(const scoped_env&) = delete;
    scoped_env& operator=(const scoped_env&) = delete;

private:
    std::string name_;
    std::string old_;
    bool had_ = false;
};

namespace om_test {

inline std::atomic<uint64_t>& fake_now() {
    static std::atomic<uint64_t> now{1000000};
    return now;
}
inline uint64_t fake_clock() { return fake_now().load(); }

// Every call site may log 3 more lines after this.
inline void new_log_window() {
    tvn::set_log_clock(&fake_clock);
    fake_now() += 61;
}

inline std::string read_file(const std::string& path) {
    std::ifstream in(path);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// The service log and alarm file under a temporary system root.
class service_files {
public:
    service_files() {
        new_log_window();
        TvnLogInit(666, 6, "/var/log/platform");
    }
    ~service_files() { TvnLogFini(); }
    std::string log() const { return read_file(tvn::sysroot_path("/var/log/platform/tvn_cm.log")); }
    bool logged(const std::string& text) const { return log().find(text) != std::string::npos; }
    size_t count(const std::string& text) const {
        std::string all = log();
        size_t n = 0;
        for (size_t pos = all.find(text); pos != std::string::npos; pos = all.find(text, pos + 1)) ++n;
        return n;
    }
    std::vector<nlohmann::json> alarms() const {
        std::vector<nlohmann::json> out;
        std::ifstream in(tvn::alarm_file_path());
        std::string line;
        while (std::getline(in, line))
            if (!line.empty()) out.push_back(nlohmann::json::parse(line));
        return out;
    }
    const std::string& root() const { return root_.root(); }

private:
    scoped_sysroot root_;  // constructed first: the log lives under it
};

}  // namespace om_test
