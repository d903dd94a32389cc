#pragma once
// Records shared by every piece of the messaging layer: the in-memory
// message, the endpoint, and the result codes callers can see.
#include <cstdint>
#include <string>

// Result codes of the messaging layer (0 = success).
enum tvn_msg_result : int32_t {
    TVN_MSG_OK = 0,
    TVN_MSG_ERR_NULL_SOCKET = -1,
    TVN_MSG_ERR_TIMEOUT = -3,
    TVN_MSG_ERR_NO_CONTEXT = -5,
    TVN_MSG_ERR_NOMEM = -6,
    TVN_MSG_ERR_TERMINATED = -23,
    TVN_MSG_ERR_ADDR = -2001,
    TVN_MSG_ERR_CONTEXT = -2002,
    TVN_MSG_ERR_SOCKET = -2003,
    TVN_MSG_ERR_BIND = -2004,
    TVN_MSG_ERR_CONNECT = -2005,
    TVN_MSG_ERR_SEND = -2006,
    TVN_MSG_ERR_RECEIVE = -2007,
    TVN_MSG_ERR_POLL = -2008,
    TVN_MSG_ERR_EMPTY_REPLY = -2009,
    TVN_MSG_ERR_WORKER_NUM = -2010,
    TVN_MSG_ERR_NO_DEAL_FUN = -2011,
    TVN_MSG_ERR_NO_SERVER = -2013,
    TVN_MSG_ERR_UNKNOWN_METHOD = -2014,
    TVN_MSG_ERR_REQUEST_FORMAT = -2015,
    TVN_MSG_ERR_RESPONSE_FORMAT = -2016,
    TVN_MSG_ERR_NOT_OPEN = -2018,
    TVN_MSG_ERR_NO_CONTROLLER = -2019,
    TVN_MSG_ERR_THREAD_START = -2021,
    TVN_MSG_ERR_NO_CONNECTION = -2022,
    TVN_MSG_ERR_BOUND = -2023,
    TVN_MSG_ERR_NOT_BOUND = -2024,
    TVN_MSG_ERR_NO_CHANNEL = -2031,
};

// Bytes in front of the payload on the wire: id (4) and ext (4).
constexpr uint32_t TVN_MSG_HEADER_LEN = 8;

// One message in memory. Plain record: the destructor frees nothing, so
// whoever allocated `data` (new (std::nothrow) char[len]) deletes it with
// delete[]. In a request `ext` carries the caller's time-out in ms; in a
// reply it is 0.
struct TVN_MSG {
    char* data = nullptr;
    uint32_t len = 0;
    uint32_t id = 0;
    uint32_t ext = 0;
};

// Frees a message's payload and clears the record.
inline void tvn_msg_free(TVN_MSG& msg) {
    delete[] msg.data;
    msg.data = nullptr;
    msg.len = 0;
}

// Owns a message's payload for one scope, so that every way out frees it.
class tvn_msg_scoped {
public:
    tvn_msg_scoped() = default;
    ~tvn_msg_scoped() { tvn_msg_free(msg_); }
    tvn_msg_scoped(const tvn_msg_scoped&) = delete;
    tvn_msg_scoped& operator=(const tvn_msg_scoped&) = delete;

    TVN_MSG& get() { return msg_; }
    TVN_MSG* operator->() { return &msg_; }

private:
    TVN_MSG msg_;
};

enum _TVN_MSG_ADDR_TYPE : int32_t {
    TVN_MSG_ADDR_TCP = 0,
    TVN_MSG_ADDR_IPC = 1,
    TVN_MSG_ADDR_INPROC = 2,
    TVN_MSG_ADDR_NOT_SET = 3,
};

// An endpoint: host and port (TCP), path stem (IPC) or name (INPROC).
class tvn_msg_addr {
public:
    tvn_msg_addr() = default;
    tvn_msg_addr(_TVN_MSG_ADDR_TYPE type, std::string addr, int32_t port = 0)
        : type_(type), addr_(std::move(addr)), port_(port) {}
    tvn_msg_addr(const tvn_msg_addr&) = default;
    tvn_msg_addr& operator=(const tvn_msg_addr&) = default;

    void set_type(_TVN_MSG_ADDR_TYPE type) { type_ = type; }
    void set_addr(const std::string& addr) { addr_ = addr; }
    void set_port(int32_t port) { port_ = port; }
    _TVN_MSG_ADDR_TYPE get_type() const { return type_; }
    const std::string& get_addr() const { return addr_; }
    int32_t get_port() const { return port_; }

private:
    _TVN_MSG_ADDR_TYPE type_ = TVN_MSG_ADDR_NOT_SET;
    std::string addr_;
    int32_t port_ = 0;
};
