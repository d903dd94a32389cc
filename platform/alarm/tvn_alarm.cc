#include "tvn_alarm.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <mutex>

#include <fcntl.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/time.h>
#include <unistd.h>

#include "tvn_fault.h"
#include "tvn_sysroot.h"

namespace tvn {
std::string alarm_file_path() { return sysroot_path("/var/log/platform/alarm.jsonl"); }
}  // namespace tvn

int32_t ALM_SendAlarm(uint32_t module, uint64_t alarm_id, uint32_t kind, const char* text) {
    if (tvn::fail_at("ALM_SendAlarm")) return -1;
    struct timeval tv {};
    ::gettimeofday(&tv, nullptr);
    struct tm tm_utc {};
    time_t secs = tv.tv_sec;
    ::gmtime_r(&secs, &tm_utc);
    char stamp[40];
    std::strftime(stamp, sizeof(stamp), "%Y-%m-%dT%H:%M:%S", &tm_utc);

    nlohmann::ordered_json rec;
    rec["time"] = fmt::format("{}.{:03d}Z", stamp, static_cast<int>(tv.tv_usec / 1000));
    rec["module"] = module;
    rec["id"] = fmt::format("0x{:x}", alarm_id);
    rec["kind"] = kind;
    // Texts come from operators and peers: never let bad UTF-8 throw.
    rec["text"] = text != nullptr ? text : "";
    std::string line = rec.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";

    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    std::string path = tvn::alarm_file_path();
    if (int rc = tvn::make_parent_dirs(path); rc != 0) return rc;
    int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) return -errno;
    // One write per record keeps lines whole even with other writers.
    ssize_t n = ::write(fd, line.data(), line.size());
    int err = errno;
    ::close(fd);
    if (n != static_cast<ssize_t>(line.size())) return n < 0 ? -err : -EIO;
    return 0;
}
