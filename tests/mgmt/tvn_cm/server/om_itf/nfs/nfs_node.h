#pragma once
// A local node for the NFS command tests: tvn_sim (the store in one
// process, the authentication daemon and the kernel agent in another, so
// the store can be stopped on its own) and the real tvn_cm, all under a
// temporary system root on 127.0.0.1. Commands go through the OM agent's
// endpoint; notifications are read from its events endpoint; operation-log
// records from alarm.jsonl.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zmq.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "om_agent.pb.h"
#include "talvane_kagent.pb.h"
#include "talvane_store_nfs.pb.h"
#include "tvn_kagent_api.h"
#include "tvn_om_endpoint.h"
#include "tvn_store_nfs_api.h"

extern char** environ;

namespace nfs_test {

using namespace std::chrono_literals;

inline constexpr const char* kCommandEndpoint = "tcp://127.0.0.1:6107";
inline constexpr const char* kEventsEndpoint = "tcp://127.0.0.1:6108";
// The time-out tvn_cm uses for its calls in these tests.
inline constexpr int kRpcTimeoutMs = 3000;

inline bool eventually(const std::function<bool()>& cond, std::chrono::milliseconds limit = 15000ms) {
    auto end = std::chrono::steady_clock::now() + limit;
    while (!cond()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(20ms);
    }
    return true;
}

inline std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A program of $TVN_BIN_DIR run with a clean TVN_* environment.
class child {
public:
    child(const std::string& program, std::vector<std::string> args,
          const std::vector<std::pair<std::string, std::string>>& env, const std::string& log_file) {
        const char* bin_dir = std::getenv("TVN_BIN_DIR");
        std::string bin = std::string(bin_dir != nullptr ? bin_dir : ".") + "/" + program;
        std::vector<std::string> envs;
        for (char** e = environ; *e != nullptr; ++e)
            if (std::strncmp(*e, "TVN_", 4) != 0) envs.emplace_back(*e);
        for (const auto& [k, v] : env) envs.push_back(k + "=" + v);
        args.insert(args.begin(), bin);
        std::vector<char*> argv, envp;
        for (auto& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        for (auto& e : envs) envp.push_back(e.data());
        envp.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log_file.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log_file.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        if (posix_spawn(&pid_, bin.c_str(), &actions, nullptr, argv.data(), envp.data()) != 0) pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    ~child() { stop(); }
    child(const child&) = delete;
    child& operator=(const child&) = delete;

    bool running() {
        if (pid_ <= 0) return false;
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            exit_status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        return pid_ > 0;
    }
    // Waits for the program to end by itself; its exit status, or -1.
    int wait(std::chrono::milliseconds limit = 30000ms) {
        eventually([this] { return !running(); }, limit);
        return running() ? -1 : exit_status_;
    }
    // SIGTERM, then SIGKILL when it has not ended within 10 s.
    void stop() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGTERM);
        if (!eventually([this] { return !running(); }, 10000ms) && pid_ > 0) {
            ::kill(pid_, SIGKILL);
            int status = 0;
            ::waitpid(pid_, &status, 0);
            pid_ = -1;
        }
    }

private:
    pid_t pid_ = -1;
    int exit_status_ = -1;
};

// One command and its answer.
struct om_answer {
    int32_t call_rc = -1;  // transport: 0, -3 no reply
    OmReply reply;
    int32_t result() const { return reply.result(); }
    bool ok() const { return call_rc == 0 && reply.kind() == OM_ACK && reply.result() == 0; }
    int records() const { return reply.has_answer() ? reply.answer().record_size() : 0; }
    const OmItem* item(int record, uint32_t id) const {
        if (record >= records()) return nullptr;
        for (const auto& it : reply.answer().record(record).item())
            if (it.id() == id) return &it;
        return nullptr;
    }
    std::string str(int record, uint32_t id) const {
        const OmItem* it = item(record, id);
        if (it == nullptr) return "<absent>";
        switch (it->value_case()) {
            case OmItem::kStr: return it->str();
            case OmItem::kStr8: return it->str8();
            case OmItem::kU32: return std::to_string(it->u32());
            case OmItem::kEnumeration: return std::to_string(it->enumeration());
            case OmItem::kFlag: return it->flag() ? "true" : "false";
            default: return "<no value>";
        }
    }
};

// A request under construction: record 0 with the code and item 0.
class request {
public:
    explicit request(uint64_t opcode) {
        auto* rec = msg_.add_record();
        rec->set_opcode(opcode);
        u(0, 0);
    }
    request& s(uint32_t id, const std::string& v) { return set(id, [&](OmItem* i) { i->set_str(v); }); }
    request& u(uint32_t id, uint32_t v) { return set(id, [&](OmItem* i) { i->set_u32(v); }); }
    request& e(uint32_t id, uint32_t v) { return set(id, [&](OmItem* i) { i->set_enumeration(v); }); }
    request& b(uint32_t id, bool v) { return set(id, [&](OmItem* i) { i->set_flag(v); }); }
    const OmMessage& message() const { return msg_; }

private:
    request& set(uint32_t id, const std::function<void(OmItem*)>& fill) {
        auto* rec = msg_.mutable_record(0);
        OmItem* target = nullptr;
        for (auto& it : *rec->mutable_item())
            if (it.id() == id) target = &it;
        if (target == nullptr) target = rec->add_item();
        target->set_id(id);
        fill(target);
        return *this;
    }
    OmMessage msg_;
};

// Operation codes.
inline constexpr uint64_t kShareCreate = 0xd40114000ULL, kShareDelete = 0xd40116000ULL,
                          kShareGet = 0xd40110000ULL, kShareModify = 0xd40112000ULL,
                          kShareList = 0xd4011c000ULL, kShareCount = 0xd4011e000ULL;
inline constexpr uint64_t kAuthCreate = 0xd40194000ULL, kAuthDelete = 0xd40196000ULL,
                          kAuthGet = 0xd40190000ULL, kAuthModify = 0xd40192000ULL,
                          kAuthList = 0xd4019c000ULL, kAuthCount = 0xd4019e000ULL;
// The second code of each share command.
inline constexpr uint64_t kShareCreate2 = 0xd88c64000ULL, kShareDelete2 = 0xd88c66000ULL,
                          kShareGet2 = 0xd88c60000ULL, kShareModify2 = 0xd88c62000ULL,
                          kShareList2 = 0xd88c6c000ULL, kShareCount2 = 0xd88c6e000ULL;

struct node_options {
    std::string store_daemons{"store"};       // "" runs none
    std::string side_daemons{"auth,kagent"};  // "" runs none
    std::vector<std::pair<std::string, std::string>> cm_env{};
};

class nfs_node {
public:
    explicit nfs_node(node_options opts = {}) : opts_(std::move(opts)) {
        std::string tmpl = (std::filesystem::temp_directory_path() / "tvn_nfs_XXXXXX").string();
        root_ = ::mkdtemp(tmpl.data()) != nullptr ? tmpl : "";
        ctx_ = zmq_ctx_new();
        sub_ = zmq_socket(ctx_, ZMQ_SUB);
        int linger = 0;
        zmq_setsockopt(sub_, ZMQ_LINGER, &linger, sizeof(linger));
        zmq_setsockopt(sub_, ZMQ_SUBSCRIBE, "", 0);
        zmq_connect(sub_, kEventsEndpoint);
    }
    ~nfs_node() {
        cm_.reset();
        side_.reset();
        store_.reset();
        zmq_close(sub_);
        zmq_ctx_term(ctx_);
        std::error_code ec;
        if (!root_.empty() && std::getenv("TVN_KEEP_ROOT") == nullptr) std::filesystem::remove_all(root_, ec);
    }

