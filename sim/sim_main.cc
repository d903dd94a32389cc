// tvn_sim: the sibling daemons of the management service on one machine.
// Runs in the foreground until SIGINT or SIGTERM.
#include <signal.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "sim_auth_service.h"
#include "sim_conf_service.h"
#include "sim_kagent_service.h"
#include "sim_kerberos_service.h"
#include "sim_nfs_service.h"
#include "sim_refusing_services.h"
#include "sim_user_mapping_service.h"
#include "sim_seed.h"
#include "sim_windows_user_service.h"
#include "sim_result.h"
#include <sys/stat.h>

#include "tvn_log.h"
#include "tvn_msg_rpc_client.h"
#include "tvn_msg_rpc_controller.h"
#include "tvn_msg_rpc_server.h"
#include "tvn_sysroot.h"

using namespace tvn::sim;

namespace {

const char* const kUsage =
    "usage: tvn_sim [options]\n"
    "Runs the stand-ins of the store daemon, the authentication daemon and the\n"
    "kernel agent on 127.0.0.1, in the foreground; Ctrl-C (SIGINT) or SIGTERM stops.\n"
    "\n"
    "  --daemons LIST     which to run, comma-separated: store, auth, kagent (default: all)\n"
    "  --store-port N     store daemon port (default 6102)\n"
    "  --auth-port N      authentication daemon port (default 6103)\n"
    "  --kagent-port N    kernel agent port (default 6105)\n"
    "                     a port of 0 picks a free one; the chosen ports are printed\n"
    "  --root DIR         system root (sets TVN_SYSROOT for this process)\n"
    "  --data-dir DIR     folder of store.db (default $TVN_SYSROOT/var/lib/tvn_sim)\n"
    "  --seed FILE        replace the seed data with this JSON file (also on a\n"
    "                     database seeded before; shares and settings stay)\n"
    "  --no-seed          do not write the built-in seed into a new database\n"
    "  --print-seed       print the built-in seed (the seed file format) and exit\n"
    "  --join-ms N        how long a domain join or leave runs (default 1000)\n"
    "  --workers N        worker threads per daemon (default 2)\n"
    "  --durable          fsync every commit (survives a power cut, slower)\n"
    "  --help             this text\n";

struct options {
    bool store = true, auth = true, kagent = true;
    int store_port = 6102, auth_port = 6103, kagent_port = 6105;
    std::string data_dir;
    std::string seed;
    bool no_seed = false;
    bool print_seed = false;
    uint32_t join_ms = 1000;
    int workers = 2;
    bool durable = false;
};

template <class T>
bool parse_num(const char* text, T& out) {
    const char* end = text + std::strlen(text);
    auto [p, ec] = std::from_chars(text, end, out);
    return ec == std::errc() && p == end && p != text;
}

// 0 to go on, 2 for a usage error, -1 for --help.
int parse(int argc, char** argv, options& o) {
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto value = [&](const char*& out) {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "tvn_sim: %s needs a value\n", a.c_str());
                return false;
            }
            out = argv[++i];
            return true;
        };
        const char* v = nullptr;
        if (a == "--help" || a == "-h") return -1;
        if (a == "--no-seed") { o.no_seed = true; continue; }
        if (a == "--print-seed") { o.print_seed = true; continue; }
        if (a == "--durable") { o.durable = true; continue; }
        if (!value(v)) return 2;
        bool ok = true;
        if (a == "--daemons") {
            o.store = o.auth = o.kagent = false;
            std::string list = v;
            size_t pos = 0;
            while (pos <= list.size()) {
                size_t comma = list.find(',', pos);
                if (comma == std::string::npos) comma = list.size();
                std::string d = list.substr(pos, comma - pos);
                pos = comma + 1;
                if (d == "store") o.store = true;
                else if (d == "auth") o.auth = true;
                else if (d == "kagent") o.kagent = true;
                else if (d == "all") o.store = o.auth = o.kagent = true;
                else if (!d.empty()) {
                    std::fprintf(stderr, "tvn_sim: unknown daemon \"%s\"\n", d.c_str());
                    return 2;
                }
            }
            ok = o.store || o.auth || o.kagent;
        } else if (a == "--store-port") ok = parse_num(v, o.store_port) && o.store_port <= 65535 && o.store_port >= 0;
        else if (a == "--auth-port") ok = parse_num(v, o.auth_port) && o.auth_port <= 65535 && o.auth_port >= 0;
        else if (a == "--kagent-port") ok = parse_num(v, o.kagent_port) && o.kagent_port <= 65535 && o.kagent_port >= 0;
        else if (a == "--root") ::setenv("TVN_SYSROOT", v, 1);
        else if (a == "--data-dir") o.data_dir = v;
        else if (a == "--seed") o.seed = v;
        else if (a == "--join-ms") ok = parse_num(v, o.join_ms);
        else if (a == "--workers") ok = parse_num(v, o.workers) && o.workers >= 1 && o.workers <= 64;
        else {
            std::fprintf(stderr, "tvn_sim: unknown option %s\n%s", a.c_str(), kUsage);
            return 2;
        }
        if (!ok) {
            std::fprintf(stderr, "tvn_sim: bad value \"%s\" for %s\n", v, a.c_str());
            return 2;
        }
    }
    return 0;
}

