// NFS share commands through the OM agent of a real tvn_cm and tvn_sim on
// loopback, beside raw ZeroMQ REQ/REP: latency of get and create with one
// client, throughput with one and eight clients, and the cost of the
// service's own part of a command (agent decode, dispatch, handler, store
// call, answer) as a ratio to the two ZeroMQ round trips a command holds
// (operator -> agent, service -> store).
//
// Starts tvn_sim and tvn_cm from the folder of this program under a
// temporary system root; they use the fixed ports 6102-6108, so nothing
// else may hold them while it runs.
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zmq.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "om_agent.pb.h"
#include "talvane_store_nfs.pb.h"
#include "tvn_store_nfs_api.h"

extern char** environ;

namespace {

using clock_type = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr const char* kAgent = "tcp://127.0.0.1:6107";
constexpr uint64_t kShareGet = 0xd40110000ULL;
constexpr uint64_t kShareCreate = 0xd40114000ULL;
constexpr int kLatencyCalls = 2000;
constexpr int kWarmup = 200;
constexpr auto kThroughputTime = 2s;

double us_since(clock_type::time_point t) {
    return std::chrono::duration<double, std::micro>(clock_type::now() - t).count();
}

struct latency {
    double p50 = 0, p99 = 0;
};

latency summarise(std::vector<double> us) {
    if (us.empty()) return {};
    std::sort(us.begin(), us.end());
    return {us[us.size() / 2], us[us.size() * 99 / 100]};
}

// ---- processes ---------------------------------------------------------------

class child {
public:
    child(const std::string& bin, std::vector<std::string> args, const std::string& root) {
        std::vector<std::string> envs;
        for (char** e = environ; *e != nullptr; ++e)
            if (std::strncmp(*e, "TVN_", 4) != 0) envs.emplace_back(*e);
        envs.push_back("TVN_SYSROOT=" + root);
        args.insert(args.begin(), bin);
        std::vector<char*> argv, envp;
        for (auto& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        for (auto& e : envs) envp.push_back(e.data());
        envp.push_back(nullptr);
        std::string out = root + "/" + std::filesystem::path(bin).filename().string() + ".out";
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, out.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        if (posix_spawn(&pid_, bin.c_str(), &actions, nullptr, argv.data(), envp.data()) != 0) pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    ~child() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGTERM);
        for (int i = 0; i < 500; ++i) {
            int status = 0;
            if (::waitpid(pid_, &status, WNOHANG) == pid_) return;
            std::this_thread::sleep_for(20ms);
        }
        ::kill(pid_, SIGKILL);
        int status = 0;
        ::waitpid(pid_, &status, 0);
    }
    bool started() const { return pid_ > 0; }

private:
    pid_t pid_ = -1;
};

// ---- one OM client: a DEALER kept open for all its commands -------------------

class om_client {
public:
    explicit om_client(void* ctx) : sock_(zmq_socket(ctx, ZMQ_DEALER)) {
        int linger = 0;
        zmq_setsockopt(sock_, ZMQ_LINGER, &linger, sizeof(linger));
        zmq_connect(sock_, kAgent);
    }
    ~om_client() { zmq_close(sock_); }
    // The result of the command, or -3 when no answer came within 10 s.
    int32_t call(const std::string& request) {
        zmq_send(sock_, "", 0, ZMQ_SNDMORE);
        zmq_send(sock_, request.data(), request.size(), 0);
        zmq_pollitem_t item{sock_, 0, ZMQ_POLLIN, 0};
        if (zmq_poll(&item, 1, 10000) <= 0) return -3;
        zmq_msg_t part;
        zmq_msg_init(&part);
        zmq_msg_recv(&part, sock_, 0);  // delimiter
        zmq_msg_close(&part);
        zmq_msg_init(&part);
        zmq_msg_recv(&part, sock_, 0);
        OmReply reply;
        bool ok = reply.ParseFromArray(zmq_msg_data(&part), static_cast<int>(zmq_msg_size(&part)));
        zmq_msg_close(&part);
        if (!ok) return -1;
        return reply.kind() == OM_ACK ? reply.result() : (reply.result() != 0 ? reply.result() : -1);
    }

private:
    void* sock_;
};

std::string encode(const OmMessage& m) {
    std::string out;
    m.SerializeToString(&out);
    return out;
}

OmMessage command(uint64_t opcode, const std::vector<std::pair<uint32_t, std::string>>& strings) {
    OmMessage m;
    OmRecord* rec = m.add_record();
    rec->set_opcode(opcode);
    OmItem* type = rec->add_item();
    type->set_id(0);
    type->set_u32(0);
    for (const auto& [id, value] : strings) {
        OmItem* it = rec->add_item();
        it->set_id(id);
        it->set_str(value);
    }
    return m;
}

// ---- raw ZeroMQ REQ/REP baseline ----------------------------------------------

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

// A REP echo server answering every request with a reply of a get answer's
// size, on its own thread.
class raw_server {
public:
    raw_server(void* ctx, size_t reply_size) : reply_(reply_size, 'r') {
        endpoint_ = "tcp://127.0.0.1:" + std::to_string(free_port());
        sock_ = zmq_socket(ctx, ZMQ_REP);
        int linger = 0;
        zmq_setsockopt(sock_, ZMQ_LINGER, &linger, sizeof(linger));
        zmq_bind(sock_, endpoint_.c_str());
        thread_ = std::thread([this] {
            char buf[4096];
            while (!stop_) {
                zmq_pollitem_t item{sock_, 0, ZMQ_POLLIN, 0};
                if (zmq_poll(&item, 1, 100) <= 0) continue;
                if (zmq_recv(sock_, buf, sizeof(buf), 0) < 0) continue;
                zmq_send(sock_, reply_.data(), reply_.size(), 0);
            }
        });
    }
    ~raw_server() {
        stop_ = true;
        thread_.join();
        zmq_close(sock_);
    }
    const std::string& endpoint() const { return endpoint_; }

private:
    std::string reply_;
    std::string endpoint_;
    void* sock_ = nullptr;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

class raw_client {
public:
    raw_client(void* ctx, const std::string& endpoint, size_t request_size) : request_(request_size, 'q') {
        sock_ = zmq_socket(ctx, ZMQ_REQ);
        int linger = 0;
        zmq_setsockopt(sock_, ZMQ_LINGER, &linger, sizeof(linger));
        zmq_connect(sock_, endpoint.c_str());
    }
    ~raw_client() { zmq_close(sock_); }
    int32_t call() {
        char buf[4096];
        zmq_send(sock_, request_.data(), request_.size(), 0);
        return zmq_recv(sock_, buf, sizeof(buf), 0) >= 0 ? 0 : -1;
    }

private:
    std::string request_;
    void* sock_ = nullptr;
};

// ---- measuring -------------------------------------------------------------------

// Latency of `calls` calls of one client (after a warm-up), in three
// rounds; the quietest round counts, since the machine is shared.
latency measure_latency(const std::function<int32_t(int)>& call, int calls, int& failures) {
    for (int i = 0; i < kWarmup; ++i) call(-1 - i);
    latency best{1e18, 1e18};
    for (int round = 0, n = 0; round < 3; ++round) {
        std::vector<double> us;
        us.reserve(static_cast<size_t>(calls / 3 + 1));
        for (int i = 0; i < calls / 3; ++i, ++n) {
            auto t = clock_type::now();
            if (call(n) != 0) ++failures;
            us.push_back(us_since(t));
        }
        latency l = summarise(us);
        if (l.p50 < best.p50) best = l;
    }
    return best;
}

// Calls per second of `clients` clients, each calling as fast as it can.
// make_call(c) gives client c its own call function.
double measure_throughput(int clients, const std::function<std::function<int32_t(int)>(int)>& make_call,
                          int& failures) {
    std::atomic<long> done{0};
    std::atomic<int> failed{0};
    std::atomic<bool> go{false}, stop{false};
    std::vector<std::thread> threads;
    for (int c = 0; c < clients; ++c) {
        threads.emplace_back([&, c] {
            auto call = make_call(c);
            while (!go) std::this_thread::yield();
            for (int i = 0; !stop; ++i) {
                if (call(i) != 0) ++failed;
                ++done;
            }
        });
    }
    std::this_thread::sleep_for(100ms);
    auto t = clock_type::now();
    go = true;
    std::this_thread::sleep_for(kThroughputTime);
    long n = done.load();
    double secs = std::chrono::duration<double>(clock_type::now() - t).count();
    stop = true;
    for (auto& th : threads) th.join();
    failures += failed.load();
    return static_cast<double>(n) / secs;
}

bool wait_for(const std::function<bool()>& ready, std::chrono::milliseconds limit) {
    auto end = clock_type::now() + limit;
    while (!ready()) {
        if (clock_type::now() > end) return false;
        std::this_thread::sleep_for(50ms);
    }
    return true;
}

}  // namespace

int main(int, char** argv) {
    std::string bin_dir = std::filesystem::canonical("/proc/self/exe").parent_path().string();
    if (const char* env = std::getenv("TVN_BIN_DIR"); env != nullptr && *env != '\0') bin_dir = env;
    std::string tmpl = (std::filesystem::temp_directory_path() / "tvn_bench_nfs_XXXXXX").string();
    if (::mkdtemp(tmpl.data()) == nullptr) return 1;
    const std::string root = tmpl;
    (void)argv;

    void* ctx = zmq_ctx_new();
    int rc = 0;
    {
        child sim(bin_dir + "/tvn_sim", {"--root", root}, root);
        bool store_up = wait_for(
            [] {
                tvn_store_nfs_api api("127.0.0.1", false);
                tvn_nfs_get_share_count_req req;
                tvn_nfs_get_share_count_rsp rsp;
                req.set_fsid(~0ULL);
                req.set_tenant_id(0);
                req.set_path("");
                return api.get_share_count(req, rsp, 300) == 0;
            },
            20s);
        child cm(bin_dir + "/tvn_cm", {"-l", "1", "-v", "1"}, root);
        const std::string get_request = encode(command(kShareGet, {{1, "1"}}));
        om_client probe(ctx);
        bool cm_up = store_up && wait_for([&] {
            std::string create = encode(command(kShareCreate, {{64, "/fs1/bench"}, {65, "1"}}));
            return probe.call(create) == 0 || probe.call(get_request) == 0;
        }, 20s);
        if (!sim.started() || !cm.started() || !store_up || !cm_up) {
            std::fprintf(stderr, "tvn_sim or tvn_cm did not start (see %s)\n", root.c_str());
            rc = 1;
        } else {
            int failures = 0;
            // Sizes of the raw exchange: those of a get command and its answer.
            OmReply sample;
            {
                void* s = zmq_socket(ctx, ZMQ_DEALER);
                zmq_connect(s, kAgent);
                zmq_send(s, "", 0, ZMQ_SNDMORE);
                zmq_send(s, get_request.data(), get_request.size(), 0);
                char buf[8192];
                zmq_recv(s, buf, sizeof(buf), 0);
                int n = zmq_recv(s, buf, sizeof(buf), 0);
                if (n > 0) sample.ParseFromArray(buf, n);
                zmq_close(s);
            }
            size_t reply_size = sample.ByteSizeLong();
            raw_server raw(ctx, reply_size);

            raw_client raw1(ctx, raw.endpoint(), get_request.size());
            latency raw_lat = measure_latency([&](int) { return raw1.call(); }, kLatencyCalls * 2, failures);
            double raw_tp1 = measure_throughput(1, [&](int) {
                auto c = std::make_shared<raw_client>(ctx, raw.endpoint(), get_request.size());
                return std::function<int32_t(int)>([c](int) { return c->call(); });
            }, failures);
            double raw_tp8 = measure_throughput(8, [&](int) {
                auto c = std::make_shared<raw_client>(ctx, raw.endpoint(), get_request.size());
                return std::function<int32_t(int)>([c](int) { return c->call(); });
            }, failures);

            // The store alone (one round trip plus its own work).
            tvn_store_nfs_api store("127.0.0.1", false);
            tvn_nfs_get_share_req sreq;
            sreq.set_share_id(1);
            latency store_lat = measure_latency(
                [&](int) {
                    tvn_nfs_get_share_rsp srsp;
                    return store.get_share(sreq, srsp, 10000);
                },
                kLatencyCalls, failures);

            // The same with a client made for the call, as each command makes one.
            latency fresh_lat = measure_latency(
                [&](int) {
                    tvn_store_nfs_api fresh("127.0.0.1", false);
                    tvn_nfs_get_share_rsp srsp;
                    return fresh.get_share(sreq, srsp, 10000);
                },
                kLatencyCalls / 2, failures);

            om_client one(ctx);
            latency get_lat = measure_latency([&](int) { return one.call(get_request); }, kLatencyCalls, failures);
            auto get_client = [&](int) {
                auto c = std::make_shared<om_client>(ctx);
                return std::function<int32_t(int)>([c, &get_request](int) { return c->call(get_request); });
            };
            double get_tp1 = measure_throughput(1, get_client, failures);
            double get_tp8 = measure_throughput(8, get_client, failures);

            std::atomic<long> serial{0};
            auto create_call = [&](om_client& c) {
                std::string path = "/fs1/bench/" + std::to_string(serial++);
                return c.call(encode(command(kShareCreate, {{64, path}, {65, "1"}})));
            };
            latency create_lat = measure_latency([&](int) { return create_call(one); }, kLatencyCalls / 2, failures);
            auto create_client = [&](int) {
                auto c = std::make_shared<om_client>(ctx);
                return std::function<int32_t(int)>([c, &create_call](int) { return create_call(*c); });
            };
            double create_tp1 = measure_throughput(1, create_client, failures);
            double create_tp8 = measure_throughput(8, create_client, failures);

            const double two_rtt = 2 * raw_lat.p50;
            auto own = [&](const latency& l) { return l.p50 - two_rtt; };
            std::printf("NFS share commands through the OM agent (tvn_cm + tvn_sim, loopback TCP)\n");
            std::printf("request %zu bytes, get answer %zu bytes\n\n", get_request.size(), reply_size);
            std::printf("%-34s %10s %10s %14s %14s\n", "path", "p50 us", "p99 us", "1 client/s", "8 clients/s");
            std::printf("%-34s %10.1f %10.1f %14.0f %14.0f\n", "raw ZeroMQ REQ/REP", raw_lat.p50, raw_lat.p99, raw_tp1,
                        raw_tp8);
            std::printf("%-34s %10.1f %10.1f %14s %14s\n", "store get_share, direct", store_lat.p50, store_lat.p99, "-",
                        "-");
            std::printf("%-34s %10.1f %10.1f %14s %14s\n", "store get_share, client per call", fresh_lat.p50,
                        fresh_lat.p99, "-", "-");
            std::printf("%-34s %10.1f %10.1f %14.0f %14.0f\n", "get share via agent", get_lat.p50, get_lat.p99, get_tp1,
                        get_tp8);
            std::printf("%-34s %10.1f %10.1f %14.0f %14.0f\n", "create share via agent", create_lat.p50,
                        create_lat.p99, create_tp1, create_tp8);
            std::printf("\nratios to raw REQ/REP: get latency %.2fx, create latency %.2fx; "
                        "8-client throughput get %.2f, create %.2f\n",
                        get_lat.p50 / raw_lat.p50, create_lat.p50 / raw_lat.p50, get_tp8 / raw_tp8,
                        create_tp8 / raw_tp8);
            std::printf("the service's own part (p50 minus two raw round trips of %.1f us):\n", two_rtt);
            std::printf("  get    %8.1f us = %.2f x the two round trips (of which the store's own work %.1f us)\n",
                        own(get_lat), own(get_lat) / two_rtt, store_lat.p50 - raw_lat.p50);
            std::printf("  create %8.1f us = %.2f x the two round trips\n", own(create_lat), own(create_lat) / two_rtt);
            std::printf("  of each, making the command's own store client (context, socket, connection): %.1f us\n",
                        fresh_lat.p50 - store_lat.p50);
            if (failures != 0) std::printf("\n%d calls failed\n", failures);
        }
    }
    zmq_ctx_term(ctx);
    std::error_code ec;
    if (rc == 0) std::filesystem::remove_all(root, ec);
    return rc;
}
