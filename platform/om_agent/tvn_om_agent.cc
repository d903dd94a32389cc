// The OM agent stand-in: registries of the message layer and the agent,
// the command endpoint with its serving threads, and the answers of both
// roads.
#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include <zmq.hpp>
#include <zmq_addon.hpp>

#include "om_agent.pb.h"
#include "tvn_fault.h"
#include "tvn_msgobj.h"
#include "tvn_msgobj_internal.h"
#include "tvn_om_endpoint.h"
#include "tvn_om_msg.h"
#include "tvn_omm_agent.h"

namespace {

constexpr uint32_t kCallMagic = 0x4f4d4341;  // "OMCA"
constexpr int32_t kResultBusy = -16;     // EBUSY: no room to wait
constexpr int32_t kResultExpired = -62;  // ETIME: waited past the age limit, not run
constexpr const char* kQueueMarker = "queue";

// One command being served: the context handed to the RPC entry, or the
// message handed to the queue road.
struct call_ctx {
    uint32_t magic = kCallMagic;
    bool queue_road = false;
    bool answered = false;
    std::string body;   // queue road: the command's bytes
    std::string reply;  // the encoded OmReply once answered
};

call_ctx* as_call(void* p, bool queue_road) {
    auto* c = static_cast<call_ctx*>(p);
    if (c == nullptr || c->magic != kCallMagic || c->queue_road != queue_road) return nullptr;
    return c;
}

std::string encode_reply(OmReplyKind kind, int32_t result, const uint64_t* opcode,
                         const OmMessage* answer) {
    OmReply reply;
    reply.set_kind(kind);
    reply.set_result(result);
    if (opcode != nullptr) reply.set_opcode(*opcode);
    if (answer != nullptr) *reply.mutable_answer() = *answer;
    std::string out;
    if (!reply.SerializeToString(&out)) out.clear();
    return out;
}

int32_t answer(call_ctx* call, OmReplyKind kind, int32_t result, const uint64_t* opcode,
               const OmMessage* msg) {
    if (call == nullptr || call->answered) return -1;
    std::string bytes = encode_reply(kind, result, opcode, msg);
    if (bytes.empty()) return -1;
    call->reply = std::move(bytes);
    call->answered = true;
    return 0;
}

int32_t ack_object(call_ctx* call, void* obj, const char* fault_name) {
    if (tvn::fail_at(fault_name)) return -1;
    const OmMessage* msg = tvn::om::msgobj_message(obj);
    if (call == nullptr || msg == nullptr) return -1;
    uint64_t opcode = msg->record_size() > 0 ? msg->record(0).opcode() : 0;
    return answer(call, OM_ACK, 0, &opcode, msg);
}

// Registries and the running parts of the agent. Members are destroyed in
// reverse order, so every socket is gone before the context.
struct agent_state {
    std::mutex mutex;
    OM_SYS_FUNCS msg_funcs;
    OM_SYS_FUNCS omm_funcs;
    MSG_CFG_FN cfg_fn = nullptr;
    MSG_CFG_S cfg;
    bool mem_ready = false;
    std::string client_name;
    uint32_t pid = 0;
    std::atomic<MSG_RECV_FN> queue_handler{nullptr};
    std::atomic<RPC_ENTRY_FN> rpc_entry{nullptr};

    zmq::context_t context;

    std::mutex pub_mutex;
    std::unique_ptr<class event_feed> feed;

