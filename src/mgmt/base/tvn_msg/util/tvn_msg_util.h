#pragma once
// Socket options, frame conversion, send and receive, and the blocking
// request-with-time-out on which every client channel rests. A socket is
// the opaque libzmq handle (void*); a frame is a zmq_msg_t.
//
// Wire form of one message (one ZeroMQ frame, host byte order):
//   [0..4) id   [4..8) ext   [8..) payload (len = frame size - 8)
#include <zmq.h>

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

    // Builds an initialised frame of len + 8 bytes. 0, or -6 when the frame
    // cannot be allocated (the frame is then initialised empty).
    static int32_t cmsg_to_zmsg(const TVN_MSG& msg, zmq_msg_t* frame);
    // Fills msg from a frame; msg.data is newly allocated and owned by the
    // caller. A frame shorter than 8 bytes is refused with -2009 and leaves
    // msg empty; -6 when the payload cannot be allocated.
    static int32_t zmsg_to_cmsg(zmq_msg_t* frame, TVN_MSG& msg);
    // Overwrites the ext word of a frame built by cmsg_to_zmsg.
    static void set_zmsg_ext(zmq_msg_t* frame, uint32_t value);
    static int32_t str_to_zmsg(const std::string& text, zmq_msg_t* frame);
    static void zmsg_to_str(zmq_msg_t* frame, std::string& text);

    // Blocking receive of one frame into an initialised frame. 0; -1 for a
    // null socket; -23 when the context was terminated; else the errno. On
    // failure the socket is closed and the handle cleared, since a socket
    // whose receive failed is of no further use to its owner.
    static int32_t receive_zmsg(void*& socket, zmq_msg_t* frame);
    static int32_t receive_cmsg(void*& socket, TVN_MSG& msg);
    static int32_t receive_str(void*& socket, std::string& text);
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
