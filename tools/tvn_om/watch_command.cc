// tvn_om watch: prints change notifications as the agent publishes them.
#include <atomic>
#include <chrono>
#include <csignal>
#include <iostream>

#include <zmq.hpp>

#include "om_agent.pb.h"
#include "tvn_om_cli.h"

namespace {

std::atomic<bool> g_stop{false};

void on_signal(int) { g_stop = true; }

const char* kSynopsis = "tvn_om watch [--count N] [--json] [--timeout MS]";

tvn_om::option_parser make_parser() {
    tvn_om::option_parser p(kSynopsis);
    p.option("count", "N", "stop after N notifications");
    return p;
}

std::string watch_help() {
    return make_parser().help() +
           "\nPrints each change notification as it is published, until interrupted,\n"
           "until --count notifications were printed, or until --timeout (when given)\n"
           "has passed: then the status is 0 if one was printed, else 3.\n";
}

int run_watch(const tvn_om::global_options& opts, const std::vector<std::string>& args) {
    tvn_om::option_parser p = make_parser();
    if (p.parse(args) != tvn_om::kExitOk) return tvn_om::kExitUsage;
    if (!p.positional().empty()) return tvn_om::usage_error("unexpected '" + p.positional()[0] + "'", p.help());
    uint64_t count = 0;
    if (p.has("count") && (!tvn_om::parse_u64(p.get("count"), count) || count == 0))
        return tvn_om::usage_error("--count takes a number above 0", p.help());

    std::signal(SIGINT, on_signal);
    std::signal(SIGTERM, on_signal);
    using clock = std::chrono::steady_clock;
    const auto deadline = clock::now() + std::chrono::milliseconds(opts.timeout_ms);
    uint64_t printed = 0;
    try {
        zmq::context_t ctx;
        zmq::socket_t sub(ctx, zmq::socket_type::sub);
        sub.set(zmq::sockopt::linger, 0);
        sub.set(zmq::sockopt::subscribe, "");
        sub.connect(opts.events);
        while (!g_stop) {
            if (opts.timeout_given && clock::now() >= deadline) break;
            zmq::pollitem_t item{sub.handle(), 0, ZMQ_POLLIN, 0};
            try {
                zmq::poll(&item, 1, std::chrono::milliseconds(100));
            } catch (const zmq::error_t& e) {
                if (e.num() == EINTR) continue;
                throw;
            }
            if (!(item.revents & ZMQ_POLLIN)) continue;
            zmq::message_t frame;
            if (!sub.recv(frame, zmq::recv_flags::dontwait)) continue;
            OmMessage msg;
            ++printed;
            if (!msg.ParseFromArray(frame.data(), static_cast<int>(frame.size()))) {
                std::cerr << "tvn_om: an undecodable notification (" << frame.size() << " bytes)\n";
            } else if (opts.json) {
                std::cout << tvn_om::message_json(msg) << std::endl;
            } else {
                std::cout << "notification " << printed << "\n";
                tvn_om::print_records(std::cout, msg);
                std::cout.flush();
            }
            if (count != 0 && printed >= count) break;
        }
    } catch (const zmq::error_t& e) {
        std::cerr << "tvn_om: cannot watch " << opts.events << ": " << e.what() << "\n";
        return tvn_om::kExitUsage;
    }
    if (opts.timeout_given && printed == 0 && !g_stop) return tvn_om::kExitTimeout;
    return tvn_om::kExitOk;
}

tvn_om::command_registrar watch_command({{"watch"}, "Print change notifications as they are published",
                                          watch_help, run_watch});

}  // namespace
