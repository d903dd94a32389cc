#pragma once
// Stand-ins for a peer daemon in messaging and client tests: a REP/ROUTER
// peer under the test's control, an RPC server on a thread of its own, frame
// builders, records with their required fields filled, the service log of
// a temporary system root and a monotonic clock the test moves.
#include <zmq.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include "talvane_util.h"
#include "tvn_log.h"
#include "tvn_msg_rpc_server.h"
#include "tvn_msg_util.h"
#include "tvn_test_files.h"
#include "tvn_test_net.h"
#include "tvn_test_wait.h"
#include "tvn_time.h"

namespace tvn_test {

inline tvn_msg_addr loopback(int port) { return tvn_msg_addr(TVN_MSG_ADDR_TCP, "127.0.0.1", port); }

// The service log written into a temporary system root for one test.
class scoped_log {
public:
    scoped_log() {
        TvnLogInitFile(666, 6, "/var/log/platform", "msg_test.log");
        path_ = root_.root() + "/var/log/platform/msg_test.log";
    }
    ~scoped_log() { TvnLogFini(); }
    std::string text() const { return read_text(path_); }
    bool contains(const std::string& needle) const {
        return text().find(needle) != std::string::npos;
    }
    // Waits (bounded) until the log shows a text.
    bool wait_for(const std::string& needle, int ms = 5000) const {
        return eventually([&] { return contains(needle); }, std::chrono::milliseconds(ms));
    }

private:
    scoped_sysroot root_;
    std::string path_;
};

// The monotonic clock, pushed forward at will by the test.
class fake_monotonic_clock {
public:
    fake_monotonic_clock() {
        offset() = 0;
        tvn::set_monotonic_clock(&read);
    }
    ~fake_monotonic_clock() { tvn::set_monotonic_clock(nullptr); }
    void advance_seconds(long s) { offset() += s; }

private:
    static std::atomic<long>& offset() {
        static std::atomic<long> value{0};
        return value;
    }
    static int read(struct timespec* ts) {
        int rc = ::clock_gettime(CLOCK_MONOTONIC, ts);
        ts->tv_sec += offset().load();
        return rc;
    }
};

inline TVN_MSG make_msg(uint32_t id, const std::string& payload) {
    TVN_MSG m;
    m.id = id;
    m.len = static_cast<uint32_t>(payload.size());
    if (!payload.empty()) {
        m.data = new char[payload.size()];
        std::memcpy(m.data, payload.data(), payload.size());
    }
    return m;
}

inline std::string payload_of(const TVN_MSG& m) {
    return m.data != nullptr ? std::string(m.data, m.len) : std::string();
}

// Frames of one message: builds the multipart a DEALER or ROUTER sends.
inline void send_parts(void* socket, const std::vector<std::string>& parts) {
    for (std::size_t i = 0; i < parts.size(); ++i)
        zmq_send(socket, parts[i].data(), parts[i].size(), i + 1 < parts.size() ? ZMQ_SNDMORE : 0);
}

inline std::string frame_bytes(uint32_t id, uint32_t ext, const std::string& payload) {
    std::string out(8, '\0');
    std::memcpy(out.data(), &id, 4);
    std::memcpy(out.data() + 4, &ext, 4);
    return out + payload;
}

// Receives one whole multipart message with a time-out; empty on time-out.
inline std::vector<std::string> recv_parts(void* socket, int timeout_ms) {
    std::vector<std::string> parts;
    zmq_pollitem_t item{socket, 0, ZMQ_POLLIN, 0};
    if (zmq_poll(&item, 1, timeout_ms) <= 0) return parts;
    int more = 1;
    while (more) {
        zmq_msg_t m;
        zmq_msg_init(&m);
        if (zmq_msg_recv(&m, socket, 0) < 0) {
            zmq_msg_close(&m);
            break;
        }
        parts.emplace_back(static_cast<const char*>(zmq_msg_data(&m)), zmq_msg_size(&m));
        more = zmq_msg_more(&m);
        zmq_msg_close(&m);
    }
    return parts;
}

// A context and its sockets, closed in the right order.
class zmq_env {
public:
    zmq_env() : ctx_(zmq_ctx_new()) {}
    ~zmq_env() {
        for (void* s : sockets_) zmq_close(s);
        zmq_ctx_term(ctx_);
    }
    void* socket(int type) {
        void* s = zmq_socket(ctx_, type);
        int linger = 0;
        zmq_setsockopt(s, ZMQ_LINGER, &linger, sizeof(linger));
        sockets_.push_back(s);
        return s;
    }
    void* ctx() { return ctx_; }

private:
    void* ctx_;
    std::vector<void*> sockets_;
};

// An RPC server serving on a thread of its own for the life of the object.
class running_rpc_server {
public:
    running_rpc_server(int workers, std::vector<google::protobuf::Service*> services, int port)
        : port_(port) {
        init_rc_ = server_.init(workers);
        for (auto* s : services) server_.register_service(s);
        thread_ = std::thread([this] { start_rc_ = server_.start(loopback(port_)); });
    }
    ~running_rpc_server() { shutdown(); }
    void shutdown() {
        if (!thread_.joinable()) return;
        server_.stop();
        thread_.join();
        server_.unregister();
    }
    int init_rc() const { return init_rc_; }
    int start_rc() const { return start_rc_; }
    tvn_msg_rpc_server& server() { return server_; }

private:
    int port_;
    tvn_msg_rpc_server server_;
    int init_rc_ = 0;
    std::atomic<int> start_rc_{0};
    std::thread thread_;
};

// Sets every required field still missing (recursively) to its default, so
// that a record can cross the wire without the test spelling it out.
inline void fill_required(google::protobuf::Message& m) {
    using FD = google::protobuf::FieldDescriptor;
    const auto* d = m.GetDescriptor();
    const auto* r = m.GetReflection();
    for (int i = 0; i < d->field_count(); ++i) {
        const FD* f = d->field(i);
        if (!f->is_required()) continue;
        if (f->cpp_type() == FD::CPPTYPE_MESSAGE) {
            fill_required(*r->MutableMessage(&m, f));
            continue;
        }
        if (r->HasField(m, f)) continue;
        switch (f->cpp_type()) {
        case FD::CPPTYPE_INT32: r->SetInt32(&m, f, f->default_value_int32()); break;
        case FD::CPPTYPE_INT64: r->SetInt64(&m, f, f->default_value_int64()); break;
        case FD::CPPTYPE_UINT32: r->SetUInt32(&m, f, f->default_value_uint32()); break;
        case FD::CPPTYPE_UINT64: r->SetUInt64(&m, f, f->default_value_uint64()); break;
        case FD::CPPTYPE_DOUBLE: r->SetDouble(&m, f, f->default_value_double()); break;
        case FD::CPPTYPE_FLOAT: r->SetFloat(&m, f, f->default_value_float()); break;
        case FD::CPPTYPE_BOOL: r->SetBool(&m, f, f->default_value_bool()); break;
        case FD::CPPTYPE_ENUM: r->SetEnum(&m, f, f->default_value_enum()); break;
        case FD::CPPTYPE_STRING: r->SetString(&m, f, f->default_value_string()); break;
        default: break;
        }
    }
}

template <class T>
T filled() {
    T m;
    fill_required(m);
    return m;
}

// The default answer (required fields at their defaults) of whichever method
// of the given services carries this id; empty when none does.
inline std::string default_response(uint32_t id,
                                    std::initializer_list<const google::protobuf::ServiceDescriptor*> services) {
    for (const auto* service : services)
        for (int i = 0; i < service->method_count(); ++i) {
            const auto* method = service->method(i);
            if (talvane_util::method_id(method->full_name()) != id) continue;
            std::unique_ptr<google::protobuf::Message> rsp(
                google::protobuf::MessageFactory::generated_factory()
                    ->GetPrototype(method->output_type())
                    ->New());
            fill_required(*rsp);
            return rsp->SerializeAsString();
        }
    return std::string();
}

// A bare ROUTER peer standing in for a daemon: records every request frame
// (with the routing identity of its connection) and answers with whatever
// `answer` returns for it (no answer: the caller times out).
class raw_rpc_peer {
public:
    struct seen {
        std::string identity;
        uint32_t id = 0;
        uint32_t ext = 0;
        std::string payload;
    };
    // Returns false to leave a request unanswered.
    using answer_fn = std::function<bool(const seen& request, std::string& response)>;

