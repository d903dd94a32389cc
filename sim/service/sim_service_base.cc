#include "sim_service_base.h"

#include <fmt/format.h>

#include <exception>
#include <nlohmann/json.hpp>

#include "sim_result.h"
#include "tvn_log.h"

namespace tvn::sim {

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

// Records a handler's failure of the stand-in's own controller.
class own_controller : public google::protobuf::RpcController {
public:
    void Reset() override { failed_ = false; }
    bool Failed() const override { return failed_; }
    std::string ErrorText() const override { return text_; }
    void StartCancel() override {}
    void SetFailed(const std::string& reason) override {
        failed_ = true;
        text_ = reason;
    }
    bool IsCanceled() const override { return false; }
    void NotifyOnCancel(google::protobuf::Closure*) override {}

private:
    bool failed_ = false;
    std::string text_;
};

class no_op_closure : public google::protobuf::Closure {
public:
    void Run() override {}
};

void set_default(Message* msg, const Reflection* r, const FieldDescriptor* f) {
    switch (f->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32: r->SetInt32(msg, f, f->default_value_int32()); break;
        case FieldDescriptor::CPPTYPE_INT64: r->SetInt64(msg, f, f->default_value_int64()); break;
        case FieldDescriptor::CPPTYPE_UINT32: r->SetUInt32(msg, f, f->default_value_uint32()); break;
        case FieldDescriptor::CPPTYPE_UINT64: r->SetUInt64(msg, f, f->default_value_uint64()); break;
        case FieldDescriptor::CPPTYPE_DOUBLE: r->SetDouble(msg, f, f->default_value_double()); break;
        case FieldDescriptor::CPPTYPE_FLOAT: r->SetFloat(msg, f, f->default_value_float()); break;
        case FieldDescriptor::CPPTYPE_BOOL: r->SetBool(msg, f, f->default_value_bool()); break;
        case FieldDescriptor::CPPTYPE_ENUM: r->SetEnum(msg, f, f->default_value_enum()); break;
        case FieldDescriptor::CPPTYPE_STRING: r->SetString(msg, f, f->default_value_string()); break;
        case FieldDescriptor::CPPTYPE_MESSAGE: r->MutableMessage(msg, f); break;
    }
}

void set_code(Message* msg, const Reflection* r, const FieldDescriptor* f, int32_t code,
              const std::string& text) {
    switch (f->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32: r->SetInt32(msg, f, code); break;
        case FieldDescriptor::CPPTYPE_UINT32: r->SetUInt32(msg, f, static_cast<uint32_t>(code)); break;
        case FieldDescriptor::CPPTYPE_INT64: r->SetInt64(msg, f, code); break;
        case FieldDescriptor::CPPTYPE_STRING: r->SetString(msg, f, text); break;
        case FieldDescriptor::CPPTYPE_MESSAGE: {
            Message* status = r->MutableMessage(msg, f);
            const auto* d = status->GetDescriptor();
            if (const auto* res = d->FindFieldByName("result"))
                set_code(status, status->GetReflection(), res, code, text);
            if (const auto* desc = d->FindFieldByName("desc");
                desc != nullptr && desc->cpp_type() == FieldDescriptor::CPPTYPE_STRING)
                status->GetReflection()->SetString(status, desc, text);
            break;
        }
        default: break;
    }
}

}  // namespace

void fill_required(Message* msg) {
    const auto* d = msg->GetDescriptor();
    const auto* r = msg->GetReflection();
    for (int i = 0; i < d->field_count(); ++i) {
        const FieldDescriptor* f = d->field(i);
        if (f->is_repeated()) {
            if (f->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE)
                for (int j = 0; j < r->FieldSize(*msg, f); ++j)
                    fill_required(r->MutableRepeatedMessage(msg, f, j));
            continue;
        }
        if (f->is_required() && !r->HasField(*msg, f)) set_default(msg, r, f);
        if (f->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE && r->HasField(*msg, f))
            fill_required(r->MutableMessage(msg, f));
    }
}

void fill_refusal(Message* rsp, int32_t code, const std::string& text) {
    const auto* d = rsp->GetDescriptor();
    const auto* r = rsp->GetReflection();
    for (const char* name : {"result", "status", "rsp_status"})
        if (const auto* f = d->FindFieldByName(name); f != nullptr && !f->is_repeated())
            set_code(rsp, r, f, code, text);
    if (const auto* f = d->FindFieldByName("desc");
        f != nullptr && !f->is_repeated() && f->cpp_type() == FieldDescriptor::CPPTYPE_STRING)
        r->SetString(rsp, f, text);
    fill_required(rsp);
}

sim_call_stats& sim_call_stats::instance() {
    static sim_call_stats stats;
    return stats;
}

void sim_call_stats::count(const std::string& method) {
    std::lock_guard<std::mutex> lock(mutex_);
    ++calls_[method];
}

std::string sim_call_stats::json_text() const {
    std::lock_guard<std::mutex> lock(mutex_);
    nlohmann::json j = nlohmann::json::object();
    for (const auto& [m, n] : calls_) j[m] = n;
    return j.dump();
}

void sim_call_stats::clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.clear();
}

void sim_dispatch(const google::protobuf::MethodDescriptor* method, Message* rsp,
                  void (*call)(void*, google::protobuf::RpcController*,
                               google::protobuf::Closure*),
                  void* ctx) {
    const std::string& name = method->full_name();
    sim_call_stats::instance().count(name);
    own_controller own;
    no_op_closure own_done;
    try {
        call(ctx, &own, &own_done);
        if (own.Failed()) {
            rsp->Clear();
            fill_refusal(rsp, SIM_ERR_NOT_SUPPORTED,
                         fmt::format("{} is not supported by the stand-in", name));
            TVN_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_INFO, SIM_ERR_NOT_SUPPORTED,
                    "tvn_sim refused %s: not supported.", name.c_str());
            return;
        }
        fill_required(rsp);
    } catch (const std::exception& e) {
        rsp->Clear();
        fill_refusal(rsp, SIM_ERR_IO, fmt::format("{} failed: {}", name, e.what()));
        TVN_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_ERROR, SIM_ERR_IO, "tvn_sim %s failed: %s.",
                name.c_str(), e.what());
    } catch (...) {
        rsp->Clear();
        fill_refusal(rsp, SIM_ERR_IO, fmt::format("{} failed", name));
        TVN_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_ERROR, SIM_ERR_IO, "tvn_sim %s failed.",
                name.c_str());
    }
}

}  // namespace tvn::sim
