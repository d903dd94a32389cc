#pragma once
// protobuf RpcChannel over a messaging channel: serialises the request,
// sends it as one TVN_MSG with the controller's time-out, parses the reply.
// Every call completes before CallMethod returns; `done` is ignored.
#include <google/protobuf/service.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "itf_tvn_msg_channel.h"
#include "tvn_msg_def.h"

class tvn_msg_rpc_client : public google::protobuf::RpcChannel {
public:
    // true: a multi-channel (calls run in parallel up to worker_num);
    // false: a single channel (calls are serialised).
    explicit tvn_msg_rpc_client(bool multi_channel);
    ~tvn_msg_rpc_client() override;
    tvn_msg_rpc_client(const tvn_msg_rpc_client&) = delete;
    tvn_msg_rpc_client& operator=(const tvn_msg_rpc_client&) = delete;

    // 0 (also when already open), or the channel's connect/open code, -6.
    int32_t open(const tvn_msg_addr& addr, unsigned worker_num);
    int32_t close();
    bool is_open() const;
    int32_t get_last_error() const { return last_error_.load(std::memory_order_relaxed); }

    // The controller must be a tvn_msg_rpc_controller; its GetErrno() holds
    // the outcome: 0, a channel code (-3 time-out), -6, -2015, -2016, -2018,
    // -2031.
    void CallMethod(const google::protobuf::MethodDescriptor* method,
                    google::protobuf::RpcController* controller,
                    const google::protobuf::Message* request,
                    google::protobuf::Message* response,
                    google::protobuf::Closure* done) override;

private:
    mutable std::mutex mutex_;
    bool opened_ = false;
    std::atomic<int32_t> last_error_{0};
    const bool multi_channel_;
    std::unique_ptr<itf_tvn_msg_channel> channel_;
};
