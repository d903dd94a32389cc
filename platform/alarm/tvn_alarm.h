#pragma once
// Alarm interface of the platform. The stand-in appends one JSON line per
// record to /var/log/platform/alarm.jsonl (under the system root):
// {"time": ISO-8601 UTC, "module": N, "id": "0x...", "kind": K, "text": "..."}.
#include <cstdint>
#include <string>

// 0 on success, a negative code when the file cannot be written.
int32_t ALM_SendAlarm(uint32_t module, uint64_t alarm_id, uint32_t kind, const char* text);

namespace tvn {
// Absolute path of the alarm file under the current system root.
std::string alarm_file_path();
}  // namespace tvn
