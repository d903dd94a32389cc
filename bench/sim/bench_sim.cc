// Round trip of get_share on a store of 10,000 shares through the project's
// RPC client and server, beside a raw ZeroMQ REQ/REP exchange of the same
// sizes on loopback; and the time to page through all the shares 100 at a
// time (by offset and by cursor).
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zmq.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "sim_nfs_service.h"
#include "sim_store.h"
#include "tvn_msg_rpc_server.h"
#include "tvn_store_nfs_api.h"
#include "tvn_sysroot.h"

namespace {

using clock_type = std::chrono::steady_clock;
constexpr int kShares = 10000;
constexpr int kCalls = 5000;
constexpr int kWarmup = 500;

int free_port() {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(sa);
    int port = -1;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof(sa)) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&sa), &len) == 0)
        port = ntohs(sa.sin_port);
    ::close(fd);
    return port;
}

struct stats {
    double mean_us, p50_us, p99_us;
};

stats summarise(std::vector<double>& us) {
    std::sort(us.begin(), us.end());
    double sum = 0;
    for (double v : us) sum += v;
    return {sum / static_cast<double>(us.size()), us[us.size() / 2], us[us.size() * 99 / 100]};
}

template <class F>
std::vector<double> time_calls(int n, F&& f) {
    std::vector<double> us;
    us.reserve(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        auto t0 = clock_type::now();
        f(i);
        us.push_back(std::chrono::duration<double, std::micro>(clock_type::now() - t0).count());
    }
    return us;
}

// The baseline: one REQ/REP exchange per call over TCP on loopback with
// frames of the sizes the RPC exchanges, no broker and no work behind it.
class raw_zmq {
public:
    raw_zmq() : ctx_(zmq_ctx_new()) {
        const std::string ep = "tcp://127.0.0.1:" + std::to_string(free_port());
        rep_ = zmq_socket(ctx_, ZMQ_REP);
        zmq_bind(rep_, ep.c_str());
        server_ = std::thread([this] {
            std::vector<char> in(64 * 1024);
            int timeout = 100;
            zmq_setsockopt(rep_, ZMQ_RCVTIMEO, &timeout, sizeof(timeout));
            while (!done_) {
                if (zmq_recv(rep_, in.data(), in.size(), 0) < 0) continue;
                zmq_send(rep_, reply_.data(), reply_.size(), 0);
            }
        });
        req_ = zmq_socket(ctx_, ZMQ_REQ);
        zmq_connect(req_, ep.c_str());
    }
    ~raw_zmq() {
        done_ = true;
        server_.join();
        int linger = 0;
        zmq_setsockopt(req_, ZMQ_LINGER, &linger, sizeof(linger));
        zmq_setsockopt(rep_, ZMQ_LINGER, &linger, sizeof(linger));
        zmq_close(req_);
        zmq_close(rep_);
        zmq_ctx_term(ctx_);
    }
    // Frame sizes, set before the first call.
    void sizes(size_t request_bytes, size_t reply_bytes) {
        request_.assign(request_bytes, 'q');
        reply_.assign(reply_bytes, 'r');
    }
    void call() {
        zmq_send(req_, request_.data(), request_.size(), 0);
        zmq_recv(req_, in_, sizeof(in_), 0);
    }

private:
    void* ctx_;
    void* rep_ = nullptr;
    void* req_ = nullptr;
    std::thread server_;
    std::atomic<bool> done_{false};
    std::string request_, reply_;
    char in_[64 * 1024];
};

}  // namespace