    ~agent_state();
};

agent_state& state() {
    static agent_state s;
    return s;
}

void agent_log(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
void agent_log(int level, const char* format, ...) {
    OM_SYS_LOG_FN fn = nullptr;
    {
        auto& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        fn = s.omm_funcs.log != nullptr ? s.omm_funcs.log : s.msg_funcs.log;
    }
    if (fn == nullptr) return;
    char text[512];
    va_list ap;
    va_start(ap, format);
    std::vsnprintf(text, sizeof(text), format, ap);
    va_end(ap);
    fn(level, text);
}

// Runs one command through the road it came by; always leaves an answer.
void serve(call_ctx& call, const void* data, size_t length) {
    auto& s = state();
    try {
        if (call.queue_road) {
            MSG_RECV_FN handler = s.queue_handler.load();
            if (handler != nullptr) {
                call.body.assign(static_cast<const char*>(data), length);
                handler(&call);
            }
        } else {
            RPC_ENTRY_FN entry = s.rpc_entry.load();
            if (entry != nullptr) entry(&call, data, static_cast<unsigned int>(length));
        }
    } catch (...) {
        agent_log(4, "OM agent: a command handler threw; the call is closed.");
    }
    if (!call.answered) answer(&call, OM_CALL_END, -1, nullptr, nullptr);
}

using steady = std::chrono::steady_clock;

struct job {
    std::string identity;
    bool delimited = false;
    bool queue_road = false;
    std::string body;
    steady::time_point arrival;
};

// What one connection holds of the agent: commands waiting and threads busy.
struct client_load {
    uint32_t queued = 0;
    uint32_t running = 0;
};

// One accepted connection, known by its descriptor from the socket monitor.
struct conn_info {
    sockaddr_storage peer{};
    socklen_t peer_len = 0;
    steady::time_point last;
    std::string identity;
};

// Limits in force, with the derived ones worked out from the configuration.
struct limits {
    uint32_t threads = 8;
    uint32_t max_msg_bytes = 1u << 20;
    size_t max_jobs = 1024;
    size_t max_bytes = 16u << 20;
    std::chrono::milliseconds max_wait{30000};
    uint32_t client_threads = 4;
    uint32_t client_jobs = 256;
    size_t max_conns = 768;
    int handshake_ms = 5000;
};

limits derive_limits(const MSG_CFG_S& cfg) {
    limits l;
    l.threads = std::clamp<uint32_t>(cfg.worker_threads, 1, 64);
    l.max_msg_bytes = cfg.max_msg_bytes == 0 ? 1u << 20 : cfg.max_msg_bytes;
    l.max_jobs = cfg.max_queued_jobs == 0 ? 1 : cfg.max_queued_jobs;
    l.max_bytes = cfg.max_queued_bytes == 0 ? l.max_msg_bytes : cfg.max_queued_bytes;
    l.max_wait = std::chrono::milliseconds(cfg.max_wait_ms == 0 ? 30000 : cfg.max_wait_ms);
    l.client_threads = cfg.client_threads != 0 ? std::min(cfg.client_threads, l.threads)
                                               : std::max<uint32_t>(1, l.threads / 2);
    l.client_jobs = cfg.client_queued_jobs != 0
                        ? cfg.client_queued_jobs
                        : static_cast<uint32_t>(std::max<size_t>(1, l.max_jobs / 4));
    if (cfg.max_connections != 0) {
        l.max_conns = cfg.max_connections;
    } else {
        // Keep a reserve of descriptors for the service's own sockets, its
        // calls to the sibling daemons and its files.
        rlimit rl{};
        rlim_t soft = ::getrlimit(RLIMIT_NOFILE, &rl) == 0 ? rl.rlim_cur : 1024;
        if (soft == RLIM_INFINITY || soft > (1u << 20)) soft = 1u << 20;
        rlim_t reserve = std::clamp<rlim_t>(soft / 4, 32, 256);
        l.max_conns = soft > reserve + 16 ? static_cast<size_t>(soft - reserve) : 16;
    }
    l.handshake_ms = cfg.handshake_ms == 0 ? 5000 : static_cast<int>(cfg.handshake_ms);
    return l;
}

// An ipc endpoint's socket file is the only gate on who may send commands:
// its folder is made private and the file readable and writable by the
// owner alone.
std::string ipc_path(const std::string& endpoint) {
    constexpr const char* kIpc = "ipc://";
    if (endpoint.rfind(kIpc, 0) != 0) return {};
    return endpoint.substr(std::strlen(kIpc));
}

void prepare_ipc_folder(const std::string& path) {
    size_t slash = path.find_last_of('/');
    if (slash == std::string::npos || slash == 0) return;
    std::string dir = path.substr(0, slash);
    if (::mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST)
        agent_log(4, "OM agent cannot make the folder of its socket (errno %d).", errno);
}

// The command endpoint: one I/O thread owns the ROUTER and its monitor;
// workers take jobs from a queue and hand their replies back over an
// inproc PUSH/PULL pair. Whatever a caller sends, the queue is bounded by
// count and bytes, a waiting command ages out unrun, one connection holds
// at most its share of the threads, and the number of open connections
// stays below the descriptor limit.
class om_server {
public:
    int32_t start(zmq::context_t& ctx, const std::string& endpoint, const MSG_CFG_S& cfg,
                  OM_SYS_CREATE_THREAD_FN create);
    void stop();
    bool running() const { return running_; }
    std::string bound() const { return bound_; }

private:
    static void* io_entry(void* self) {
        static_cast<om_server*>(self)->io_loop();
        return nullptr;
    }
    static void* worker_entry(void* self) {
        static_cast<om_server*>(self)->worker_loop();
        return nullptr;
    }
    bool spawn(OM_SYS_CREATE_THREAD_FN create, void* (*entry)(void*), const char* name,
               pthread_t* thread);
    void io_loop();
    void worker_loop();
    void take_command(std::vector<zmq::message_t>& parts);
    void send_reply(const std::string& identity, bool delimited, const std::string& reply);
    static void push_reply(zmq::socket_t& push, const job& j, const std::string& reply);
    std::deque<job>::iterator next_job_locked();
    void unqueue_locked(const job& j);
    void answer_expired();
    void note_activity(std::vector<zmq::message_t>& parts);
    void take_monitor_event();
    void cut_idle(size_t count);

    zmq::context_t* ctx_ = nullptr;
    std::unique_ptr<zmq::socket_t> frontend_;
    std::unique_ptr<zmq::socket_t> monitor_;
    std::unique_ptr<zmq::socket_t> replies_;
    std::string reply_addr_;
    std::string bound_;
    std::string ipc_file_;
    bool running_ = false;
    limits limits_;

    std::mutex mutex_;
    std::condition_variable cv_;
    std::deque<job> jobs_;
    size_t queued_bytes_ = 0;
    std::unordered_map<std::string, client_load> clients_;
    bool stopping_ = false;
    std::vector<pthread_t> workers_;
    pthread_t io_{};
    bool io_started_ = false;

    // Owned by the I/O thread.
    std::unordered_map<int, conn_info> conns_;
};

bool om_server::spawn(OM_SYS_CREATE_THREAD_FN create, void* (*entry)(void*), const char* name,
                      pthread_t* thread) {
    if (create != nullptr) return create(thread, entry, this, name) == 0;
    return pthread_create(thread, nullptr, entry, this) == 0;
}

int32_t om_server::start(zmq::context_t& ctx, const std::string& endpoint, const MSG_CFG_S& cfg,
                         OM_SYS_CREATE_THREAD_FN create) {
    static std::atomic<uint32_t> instance{0};
    ctx_ = &ctx;
    stopping_ = false;
    limits_ = derive_limits(cfg);
    const uint32_t id = ++instance;
    try {
        frontend_ = std::make_unique<zmq::socket_t>(ctx, zmq::socket_type::router);
        frontend_->set(zmq::sockopt::linger, 0);
        frontend_->set(zmq::sockopt::maxmsgsize, static_cast<int64_t>(limits_.max_msg_bytes));
        frontend_->set(zmq::sockopt::handshake_ivl, limits_.handshake_ms);
        frontend_->set(zmq::sockopt::rcvhwm, 100);
        std::string mon_addr = "inproc://tvn-om-monitor-" + std::to_string(id);
        if (zmq_socket_monitor(frontend_->handle(), mon_addr.c_str(),
                               ZMQ_EVENT_ACCEPTED | ZMQ_EVENT_ACCEPT_FAILED | ZMQ_EVENT_DISCONNECTED) != 0)
            throw zmq::error_t();
        monitor_ = std::make_unique<zmq::socket_t>(ctx, zmq::socket_type::pair);
        monitor_->set(zmq::sockopt::linger, 0);
        monitor_->connect(mon_addr);
        std::string path = ipc_path(endpoint);
        if (!path.empty()) prepare_ipc_folder(path);
        frontend_->bind(endpoint);
        if (!path.empty()) {
            ipc_file_ = path;
            if (::chmod(path.c_str(), 0600) != 0)
                agent_log(4, "OM agent cannot restrict its socket file (errno %d).", errno);
        }
        bound_ = frontend_->get(zmq::sockopt::last_endpoint);
        replies_ = std::make_unique<zmq::socket_t>(ctx, zmq::socket_type::pull);
        reply_addr_ = "inproc://tvn-om-replies-" + std::to_string(id);
        replies_->bind(reply_addr_);
    } catch (const zmq::error_t& e) {
        agent_log(4, "OM agent cannot serve %s: %s.", endpoint.c_str(), e.what());
        monitor_.reset();
        frontend_.reset();
        replies_.reset();
        bound_.clear();
        ipc_file_.clear();
        return -1;
    }
    running_ = true;
    for (uint32_t i = 0; i < limits_.threads; ++i) {
        pthread_t t{};
        if (!spawn(create, &om_server::worker_entry, "tvn_om_worker", &t)) {
            agent_log(4, "OM agent cannot start a serving thread.");
            stop();
            return -1;
        }
        workers_.push_back(t);
    }
    if (!spawn(create, &om_server::io_entry, "tvn_om_io", &io_)) {
        agent_log(4, "OM agent cannot start its endpoint thread.");
        stop();
        return -1;
    }
    io_started_ = true;
    return 0;
}

void om_server::stop() {
    if (!running_) return;
    std::deque<job> left;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    cv_.notify_all();
    for (pthread_t t : workers_) pthread_join(t, nullptr);
    workers_.clear();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        left.swap(jobs_);
        queued_bytes_ = 0;
        clients_.clear();
    }
    if (io_started_) {
        try {
            // Commands that never reached a thread are closed, then the
            // empty frame tells the I/O thread to finish.
            zmq::socket_t push(*ctx_, zmq::socket_type::push);
            push.connect(reply_addr_);
            for (const job& j : left) push_reply(push, j, encode_reply(OM_CALL_END, -1, nullptr, nullptr));
            push.send(zmq::message_t(), zmq::send_flags::none);
        } catch (const zmq::error_t&) {
        }
        pthread_join(io_, nullptr);
        io_started_ = false;
    }
    if (frontend_) zmq_socket_monitor(frontend_->handle(), nullptr, 0);
    monitor_.reset();
    frontend_.reset();
    replies_.reset();
    conns_.clear();
    bound_.clear();
    if (!ipc_file_.empty()) ::unlink(ipc_file_.c_str());
    ipc_file_.clear();
    running_ = false;
}

void om_server::push_reply(zmq::socket_t& push, const job& j, const std::string& reply) {
    char flag = j.delimited ? 1 : 0;
    push.send(zmq::buffer(j.identity), zmq::send_flags::sndmore);
    push.send(zmq::buffer(&flag, 1), zmq::send_flags::sndmore);
    push.send(zmq::buffer(reply), zmq::send_flags::none);
}

void om_server::send_reply(const std::string& identity, bool delimited, const std::string& reply) {
    try {
        frontend_->send(zmq::buffer(identity), zmq::send_flags::sndmore | zmq::send_flags::dontwait);
        if (delimited) frontend_->send(zmq::message_t(), zmq::send_flags::sndmore | zmq::send_flags::dontwait);
        frontend_->send(zmq::buffer(reply), zmq::send_flags::dontwait);
    } catch (const zmq::error_t&) {
        // The client went away; nobody is left to answer.
    }
}

void om_server::take_command(std::vector<zmq::message_t>& parts) {
    if (parts.empty()) return;
    job j;
    j.identity = parts[0].to_string();
    if (parts.size() < 2) return;
    size_t first = 1;
    if (parts.size() >= 3 && parts[1].size() == 0) {
        j.delimited = true;
        first = 2;
    }
    size_t count = parts.size() - first;
    bool well_formed = true;
    if (count == 1) {
        j.body = parts[first].to_string();
    } else if (count == 2 && parts[first].to_string_view() == kQueueMarker) {
        j.queue_road = true;
        j.body = parts[first + 1].to_string();
    } else {
        well_formed = false;
    }
    parts.clear();
    if (!well_formed) {
        agent_log(4, "OM agent: a command of %zu frames is refused.", count);
        send_reply(j.identity, j.delimited, encode_reply(OM_CALL_END, -1, nullptr, nullptr));
        return;
    }
    j.arrival = steady::now();
    bool stopping = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping = stopping_;
        client_load& load = clients_[j.identity];
        if (!stopping && jobs_.size() < limits_.max_jobs &&
            queued_bytes_ + j.body.size() <= limits_.max_bytes && load.queued < limits_.client_jobs) {
            ++load.queued;
            queued_bytes_ += j.body.size();
            jobs_.push_back(std::move(j));
            cv_.notify_one();
            return;
        }
        if (load.queued == 0 && load.running == 0) clients_.erase(j.identity);
    }
    send_reply(j.identity, j.delimited,
               encode_reply(OM_CALL_END, stopping ? -1 : kResultBusy, nullptr, nullptr));
}

