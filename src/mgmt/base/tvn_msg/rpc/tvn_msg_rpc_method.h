#pragma once
// One registered method of an RPC server.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/service.h>

struct tvn_msg_rpc_method {
    google::protobuf::Service* service = nullptr;
    const google::protobuf::Message* request_proto = nullptr;
    const google::protobuf::Message* response_proto = nullptr;
    const google::protobuf::MethodDescriptor* method = nullptr;
};