int main() {
    const std::string root =
        (std::filesystem::temp_directory_path() / ("tvn_bench_sim." + std::to_string(::getpid())))
            .string();
    ::setenv("TVN_SYSROOT", root.c_str(), 1);

    tvn::sim::sim_store store;
    tvn::sim::sim_store_options so;
    so.db_path = tvn::sysroot_path("/var/lib/tvn_sim/store.db");
    std::string err;
    if (store.open(so, err) != 0) {
        std::fprintf(stderr, "cannot open the store: %s\n", err.c_str());
        return 1;
    }
    auto t0 = clock_type::now();
    for (int i = 0; i < kShares; ++i) {
        tvn_nfs_add_share_req r;
        r.set_fsid(static_cast<uint64_t>(1 + i % 3));
        r.set_tenant_id(0);
        r.set_path("/fs" + std::to_string(1 + i % 3) + "/share_" + std::to_string(i));
        r.set_comment("bench share");
        r.set_dtreeid(0);
        uint64_t id = 0;
        if (store.nfs.add_share(r, id, err) != 0) {
            std::fprintf(stderr, "add_share failed: %s\n", err.c_str());
            return 1;
        }
    }
    const double fill_s = std::chrono::duration<double>(clock_type::now() - t0).count();

    // The store alone, without the RPC: what the daemon adds to the transport.
    std::mt19937 rng_direct(11);
    std::uniform_int_distribution<uint64_t> pick_direct(1, kShares);
    auto direct_us = time_calls(kCalls, [&](int) {
        mul_vstore_nfs_share share;
        store.nfs.get_share(pick_direct(rng_direct), 0, &share, err);
    });
    stats direct = summarise(direct_us);

    tvn::sim::sim_nfs_service nfs(store);
    tvn_msg_rpc_server server;
    server.init(2);
    server.register_service(&nfs);
    const int port = free_port();
    std::thread serving([&] { server.start(tvn_msg_addr(TVN_MSG_ADDR_TCP, "127.0.0.1", port)); });

    // The service's own client wrapper, as its NFS commands call the store.
    tvn_store_nfs_api api("127.0.0.1", false, port);
    for (int i = 0; i < 200; ++i) {
        tvn_nfs_common_req probe;
        probe.set_type(0);
        tvn_nfs_common_rsp state;
        if (api.get_store_state(probe, state, 200) == 0) break;
    }
    std::mt19937 rng(7);
    std::uniform_int_distribution<uint64_t> pick(1, kShares);
    size_t req_bytes = 0, rsp_bytes = 0;
    int failures = 0;
    auto get_one = [&](int) {
        tvn_nfs_get_share_req req;
        req.set_share_id(pick(rng));
        req.set_tenant_id(0);
        tvn_nfs_get_share_rsp rsp;
        if (api.get_share(req, rsp, 30000) != 0 || rsp.status().result() != 0) ++failures;
        req_bytes = req.ByteSizeLong() + 8;
        rsp_bytes = rsp.ByteSizeLong();
    };
    time_calls(kWarmup, get_one);
    auto baseline = std::make_unique<raw_zmq>();
    baseline->sizes(req_bytes, rsp_bytes);
    time_calls(kWarmup, [&](int) { baseline->call(); });
    // Blocks of each in turn, so that the machine's ups and downs fall on both.
    std::vector<double> rpc_us, raw_us;
    for (int block = 0; block < 10; ++block) {
        auto a = time_calls(kCalls / 10, get_one);
        auto b = time_calls(kCalls / 10, [&](int) { baseline->call(); });
        rpc_us.insert(rpc_us.end(), a.begin(), a.end());
        raw_us.insert(raw_us.end(), b.begin(), b.end());
    }
    baseline.reset();
    stats rpc = summarise(rpc_us);
    stats raw = summarise(raw_us);

    auto page_all = [&](bool by_cursor, int& pages, size_t& listed) {
        tvn_nfs_show_share_req req;
        req.set_fsid(UINT64_MAX);
        req.set_tenant_id(0);
        req.set_path("");
        req.set_sort_type(TVN_NFS_SHARE_SORT_ASCEND);
        req.set_list_type(TVN_NFSBYSHAREID);
        req.set_offset(1);
        req.set_count(100);
        req.mutable_next_share_id()->set_flag(TVN_NFS_SHARE_ID_FIELD_INVALID);
        req.mutable_next_share_id()->set_shareid(0);
        pages = 0;
        listed = 0;
        auto start = clock_type::now();
        while (true) {
            tvn_nfs_show_share_rsp rsp;
            if (api.show_share(req, rsp, 30000) != 0 || rsp.status().result() != 0) {
                ++failures;
                break;
            }
            ++pages;
            listed += static_cast<size_t>(rsp.share_info_size());
            if (rsp.share_info_size() < 100) break;
            if (by_cursor) {
                req.mutable_next_share_id()->set_flag(TVN_NFS_SHARE_ID_FIELD_VALID);
                req.mutable_next_share_id()->set_shareid(rsp.share_info(99).share_id());
            } else {
                req.set_offset(req.offset() + 100);
            }
        }
        return std::chrono::duration<double, std::milli>(clock_type::now() - start).count();
    };
    int pages_off = 0, pages_cur = 0;
    size_t listed_off = 0, listed_cur = 0;
    const double offset_ms = page_all(false, pages_off, listed_off);
    const double cursor_ms = page_all(true, pages_cur, listed_cur);

    server.stop();
    serving.join();
    server.unregister();

    std::printf("tvn_sim store of %d shares (filled in %.2f s, one transaction each)\n", kShares,
                fill_s);
    std::printf("%-44s %10s %10s %10s\n", "round trip", "mean us", "p50 us", "p99 us");
    std::printf("%-44s %10.1f %10.1f %10.1f\n", "get_share, tvn_store_nfs_api -> tvn_sim",
                rpc.mean_us, rpc.p50_us, rpc.p99_us);
    std::printf("%-44s %10.1f %10.1f %10.1f\n", "raw ZeroMQ REQ/REP, same frame sizes", raw.mean_us,
                raw.p50_us, raw.p99_us);
    std::printf("%-44s %10.1f %10.1f %10.1f\n", "get_share in the store alone (no RPC)",
                direct.mean_us, direct.p50_us, direct.p99_us);
    std::printf("ratio get_share / raw: mean %.2fx, p50 %.2fx  (request %zu B, reply %zu B, %d calls)\n",
                rpc.mean_us / raw.mean_us, rpc.p50_us / raw.p50_us, req_bytes, rsp_bytes, kCalls);
    std::printf("page through all %zu shares, 100 a page, by offset: %.1f ms (%d pages, %.2f ms/page)\n",
                listed_off, offset_ms, pages_off, offset_ms / pages_off);
    std::printf("page through all %zu shares, 100 a page, by cursor: %.1f ms (%d pages, %.2f ms/page)\n",
                listed_cur, cursor_ms, pages_cur, cursor_ms / pages_cur);
    if (failures != 0) std::printf("FAILED calls: %d\n", failures);

    store.db.close();
    std::error_code ec;
    std::filesystem::remove_all(root, ec);
    return failures == 0 ? 0 : 1;
}
