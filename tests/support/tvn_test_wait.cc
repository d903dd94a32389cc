#include "tvn_test_wait.h"

#include <thread>

namespace tvn_test {

bool eventually(const std::function<bool()>& cond, std::chrono::milliseconds limit,
                std::chrono::milliseconds step) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
        if (cond()) return true;
        std::this_thread::sleep_for(step);
    }
    return cond();
}

}  // namespace tvn_test
