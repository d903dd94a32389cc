// Bytes of one request frame, as a client could send them, through the
// server's road: frame -> TVN_MSG -> method lookup -> request parse ->
// service call -> reply. Every service of every schema is registered with
// its generated default implementation (which refuses the call), so every
// request record's parser is reached; the first byte also picks a method
// outright, since guessing 32-bit ids is hopeless.
#include <zmq.hpp>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "talvane_auth.pb.h"
#include "talvane_cm.pb.h"
#include "talvane_diagnose.pb.h"
#include "talvane_failover.pb.h"
#include "talvane_kagent.pb.h"
#include "talvane_lookup.pb.h"
#include "talvane_store_cifs.pb.h"
#include "talvane_store_conf.pb.h"
#include "talvane_store_kerberos.pb.h"
#include "talvane_store_nfs.pb.h"
#include "talvane_store_user_mapping.pb.h"
#include "talvane_util.h"
#include "tvn_log.h"
#include "tvn_msg_rpc_server.h"
#include "tvn_msg_util.h"
#include "vstore_windows_user.pb.h"

namespace {

template <class Service>
struct defaulted : Service {};

struct road {
    tvn_msg_rpc_server server;
    std::vector<google::protobuf::Service*> services;
    std::vector<uint32_t> ids;

    template <class Service>
    void add() {
        auto* s = new defaulted<Service>();
        services.push_back(s);
        server.register_service(s);
        const auto* d = s->GetDescriptor();
        for (int i = 0; i < d->method_count(); ++i)
            ids.push_back(talvane_util::method_id(d->method(i)->full_name()));
    }

    road() {
        add<tvn_cm_service>();
        add<tvn_failover_service>();
        add<tvn_kagent_service>();
        add<tvn_auth_service>();
        add<tvn_lookup_service>();
        add<tvn_diagnose_service>();
        add<tvn_store_nfs_service>();
        add<tvn_store_cifs_service>();
        add<tvn_store_conf_service>();
        add<tvn_store_user_mapping_service>();
        add<TvnStoreWindowsUserMgmtService>();
        add<TvnStoreKerberosRealmService>();
        add<TvnStoreKerberosService>();
        add<TvnStoreKerberosEncryptService>();
    }
    ~road() {
        server.unregister();
        for (auto* s : services) delete s;
    }
};

// One request through the deal function; the reply is freed as the server
// would after sending it.
void serve(road& r, const TVN_MSG& request) {
    TVN_MSG reply;
    reply.id = request.id;
    tvn_msg_rpc_server::msg_worker(&r.server, request, reply);
    tvn_msg_free(reply);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static road* r = [] {
        TvnSetLogLevel(666, 3);  // the refusals are expected: keep them quiet
        return new road();
    }();

    const zmq::message_t frame(data, size);
    TVN_MSG request;
    const int32_t rc = tvn_msg_util::zmsg_to_cmsg(frame, request);
    if (rc != 0) {
        // Anything shorter than the header is refused and holds nothing.
        if (size >= TVN_MSG_HEADER_LEN || request.data != nullptr) __builtin_trap();
        return 0;
    }
    if (request.len != size - TVN_MSG_HEADER_LEN) __builtin_trap();

    serve(*r, request);
    request.id = r->ids[data[0] % r->ids.size()];
    serve(*r, request);

    // And back into a frame: the round trip keeps every byte.
    zmq::message_t again;
    if (tvn_msg_util::cmsg_to_zmsg(request, again) == 0) {
        if (again.size() != size || std::memcmp(again.data<char>() + 4, data + 4, size - 4) != 0)
            __builtin_trap();
    }
    tvn_msg_free(request);
    return 0;
}
