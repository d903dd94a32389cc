#pragma once
// A client of one stand-in daemon over TCP: the project's RPC client with
// the generated stubs, the way the service's client wrappers call.
#include <cstdint>

#include "tvn_msg_rpc_client.h"
#include "tvn_msg_rpc_controller.h"

class sim_client {
public:
    explicit sim_client(int port) : client_(false) {
        open_rc_ = client_.open(tvn_msg_addr(TVN_MSG_ADDR_TCP, "127.0.0.1", port), 1);
    }
    int32_t open_rc() const { return open_rc_; }

    // 0 when the call completed (the verdict is in the reply), else the
    // RPC layer's code (-3: no reply in time).
    template <class Stub, class Req, class Rsp>
    int32_t call(void (Stub::*rpc)(google::protobuf::RpcController*, const Req*, Rsp*,
                                   google::protobuf::Closure*),
                 const Req& req, Rsp& rsp, int timeout_ms = 30000) {
        if (open_rc_ != 0) return open_rc_;
        Stub stub(&client_);
        tvn_msg_rpc_controller ctl;
        ctl.SetTimeout(timeout_ms);
        rsp.Clear();
        (stub.*rpc)(&ctl, &req, &rsp, nullptr);
        return ctl.Failed() ? ctl.GetErrno() : 0;
    }

private:
    tvn_msg_rpc_client client_;
    int32_t open_rc_ = 0;
};