// A port nobody listens on right now (the kernel's pick for port 0).
int free_port() {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return -1;
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

// Whether a listener could bind the port now (as the RPC server binds it:
// with address reuse, so only a live listener makes it busy). Checked first
// because a busy port would otherwise be answered by whoever holds it.
bool port_free(int port) {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return false;
    int one = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sa.sin_port = htons(static_cast<uint16_t>(port));
    bool ok = ::bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof(sa)) == 0 && ::listen(fd, 1) == 0;
    ::close(fd);
    return ok;
}

// One daemon: an RPC server with its services, serving on its own thread.
class daemon_runner {
public:
    using probe_fn = bool (*)(google::protobuf::RpcChannel* channel);

    daemon_runner(const char* title, std::vector<google::protobuf::Service*> services,
                  probe_fn probe)
        : title_(title), services_(std::move(services)), probe_(probe) {}
    ~daemon_runner() { stop(); }

    // Serves on `port` (0: a free one, retried if another process takes it
    // first). 0 once the daemon answers a call; else the server's code.
    int32_t start(int port, int workers) {
        const bool pick = port == 0;
        int32_t rc = 0;
        for (int attempt = 0; attempt < (pick ? 5 : 1); ++attempt) {
            port_ = pick ? free_port() : port;
            if (port_ <= 0) return TVN_MSG_ERR_SOCKET;
            if (!port_free(port_)) {
                rc = TVN_MSG_ERR_BIND;
                continue;
            }
            server_ = std::make_unique<tvn_msg_rpc_server>();
            if ((rc = server_->init(workers)) != 0) return rc;
            for (auto* s : services_) server_->register_service(s);
            finished_ = false;
            result_ = 0;
            thread_ = std::thread([this] {
                result_ = server_->start(tvn_msg_addr(TVN_MSG_ADDR_TCP, "127.0.0.1", port_));
                finished_ = true;
            });
            rc = wait_ready();
            if (rc == 0) return 0;
            stop();
        }
        return rc;
    }

    void stop() {
        if (server_) server_->stop();
        if (thread_.joinable()) thread_.join();
        if (server_) server_->unregister();
        server_.reset();
    }

    int port() const { return port_; }
    const char* title() const { return title_; }
    // The server's loop ended on its own (not by stop()).
    bool failed() const { return finished_.load(); }
    int32_t result() const { return result_.load(); }

private:
    int32_t wait_ready() {
        tvn_msg_rpc_client client(false);
        const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        bool opened = false;
        while (std::chrono::steady_clock::now() < give_up) {
            if (finished_) return result_ != 0 ? result_.load() : TVN_MSG_ERR_NOT_BOUND;
            if (!opened)
                opened = client.open(tvn_msg_addr(TVN_MSG_ADDR_TCP, "127.0.0.1", port_), 1) == 0;
            if (opened && probe_(&client))
                return finished_ ? (result_ != 0 ? result_.load() : TVN_MSG_ERR_NOT_BOUND) : 0;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return TVN_MSG_ERR_TIMEOUT;
    }

    const char* title_;
    std::vector<google::protobuf::Service*> services_;
    probe_fn probe_;
    std::unique_ptr<tvn_msg_rpc_server> server_;
    std::thread thread_;
    std::atomic<bool> finished_{false};
    std::atomic<int32_t> result_{0};
    int port_ = 0;
};

template <class Stub, class Req, class Rsp>
bool probe_call(google::protobuf::RpcChannel* channel,
                void (Stub::*rpc)(google::protobuf::RpcController*, const Req*, Rsp*,
                                  google::protobuf::Closure*),
                Req req) {
    Stub stub(channel);
    Rsp rsp;
    tvn_msg_rpc_controller ctl;
    ctl.SetTimeout(300);
    (stub.*rpc)(&ctl, &req, &rsp, nullptr);
    return !ctl.Failed();
}

bool probe_store(google::protobuf::RpcChannel* ch) {
    tvn_nfs_common_req req;
    req.set_type(0);
    return probe_call(ch, &tvn_store_nfs_service_Stub::get_store_state, req);
}

bool probe_auth(google::protobuf::RpcChannel* ch) {
    tvn_get_auth_state_req req;
    req.set_desc("");
    return probe_call(ch, &tvn_diagnose_service_Stub::get_auth_state, req);
}

bool probe_kagent(google::protobuf::RpcChannel* ch) {
    return probe_call(ch, &tvn_kagent_service_Stub::kagent_get_state, tvn_get_kagent_state_req());
}

}  // namespace