    raw_rpc_peer(int port, answer_fn answer) : answer_(std::move(answer)) {
        router_ = env_.socket(ZMQ_ROUTER);
        bound_ = zmq_bind(router_, tcp_endpoint(port).c_str()) == 0;
        thread_ = std::thread([this] { run(); });
    }
    ~raw_rpc_peer() {
        stop_ = true;
        thread_.join();
    }
    bool bound() const { return bound_; }
    std::vector<seen> requests() {
        std::lock_guard<std::mutex> lock(mutex_);
        return seen_;
    }
    std::size_t count() {
        std::lock_guard<std::mutex> lock(mutex_);
        return seen_.size();
    }

private:
    void run() {
        while (!stop_) {
            auto parts = recv_parts(router_, 10);
            if (parts.size() != 3 || parts[2].size() < 8) continue;
            seen r;
            r.identity = parts[0];
            std::memcpy(&r.id, parts[2].data(), 4);
            std::memcpy(&r.ext, parts[2].data() + 4, 4);
            r.payload = parts[2].substr(8);
            {
                std::lock_guard<std::mutex> lock(mutex_);
                seen_.push_back(r);
            }
            std::string response;
            if (answer_(r, response)) send_parts(router_, {r.identity, "", frame_bytes(r.id, 0, response)});
        }
    }

    zmq_env env_;
    void* router_ = nullptr;
    bool bound_ = false;
    answer_fn answer_;
    std::mutex mutex_;
    std::vector<seen> seen_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace tvn_test
