#pragma once
// Every call is synchronous: the closure has nothing to do.
#include <google/protobuf/stubs/callback.h>

class tvn_msg_rpc_closure : public google::protobuf::Closure {
public:
    void Run() override {}
};
