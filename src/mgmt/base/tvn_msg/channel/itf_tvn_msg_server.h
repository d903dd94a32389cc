#pragma once
// A message server: receives TVN_MSG requests on an endpoint and hands each
// to a deal function on one of a fixed number of worker threads.
#include <cstdint>

#include "tvn_msg_def.h"

// 0: send `reply` (its data allocated with new[] by the deal function, freed
// by the server); anything else: send nothing, the caller will time out.
using tvn_msg_deal_fun = int (*)(void* context, const TVN_MSG& request, TVN_MSG& reply);

class itf_tvn_msg_server {
public:
    virtual ~itf_tvn_msg_server() = default;
    virtual int32_t bind(const tvn_msg_addr& addr) = 0;
    // Blocks serving until stop(); returns its result.
    virtual int32_t start() = 0;
    virtual int32_t stop() = 0;
    virtual void set_worker_num(int worker_num) = 0;
    virtual void set_msg_deal_fun(tvn_msg_deal_fun deal, void* context) = 0;
};
