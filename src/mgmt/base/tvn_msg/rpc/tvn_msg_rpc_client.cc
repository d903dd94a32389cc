#include "tvn_msg_rpc_client.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <new>

#include "talvane_util.h"
#include "tvn_msg_log.h"
#include "tvn_msg_rpc_controller.h"
#include "tvn_msg_zmq_channel.h"
#include "tvn_msg_zmq_mchannel.h"


namespace {
void fail(tvn_msg_rpc_controller* controller, const char* text, int32_t code) {
    // The text first (which sets -1), then the specific code.
    controller->SetFailed(text);
    controller->SetErrno(code);
}
}  // namespace

tvn_msg_rpc_client::tvn_msg_rpc_client(bool multi_channel) : multi_channel_(multi_channel) {}

tvn_msg_rpc_client::~tvn_msg_rpc_client() { close(); }

int32_t tvn_msg_rpc_client::open(const tvn_msg_addr& addr, unsigned worker_num) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (opened_) return 0;
    if (!channel_) {
        if (multi_channel_)
            channel_.reset(new (std::nothrow) tvn_msg_zmq_mchannel(worker_num));
        else
            channel_.reset(new (std::nothrow) tvn_msg_zmq_channel());
        if (!channel_) {
            TVN_MSG_LOG_ERR(TVN_MSG_ERR_NOMEM, "the rpc client open failed,malloc the channel failed.");
            return TVN_MSG_ERR_NOMEM;
        }
    }
    int32_t rc = channel_->connect(addr);
    if (rc != 0) {
        TVN_MSG_LOG_ERR(rc, "the rpc client open failed,channel connect the addr failed.");
        return rc;
    }
    rc = channel_->open();
    if (rc != 0) {
        TVN_MSG_LOG_ERR(rc, "the rpc client open failed,open the channel failed.");
        return rc;
    }
    opened_ = true;
    return 0;
}

int32_t tvn_msg_rpc_client::close() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (opened_ && channel_) channel_->close();
    opened_ = false;
    return 0;
}

bool tvn_msg_rpc_client::is_open() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return opened_;
}

void tvn_msg_rpc_client::CallMethod(const google::protobuf::MethodDescriptor* method,
                                    google::protobuf::RpcController* rpc_controller,
                                    const google::protobuf::Message* request,
                                    google::protobuf::Message* response,
                                    google::protobuf::Closure*) {
    const char* name = method != nullptr ? method->full_name().c_str() : "";
    if (rpc_controller == nullptr) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_NO_CONTROLLER,
                        "the rpc client call method (%s) failed, get the rpc controller failed.", name);
        last_error_ = TVN_MSG_ERR_NO_CONTROLLER;
        return;
    }
    auto* controller = dynamic_cast<tvn_msg_rpc_controller*>(rpc_controller);
    if (controller == nullptr || method == nullptr || request == nullptr || response == nullptr) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_NO_CONTROLLER,
                        "the rpc client call method (%s) failed, the rpc controller type is error.",
                        name);
        rpc_controller->SetFailed("the rpc contrl is error.");
        last_error_ = TVN_MSG_ERR_NO_CONTROLLER;
        return;
    }
    itf_tvn_msg_channel* channel = nullptr;
    {
        // The lock covers only the test: calls on one client run in parallel
        // as far as the channel allows.
        std::lock_guard<std::mutex> lock(mutex_);
        if (!opened_) {
            fail(controller, "the rpc client not open.", TVN_MSG_ERR_NOT_OPEN);
            last_error_ = TVN_MSG_ERR_NOT_OPEN;
            TVN_MSG_LOG_ERR(TVN_MSG_ERR_NOT_OPEN,
                            "the rpc client call method (%s) failed, the rpc is not open.", name);
            return;
        }
        channel = channel_.get();
    }

    tvn_msg_scoped request_msg;
    TVN_MSG& req = request_msg.get();
    req.id = talvane_util::method_id(method->full_name());
    const std::size_t size = request->ByteSizeLong();
    // A request missing required fields would only be refused by the server,
    // which answers nothing: better to say so now than after the time-out.
    if (size > UINT32_MAX - TVN_MSG_HEADER_LEN || !request->IsInitialized()) {
        fail(controller, "error request format.", TVN_MSG_ERR_REQUEST_FORMAT);
        last_error_ = TVN_MSG_ERR_REQUEST_FORMAT;
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_REQUEST_FORMAT,
                        "the rpc client call method (%s) failed, serialize request failed.", name);
        return;
    }
    req.len = static_cast<uint32_t>(size);
    if (req.len != 0) {
        req.data = new (std::nothrow) char[req.len];
        if (req.data == nullptr) {
            fail(controller, "malloc buf failed.", TVN_MSG_ERR_NOMEM);
            last_error_ = TVN_MSG_ERR_NOMEM;
            TVN_MSG_LOG_ERR(TVN_MSG_ERR_NOMEM,
                            "the rpc client call method (%s) failed, decode request failed.", name);
            return;
        }
        if (!request->SerializeToArray(req.data, static_cast<int>(req.len))) {
            fail(controller, "error request format.", TVN_MSG_ERR_REQUEST_FORMAT);
            last_error_ = TVN_MSG_ERR_REQUEST_FORMAT;
            TVN_MSG_LOG_ERR(TVN_MSG_ERR_REQUEST_FORMAT,
                            "the rpc client call method (%s) failed, serialize request failed.", name);
            return;
        }
    }
    if (channel == nullptr) {
        fail(controller, "comm channel is null.", TVN_MSG_ERR_NO_CHANNEL);
        last_error_ = TVN_MSG_ERR_NO_CHANNEL;
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_NO_CHANNEL,
                        "the rpc client call method (%s) failed, the comm channel is null.", name);
        return;
    }

    tvn_msg_scoped reply_msg;
    TVN_MSG& rsp = reply_msg.get();
    int32_t rc = channel->request(req, rsp, controller->GetTimeout());
    if (rc != 0) {
        fail(controller, "remote request failed.", rc);
        last_error_ = rc;
        TVN_MSG_LOG_ERR(rc, "the rpc client call method (%s) failed, remote request failed.", name);
        return;
    }
    if (response->ParsePartialFromArray(rsp.data, static_cast<int>(rsp.len)) &&
        response->IsInitialized()) {
        last_error_ = 0;
    } else {
        fail(controller, "error response format.", TVN_MSG_ERR_RESPONSE_FORMAT);
        last_error_ = TVN_MSG_ERR_RESPONSE_FORMAT;
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_RESPONSE_FORMAT,
                        "the rpc client call method (%s) failed, parse the response failed.", name);
    }
    tvn_msg_free(rsp);
}
