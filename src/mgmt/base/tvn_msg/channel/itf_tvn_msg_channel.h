#pragma once
// Client end of one connection to a remote daemon: one request, one reply,
// with a time-out. All operations return 0 on success.
#include <cstdint>

#include "tvn_msg_def.h"

class itf_tvn_msg_channel {
public:
    virtual ~itf_tvn_msg_channel() = default;
    virtual int32_t connect(const tvn_msg_addr& addr) = 0;
    virtual int32_t open() = 0;
    virtual int32_t close() = 0;
    // rsp.data is allocated by the channel on success and owned by the caller.
    virtual int32_t request(const TVN_MSG& req, TVN_MSG& rsp, int timeout_ms) = 0;
};
