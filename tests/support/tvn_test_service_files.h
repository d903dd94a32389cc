#pragma once
// The service log and alarm file of a temporary system root, and a log
// clock that opens a fresh rate-limit window on demand.
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tvn_alarm.h"
#include "tvn_log.h"
#include "tvn_sysroot.h"
#include "tvn_test_files.h"

namespace tvn_test {

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

// The service log and alarm file under a temporary system root.
class service_files {
public:
    service_files() {
        new_log_window();
        TvnLogInit(666, 6, "/var/log/platform");
    }
    ~service_files() { TvnLogFini(); }
    std::string log() const { return read_text(tvn::sysroot_path("/var/log/platform/tvn_cm.log")); }
    bool logged(const std::string& text) const { return log().find(text) != std::string::npos; }
    size_t count(const std::string& text) const {
        std::string all = log();
        size_t n = 0;
        for (size_t pos = all.find(text); pos != std::string::npos; pos = all.find(text, pos + 1)) ++n;
        return n;
    }
    std::vector<nlohmann::json> alarms() const {
        return read_jsonl(tvn::alarm_file_path());
    }
    const std::string& root() const { return root_.root(); }

private:
    scoped_sysroot root_;  // constructed first: the log lives under it
};

}  // namespace tvn_test
