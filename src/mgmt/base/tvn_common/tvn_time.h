#pragma once
// Whole seconds of the monotonic clock, for ages of queued requests and the
// like. A clock failure is logged and reads as 0 / "not expired" so that a
// broken clock never drops work.
#include <cstdint>
#include <ctime>

namespace tvn {
// Replaceable clock source with clock_gettime's contract (0 = success).
using monotonic_clock_fn = int (*)(struct timespec*);
void set_monotonic_clock(monotonic_clock_fn fn);  // nullptr restores CLOCK_MONOTONIC
}  // namespace tvn

// Monotonic clock in whole seconds; 0 when the clock fails.
uint64_t GetCurTimeStamp();
// True when arrival + span lies before now. A clock failure or an overflowing
// sum is logged and counts as not expired.
bool IsTimeout(uint64_t arrival, uint64_t span);
