#pragma once
// A plain client of the service's two RPC services on 127.0.0.1:6106.
#include <memory>

#include "talvane_cm.pb.h"
#include "talvane_failover.pb.h"
#include "tvn_msg_rpc_client.h"
#include "tvn_msg_rpc_controller.h"

class cm_test_client {
public:
    cm_test_client() : client_(false) {
        open_rc_ = client_.open(tvn_msg_addr(TVN_MSG_ADDR_TCP, "127.0.0.1", 6106), 1);
        cm_ = std::make_unique<tvn_cm_service_Stub>(&client_);
        failover_ = std::make_unique<tvn_failover_service_Stub>(&client_);
    }
    int32_t open_rc() const { return open_rc_; }

    // The controller's error number: 0 when the reply arrived.
    template <class Stub, class Req, class Rsp>
    int32_t call(Stub* stub,
                 void (Stub::*rpc)(google::protobuf::RpcController*, const Req*, Rsp*, google::protobuf::Closure*),
                 const Req& req, Rsp& rsp, int timeout_ms = 3000) {
        tvn_msg_rpc_controller controller;
        controller.SetTimeout(timeout_ms);
        (stub->*rpc)(&controller, &req, &rsp, nullptr);
        return controller.GetErrno();
    }
    int32_t cm_state(int timeout_ms = 3000) {
        tvn_get_cm_state_req req;
        tvn_get_cm_state_rsp rsp;
        int32_t rc = call(cm_.get(), &tvn_cm_service_Stub::get_cm_state, req, rsp, timeout_ms);
        return rc != 0 ? rc : rsp.result();
    }
    tvn_cm_service_Stub* cm() { return cm_.get(); }
    tvn_failover_service_Stub* failover() { return failover_.get(); }

private:
    tvn_msg_rpc_client client_;
    int32_t open_rc_;
    std::unique_ptr<tvn_cm_service_Stub> cm_;
    std::unique_ptr<tvn_failover_service_Stub> failover_;
};
