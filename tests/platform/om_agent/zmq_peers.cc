// Peers the agent's bounds tests point at it from a process of their own,
// started fresh rather than forked from the multi-threaded test:
//   idle <port> <count>   connects <count> DEALER sockets, prints "ready",
//                         then holds them until killed (60 s at most)
//   flood <endpoint>      sends hundreds of thousands of distinct
//                         subscriptions and a few oversized ones, then ends
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <zmq.hpp>

namespace {

int hold_idle(int port, int count) {
    // The test runs the agent under a low descriptor limit that this
    // process inherits; the peers need room of their own.
    rlimit lim{};
    if (::getrlimit(RLIMIT_NOFILE, &lim) == 0) {
        lim.rlim_cur = lim.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &lim);
    }
    zmq::context_t ctx;
    std::vector<zmq::socket_t> idle;
    const std::string endpoint = "tcp://127.0.0.1:" + std::to_string(port);
    for (int i = 0; i < count; ++i) {
        idle.emplace_back(ctx, zmq::socket_type::dealer);
        idle.back().set(zmq::sockopt::linger, 0);
        idle.back().set(zmq::sockopt::reconnect_ivl, -1);
        idle.back().connect(endpoint);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(500));  // let them all connect
    std::printf("ready\n");
    std::fflush(stdout);
    std::this_thread::sleep_for(std::chrono::seconds(60));
    return 0;
}

int flood(const std::string& endpoint) {
    zmq::context_t ctx;
    zmq::socket_t many(ctx, zmq::socket_type::sub);
    many.set(zmq::sockopt::linger, 1000);
    many.connect(endpoint);
    const std::string topic(56, 'a');
    for (int i = 0; i < 200000; ++i) many.set(zmq::sockopt::subscribe, topic + std::to_string(1000000 + i));
    for (int i = 0; i < 50; ++i) {
        zmq::socket_t big(ctx, zmq::socket_type::sub);
        big.set(zmq::sockopt::linger, 200);
        big.set(zmq::sockopt::subscribe, std::string(1024, static_cast<char>('a' + i % 26)));
        big.connect(endpoint);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    try {
        if (mode == "idle" && argc == 4) return hold_idle(std::stoi(argv[2]), std::stoi(argv[3]));
        if (mode == "flood" && argc == 3) return flood(argv[2]);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "tvn_test_zmq_peers: %s\n", e.what());
        return 1;
    }
    std::fprintf(stderr, "usage: tvn_test_zmq_peers idle <port> <count> | flood <endpoint>\n");
    return 2;
}