void om_server::unqueue_locked(const job& j) {
    queued_bytes_ -= j.body.size();
    auto it = clients_.find(j.identity);
    if (it == clients_.end()) return;
    --it->second.queued;
    if (it->second.queued == 0 && it->second.running == 0) clients_.erase(it);
}

// The oldest waiting command whose connection is below its share of threads.
std::deque<job>::iterator om_server::next_job_locked() {
    for (auto it = jobs_.begin(); it != jobs_.end(); ++it) {
        auto c = clients_.find(it->identity);
        if (c == clients_.end() || c->second.running < limits_.client_threads) return it;
    }
    return jobs_.end();
}

// Commands whose caller has most likely given up are answered at once, so
// they hold no memory and nobody's share is spent on them.
void om_server::answer_expired() {
    std::vector<job> old;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto cutoff = steady::now() - limits_.max_wait;
        for (auto it = jobs_.begin(); it != jobs_.end();) {
            if (it->arrival < cutoff) {
                unqueue_locked(*it);
                old.push_back(std::move(*it));
                it = jobs_.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (const job& j : old)
        send_reply(j.identity, j.delimited, encode_reply(OM_CALL_END, kResultExpired, nullptr, nullptr));
}

void om_server::note_activity(std::vector<zmq::message_t>& parts) {
    if (parts.empty()) return;
    int fd = parts.back().get(ZMQ_SRCFD);
    auto it = conns_.find(fd);
    if (it == conns_.end()) return;
    it->second.last = steady::now();
    it->second.identity = parts[0].to_string();
}

void om_server::take_monitor_event() {
    std::vector<zmq::message_t> parts;
    while (zmq::recv_multipart(*monitor_, std::back_inserter(parts), zmq::recv_flags::dontwait)) {
        if (parts.empty() || parts[0].size() < 6) {
            parts.clear();
            continue;
        }
        uint16_t event = 0;
        uint32_t value = 0;
        std::memcpy(&event, parts[0].data(), sizeof(event));
        std::memcpy(&value, static_cast<const char*>(parts[0].data()) + 2, sizeof(value));
        parts.clear();
        const int fd = static_cast<int>(value);
        if (event == ZMQ_EVENT_ACCEPTED) {
            conn_info info;
            info.peer_len = sizeof(info.peer);
            if (::getpeername(fd, reinterpret_cast<sockaddr*>(&info.peer), &info.peer_len) != 0)
                continue;
            info.last = steady::now();
            conns_[fd] = info;
            if (conns_.size() > limits_.max_conns) cut_idle(conns_.size() - limits_.max_conns);
        } else if (event == ZMQ_EVENT_DISCONNECTED) {
            conns_.erase(fd);
        } else if (event == ZMQ_EVENT_ACCEPT_FAILED && (value == EMFILE || value == ENFILE)) {
            // Out of descriptors: make room for whoever is knocking.
            cut_idle(std::max<size_t>(8, conns_.size() / 16));
        }
    }
}

// Closes the connections that have been quiet longest and have nothing
// waiting or running. The descriptor belongs to libzmq; shutting it down
// makes libzmq see the peer leave and close it in the usual way. The peer
// address is checked first, so a number reused for another socket is left
// alone.
void om_server::cut_idle(size_t count) {
    std::vector<std::pair<steady::time_point, int>> order;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& [fd, info] : conns_) {
            if (!info.identity.empty() && clients_.count(info.identity) != 0) continue;
            order.emplace_back(info.last, fd);
        }
    }
    std::sort(order.begin(), order.end());
    size_t cut = 0;
    for (const auto& [when, fd] : order) {
        if (cut >= count) break;
        (void)when;
        auto it = conns_.find(fd);
        sockaddr_storage peer{};
        socklen_t len = sizeof(peer);
        if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &len) == 0 && len == it->second.peer_len &&
            std::memcmp(&peer, &it->second.peer, len) == 0)
            ::shutdown(fd, SHUT_RDWR);
        conns_.erase(it);
        ++cut;
    }
    if (cut > 0) agent_log(4, "OM agent: %zu idle connections closed to stay within its limits.", cut);
}