    const std::string& root() const { return root_; }

    // Starts every process and waits until each answers. False (with the
    // logs in the failure message) when one does not.
    ::testing::AssertionResult start() {
        if (!start_store()) return ::testing::AssertionFailure() << "tvn_sim (store) did not start\n" << logs();
        if (!opts_.side_daemons.empty()) {
            side_ = std::make_unique<child>("tvn_sim",
                                            std::vector<std::string>{"--daemons", opts_.side_daemons, "--root", root_},
                                            env(), root_ + "/sim_side.out");
            bool ready = opts_.side_daemons.find("kagent") == std::string::npos || eventually([] {
                tvn_kagent_api kagent("127.0.0.1", false, 1);
                tvn_ka_pum_req req;
                tvn_ka_pum_rsp rsp;
                req.set_module("fs");
                req.set_cmdstr("list");
                return kagent.kagent_pum(req, rsp, 300) == 0;
            });
            if (!ready) return ::testing::AssertionFailure() << "tvn_sim (auth, kagent) did not start\n" << logs();
        }
        return start_cm();
    }

    // Without store daemons to run, waits for a store the test serves itself.
    bool start_store() {
        if (!opts_.store_daemons.empty())
            store_ = std::make_unique<child>("tvn_sim",
                                             std::vector<std::string>{"--daemons", opts_.store_daemons, "--root", root_},
                                             env(), root_ + "/sim_store.out");
        return eventually([] {
            tvn_store_nfs_api api("127.0.0.1", false);
            tvn_nfs_get_share_count_req req;
            tvn_nfs_get_share_count_rsp rsp;
            req.set_fsid(~0ULL);
            req.set_tenant_id(0);
            req.set_path("");
            return api.get_share_count(req, rsp, 300) == 0;
        });
    }
    void stop_store() { store_.reset(); }

