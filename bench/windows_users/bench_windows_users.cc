// Local Windows users through the OM agent of a real tvn_cm and tvn_sim on
// loopback: the latency of creating a user and of listing one page of 100
// users, in a tenant of 10,000 and in one of 100,000 users, beside raw
// ZeroMQ REQ/REP carrying the same bytes. A page must cost the same in
// both tenants.
//
// The users are written straight into tvn_sim's database while it is
// stopped (one transaction), so that setting up takes seconds. Starts
// tvn_sim and tvn_cm from the folder of this program under a temporary
// system root; they use the fixed ports 6102-6108.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sqlite3.h>
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

extern char** environ;

namespace {

using clock_type = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr const char* kAgent = "tcp://127.0.0.1:6107";
constexpr uint64_t kUserCreate = 0xde2124000ULL, kUserList = 0xde212c000ULL, kUserCount = 0xde212e000ULL;
constexpr uint32_t kSmallTenant = 1, kLargeTenant = 2;
constexpr int kSmall = 10000, kLarge = 100000;
constexpr int kCalls = 600;

double p50_us(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

// A program of the build under the bench's root, stopped with SIGTERM.
class child {
public:
    child(const std::string& bin, std::vector<std::string> args, const std::string& root) {
        std::vector<std::string> env{"TVN_SYSROOT=" + root};
        for (char** e = environ; *e != nullptr; ++e)
            if (std::strncmp(*e, "TVN_", 4) != 0) env.emplace_back(*e);
        args.insert(args.begin(), bin);
        std::vector<char*> argv, envp;
        for (auto& a : args) argv.push_back(a.data());
        for (auto& e : env) envp.push_back(e.data());
        argv.push_back(nullptr);
        envp.push_back(nullptr);
        const std::string out = root + "/" + std::filesystem::path(bin).filename().string() + ".out";
        posix_spawn_file_actions_t fa;
        posix_spawn_file_actions_init(&fa);
        posix_spawn_file_actions_addopen(&fa, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        posix_spawn_file_actions_adddup2(&fa, STDOUT_FILENO, STDERR_FILENO);
        if (posix_spawn(&pid_, bin.c_str(), &fa, nullptr, argv.data(), envp.data()) != 0) pid_ = -1;
        posix_spawn_file_actions_destroy(&fa);
    }
    ~child() { stop(); }
    void stop() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGTERM);
        int status = 0;
        for (int i = 0; i < 500 && ::waitpid(pid_, &status, WNOHANG) != pid_; ++i) std::this_thread::sleep_for(20ms);
        if (::waitpid(pid_, &status, WNOHANG) == 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, &status, 0);
        }
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
};

// One OM command: its encoded request, built item by item.
struct om_command {
    OmMessage msg;
    explicit om_command(uint64_t opcode) {
        OmRecord* r = msg.add_record();
        r->set_opcode(opcode);
        OmItem* t = r->add_item();
        t->set_id(0);
        t->set_u32(0);
    }
    om_command& s(uint32_t id, const std::string& v) {
        OmItem* it = msg.mutable_record(0)->add_item();
        it->set_id(id);
        it->set_str(v);
        return *this;
    }
    std::string bytes() const { return msg.SerializeAsString(); }
};

// A DEALER to the agent; call() gives the result (-3 no answer in 10 s) and
// the answer's size.
class om_client {
public:
    explicit om_client(void* ctx) : sock_(zmq_socket(ctx, ZMQ_DEALER)) {
        int linger = 0;
        zmq_setsockopt(sock_, ZMQ_LINGER, &linger, sizeof(linger));
        zmq_connect(sock_, kAgent);
    }
    ~om_client() { zmq_close(sock_); }
    int32_t call(const std::string& request, size_t* reply_size = nullptr, int* records = nullptr) {
        zmq_send(sock_, "", 0, ZMQ_SNDMORE);
        zmq_send(sock_, request.data(), request.size(), 0);
        zmq_pollitem_t item{sock_, 0, ZMQ_POLLIN, 0};
        if (zmq_poll(&item, 1, 10000) <= 0) return -3;
        zmq_msg_t part;
        zmq_msg_init(&part);
        zmq_msg_recv(&part, sock_, 0);
        zmq_msg_recv(&part, sock_, 0);
        OmReply reply;
        bool ok = reply.ParseFromArray(zmq_msg_data(&part), static_cast<int>(zmq_msg_size(&part)));
        if (reply_size != nullptr) *reply_size = zmq_msg_size(&part);
        zmq_msg_close(&part);
        if (records != nullptr) *records = reply.answer().record_size();
        if (!ok) return -1;
        return reply.kind() == OM_ACK ? reply.result() : (reply.result() != 0 ? reply.result() : -1);
    }

private:
    void* sock_;
};

// Raw REQ/REP: a REP thread answering `reply_size` bytes to each request.
double raw_p50(void* ctx, size_t request_size, size_t reply_size) {
    void* rep = zmq_socket(ctx, ZMQ_REP);
    void* req = zmq_socket(ctx, ZMQ_REQ);
    int linger = 0;
    zmq_setsockopt(rep, ZMQ_LINGER, &linger, sizeof(linger));
    zmq_setsockopt(req, ZMQ_LINGER, &linger, sizeof(linger));
    zmq_bind(rep, "tcp://127.0.0.1:*");
    char endpoint[256];
    size_t len = sizeof(endpoint);
    zmq_getsockopt(rep, ZMQ_LAST_ENDPOINT, endpoint, &len);
    zmq_connect(req, endpoint);
    std::atomic<bool> stop{false};
    std::thread server([&] {
        std::string reply(reply_size, 'r');
        std::vector<char> buf(request_size + 64);
        while (!stop) {
            zmq_pollitem_t item{rep, 0, ZMQ_POLLIN, 0};
            if (zmq_poll(&item, 1, 50) <= 0) continue;
            zmq_recv(rep, buf.data(), buf.size(), 0);
            zmq_send(rep, reply.data(), reply.size(), 0);
        }
    });
    std::string request(request_size, 'q');
    std::vector<char> buf(reply_size + 64);
    std::vector<double> us;
    for (int i = 0; i < kCalls * 2; ++i) {
        auto t = clock_type::now();
        zmq_send(req, request.data(), request.size(), 0);
        zmq_recv(req, buf.data(), buf.size(), 0);
        if (i >= kCalls / 2) us.push_back(std::chrono::duration<double, std::micro>(clock_type::now() - t).count());
    }
    stop = true;
    server.join();
    zmq_close(req);
    zmq_close(rep);
    return p50_us(us);
}

// Writes `count` users into a tenant of the stopped stand-in's database.
bool seed_users(const std::string& db_path, uint32_t tenant, int count) {
    sqlite3* db = nullptr;
    if (sqlite3_open(db_path.c_str(), &db) != SQLITE_OK) return false;
    bool ok = sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_stmt* user = nullptr;
    sqlite3_stmt* rid = nullptr;
    ok = ok &&
         sqlite3_prepare_v2(db,
                            "INSERT INTO win_user (tenant, rid, sid, name, name_key, password, descr, enabled) "
                            "VALUES (?1, ?2, ?3, ?4, ?4, 'seeded', '', 1)",
                            -1, &user, nullptr) == SQLITE_OK &&
         sqlite3_prepare_v2(db, "INSERT INTO win_rid (tenant, rid) VALUES (?1, ?2)", -1, &rid, nullptr) == SQLITE_OK;
    for (int i = 0; ok && i < count; ++i) {
        const int64_t r = 1000 + i;
        const std::string name = "seed" + std::to_string(100000000 + i);
        const std::string sid = "S-1-5-21-1000-2000-" + std::to_string(3000 + tenant) + "-" + std::to_string(r);
        sqlite3_bind_int64(user, 1, tenant);
        sqlite3_bind_int64(user, 2, r);
        sqlite3_bind_text(user, 3, sid.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(user, 4, name.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_int64(rid, 1, tenant);
        sqlite3_bind_int64(rid, 2, r);
        ok = sqlite3_step(user) == SQLITE_DONE && sqlite3_step(rid) == SQLITE_DONE;
        sqlite3_reset(user);
        sqlite3_reset(rid);
    }
    sqlite3_finalize(user);
    sqlite3_finalize(rid);
    ok = ok && sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    return ok;
}

bool wait_for(const std::function<bool()>& ready) {
    for (auto end = clock_type::now() + 20s; clock_type::now() < end; std::this_thread::sleep_for(50ms))
        if (ready()) return true;
    return false;
}

struct figures {
    double create = 0, page = 0;
    size_t page_request = 0, page_reply = 0;
    int records = 0, failures = 0;
};

figures measure(om_client& c, uint32_t tenant) {
    figures f;
    const std::string t = std::to_string(tenant);
    const std::string page = om_command(kUserList).s(4090, t).s(24, R"({"offset": 0, "limit": 100})").bytes();
    // The middle of the tenant: a page that starts deep in the name order.
    const std::string middle =
        om_command(kUserList).s(4090, t).s(22, R"({"NAME": "seed1000050"})").s(24, R"({"offset": 0, "limit": 100})")
            .bytes();
    f.page_request = page.size();
    std::vector<double> create_us, page_us;
    for (int i = 0; i < kCalls; ++i) {
        const std::string create =
            om_command(kUserCreate).s(4090, t).s(2, "bench" + std::to_string(i)).s(64, "Bench#Pw1").bytes();
        auto t0 = clock_type::now();
        if (c.call(create) != 0) ++f.failures;
        create_us.push_back(std::chrono::duration<double, std::micro>(clock_type::now() - t0).count());
        t0 = clock_type::now();
        if (c.call(i % 2 == 0 ? page : middle, &f.page_reply, &f.records) != 0 || f.records != 100) ++f.failures;
        page_us.push_back(std::chrono::duration<double, std::micro>(clock_type::now() - t0).count());
    }
    f.create = p50_us(create_us);
    f.page = p50_us(page_us);
    return f;
}

}  // namespace

int main() {
    std::string bin_dir = std::filesystem::canonical("/proc/self/exe").parent_path().string();
    if (const char* env = std::getenv("TVN_BIN_DIR"); env != nullptr && *env != '\0') bin_dir = env;
    std::string root = (std::filesystem::temp_directory_path() / "tvn_bench_win_XXXXXX").string();
    if (::mkdtemp(root.data()) == nullptr) return 1;
    const std::string db_path = root + "/var/lib/tvn_sim/store.db";

    void* ctx = zmq_ctx_new();
    int rc = 1;
    {
        // A first start makes the database and its tables; the users go in
        // while it is stopped.
        {
            child sim(bin_dir + "/tvn_sim", {"--root", root}, root);
            wait_for([&] { return std::filesystem::exists(db_path) && std::filesystem::exists(root + "/tvn_sim.out") &&
                                  std::filesystem::file_size(root + "/tvn_sim.out") > 0; });
            std::this_thread::sleep_for(300ms);
        }
        auto t0 = clock_type::now();
        if (!seed_users(db_path, kSmallTenant, kSmall) || !seed_users(db_path, kLargeTenant, kLarge)) {
            std::fprintf(stderr, "cannot seed %s\n", db_path.c_str());
        } else {
            const double seed_s = std::chrono::duration<double>(clock_type::now() - t0).count();
            child sim(bin_dir + "/tvn_sim", {"--root", root}, root);
            child cm(bin_dir + "/tvn_cm", {"-l", "1", "-v", "1"}, root);
            om_client c(ctx);
            const std::string probe = om_command(kUserCount).s(4090, std::to_string(kLargeTenant)).bytes();
            if (!wait_for([&] { return c.call(probe) == 0; })) {
                std::fprintf(stderr, "tvn_sim or tvn_cm did not start (see %s)\n", root.c_str());
            } else {
                figures small = measure(c, kSmallTenant), large = measure(c, kLargeTenant);
                const double raw_create = raw_p50(ctx, 80, 160);
                const double raw_page = raw_p50(ctx, small.page_request, small.page_reply);
                std::printf("Local Windows users through the OM agent (tvn_cm + tvn_sim, loopback TCP); "
                            "users seeded in %.1f s\n",
                            seed_s);
                std::printf("page: 100 users, request %zu bytes, answer %zu bytes\n\n", small.page_request,
                            small.page_reply);
                std::printf("%-40s %12s %12s\n", "p50 us", "create user", "page of 100");
                std::printf("%-40s %12.1f %12.1f\n", "raw ZeroMQ REQ/REP, same sizes", raw_create, raw_page);
                std::printf("%-40s %12.1f %12.1f\n", "via agent, 10,000 users in the tenant", small.create, small.page);
                std::printf("%-40s %12.1f %12.1f\n", "via agent, 100,000 users in the tenant", large.create, large.page);
                std::printf("\nratio to raw REQ/REP: create %.1fx / %.1fx, page %.1fx / %.1fx (10,000 / 100,000)\n",
                            small.create / raw_create, large.create / raw_create, small.page / raw_page,
                            large.page / raw_page);
                std::printf("100,000 vs 10,000 users: create %.2fx, page %.2fx\n", large.create / small.create,
                            large.page / small.page);
                if (small.failures + large.failures != 0)
                    std::printf("\n%d calls failed\n", small.failures + large.failures);
                rc = small.failures + large.failures == 0 ? 0 : 1;
            }
        }
    }
    zmq_ctx_term(ctx);
    std::error_code ec;
    if (rc == 0) std::filesystem::remove_all(root, ec);
    return rc;
}