void om_server::io_loop() {
    zmq::pollitem_t items[] = {{frontend_->handle(), 0, ZMQ_POLLIN, 0},
                               {replies_->handle(), 0, ZMQ_POLLIN, 0},
                               {monitor_->handle(), 0, ZMQ_POLLIN, 0}};
    std::vector<zmq::message_t> parts;
    auto next_sweep = steady::now();
    for (;;) {
        try {
            zmq::poll(items, 3, std::chrono::milliseconds(250));
        } catch (const zmq::error_t& e) {
            if (e.num() == EINTR) continue;
            agent_log(4, "OM agent poll failed: %s.", e.what());
            return;
        }
        try {
            if (items[2].revents & ZMQ_POLLIN) take_monitor_event();
            if (items[1].revents & ZMQ_POLLIN) {
                for (;;) {
                    parts.clear();
                    if (!zmq::recv_multipart(*replies_, std::back_inserter(parts), zmq::recv_flags::dontwait))
                        break;
                    if (parts.size() == 1 && parts[0].size() == 0) return;
                    if (parts.size() != 3) continue;
                    bool delimited = parts[1].size() == 1 && *parts[1].data<char>() == 1;
                    send_reply(parts[0].to_string(), delimited, parts[2].to_string());
                }
            }
            if (items[0].revents & ZMQ_POLLIN) {
                for (int n = 0; n < 64; ++n) {
                    parts.clear();
                    if (!zmq::recv_multipart(*frontend_, std::back_inserter(parts), zmq::recv_flags::dontwait))
                        break;
                    note_activity(parts);
                    take_command(parts);
                }
            }
            if (steady::now() >= next_sweep) {
                answer_expired();
                next_sweep = steady::now() + std::chrono::milliseconds(250);
            }
        } catch (const zmq::error_t& e) {
            if (e.num() == ETERM) return;
            agent_log(4, "OM agent endpoint error: %s.", e.what());
        }
    }
}

