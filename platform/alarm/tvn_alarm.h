#pragma once
// Alarm interface of the platform. The stand-in appends one JSON line per
// record to /var/log/platform/alarm.jsonl (under the system root):
// {"time": ISO-8601 UTC, "module": N, "id": "0x...", "kind": K, "text": "..."}.
#include <cstddef>
#include <cstdint>
#include <string>

// 0 on success, a negative code when the file cannot be written.
int32_t ALM_SendAlarm(uint32_t module, uint64_t alarm_id, uint32_t kind, const char* text);

namespace tvn {
// Bounds of the file: a record's text is cut to kAlarmTextMax bytes (marked
// with "..."); a file that would pass kAlarmFileMax bytes is renamed
// alarm.jsonl.1 (older ones move up to .kAlarmFilesKept, the oldest is
// dropped) and a new one begun.
inline constexpr size_t kAlarmTextMax = 4096;
inline constexpr uint64_t kAlarmFileMax = 8u << 20;
inline constexpr int kAlarmFilesKept = 4;

// Absolute path of the alarm file under the current system root.
std::string alarm_file_path();
}  // namespace tvn
