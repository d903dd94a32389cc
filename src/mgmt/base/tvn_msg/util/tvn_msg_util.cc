#include "tvn_msg_util.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "tvn_msg_log.h"

namespace {


// Bounded rendering: a result that does not fit counts as a formatting
// failure, never as a truncated endpoint.
template <class... Args>
int render(char* out, const char* fmt, Args... args) {
    int n = std::snprintf(out, tvn_msg_util::ADDR_BUF_LEN, fmt, args...);
    if (n < 0 || static_cast<std::size_t>(n) >= tvn_msg_util::ADDR_BUF_LEN) {
        out[0] = '\0';
        TVN_MSG_LOG_ERR(-1, "sprintf_s fail.");
        return -1;
    }
    return 1;
}

}  // namespace

int tvn_msg_util::addr_to_string(const tvn_msg_addr& addr, char* out) {
    switch (addr.get_type()) {
    case TVN_MSG_ADDR_TCP:
        return render(out, "tcp://%s:%d", addr.get_addr().c_str(), addr.get_port());
    case TVN_MSG_ADDR_IPC:
        return render(out, "ipc://%s.ipc", addr.get_addr().c_str());
    case TVN_MSG_ADDR_INPROC:
        return render(out, "inproc://%s", addr.get_addr().c_str());
    default:
        return 0;
    }
}

int tvn_msg_util::addr_to_string(const tvn_msg_addr& addr, std::string& out) {
    char buf[ADDR_BUF_LEN] = {};
    int rc = addr_to_string(addr, buf);
    out = rc == 1 ? buf : "";
    return rc;
}

bool tvn_msg_util::is_valid_addr(const tvn_msg_addr&) { return true; }

void tvn_msg_util::set_close_noblock(void* socket) {
    if (socket == nullptr) return;
    int linger = 0;
    (void)zmq_setsockopt(socket, ZMQ_LINGER, &linger, sizeof(linger));
}

void tvn_msg_util::set_send_hwm(void* socket, int n) {
    if (socket == nullptr) return;
    (void)zmq_setsockopt(socket, ZMQ_SNDHWM, &n, sizeof(n));
}

void tvn_msg_util::set_receive_hwm(void* socket, int n) {
    if (socket == nullptr) return;
    (void)zmq_setsockopt(socket, ZMQ_RCVHWM, &n, sizeof(n));
}

void tvn_msg_util::set_subscribe_filter(void* socket, const std::string& text) {
    if (socket == nullptr) return;
    (void)zmq_setsockopt(socket, ZMQ_SUBSCRIBE, text.data(), text.size());
}

int32_t tvn_msg_util::cmsg_to_zmsg(const TVN_MSG& msg, zmq::message_t& frame) {
    const std::size_t size = static_cast<std::size_t>(msg.len) + TVN_MSG_HEADER_LEN;
    try {
        frame.rebuild(size);
    } catch (const zmq::error_t& e) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_NOMEM, "memcpy_s failed ret %d.", e.num());
        frame.rebuild();
        return TVN_MSG_ERR_NOMEM;
    }
    auto* bytes = frame.data<char>();
    std::memcpy(bytes, &msg.id, sizeof(msg.id));
    std::memcpy(bytes + 4, &msg.ext, sizeof(msg.ext));
    if (msg.len != 0) {
        if (msg.data == nullptr) {
            // A length without a payload: send zeros rather than read nowhere.
            TVN_MSG_LOG_ERR(-1, "memcpy_s failed ret %d.", -1);
            std::memset(bytes + TVN_MSG_HEADER_LEN, 0, msg.len);
        } else {
            std::memcpy(bytes + TVN_MSG_HEADER_LEN, msg.data, msg.len);
        }
    }
    return 0;
}

int32_t tvn_msg_util::zmsg_view_cmsg(zmq::message_t& frame, TVN_MSG& msg) {
    msg.data = nullptr;
    msg.len = 0;
    msg.id = 0;
    msg.ext = 0;
    const std::size_t size = frame.size();
    if (size < TVN_MSG_HEADER_LEN || size - TVN_MSG_HEADER_LEN > UINT32_MAX)
        return TVN_MSG_ERR_EMPTY_REPLY;
    char* bytes = frame.data<char>();
    std::memcpy(&msg.id, bytes, sizeof(msg.id));
    std::memcpy(&msg.ext, bytes + 4, sizeof(msg.ext));
    msg.len = static_cast<uint32_t>(size - TVN_MSG_HEADER_LEN);
    if (msg.len != 0) msg.data = bytes + TVN_MSG_HEADER_LEN;
    return 0;
}

int32_t tvn_msg_util::zmsg_to_cmsg(const zmq::message_t& frame, TVN_MSG& msg) {
    // The view only reads; the copy below is what the caller gets.
    TVN_MSG view;
    const int32_t rc = zmsg_view_cmsg(const_cast<zmq::message_t&>(frame), view);
    msg.data = nullptr;
    msg.len = 0;
    msg.id = view.id;
    msg.ext = view.ext;
    if (rc != 0 || view.len == 0) return rc;
    msg.data = new (std::nothrow) char[view.len];
    if (msg.data == nullptr) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_NOMEM, "memcpy_s failed ret %d.", TVN_MSG_ERR_NOMEM);
        return TVN_MSG_ERR_NOMEM;
    }
    std::memcpy(msg.data, view.data, view.len);
    msg.len = view.len;
    return 0;
}