    ::testing::AssertionResult start_cm(std::vector<std::pair<std::string, std::string>> extra_env = {}) {
        auto e = env();
        e.emplace_back("TVN_CM_RPC_TIMEOUT_MS", std::to_string(kRpcTimeoutMs));
        for (const auto& kv : opts_.cm_env) e.push_back(kv);
        for (const auto& kv : extra_env) e.push_back(kv);
        cm_ = std::make_unique<child>("tvn_cm", std::vector<std::string>{"-l", "1", "-v", "1"}, e,
                                      root_ + "/tvn_cm.out");
        bool ready = eventually([this] {
            OmMessage m = request(kShareCount).s(22, "{}").message();
            std::string bytes, raw;
            m.SerializeToString(&bytes);
            return cm_->running() && tvn::om::call(kCommandEndpoint, bytes, 500, &raw) == 0;
        });
        if (!ready) return ::testing::AssertionFailure() << "tvn_cm did not start\n" << logs();
        // Let the notification subscription reach the new publisher.
        std::this_thread::sleep_for(300ms);
        drain_events();
        return ::testing::AssertionSuccess();
    }
    void stop_cm() { cm_.reset(); }

    om_answer call(const request& req, int64_t timeout_ms = 20000) const {
        om_answer a;
        std::string bytes, raw;
        req.message().SerializeToString(&bytes);
        a.call_rc = tvn::om::call(kCommandEndpoint, bytes, timeout_ms, &raw);
        if (a.call_rc == 0 && !a.reply.ParseFromString(raw)) a.call_rc = -2;
        return a;
    }

    // Notifications published since the last call, waiting up to `wait`
    // for at least `at_least` of them.
    std::vector<OmMessage> events(size_t at_least = 1, std::chrono::milliseconds wait = 3000ms) {
        std::vector<OmMessage> out;
        auto end = std::chrono::steady_clock::now() + wait;
        for (;;) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
            long timeout = out.size() >= at_least ? 50 : std::max<long>(left.count(), 0);
            zmq_pollitem_t item{sub_, 0, ZMQ_POLLIN, 0};
            if (zmq_poll(&item, 1, timeout) <= 0) break;
            zmq_msg_t msg;
            zmq_msg_init(&msg);
            if (zmq_msg_recv(&msg, sub_, 0) >= 0) {
                OmMessage m;
                if (m.ParseFromArray(zmq_msg_data(&msg), static_cast<int>(zmq_msg_size(&msg)))) out.push_back(m);
            }
            zmq_msg_close(&msg);
        }
        return out;
    }
    void drain_events() { events(0, 0ms); }

