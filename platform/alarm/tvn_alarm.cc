#include "tvn_alarm.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <mutex>

#include <fcntl.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
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
    // Texts come from operators and peers: never let bad UTF-8 throw, and
    // never let one caller fill the disk with a single record.
    std::string body = text != nullptr ? text : "";
    if (body.size() > tvn::kAlarmTextMax) {
        size_t cut = tvn::kAlarmTextMax;
        while (cut > 0 && (static_cast<unsigned char>(body[cut]) & 0xC0) == 0x80) --cut;  // whole UTF-8 only
        body.resize(cut);
        body += "...";
    }
    rec["text"] = body;
    std::string line = rec.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";

    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    std::string path = tvn::alarm_file_path();
    if (int rc = tvn::make_parent_dirs(path); rc != 0) return rc;
    int fd = tvn::open_append_regular(path);
    if (fd < 0) return fd;
    struct stat st {};
    if (::fstat(fd, &st) != 0) {
        ::close(fd);
        return -EIO;
    }
    if (static_cast<uint64_t>(st.st_size) + line.size() > tvn::kAlarmFileMax) {
        // Rotate: alarm.jsonl.1 is the newest old file; the oldest falls off.
        ::close(fd);
        for (int i = tvn::kAlarmFilesKept; i >= 1; --i) {
            std::string from = i == 1 ? path : fmt::format("{}.{}", path, i - 1);
            (void)::rename(from.c_str(), fmt::format("{}.{}", path, i).c_str());
        }
        fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0640);
        if (fd < 0) return -errno;
    }
    // One write per record keeps lines whole even with other writers.
    ssize_t n = ::write(fd, line.data(), line.size());
    int err = errno;
    ::close(fd);
    if (n != static_cast<ssize_t>(line.size())) return n < 0 ? -err : -EIO;
    return 0;
}
