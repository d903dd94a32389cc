#pragma once
// Bounded polling: tests wait for a condition, never for a fixed time.
#include <chrono>
#include <functional>

namespace tvn_test {

using namespace std::chrono_literals;

// Polls `cond` until it holds or `limit` has passed; checks it once more at
// the end so a condition that came true during the last sleep still counts.
bool eventually(const std::function<bool()>& cond, std::chrono::milliseconds limit = 10s,
                std::chrono::milliseconds step = 5ms);

}  // namespace tvn_test