    // Operation-log records, oldest first.
    std::vector<nlohmann::json> oplogs() const {
        std::vector<nlohmann::json> out;
        std::ifstream in(root_ + "/var/log/platform/alarm.jsonl");
        for (std::string line; std::getline(in, line);)
            if (!line.empty()) out.push_back(nlohmann::json::parse(line, nullptr, false));
        return out;
    }
    std::string cm_log() const { return read_file(root_ + "/var/log/platform/tvn_cm.log"); }
    std::string logs() const {
        return read_file(root_ + "/sim_store.out") + read_file(root_ + "/sim_side.out") + read_file(root_ + "/tvn_cm.out") +
               cm_log();
    }

private:
    std::vector<std::pair<std::string, std::string>> env() const { return {{"TVN_SYSROOT", root_}}; }

    node_options opts_;
    std::string root_;
    void* ctx_ = nullptr;
    void* sub_ = nullptr;
    std::unique_ptr<child> store_;
    std::unique_ptr<child> side_;
    std::unique_ptr<child> cm_;
};

// Runs tvn_om with the given arguments; its exit status and standard output.
struct tool_run {
    int status = -1;
    std::string out;
};
inline tool_run run_tvn_om(const std::string& root, const std::vector<std::string>& args) {
    static int serial = 0;
    std::string out_file = root + "/tvn_om." + std::to_string(++serial) + ".out";
    tool_run r;
    child c("tvn_om", args, {}, out_file);
    r.status = c.wait();
    r.out = read_file(out_file);
    return r;
}

// Direct access to the store for setting up and checking what it holds.
class store {
public:
    store() : api_("127.0.0.1", false) {}

    uint64_t add_share(const std::string& path, uint64_t fsid = 1, uint32_t tenant = 0) {
        tvn_nfs_add_share_req req;
        tvn_nfs_add_share_rsp rsp;
        req.set_fsid(fsid);
        req.set_tenant_id(tenant);
        req.set_path(path);
        req.set_alias(path);
        req.set_comment("");
        req.set_dtreeid(0);
        if (api_.add_share(req, rsp, 10000) != 0 || rsp.status().result() != 0) return 0;
        return rsp.share_id();
    }
    std::optional<mul_vstore_nfs_share> share(uint64_t id, uint32_t tenant = 0) {
        tvn_nfs_get_share_req req;
        tvn_nfs_get_share_rsp rsp;
        req.set_share_id(id);
        req.set_tenant_id(tenant);
        if (api_.get_share(req, rsp, 10000) != 0 || rsp.status().result() != 0) return std::nullopt;
        return rsp.share_info();
    }
    std::optional<mul_vstore_nfs_share_permission> auth(uint64_t id, uint32_t tenant = 0) {
        tvn_nfs_get_auth_req req;
        tvn_nfs_get_auth_rsp rsp;
        req.set_auth_id(id);
        req.set_tenant_id(tenant);
        if (api_.get_auth(req, rsp, 10000) != 0 || rsp.status().result() != 0) return std::nullopt;
        return rsp.auth_info();
    }
    uint32_t share_count(uint32_t tenant = 0) {
        tvn_nfs_get_share_count_req req;
        tvn_nfs_get_share_count_rsp rsp;
        req.set_fsid(~0ULL);
        req.set_tenant_id(tenant);
        req.set_path("");
        if (api_.get_share_count(req, rsp, 10000) != 0) return ~0u;
        return rsp.count();
    }

private:
    tvn_store_nfs_api api_;
};

}  // namespace nfs_test