int main(int argc, char** argv) {
    // Nothing it creates is group- or world-writable; the database sets its
    // own stricter mode.
    ::umask(022);
    options o;
    int prc = parse(argc, argv, o);
    if (prc == -1) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (prc != 0) return prc;
    if (o.print_seed) {
        std::fputs(default_seed_json().c_str(), stdout);
        std::fputc('\n', stdout);
        return 0;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);

    // Signals are taken by the main thread alone, with sigwait: every thread
    // made from here on inherits the blocked set.
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
    ::signal(SIGPIPE, SIG_IGN);

    const std::string log_path = tvn::sysroot_path("/var/log/platform/tvn_sim.log");
    if (TvnLogInitFile(666, TVN_LOG_INFO, "/var/log/platform", "tvn_sim.log") != 0)
        std::fprintf(stderr, "tvn_sim: cannot open the log %s; going on without it\n",
                     log_path.c_str());

    sim_store_options so;
    so.db_path = (o.data_dir.empty() ? tvn::sysroot_path("/var/lib/tvn_sim") : o.data_dir) +
                 "/store.db";
    so.durable = o.durable;
    so.seed_file = o.seed;
    so.no_seed = o.no_seed;
    so.join_ms = o.join_ms;
    sim_store store;
    std::string err;
    if (store.open(so, err) != SIM_OK ||
        sim_user_mapping_store_service::prepare(store, err) != SIM_OK) {
        std::fprintf(stderr, "tvn_sim: %s\n", err.c_str());
        TVN_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_ERROR, SIM_ERR_IO, "tvn_sim start failed: %s.",
                err.c_str());
        TvnLogFini();
        return 1;
    }

    sim_nfs_service nfs(store);
    sim_conf_service conf(store);
    sim_cifs_store_service cifs;
    sim_user_mapping_store_service mapping(store);
    sim_windows_user_service windows(store);
    if (windows.open(err) != SIM_OK) {
        std::fprintf(stderr, "tvn_sim: %s\n", err.c_str());
        TvnLogFini();
        return 1;
    }
    sim_kerberos_realm_store_service krb_realm(store);
    sim_kerberos_store_service krb(store);
    sim_kerberos_encrypt_store_service krb_enc(store);
    sim_auth_service auth(store);
    sim_lookup_service lookup(store);
    sim_diagnose_service diagnose(store);
    sim_kagent_service kagent(store);

    struct planned {
        bool wanted;
        int port;
        std::unique_ptr<daemon_runner> runner;
    } daemons[] = {
        {o.store, o.store_port,
         std::make_unique<daemon_runner>(
             "store daemon",
             std::vector<google::protobuf::Service*>{&nfs, &conf, &cifs, &mapping, &windows,
                                                     &krb_realm, &krb, &krb_enc},
             &probe_store)},
        {o.auth, o.auth_port,
         std::make_unique<daemon_runner>(
             "authentication daemon",
             std::vector<google::protobuf::Service*>{&auth, &lookup, &diagnose}, &probe_auth)},
        {o.kagent, o.kagent_port,
         std::make_unique<daemon_runner>(
             "kernel agent", std::vector<google::protobuf::Service*>{&kagent}, &probe_kagent)},
    };

    int exit_code = 0;
    for (auto& d : daemons) {
        if (!d.wanted) continue;
        int32_t rc = d.runner->start(d.port, o.workers);
        if (rc != 0) {
            std::fprintf(stderr, "tvn_sim: the %s cannot serve on 127.0.0.1:%d (%d%s)\n",
                         d.runner->title(), d.port, rc,
                         rc == TVN_MSG_ERR_BIND ? ": port in use" : "");
            TVN_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_ERROR, rc, "tvn_sim: the %s cannot serve on %d.",
                    d.runner->title(), d.port);
            exit_code = 1;
            break;
        }
        std::printf("tvn_sim: %s on 127.0.0.1:%d\n", d.runner->title(), d.runner->port());
        TVN_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_INFO, 0, "tvn_sim: %s on 127.0.0.1:%d.",
                d.runner->title(), d.runner->port());
    }

    if (exit_code == 0) {
        std::printf("tvn_sim: data %s (%s)\n", so.db_path.c_str(),
                    store.seeded_now() ? "seeded now" : "kept from before");
        std::printf("tvn_sim: log %s\n", log_path.c_str());
        std::printf("tvn_sim: ready; Ctrl-C or SIGTERM stops\n");
        int sig = 0;
        // A daemon whose loop ends by itself is not serving any more: stop
        // the rest rather than run half a node.
        while (true) {
            timespec tick{0, 200 * 1000 * 1000};
            sig = sigtimedwait(&stop_signals, nullptr, &tick);
            if (sig == SIGINT || sig == SIGTERM) break;
            bool broken = false;
            for (auto& d : daemons)
                if (d.wanted && d.runner->failed()) {
                    std::fprintf(stderr, "tvn_sim: the %s stopped serving (%d)\n",
                                 d.runner->title(), d.runner->result());
                    broken = true;
                }
            if (broken) {
                exit_code = 1;
                break;
            }
        }
        if (sig > 0) std::printf("tvn_sim: %s received, stopping\n", strsignal(sig));
    }
    for (auto& d : daemons) d.runner->stop();
    store.db.close();
    TVN_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_INFO, 0, "tvn_sim stopped (%d).", exit_code);
    TvnLogFini();
    std::printf("tvn_sim: stopped\n");
    return exit_code;
}
