// An acknowledged share create survives a store daemon killed at any moment:
// clients keep creating shares through the OM agent while tvn_sim is killed
// with SIGKILL and started again on the same database.
#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tvn_test_node.h"
#include "tvn_test_wait.h"

namespace {

using namespace std::chrono_literals;

constexpr uint64_t kShareCreate = 0xd40114000ULL;
constexpr uint64_t kShareGet = 0xd40110000ULL;

TEST(SimCrash, EveryAcknowledgedCreateSurvivesAKill) {
    tvn_test::node n;
    ASSERT_TRUE(n.start());

    std::mutex mutex;
    std::vector<std::string> acked;
    std::atomic<int> refused{0};
    std::atomic<bool> stop{false};
    auto acked_count = [&] {
        std::lock_guard<std::mutex> lock(mutex);
        return acked.size();
    };
    std::vector<std::thread> clients;
    for (int t = 0; t < 4; ++t)
        clients.emplace_back([&, t] {
            for (int i = 0; !stop && i < 100000; ++i) {
                const std::string path = "/fs1/c" + std::to_string(t) + "_" + std::to_string(i);
                auto a = n.call(tvn_test::om_request(kShareCreate).s(64, path).s(65, "1"), 10000);
                if (a.ok()) {
                    std::lock_guard<std::mutex> lock(mutex);
                    acked.push_back(path);
                } else {
                    ++refused;
                }
            }
        });

    EXPECT_TRUE(tvn_test::eventually([&] { return acked_count() >= 40; }, 10s));
    n.kill_store();
    const size_t before_restart = acked_count();
    ASSERT_TRUE(n.start_store()) << n.logs();
    // Creates go on against the restarted store.
    EXPECT_TRUE(tvn_test::eventually([&] { return acked_count() >= before_restart + 40; }, 15s)) << n.logs();
    stop = true;
    for (auto& c : clients) c.join();

    std::vector<std::string> all;
    {
        std::lock_guard<std::mutex> lock(mutex);
        all = acked;
    }
    size_t missing = 0;
    for (const auto& path : all) {
        auto got = n.call(tvn_test::om_request(kShareGet).s(64, path));
        if (!got.ok()) {
            ++missing;
            ADD_FAILURE() << path << " was acknowledged but is gone: " << got;
        }
    }
    EXPECT_EQ(missing, 0u) << "of " << all.size() << " acknowledged creates (" << refused.load()
                           << " refused while the store was down)";
}

}  // namespace
