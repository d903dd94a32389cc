#pragma once
// The shape every sibling-daemon client wrapper shares: the daemon's host,
// port, channel kind and worker number; a lazily opened RPC client; one
// generated stub per service; one plain method per RPC returning a code.
//
//   class tvn_kagent_api : public tvn_msg_rpc_api<tvn_kagent_service_Stub> {
//   public:
//       int32_t kagent_pum(const tvn_ka_pum_req& req, tvn_ka_pum_rsp& rsp, int timeout_ms) {
//           return call(&tvn_kagent_service_Stub::kagent_pum, req, rsp, timeout_ms);
//       }
//   };
//
// A call opens the client when needed (a failed open is retried by the next
// call; a good one is never repeated: socket recovery is the channel's
// business), runs the RPC with a controller carrying the time-out, and
// returns the controller's error number when the call failed, else 0. The
// service's own verdict stays in the response for the caller to check.
#include <google/protobuf/service.h>

#include <climits>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <tuple>

#include "tvn_msg_def.h"
#include "tvn_msg_rpc_client.h"
#include "tvn_msg_rpc_controller.h"

class tvn_msg_rpc_api_base {
public:
    tvn_msg_rpc_api_base(std::string host, int32_t port, bool multi_channel, unsigned worker_num);
    virtual ~tvn_msg_rpc_api_base();
    tvn_msg_rpc_api_base(const tvn_msg_rpc_api_base&) = delete;
    tvn_msg_rpc_api_base& operator=(const tvn_msg_rpc_api_base&) = delete;

    // 0 when open (or already open); -6 allocation; the RPC client's open code.
    int32_t open_client();
    bool is_client_open() const;
    const std::string& host() const { return host_; }
    int32_t port() const { return port_; }
    // How many times an RPC client has been created (observability: a good
    // open is never repeated).
    unsigned open_count() const;

protected:
    // Creates the wrapper's stubs on the freshly opened client; false when
    // one could not be allocated (the client is then closed and dropped).
    virtual bool create_stubs(google::protobuf::RpcChannel* channel) = 0;
    virtual void destroy_stubs() = 0;

    // Unsigned time-outs beyond what a poll can wait are capped, not wrapped
    // into a negative (endless) wait.
    static int clamp_timeout(uint32_t timeout_ms) {
        return timeout_ms > static_cast<uint32_t>(INT32_MAX) ? INT32_MAX
                                                             : static_cast<int>(timeout_ms);
    }

    // Runs one RPC of `stub` (opened beforehand by the caller). A negative
    // time-out counts as 0: no call may wait without end.
    template <class Stub, class Req, class Rsp>
    static int32_t invoke(Stub* stub,
                          void (Stub::*rpc)(google::protobuf::RpcController*, const Req*, Rsp*,
                                            google::protobuf::Closure*),
                          const Req& req, Rsp& rsp, int timeout_ms) {
        tvn_msg_rpc_controller controller;
        controller.SetTimeout(timeout_ms < 0 ? 0 : timeout_ms);
        (stub->*rpc)(&controller, &req, &rsp, nullptr);
        return controller.Failed() ? controller.GetErrno() : 0;
    }

private:
    const std::string host_;
    const int32_t port_;
    const bool multi_channel_;
    const unsigned worker_num_;
    mutable std::mutex mutex_;
    bool open_ = false;
    unsigned open_count_ = 0;
    std::unique_ptr<tvn_msg_rpc_client> client_;
};

template <class... Stubs>
class tvn_msg_rpc_api : public tvn_msg_rpc_api_base {
public:
    using tvn_msg_rpc_api_base::tvn_msg_rpc_api_base;
    // Stubs go before the client they point at.
    ~tvn_msg_rpc_api() override { destroy_stubs(); }

protected:
    // Opens when needed, then runs the RPC on the stub of its service.
    template <class Stub, class Req, class Rsp>
    int32_t call(void (Stub::*rpc)(google::protobuf::RpcController*, const Req*, Rsp*,
                                   google::protobuf::Closure*),
                 const Req& req, Rsp& rsp, int timeout_ms) {
        int32_t rc = open_client();
        if (rc != 0) return rc;
        return invoke(std::get<std::unique_ptr<Stub>>(stubs_).get(), rpc, req, rsp, timeout_ms);
    }
    // Daemons whose methods take an unsigned time-out.
    template <class Stub, class Req, class Rsp>
    int32_t call(void (Stub::*rpc)(google::protobuf::RpcController*, const Req*, Rsp*,
                                   google::protobuf::Closure*),
                 const Req& req, Rsp& rsp, uint32_t timeout_ms) {
        return call(rpc, req, rsp, clamp_timeout(timeout_ms));
    }

    bool create_stubs(google::protobuf::RpcChannel* channel) override {
        bool ok = true;
        ((ok = ok && (std::get<std::unique_ptr<Stubs>>(stubs_) =
                          std::unique_ptr<Stubs>(new (std::nothrow) Stubs(channel))) != nullptr),
         ...);
        if (!ok) destroy_stubs();
        return ok;
    }
    void destroy_stubs() override { ((std::get<std::unique_ptr<Stubs>>(stubs_).reset()), ...); }

private:
    std::tuple<std::unique_ptr<Stubs>...> stubs_;
};