void om_server::worker_loop() {
    std::unique_ptr<zmq::socket_t> push;
    try {
        push = std::make_unique<zmq::socket_t>(*ctx_, zmq::socket_type::push);
        push->connect(reply_addr_);
    } catch (const zmq::error_t& e) {
        agent_log(4, "OM agent serving thread cannot reach its endpoint: %s.", e.what());
        return;
    }
    for (;;) {
        job j;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            std::deque<job>::iterator it;
            cv_.wait(lock, [&] { return stopping_ || (it = next_job_locked()) != jobs_.end(); });
            if (stopping_) return;
            j = std::move(*it);
            jobs_.erase(it);
            unqueue_locked(j);
            ++clients_[j.identity].running;
        }
        call_ctx call;
        call.queue_road = j.queue_road;
        if (steady::now() - j.arrival > limits_.max_wait)
            answer(&call, OM_CALL_END, kResultExpired, nullptr, nullptr);
        else
            serve(call, j.body.data(), j.body.size());
        try {
            push_reply(*push, j, call.reply);
        } catch (const zmq::error_t& e) {
            agent_log(4, "OM agent cannot hand back an answer: %s.", e.what());
        }
        {
            std::lock_guard<std::mutex> lock(mutex_);
            auto c = clients_.find(j.identity);
            if (c != clients_.end() && --c->second.running == 0 && c->second.queued == 0) clients_.erase(c);
        }
        // A finished job may make a held-back connection's command eligible.
        cv_.notify_all();
    }
}

// The notification feed publishes every notification to every subscriber,
// so subscriptions carry no information. The XPUB runs in manual mode: a
// subscription only marks its connection as a receiver of everything and is
// never stored, and any subscription longer than a few bytes drops its
// connection, so the memory of the socket does not depend on what
// subscribers send. One thread owns the XPUB; publishers hand it frames over
// an inproc PUSH.
class event_feed {
public:
    ~event_feed() { stop(); }
    int32_t start(zmq::context_t& ctx, const std::string& endpoint);
    void stop();
    int32_t publish(const std::string& bytes);
    const std::string& bound() const { return bound_; }

private:
    void run();