void tvn_msg_util::set_zmsg_ext(zmq::message_t& frame, uint32_t value) {
    if (frame.size() < TVN_MSG_HEADER_LEN) return;
    std::memcpy(frame.data<char>() + 4, &value, sizeof(value));
}

int32_t tvn_msg_util::str_to_zmsg(const std::string& text, zmq::message_t& frame) {
    try {
        frame.rebuild(text.data(), text.size());
    } catch (const zmq::error_t&) {
        frame.rebuild();
        return TVN_MSG_ERR_NOMEM;
    }
    return 0;
}

void tvn_msg_util::zmsg_to_str(const zmq::message_t& frame, std::string& text) {
    text.assign(frame.data<char>(), frame.size());
}

int tvn_msg_util::new_socket(zmq::context_t& ctx, int type, zmq::socket_t& socket) {
    try {
        socket = zmq::socket_t(ctx, type);
    } catch (const zmq::error_t& e) {
        socket.close();
        return e.num();
    }
    set_close_noblock(socket.handle());
    return 0;
}

int tvn_msg_util::connect(zmq::socket_t& socket, const std::string& endpoint) {
    return zmq_connect(socket.handle(), endpoint.c_str()) == 0 ? 0 : zmq_errno();
}

int tvn_msg_util::bind(zmq::socket_t& socket, const std::string& endpoint) {
    return zmq_bind(socket.handle(), endpoint.c_str()) == 0 ? 0 : zmq_errno();
}

int tvn_msg_util::recv_frame(void* socket, zmq::message_t& frame, int flags) {
    while (zmq_msg_recv(frame.handle(), socket, flags) < 0) {
        const int err = zmq_errno();
        if (err != EINTR) return err;
    }
    return 0;
}

int tvn_msg_util::send_frame(void* socket, zmq::message_t& frame, bool more) {
    return zmq_msg_send(frame.handle(), socket, more ? ZMQ_SNDMORE : 0) < 0 ? zmq_errno() : 0;
}

bool tvn_msg_util::has_more(void* socket) {
    int more = 0;
    size_t len = sizeof(more);
    return zmq_getsockopt(socket, ZMQ_RCVMORE, &more, &len) == 0 && more != 0;
}

int32_t tvn_msg_util::receive_zmsg(zmq::socket_t& socket, zmq::message_t& frame) {
    if (!socket) return TVN_MSG_ERR_NULL_SOCKET;
    const int err = recv_frame(socket.handle(), frame);
    if (err == 0) return 0;
    frame.rebuild();
    socket.close();
    return err == ETERM ? TVN_MSG_ERR_TERMINATED : err;
}

int32_t tvn_msg_util::receive_cmsg(zmq::socket_t& socket, TVN_MSG& msg) {
    zmq::message_t frame;
    int32_t rc = receive_zmsg(socket, frame);
    if (rc == 0) rc = zmsg_to_cmsg(frame, msg);
    return rc;
}

int32_t tvn_msg_util::receive_str(zmq::socket_t& socket, std::string& text) {
    zmq::message_t frame;
    const int32_t rc = receive_zmsg(socket, frame);
    if (rc == 0) zmsg_to_str(frame, text);
    return rc;
}

void tvn_msg_util::send_cmsg(void* socket, const TVN_MSG& msg, bool more) {
    if (socket == nullptr) return;
    zmq::message_t frame;
    if (cmsg_to_zmsg(msg, frame) == 0) (void)send_frame(socket, frame, more);
}

void tvn_msg_util::send_str(void* socket, const std::string& text, bool more) {
    if (socket == nullptr) return;
    zmq::message_t frame;
    if (str_to_zmsg(text, frame) == 0) (void)send_frame(socket, frame, more);
}

int32_t tvn_msg_util::poll_request(void* socket, const TVN_MSG& request, TVN_MSG& reply,
                                   int timeout_ms) {
    reply.data = nullptr;
    reply.len = 0;
    zmq::message_t frame;
    if (cmsg_to_zmsg(request, frame) != 0) return TVN_MSG_ERR_SEND;
    set_zmsg_ext(frame, static_cast<uint32_t>(timeout_ms));
    if (send_frame(socket, frame, false) != 0) return TVN_MSG_ERR_SEND;

    zmq_pollitem_t item{socket, 0, ZMQ_POLLIN, 0};
    unsigned retry = 0;
    int rc;
    for (;;) {
        rc = zmq_poll(&item, 1, timeout_ms);
        if (rc >= 0) break;
        const int err = zmq_errno();
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_POLL, "zmq_poll failed. Retry %u, rc=%d", retry, rc);
        // A signal costs one more wait with the full time-out, no more.
        if (err != EINTR || ++retry >= 2) return TVN_MSG_ERR_POLL;
    }
    if (rc == 0 || (item.revents & ZMQ_POLLIN) == 0) return TVN_MSG_ERR_TIMEOUT;

    zmq::message_t answer;
    if (recv_frame(socket, answer, ZMQ_DONTWAIT) != 0) return TVN_MSG_ERR_RECEIVE;
    const int32_t conv = zmsg_to_cmsg(answer, reply);
    if (conv == TVN_MSG_ERR_NOMEM) return conv;
    if (conv != 0 || reply.len == 0 || reply.data == nullptr) {
        tvn_msg_free(reply);
        return TVN_MSG_ERR_EMPTY_REPLY;
    }
    return 0;
}
