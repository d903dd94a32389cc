#pragma once
// What every stand-in service shares: each call is answered, whatever
// happens. The RPC server sends no reply when a handler fails its
// controller (the caller then waits for its time-out), so a stand-in never
// touches the server's controller: a method it does not offer, a handler
// that throws, all end in a reply whose own result field carries the
// refusal, with every required field set so the reply serialises.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/service.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#define SIM_RPC(name, Req, Rsp)                                                    \
    void name(google::protobuf::RpcController* controller, const Req* req, Rsp* rsp, \
              google::protobuf::Closure* done) override

#define SIM_RPC_IMPL(Cls, name, Req, Rsp)                                        \
    void Cls::name(google::protobuf::RpcController*, const Req* req, Rsp* rsp, \
                   google::protobuf::Closure*)

namespace tvn::sim {

// Writes `code` into the reply's result field ("result", "status" or
// "rsp_status"; inside a status record its "result"), `text` into its text
// field ("desc", or a text "result"), then fills the required fields.
void fill_refusal(google::protobuf::Message* rsp, int32_t code, const std::string& text);

// Gives every required field that is not set its neutral value, in nested
// records too, so that the reply serialises.
void fill_required(google::protobuf::Message* msg);

// Runs a store call that reports through a trailing `std::string& desc`
// and writes its code and text into a status record (a message with
// set_result and set_desc). Returns the call's code.
template <class Status, class Store, class... Params, class... Args>
int32_t sim_answer(Status* status, Store& store, int32_t (Store::*call)(Params...),
                   Args&&... args) {
    std::string desc;
    const int32_t rc = (store.*call)(std::forward<Args>(args)..., desc);
    status->set_result(rc);
    status->set_desc(desc);
    return rc;
}

// Calls per method since start (or the last clear), for the statistics call.
class sim_call_stats {
public:
    static sim_call_stats& instance();
    void count(const std::string& method);
    std::string json_text() const;
    void clear();

private:
    mutable std::mutex mutex_;
    std::map<std::string, uint64_t> calls_;
};

// Runs `call` with a controller of its own; decides the refusal when the
// handler failed it (a method not offered) or threw.
void sim_dispatch(const google::protobuf::MethodDescriptor* method,
                  google::protobuf::Message* rsp,
                  void (*call)(void* ctx, google::protobuf::RpcController* own,
                               google::protobuf::Closure* own_done),
                  void* ctx);

// A generated service whose methods the subclass overrides as it offers
// them; the rest answer "not supported".
template <class Base>
class sim_service : public Base {
public:
    void CallMethod(const google::protobuf::MethodDescriptor* method,
                    google::protobuf::RpcController* controller,
                    const google::protobuf::Message* request,
                    google::protobuf::Message* response, google::protobuf::Closure* done) override {
        (void)controller;
        struct args {
            sim_service* self;
            const google::protobuf::MethodDescriptor* method;
            const google::protobuf::Message* request;
            google::protobuf::Message* response;
        } a{this, method, request, response};
        sim_dispatch(
            method, response,
            [](void* ctx, google::protobuf::RpcController* own, google::protobuf::Closure* own_done) {
                auto* x = static_cast<args*>(ctx);
                x->self->Base::CallMethod(x->method, own, x->request, x->response, own_done);
            },
            &a);
        if (done != nullptr) done->Run();
    }
};

}  // namespace tvn::sim