    std::unique_ptr<zmq::socket_t> xpub_;
    std::unique_ptr<zmq::socket_t> pull_;
    std::unique_ptr<zmq::socket_t> push_;  // used under push_mutex_
    std::mutex push_mutex_;
    std::thread thread_;
    std::string bound_;
};

constexpr int kMaxSubscriptionBytes = 64;
constexpr int kFeedHighWater = 1000;

int32_t event_feed::start(zmq::context_t& ctx, const std::string& endpoint) {
    static std::atomic<uint32_t> instance{0};
    try {
        xpub_ = std::make_unique<zmq::socket_t>(ctx, zmq::socket_type::xpub);
        xpub_->set(zmq::sockopt::linger, 0);
        xpub_->set(zmq::sockopt::xpub_manual, 1);
        xpub_->set(zmq::sockopt::maxmsgsize, static_cast<int64_t>(kMaxSubscriptionBytes));
        xpub_->set(zmq::sockopt::sndhwm, kFeedHighWater);
        xpub_->set(zmq::sockopt::rcvhwm, kFeedHighWater);
        xpub_->set(zmq::sockopt::handshake_ivl, 5000);
        std::string path = ipc_path(endpoint);
        if (!path.empty()) prepare_ipc_folder(path);
        xpub_->bind(endpoint);
        bound_ = xpub_->get(zmq::sockopt::last_endpoint);
        std::string inner = "inproc://tvn-om-feed-" + std::to_string(++instance);
        pull_ = std::make_unique<zmq::socket_t>(ctx, zmq::socket_type::pull);
        pull_->set(zmq::sockopt::linger, 0);
        pull_->set(zmq::sockopt::rcvhwm, kFeedHighWater);
        pull_->bind(inner);
        push_ = std::make_unique<zmq::socket_t>(ctx, zmq::socket_type::push);
        push_->set(zmq::sockopt::linger, 0);
        push_->set(zmq::sockopt::sndhwm, kFeedHighWater);
        push_->connect(inner);
        thread_ = std::thread([this] { run(); });
    } catch (const std::exception& e) {
        agent_log(4, "OM agent cannot publish on %s: %s.", endpoint.c_str(), e.what());
        push_.reset();
        pull_.reset();
        xpub_.reset();
        bound_.clear();
        return -1;
    }
    return 0;
}

void event_feed::stop() {
    if (thread_.joinable()) {
        {
            std::lock_guard<std::mutex> lock(push_mutex_);
            try {
                push_->send(zmq::message_t(), zmq::send_flags::none);
            } catch (const zmq::error_t&) {
            }
        }
        thread_.join();
    }
    push_.reset();
    pull_.reset();
    xpub_.reset();
    bound_.clear();
}

int32_t event_feed::publish(const std::string& bytes) {
    if (bytes.empty()) return -1;  // the empty frame ends the feed's thread
    std::lock_guard<std::mutex> lock(push_mutex_);
    if (!push_) return -1;
    try {
        return push_->send(zmq::buffer(bytes), zmq::send_flags::dontwait) ? 0 : -1;
    } catch (const zmq::error_t&) {
        return -1;
    }
}

void event_feed::run() {
    zmq::pollitem_t items[] = {{xpub_->handle(), 0, ZMQ_POLLIN, 0}, {pull_->handle(), 0, ZMQ_POLLIN, 0}};
    const char everything = 0;
    for (;;) {
        try {
            zmq::poll(items, 2, std::chrono::milliseconds(-1));
            if (items[0].revents & ZMQ_POLLIN) {
                zmq::message_t sub;
                while (xpub_->recv(sub, zmq::recv_flags::dontwait)) {
                    // Only a subscription (first byte 1) marks its sender;
                    // an unsubscription changes nothing.
                    if (sub.size() >= 1 && *sub.data<char>() == 1)
                        xpub_->set(zmq::sockopt::subscribe, zmq::const_buffer(&everything, 0));
                }
            }
            if (items[1].revents & ZMQ_POLLIN) {
                zmq::message_t frame;
                while (pull_->recv(frame, zmq::recv_flags::dontwait)) {
                    if (frame.size() == 0) return;
                    (void)xpub_->send(frame, zmq::send_flags::dontwait);
                }
            }
        } catch (const zmq::error_t& e) {
            if (e.num() == EINTR) continue;
            if (e.num() != ETERM) agent_log(4, "OM agent feed stopped: %s.", e.what());
            return;
        }
    }
}

om_server& server() {
    static om_server* s = new om_server;  // lives as long as the process
    return *s;
}
std::mutex& server_mutex() {
    static std::mutex* m = new std::mutex;  // used by agent_state's destructor
    return *m;
}

agent_state::~agent_state() {
    // A process that ends without stopping the agent must not leave threads
    // running into a destroyed context.
    {
        std::lock_guard<std::mutex> lock(server_mutex());
        server().stop();
    }
    std::lock_guard<std::mutex> lock(pub_mutex);
    feed.reset();
}

template <class Fn>
int32_t register_fn(const char* name, Fn fn, Fn OM_SYS_FUNCS::*slot) {
    if (tvn::fail_at(name) || fn == nullptr) return -1;
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.msg_funcs.*slot = fn;
    return 0;
}

