#include "tvn_msg_util.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "tvn_log.h"

namespace {

#define MSG_LOG_ERR(err, ...) TVN_LOG(TVN_LOG_MODULE_MSG, TVN_LOG_ERROR, err, __VA_ARGS__)

// Bounded rendering: a result that does not fit counts as a formatting
// failure, never as a truncated endpoint.
template <class... Args>
int render(char* out, const char* fmt, Args... args) {
    int n = std::snprintf(out, tvn_msg_util::ADDR_BUF_LEN, fmt, args...);
    if (n < 0 || static_cast<std::size_t>(n) >= tvn_msg_util::ADDR_BUF_LEN) {
        out[0] = '\0';
        MSG_LOG_ERR(-1, "sprintf_s fail.");
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

int32_t tvn_msg_util::cmsg_to_zmsg(const TVN_MSG& msg, zmq_msg_t* frame) {
    const std::size_t size = static_cast<std::size_t>(msg.len) + TVN_MSG_HEADER_LEN;
    if (zmq_msg_init_size(frame, size) != 0) {
        MSG_LOG_ERR(TVN_MSG_ERR_NOMEM, "memcpy_s failed ret %d.", zmq_errno());
        zmq_msg_init(frame);
        return TVN_MSG_ERR_NOMEM;
    }
    auto* bytes = static_cast<char*>(zmq_msg_data(frame));
    std::memcpy(bytes, &msg.id, sizeof(msg.id));
    std::memcpy(bytes + 4, &msg.ext, sizeof(msg.ext));
    if (msg.len != 0) {
        if (msg.data == nullptr) {
            // A length without a payload: send zeros rather than read nowhere.
            MSG_LOG_ERR(-1, "memcpy_s failed ret %d.", -1);
            std::memset(bytes + TVN_MSG_HEADER_LEN, 0, msg.len);
        } else {
            std::memcpy(bytes + TVN_MSG_HEADER_LEN, msg.data, msg.len);
        }
    }
    return 0;
}

int32_t tvn_msg_util::zmsg_to_cmsg(zmq_msg_t* frame, TVN_MSG& msg) {
    msg.data = nullptr;
    msg.len = 0;
    const std::size_t size = zmq_msg_size(frame);
    if (size < TVN_MSG_HEADER_LEN) {
        msg.id = 0;
        msg.ext = 0;
        return TVN_MSG_ERR_EMPTY_REPLY;
    }
    const auto* bytes = static_cast<const char*>(zmq_msg_data(frame));
    std::memcpy(&msg.id, bytes, sizeof(msg.id));
    std::memcpy(&msg.ext, bytes + 4, sizeof(msg.ext));
    const std::size_t len = size - TVN_MSG_HEADER_LEN;
    if (len > UINT32_MAX) return TVN_MSG_ERR_EMPTY_REPLY;
    if (len == 0) return 0;
    msg.data = new (std::nothrow) char[len];
    if (msg.data == nullptr) {
        MSG_LOG_ERR(TVN_MSG_ERR_NOMEM, "memcpy_s failed ret %d.", TVN_MSG_ERR_NOMEM);
        return TVN_MSG_ERR_NOMEM;
    }
    std::memcpy(msg.data, bytes + TVN_MSG_HEADER_LEN, len);
    msg.len = static_cast<uint32_t>(len);
    return 0;
}

void tvn_msg_util::set_zmsg_ext(zmq_msg_t* frame, uint32_t value) {
    if (zmq_msg_size(frame) < TVN_MSG_HEADER_LEN) return;
    std::memcpy(static_cast<char*>(zmq_msg_data(frame)) + 4, &value, sizeof(value));
}

int32_t tvn_msg_util::str_to_zmsg(const std::string& text, zmq_msg_t* frame) {
    if (zmq_msg_init_size(frame, text.size()) != 0) {
        zmq_msg_init(frame);
        return TVN_MSG_ERR_NOMEM;
    }
    if (!text.empty()) std::memcpy(zmq_msg_data(frame), text.data(), text.size());
    return 0;
}

void tvn_msg_util::zmsg_to_str(zmq_msg_t* frame, std::string& text) {
    text.assign(static_cast<const char*>(zmq_msg_data(frame)), zmq_msg_size(frame));
}

int32_t tvn_msg_util::receive_zmsg(void*& socket, zmq_msg_t* frame) {
    if (socket == nullptr) return TVN_MSG_ERR_NULL_SOCKET;
    int rc;
    // A signal arriving during a blocking receive is no failure of the socket.
    while ((rc = zmq_msg_recv(frame, socket, 0)) < 0 && zmq_errno() == EINTR) {
    }
    if (rc >= 0) return 0;
    int err = zmq_errno();
    zmq_msg_close(frame);
    zmq_msg_init(frame);
    zmq_close(socket);
    socket = nullptr;
    return err == ETERM ? TVN_MSG_ERR_TERMINATED : err;
}

int32_t tvn_msg_util::receive_cmsg(void*& socket, TVN_MSG& msg) {
    zmq_msg_t frame;
    zmq_msg_init(&frame);
    int32_t rc = receive_zmsg(socket, &frame);
    if (rc == 0) rc = zmsg_to_cmsg(&frame, msg);
    zmq_msg_close(&frame);
    return rc;
}

int32_t tvn_msg_util::receive_str(void*& socket, std::string& text) {
    zmq_msg_t frame;
    zmq_msg_init(&frame);
    int32_t rc = receive_zmsg(socket, &frame);
    if (rc == 0) zmsg_to_str(&frame, text);
    zmq_msg_close(&frame);
    return rc;
}

void tvn_msg_util::send_cmsg(void* socket, const TVN_MSG& msg, bool more) {
    if (socket == nullptr) return;
    zmq_msg_t frame;
    if (cmsg_to_zmsg(msg, &frame) != 0) {
        zmq_msg_close(&frame);
        return;
    }
    if (zmq_msg_send(&frame, socket, more ? ZMQ_SNDMORE : 0) < 0) zmq_msg_close(&frame);
}

void tvn_msg_util::send_str(void* socket, const std::string& text, bool more) {
    if (socket == nullptr) return;
    zmq_msg_t frame;
    if (str_to_zmsg(text, &frame) != 0) {
        zmq_msg_close(&frame);
        return;
    }
    if (zmq_msg_send(&frame, socket, more ? ZMQ_SNDMORE : 0) < 0) zmq_msg_close(&frame);
}

int32_t tvn_msg_util::poll_request(void* socket, const TVN_MSG& request, TVN_MSG& reply,
                                   int timeout_ms) {
    reply.data = nullptr;
    reply.len = 0;
    zmq_msg_t frame;
    if (cmsg_to_zmsg(request, &frame) != 0) {
        zmq_msg_close(&frame);
        return TVN_MSG_ERR_SEND;
    }
    set_zmsg_ext(&frame, static_cast<uint32_t>(timeout_ms));
    if (zmq_msg_send(&frame, socket, 0) < 0) {
        zmq_msg_close(&frame);
        return TVN_MSG_ERR_SEND;
    }

    zmq_pollitem_t item{socket, 0, ZMQ_POLLIN, 0};
    unsigned retry = 0;
    int rc;
    for (;;) {
        rc = zmq_poll(&item, 1, timeout_ms);
        if (rc >= 0) break;
        const int err = zmq_errno();
        MSG_LOG_ERR(TVN_MSG_ERR_POLL, "zmq_poll failed. Retry %u, rc=%d", retry, rc);
        // A signal costs one more wait with the full time-out, no more.
        if (err != EINTR || ++retry >= 2) return TVN_MSG_ERR_POLL;
    }
    if (rc == 0 || (item.revents & ZMQ_POLLIN) == 0) return TVN_MSG_ERR_TIMEOUT;

    zmq_msg_init(&frame);
    if (zmq_msg_recv(&frame, socket, ZMQ_DONTWAIT) < 0) {
        zmq_msg_close(&frame);
        return TVN_MSG_ERR_RECEIVE;
    }
    int32_t conv = zmsg_to_cmsg(&frame, reply);
    zmq_msg_close(&frame);
    if (conv == TVN_MSG_ERR_NOMEM) return conv;
    if (conv != 0 || reply.len == 0 || reply.data == nullptr) {
        tvn_msg_free(reply);
        return TVN_MSG_ERR_EMPTY_REPLY;
    }
    return 0;
}
