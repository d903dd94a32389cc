#pragma once
// Socket options, frame conversion, send and receive, and the blocking
// request-with-time-out on which every client channel rests. Frames and
// the sockets a call may close are cppzmq objects, so that whoever holds one
// never frees it by hand; a socket a call only uses is its libzmq handle.
//
// Wire form of one message (one ZeroMQ frame, host byte order):
//   [0..4) id   [4..8) ext   [8..) payload (len = frame size - 8)
#include <zmq.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

#include "tvn_msg_def.h"

class tvn_msg_util {
public:
    // Size of the buffer addr_to_string renders into (63 characters + NUL).
    static constexpr std::size_t ADDR_BUF_LEN = 64;

    // "tcp://%s:%d", "ipc://%s.ipc" or "inproc://%s" into out (ADDR_BUF_LEN
    // bytes). 1 on success, 0 for an address kind outside TCP/IPC/INPROC,
    // negative when the rendering does not fit.
    static int addr_to_string(const tvn_msg_addr& addr, char* out);
    static int addr_to_string(const tvn_msg_addr& addr, std::string& out);
    // Address problems only show when rendering, connecting or binding.
    static bool is_valid_addr(const tvn_msg_addr& addr);

    static void set_close_noblock(void* socket);
    static void set_send_hwm(void* socket, int n);
    static void set_receive_hwm(void* socket, int n);
    static void set_subscribe_filter(void* socket, const std::string& text);

    // Rebuilds frame to len + 8 bytes. 0, or -6 when it cannot be
    // allocated (the frame is then empty).
    static int32_t cmsg_to_zmsg(const TVN_MSG& msg, zmq::message_t& frame);
    // Fills msg from a frame; msg.data is newly allocated and owned by the
    // caller. A frame shorter than 8 bytes is refused with -2009 and leaves
    // msg empty; -6 when the payload cannot be allocated.
    static int32_t zmsg_to_cmsg(const zmq::message_t& frame, TVN_MSG& msg);
    // msg as a view of the frame's bytes, no copy: valid while the frame
    // lives and untouched. -2009 for a frame shorter than 8 bytes.
    static int32_t zmsg_view_cmsg(zmq::message_t& frame, TVN_MSG& msg);
    // Overwrites the ext word of a frame built by cmsg_to_zmsg.
    static void set_zmsg_ext(zmq::message_t& frame, uint32_t value);
    static int32_t str_to_zmsg(const std::string& text, zmq::message_t& frame);
    static void zmsg_to_str(const zmq::message_t& frame, std::string& text);

    // 0 with a socket of `type` in ctx, LINGER 0 (no socket of this layer
    // waits to deliver at close); else the errno, socket left empty.
    static int new_socket(zmq::context_t& ctx, int type, zmq::socket_t& socket);
    // 0 or the errno.
    static int connect(zmq::socket_t& socket, const std::string& endpoint);
    static int bind(zmq::socket_t& socket, const std::string& endpoint);

    // One frame in or out on a socket the caller keeps: 0 or the errno (a
    // signal during a blocking receive is retried, not reported).
    static int recv_frame(void* socket, zmq::message_t& frame, int flags = 0);
    static int send_frame(void* socket, zmq::message_t& frame, bool more);
    // Whether the part last received on socket has more parts behind it.
    static bool has_more(void* socket);

    // Blocking receive of one frame. 0; -1 for a closed socket; -23 when
    // the context was terminated; else the errno. On failure the socket is
    // closed, since a socket whose receive failed is of no further use to
    // its owner.
    static int32_t receive_zmsg(zmq::socket_t& socket, zmq::message_t& frame);
    static int32_t receive_cmsg(zmq::socket_t& socket, TVN_MSG& msg);
    static int32_t receive_str(zmq::socket_t& socket, std::string& text);
    // Converts and sends one frame (ZMQ_SNDMORE when more). The send result
    // is not reported; nothing happens on a null socket.
    static void send_cmsg(void* socket, const TVN_MSG& msg, bool more);
    static void send_str(void* socket, const std::string& text, bool more);

    // One request/reply exchange on a REQ socket. The request goes out with
    // ext = timeout_ms whatever request.ext holds. 0 with reply filled (the
    // caller owns reply.data); -3 no reply in time; -2006 send failed;
    // -2007 receive failed; -2008 poll failed; -2009 empty or short reply.
    static int32_t poll_request(void* socket, const TVN_MSG& request, TVN_MSG& reply,
                                int timeout_ms);
};