const char* const kRegSysNames[OMM_AGENT_REG_SYS_BUTT] = {
    "OMM_AGENT_REG_SYS_LOG",        "OMM_AGENT_REG_SYS_SLEEP",     "OMM_AGENT_REG_SYS_MALLOC",
    "OMM_AGENT_REG_SYS_FREE",       "OMM_AGENT_REG_SYS_LOCAL_TIME", "OMM_AGENT_REG_SYS_TIME",
    "OMM_AGENT_REG_SYS_LOCAL_NID",  "OMM_AGENT_REG_SYS_CREATE_THREAD"};

}  // namespace

// ---- message layer ----

int32_t Msg_RegisterCfgFunc(MSG_CFG_FN fn) {
    if (tvn::fail_at("Msg_RegisterCfgFunc") || fn == nullptr) return -1;
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.cfg_fn = fn;
    return 0;
}
int32_t Msg_RegisterSleepFunc(OM_SYS_SLEEP_FN fn) {
    return register_fn("Msg_RegisterSleepFunc", fn, &OM_SYS_FUNCS::sleep);
}
int32_t Msg_RegisterMallocFunc(OM_SYS_MALLOC_FN fn) {
    return register_fn("Msg_RegisterMallocFunc", fn, &OM_SYS_FUNCS::malloc_fn);
}
int32_t Msg_RegisterFreeFunc(OM_SYS_FREE_FN fn) {
    return register_fn("Msg_RegisterFreeFunc", fn, &OM_SYS_FUNCS::free_fn);
}
int32_t Msg_RegisterLogIntfFunc(OM_SYS_LOG_FN fn) {
    return register_fn("Msg_RegisterLogIntfFunc", fn, &OM_SYS_FUNCS::log);
}
int32_t Msg_RegisterLocaltimeFunc(OM_SYS_LOCALTIME_FN fn) {
    return register_fn("Msg_RegisterLocaltimeFunc", fn, &OM_SYS_FUNCS::localtime);
}
int32_t Msg_RegisterGettimeFunc(OM_SYS_GETTIME_FN fn) {
    return register_fn("Msg_RegisterGettimeFunc", fn, &OM_SYS_FUNCS::gettime);
}
int32_t Msg_RegisterGetLocalNid(OM_SYS_LOCAL_NID_FN fn) {
    return register_fn("Msg_RegisterGetLocalNid", fn, &OM_SYS_FUNCS::local_nid);
}
int32_t Msg_RegisterCreateThreadFunc(OM_SYS_CREATE_THREAD_FN fn) {
    return register_fn("Msg_RegisterCreateThreadFunc", fn, &OM_SYS_FUNCS::create_thread);
}

int32_t MSG_MemManageInit() {
    if (tvn::fail_at("MSG_MemManageInit")) return -1;
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.cfg_fn == nullptr) return -1;
    MSG_CFG_S cfg;
    if (s.cfg_fn(&cfg) != 0) return -1;
    s.cfg = cfg;
    s.mem_ready = true;
    return 0;
}

int32_t MSG_ClientInit(const char* name, MSG_RECV_FN fn) {
    if (tvn::fail_at("MSG_ClientInit") || name == nullptr || *name == '\0') return -1;
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (!s.mem_ready) return -1;
    s.client_name = name;
    s.queue_handler.store(fn);
    return 0;
}

int32_t MSG_RegisterPID(uint32_t pid) {
    if (tvn::fail_at("MSG_RegisterPID")) return -1;
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.client_name.empty()) return -1;
    s.pid = pid;
    return 0;
}

void MSG_ClientExit() {
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.queue_handler.store(nullptr);
    s.client_name.clear();
    s.pid = 0;
    s.mem_ready = false;
    s.cfg_fn = nullptr;
    s.msg_funcs = OM_SYS_FUNCS{};
}

int32_t MSG_GetMsgInfo(void* msg, const void** body, uint32_t* length) {
    if (tvn::fail_at("MSG_GetMsgInfo")) return -1;
    call_ctx* call = as_call(msg, true);
    if (call == nullptr || body == nullptr || length == nullptr) return -1;
    *body = call->body.data();
    *length = static_cast<uint32_t>(call->body.size());
    return 0;
}

int32_t MSG_AckMsgObj(void* msg, void* obj) { return ack_object(as_call(msg, true), obj, "MSG_AckMsgObj"); }

int32_t MSG_PostErrAck(void* msg, uint64_t opcode, int32_t result) {
    if (tvn::fail_at("MSG_PostErrAck")) return -1;
    return answer(as_call(msg, true), OM_ERR_ACK, result, &opcode, nullptr);
}

int32_t MSG_EndMsg(void* msg, int32_t result) {
    if (tvn::fail_at("MSG_EndMsg")) return -1;
    return answer(as_call(msg, true), OM_CALL_END, result, nullptr, nullptr);
}

// ---- the agent ----

