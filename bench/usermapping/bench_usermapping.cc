// A mapping tried through the OM agent (tvn_om's road: a connection per
// command, agent decode, handler, lookup service, rule scan, answer) with 10
// and with 10,000 rules in the tenant, beside raw ZeroMQ REQ/REP of the same
// sizes on the same machine, with a socket kept and with a socket per call.
//
// Starts tvn_sim and tvn_cm (the test support's local node) under a
// temporary system root; they use the fixed ports 6102-6108, so nothing else
// may hold them while it runs. The rule that matches has the lowest
// priority, so every try walks all the others first.
#include <zmq.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "talvane_store_user_mapping.pb.h"
#include "tvn_om_endpoint.h"
#include "tvn_store_user_mapping_api.h"
#include "tvn_test_net.h"
#include "tvn_test_node.h"

namespace {

using clock_type = std::chrono::steady_clock;
constexpr uint64_t kTry = 0xd50000272ULL;
constexpr int kCalls = 400;
constexpr int kWarmup = 40;

struct latency {
    double p50 = 0, p99 = 0;
};

// p50 and p99 of `calls` calls after a warm-up, in microseconds.
latency measure(const std::function<int32_t()>& call, int calls, int& failures) {
    for (int i = 0; i < kWarmup; ++i) call();
    std::vector<double> us;
    for (int i = 0; i < calls; ++i) {
        auto t = clock_type::now();
        if (call() != 0) ++failures;
        us.push_back(std::chrono::duration<double, std::micro>(clock_type::now() - t).count());
    }
    std::sort(us.begin(), us.end());
    return {us[us.size() / 2], us[us.size() * 99 / 100]};
}

// Adds rules that never match CORP\alice until the tenant holds `total`.
bool fill_rules(tvn_store_user_mapping_api& store, int& have, int total) {
    for (; have < total; ++have) {
        tvn_user_mapping_rule_add_req req;
        tvn_user_mapping_rule_add_rsp rsp;
        req.set_from_account("CORP\\filler" + std::to_string(have) + "*");
        req.set_to_identity("nobody");
        req.set_mapping_type(TVN_WINDOWS_TO_UINX);
        req.set_rule_priority(1 + static_cast<uint32_t>(have % 50));
        if (store.add_user_mapping_rule(req, rsp, 10000) != 0 || rsp.result() != 0) return false;
    }
    return true;
}

// A REP server echoing replies of a fixed size on its own thread.
class echo_server {
public:
    echo_server(void* ctx, size_t reply_size) : reply_(reply_size, 'r') {
        endpoint_ = "tcp://127.0.0.1:" + std::to_string(tvn_test::free_port());
        sock_ = zmq_socket(ctx, ZMQ_REP);
        zmq_bind(sock_, endpoint_.c_str());
        thread_ = std::thread([this] {
            char buf[8192];
            while (!stop_) {
                zmq_pollitem_t item{sock_, 0, ZMQ_POLLIN, 0};
                if (zmq_poll(&item, 1, 100) <= 0) continue;
                if (zmq_recv(sock_, buf, sizeof buf, 0) >= 0) zmq_send(sock_, reply_.data(), reply_.size(), 0);
            }
        });
    }
    ~echo_server() {
        stop_ = true;
        thread_.join();
        zmq_close(sock_);
    }
    const std::string& endpoint() const { return endpoint_; }

private:
    std::string reply_, endpoint_;
    void* sock_ = nullptr;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

int32_t req_rep(void* sock, const std::string& request) {
    char buf[8192];
    zmq_send(sock, request.data(), request.size(), 0);
    return zmq_recv(sock, buf, sizeof buf, 0) >= 0 ? 0 : -1;
}

}  // namespace

int main() {
    tvn_test::node node;
    if (!node.start()) {
        std::fprintf(stderr, "tvn_sim or tvn_cm did not start:\n%s\n", node.logs().substr(0, 4000).c_str());
        return 1;
    }
    tvn_store_user_mapping_api store("127.0.0.1");
    {
        tvn_user_mapping_rule_add_req req;
        tvn_user_mapping_rule_add_rsp rsp;
        req.set_from_account("CORP\\alice");
        req.set_to_identity("nfsuser");
        req.set_mapping_type(TVN_WINDOWS_TO_UINX);
        req.set_rule_priority(1000);
        if (store.add_user_mapping_rule(req, rsp, 10000) != 0 || rsp.result() != 0) return 1;
    }
    const std::string request = [] {
        std::string bytes;
        tvn_test::om_request(kTry).s(65, "CORP\\alice").e(66, 0).message().SerializeToString(&bytes);
        return bytes;
    }();
    std::string sample;
    if (tvn::om::call(tvn::om::kDefaultCommandEndpoint, request, 10000, &sample) != 0) return 1;

    int failures = 0, rules = 1;
    auto try_once = [&] {
        std::string reply;
        OmReply r;
        if (tvn::om::call(tvn::om::kDefaultCommandEndpoint, request, 10000, &reply) != 0 || !r.ParseFromString(reply))
            return -1;
        return r.kind() == OM_ACK ? r.result() : -1;
    };
    struct row {
        std::string name;
        latency l;
    };
    std::vector<row> rows;
    for (int total : {10, 10000}) {
        if (!fill_rules(store, rules, total)) {
            std::fprintf(stderr, "adding rules failed at %d\n", rules);
            return 1;
        }
        rows.push_back({"try via agent, " + std::to_string(total) + " rules", measure(try_once, kCalls, failures)});
    }

    void* ctx = zmq_ctx_new();
    {
        echo_server echo(ctx, sample.size());
        void* kept = zmq_socket(ctx, ZMQ_REQ);
        zmq_connect(kept, echo.endpoint().c_str());
        rows.insert(rows.begin(), {"raw REQ/REP, socket kept", measure([&] { return req_rep(kept, request); },
                                                                       kCalls * 4, failures)});
        zmq_close(kept);
        rows.insert(rows.begin() + 1, {"raw REQ/REP, socket per call", measure([&] {
                                           void* s = zmq_socket(ctx, ZMQ_REQ);
                                           int linger = 0;
                                           zmq_setsockopt(s, ZMQ_LINGER, &linger, sizeof linger);
                                           zmq_connect(s, echo.endpoint().c_str());
                                           int32_t rc = req_rep(s, request);
                                           zmq_close(s);
                                           return rc;
                                       }, kCalls, failures)});
    }
    zmq_ctx_term(ctx);

    std::printf("A mapping tried through the OM agent (tvn_cm + tvn_sim, loopback TCP)\n");
    std::printf("request %zu bytes, answer %zu bytes, %d calls a row\n\n", request.size(), sample.size(), kCalls);
    std::printf("%-34s %10s %10s %12s\n", "path", "p50 us", "p99 us", "p50 ratio");
    for (const auto& r : rows)
        std::printf("%-34s %10.1f %10.1f %11.2fx\n", r.name.c_str(), r.l.p50, r.l.p99, r.l.p50 / rows[0].l.p50);
    std::printf("\nratio of the tries to raw REQ/REP with a socket per call (tvn_om's own way): "
                "10 rules %.2fx, 10,000 rules %.2fx\n",
                rows[2].l.p50 / rows[1].l.p50, rows[3].l.p50 / rows[1].l.p50);
    if (failures != 0) std::printf("\n%d calls failed\n", failures);
    return failures == 0 ? 0 : 1;
}
