#include "tvn_msg_rpc_server.h"

#include <google/protobuf/descriptor.h>

#include <memory>
#include <new>

#include "talvane_util.h"
#include "tvn_msg_log.h"
#include "tvn_msg_rpc_closure.h"
#include "tvn_msg_rpc_controller.h"
#include "tvn_msg_zmq_lrubroker.h"


tvn_msg_rpc_server::tvn_msg_rpc_server() = default;

tvn_msg_rpc_server::~tvn_msg_rpc_server() {
    if (server_) server_->stop();
}

int32_t tvn_msg_rpc_server::init(int worker_num) {
    if (worker_num < 1) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_NO_CONTEXT, "the rpc server init failed, the work num(%d) is invalid.",
                        worker_num);
        return TVN_MSG_ERR_NO_CONTEXT;
    }
    if (!server_) {
        server_.reset(new (std::nothrow) tvn_msg_zmq_lrubroker());
        if (!server_) {
            TVN_MSG_LOG_ERR(TVN_MSG_ERR_NOMEM, "the rpc server init failed,malloc the server failed.");
            return TVN_MSG_ERR_NOMEM;
        }
    }
    server_->set_worker_num(worker_num);
    server_->set_msg_deal_fun(&tvn_msg_rpc_server::msg_worker, this);
    std::lock_guard<std::mutex> lock(state_mutex_);
    stop_pending_ = false;
    return 0;
}

void tvn_msg_rpc_server::register_service(google::protobuf::Service* service) {
    if (service == nullptr) return;
    const google::protobuf::ServiceDescriptor* descriptor = service->GetDescriptor();
    if (descriptor == nullptr) {
        TVN_MSG_LOG_ERR(-1, "GetDescriptor failed");
        return;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    for (int i = 0; i < descriptor->method_count(); ++i) {
        const google::protobuf::MethodDescriptor* method = descriptor->method(i);
        tvn_msg_rpc_method record;
        record.service = service;
        record.request_proto = &service->GetRequestPrototype(method);
        record.response_proto = &service->GetResponsePrototype(method);
        record.method = method;
        // A later registration under the same id replaces the earlier one.
        methods_[talvane_util::method_id(method->full_name())] = record;
    }
}

int32_t tvn_msg_rpc_server::start(const tvn_msg_addr& addr) {
    if (!server_) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_NO_SERVER, "the rpc server start failed.");
        return TVN_MSG_ERR_NO_SERVER;
    }
    {
        std::lock_guard<std::mutex> lock(state_mutex_);
        if (starting_) return TVN_MSG_ERR_BOUND;
        if (stop_pending_) {
            // Stopped before it began: a clean stop.
            stop_pending_ = false;
            return 0;
        }
        starting_ = true;
        stop_requested_ = false;
        int32_t rc = server_->bind(addr);
        if (rc != 0) {
            starting_ = false;
            TVN_MSG_LOG_ERR(rc, "the rpc server start failed, bind failed.");
            return rc;
        }
    }
    int32_t rc = server_->start();
    std::lock_guard<std::mutex> lock(state_mutex_);
    // A stop that came between bind and the loop leaves the broker unbound;
    // that is a clean stop, not a failure.
    if (stop_requested_ && rc == TVN_MSG_ERR_NOT_BOUND) rc = 0;
    starting_ = false;
    stop_requested_ = false;
    return rc;
}

int32_t tvn_msg_rpc_server::stop() {
    if (!server_) return 0;
    {
        std::lock_guard<std::mutex> lock(state_mutex_);
        if (starting_)
            stop_requested_ = true;
        else
            stop_pending_ = true;
    }
    return server_->stop();
}

bool tvn_msg_rpc_server::is_running() { return server_ && server_->is_running(); }

void tvn_msg_rpc_server::unregister() {
    std::lock_guard<std::mutex> lock(mutex_);
    methods_.clear();
    TVN_MSG_LOG_INF("the rpc server msg server unregister all server");
}

int tvn_msg_rpc_server::msg_worker(void* context, const TVN_MSG& request, TVN_MSG& reply) {
    if (context == nullptr) return TVN_MSG_ERR_NO_CONTEXT;
    auto* self = static_cast<tvn_msg_rpc_server*>(context);
    tvn_msg_rpc_method record;
    {
        std::lock_guard<std::mutex> lock(self->mutex_);
        auto it = self->methods_.find(request.id);
        if (it == self->methods_.end()) {
            TVN_MSG_LOG_ERR(TVN_MSG_ERR_UNKNOWN_METHOD,
                            "rpc server msg worker failed, the msg id(%d) is invalid.",
                            static_cast<int>(request.id));
            return TVN_MSG_ERR_UNKNOWN_METHOD;
        }
        record = it->second;
    }
    const char* name = record.method->full_name().c_str();
    std::unique_ptr<google::protobuf::Message> req(record.request_proto->New());
    if (!req) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_REQUEST_FORMAT,
                        "rpc server msg worker failed, msg id(%d) request parse failed, the method "
                        "name is (%s).",
                        static_cast<int>(request.id), name);
        return TVN_MSG_ERR_REQUEST_FORMAT;
    }
    std::unique_ptr<google::protobuf::Message> rsp(record.response_proto->New());
    if (!rsp) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_REQUEST_FORMAT,
                        "rpc server msg worker failed, msg id(%d) request parse failed, method name "
                        "is (%s).",
                        static_cast<int>(request.id), name);
        return TVN_MSG_ERR_REQUEST_FORMAT;
    }
    // Parsed partially and checked after, so a malformed request is only our
    // own rate-limited log line, not protobuf's unlimited one on stderr.
    if (request.len > INT32_MAX ||
        !req->ParsePartialFromArray(request.data, static_cast<int>(request.len)) ||
        !req->IsInitialized()) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_REQUEST_FORMAT,
                        "rpc server msg worker failed, msg id(%d) request parse failed, the method "
                        "name is (%s).",
                        static_cast<int>(request.id), name);
        return TVN_MSG_ERR_REQUEST_FORMAT;
    }

    tvn_msg_rpc_controller controller;
    tvn_msg_rpc_closure closure;
    record.service->CallMethod(record.method, &controller, req.get(), rsp.get(), &closure);
    if (controller.Failed()) {
        TVN_MSG_LOG_ERR(controller.GetErrno(),
                        "rpc server msg worker failed, msg id(%d) request deal inter errror(%d), "
                        "method name is (%s).",
                        static_cast<int>(request.id), controller.GetErrno(), name);
        return controller.GetErrno();
    }

    reply.id = request.id;
    const std::size_t size = rsp->ByteSizeLong();
    reply.len = static_cast<uint32_t>(size);
    reply.data = size != 0 ? new (std::nothrow) char[size] : nullptr;
    if (size != 0 && reply.data == nullptr) {
        reply.len = 0;
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_NOMEM, "TVN_MEM_NEW failed");
        return TVN_MSG_ERR_NOMEM;
    }
    if (size != 0 && !rsp->SerializeToArray(reply.data, static_cast<int>(size))) {
        tvn_msg_free(reply);
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_RESPONSE_FORMAT,
                        "rpc server msg worker failed, msg id(%d) response serialize failed, method "
                        "name is (%s).",
                        static_cast<int>(request.id), name);
        return TVN_MSG_ERR_RESPONSE_FORMAT;
    }
    return 0;
}