int32_t OMM_AgentRegSysInfo(uint32_t type, void* fn) {
    if (type >= OMM_AGENT_REG_SYS_BUTT || fn == nullptr) return -1;
    if (tvn::fail_at("OMM_AgentRegSysInfo") || tvn::fail_at(kRegSysNames[type])) return -1;
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    OM_SYS_FUNCS& f = s.omm_funcs;
    switch (type) {
        case OMM_AGENT_REG_SYS_LOG: f.log = reinterpret_cast<OM_SYS_LOG_FN>(fn); break;
        case OMM_AGENT_REG_SYS_SLEEP: f.sleep = reinterpret_cast<OM_SYS_SLEEP_FN>(fn); break;
        case OMM_AGENT_REG_SYS_MALLOC: f.malloc_fn = reinterpret_cast<OM_SYS_MALLOC_FN>(fn); break;
        case OMM_AGENT_REG_SYS_FREE: f.free_fn = reinterpret_cast<OM_SYS_FREE_FN>(fn); break;
        case OMM_AGENT_REG_SYS_LOCAL_TIME: f.localtime = reinterpret_cast<OM_SYS_LOCALTIME_FN>(fn); break;
        case OMM_AGENT_REG_SYS_TIME: f.gettime = reinterpret_cast<OM_SYS_GETTIME_FN>(fn); break;
        case OMM_AGENT_REG_SYS_LOCAL_NID: f.local_nid = reinterpret_cast<OM_SYS_LOCAL_NID_FN>(fn); break;
        case OMM_AGENT_REG_SYS_CREATE_THREAD:
            f.create_thread = reinterpret_cast<OM_SYS_CREATE_THREAD_FN>(fn);
            break;
        default: return -1;
    }
    return 0;
}

int32_t OMM_AGENTInit() {
    if (tvn::fail_at("OMM_AGENTInit")) return -1;
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.pub_mutex);
    if (s.feed) return 0;
    auto feed = std::make_unique<event_feed>();
    if (feed->start(s.context, tvn::om::events_endpoint()) != 0) return -1;
    s.feed = std::move(feed);
    return 0;
}

void OMM_AGENTExit() {
    auto& s = state();
    {
        std::lock_guard<std::mutex> lock(s.pub_mutex);
        s.feed.reset();
    }
    std::lock_guard<std::mutex> lock(s.mutex);
    s.omm_funcs = OM_SYS_FUNCS{};
}

int32_t OMAgent_NotifyMsgObj(void* obj) {
    if (tvn::fail_at("OMAgent_NotifyMsgObj")) return -1;
    std::string bytes;
    if (MSGOBJ_Encode(obj, &bytes) != 0) return -1;
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.pub_mutex);
    if (!s.feed) return -1;
    return s.feed->publish(bytes);
}

// ---- the RPC module ----

int32_t rpcInitWork(const char* conf_file) {
    if (tvn::fail_at("rpcInitWork") || conf_file == nullptr) return -1;
    auto& s = state();
    MSG_CFG_S cfg;
    OM_SYS_CREATE_THREAD_FN create = nullptr;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        cfg = s.cfg;
        create = s.omm_funcs.create_thread != nullptr ? s.omm_funcs.create_thread
                                                      : s.msg_funcs.create_thread;
    }
    std::lock_guard<std::mutex> lock(server_mutex());
    if (server().running()) return -1;
    return server().start(s.context, tvn::om::command_endpoint(), cfg, create);
}

int32_t regRpcEntrySet(RPC_ENTRY_FN fn) {
    if (tvn::fail_at("regRpcEntrySet") || fn == nullptr) return -1;
    state().rpc_entry.store(fn);
    return 0;
}

void rpcExitWork() {
    {
        std::lock_guard<std::mutex> lock(server_mutex());
        server().stop();
    }
    state().rpc_entry.store(nullptr);
}

int32_t endRpcCall(int32_t result, void* rpcContext) {
    if (tvn::fail_at("endRpcCall")) return -1;
    return answer(as_call(rpcContext, false), OM_CALL_END, result, nullptr, nullptr);
}

int32_t OMAgent_AckMsgObj(void* rpcContext, void* obj) {
    return ack_object(as_call(rpcContext, false), obj, "OMAgent_AckMsgObj");
}

int32_t OMAgent_PostErrAck(void* rpcContext, uint64_t opcode, int32_t result) {
    if (tvn::fail_at("OMAgent_PostErrAck")) return -1;
    return answer(as_call(rpcContext, false), OM_ERR_ACK, result, &opcode, nullptr);
}

namespace tvn::om {

std::string bound_command_endpoint() {
    std::lock_guard<std::mutex> lock(server_mutex());
    return server().bound();
}

std::string bound_events_endpoint() {
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.pub_mutex);
    return s.feed ? s.feed->bound() : std::string();
}

int32_t invoke_local(const void* data, size_t length, bool queue_road, std::string* reply) {
    auto& s = state();
    if (reply == nullptr) return -1;
    if (queue_road ? s.queue_handler.load() == nullptr : s.rpc_entry.load() == nullptr) return -1;
    call_ctx call;
    call.queue_road = queue_road;
    serve(call, data, length);
    *reply = std::move(call.reply);
    return 0;
}

}  // namespace tvn::om
