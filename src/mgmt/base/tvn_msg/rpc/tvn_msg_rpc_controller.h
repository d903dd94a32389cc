#pragma once
// Controller of one synchronous call: its time-out and its outcome.
#include <google/protobuf/service.h>

#include <cstdint>
#include <string>

class tvn_msg_rpc_controller : public google::protobuf::RpcController {
public:
    static constexpr int32_t DEFAULT_TIMEOUT_MS = 10000;

    tvn_msg_rpc_controller() = default;
    ~tvn_msg_rpc_controller() override = default;

    void Reset() override;
    bool Failed() const override { return errno_ != 0; }
    std::string ErrorText() const override { return error_text_; }
    // Sets canceled and the error number -2.
    void StartCancel() override;
    // Stores the text and sets the error number -1.
    void SetFailed(const std::string& reason) override;
    bool IsCanceled() const override { return canceled_; }
    // Calls are never cancelled in flight.
    void NotifyOnCancel(google::protobuf::Closure*) override {}

    void SetErrno(int32_t err) { errno_ = err; }
    int32_t GetErrno() const { return errno_; }
    void SetTimeout(int32_t timeout_ms) { timeout_ = timeout_ms; }
    int32_t GetTimeout() const { return timeout_; }

private:
    std::string error_text_;
    int32_t errno_ = 0;
    bool canceled_ = false;
    int32_t timeout_ = DEFAULT_TIMEOUT_MS;
};
