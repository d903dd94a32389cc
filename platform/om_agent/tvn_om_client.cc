#include <chrono>
#include <cstdlib>

#include <zmq.hpp>
#include <zmq_addon.hpp>

#include "tvn_om_endpoint.h"

namespace tvn::om {

namespace {

std::string env_or(const char* name, const char* fallback) {
    const char* v = std::getenv(name);
    return (v != nullptr && *v != '\0') ? std::string(v) : std::string(fallback);
}

zmq::context_t& client_context() {
    static zmq::context_t* ctx = new zmq::context_t;  // shared by every call of the process
    return *ctx;
}

}  // namespace

std::string command_endpoint() { return env_or("TVN_OM_ENDPOINT", kDefaultCommandEndpoint); }
std::string events_endpoint() { return env_or("TVN_OM_EVENTS", kDefaultEventsEndpoint); }

int32_t call(const std::string& endpoint, const std::string& request, int64_t timeout_ms,
             std::string* reply, bool queue_road) {
    if (reply == nullptr) return -1;
    using clock = std::chrono::steady_clock;
    const auto deadline = clock::now() + std::chrono::milliseconds(timeout_ms < 0 ? 0 : timeout_ms);
    try {
        // A DEALER with its own delimiter, so a time-out leaves no socket in
        // a half-done request state.
        zmq::socket_t sock(client_context(), zmq::socket_type::dealer);
        sock.set(zmq::sockopt::linger, 0);
        sock.connect(endpoint);
        sock.send(zmq::message_t(), zmq::send_flags::sndmore);
        if (queue_road) sock.send(zmq::str_buffer("queue"), zmq::send_flags::sndmore);
        sock.send(zmq::buffer(request), zmq::send_flags::none);
        for (;;) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - clock::now());
            if (left.count() <= 0) return -3;
            zmq::pollitem_t item{sock.handle(), 0, ZMQ_POLLIN, 0};
            try {
                zmq::poll(&item, 1, left);
            } catch (const zmq::error_t& e) {
                if (e.num() == EINTR) continue;
                throw;
            }
            if (!(item.revents & ZMQ_POLLIN)) continue;
            std::vector<zmq::message_t> parts;
            if (!zmq::recv_multipart(sock, std::back_inserter(parts), zmq::recv_flags::dontwait))
                continue;
            if (parts.size() != 2 || parts[0].size() != 0) continue;
            *reply = parts[1].to_string();
            return 0;
        }
    } catch (const zmq::error_t&) {
        return -1;
    }
}

}  // namespace tvn::om
