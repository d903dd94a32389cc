#include "tvn_failover_service.h"

#include "platform_init.h"
#include "tvn_log.h"

namespace {

// Runs `done` when the method ends, whichever way it ends.
struct done_guard {
    google::protobuf::Closure* done;
    ~done_guard() {
        if (done != nullptr) done->Run();
    }
};

}  // namespace

tvn_failover_serviceimp::tvn_failover_serviceimp(tvn_failover_data& data) : data_(data) {}

void tvn_failover_serviceimp::get_ip_info(google::protobuf::RpcController*, const tvn_get_ip_info_req* request,
                                          tvn_get_ip_info_rsp* response, google::protobuf::Closure* done) {
    done_guard guard{done};
    if (response == nullptr) return;
    auto snap = data_.snapshot();
    std::string ip;
    if (request == nullptr || !tvn_failover_data::canonical_ip(request->ip(), ip)) {
        response->set_result(-22);
        return;
    }
    if (!snap->loaded) {
        response->set_result(TVN_FAILOVER_NO_DATA);
        return;
    }
    for (const auto& s : snap->service_ips) {
        if (s.ip != ip) continue;
        response->set_subnet_name(s.subnet);
        response->set_zone_name(s.zone);
        response->set_node_name(s.node);
        response->set_result(0);
        return;
    }
    // A node's own static address belongs to that node and its zone.
    for (const auto& n : snap->nodes) {
        for (const auto& s : n.static_ips) {
            if (s.ip != ip) continue;
            response->set_subnet_name(s.subnet);
            response->set_zone_name(n.zone);
            response->set_node_name(n.name);
            response->set_result(0);
            return;
        }
    }
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, TVN_FAILOVER_NOT_FOUND, "Failover ip(%s) is not known.", ip.c_str());
    response->set_result(TVN_FAILOVER_NOT_FOUND);
}

void tvn_failover_serviceimp::get_node_list(google::protobuf::RpcController*, const tvn_get_node_list_req* request,
                                            tvn_get_node_list_rsp* response, google::protobuf::Closure* done) {
    done_guard guard{done};
    if (response == nullptr) return;
    auto snap = data_.snapshot();
    if (request == nullptr || request->zone_name().empty()) {
        response->set_result(-22);
        return;
    }
    if (!snap->loaded) {
        response->set_result(TVN_FAILOVER_NO_DATA);
        return;
    }
    for (const auto& n : snap->nodes)
        if (n.zone == request->zone_name()) response->add_node_name(n.name);
    response->set_result(response->node_name_size() > 0 ? 0 : TVN_FAILOVER_NOT_FOUND);
}

void tvn_failover_serviceimp::get_node_info(google::protobuf::RpcController*, const tvn_get_node_info_req* request,
                                            tvn_get_node_info_rsp* response, google::protobuf::Closure* done) {
    done_guard guard{done};
    if (response == nullptr) return;
    auto snap = data_.snapshot();
    if (request == nullptr || request->node_name().empty()) {
        response->set_result(-22);
        return;
    }
    if (!snap->loaded) {
        response->set_result(TVN_FAILOVER_NO_DATA);
        return;
    }
    const tvn_failover_node* node = snap->find_node(request->node_name());
    if (node == nullptr) {
        response->set_result(TVN_FAILOVER_NOT_FOUND);
        return;
    }
    response->set_node_state(node->state);
    if (node->has_id) response->set_node_id(node->id);
    response->set_node_zone(node->zone);
    for (const auto& s : node->static_ips) {
        tvn_static_ip* ip = response->add_ip_list();
        ip->set_ip_name(s.ip);
        ip->set_subnet_name(s.subnet);
        ip->set_ip_status(s.status);
    }
    response->set_result(0);
}

void tvn_failover_serviceimp::get_node_name(google::protobuf::RpcController*, const tvn_get_node_name_req*,
                                            tvn_get_node_name_rsp* response, google::protobuf::Closure* done) {
    done_guard guard{done};
    if (response == nullptr) return;
    auto snap = data_.snapshot();
    if (!snap->loaded) {
        response->set_result(TVN_FAILOVER_NO_DATA);
        return;
    }
    if (!snap->local_node.empty()) {
        response->set_node_name(snap->local_node);
        response->set_result(0);
        return;
    }
    uint32_t local_id = 0;
    int32_t rc = GetLocalNodeId(&local_id);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "GetLocalNodeId failed rc(%d).", rc);
        response->set_result(rc);
        return;
    }
    for (const auto& n : snap->nodes) {
        if (n.has_id && n.id == local_id) {
            response->set_node_name(n.name);
            response->set_result(0);
            return;
        }
    }
    response->set_result(TVN_FAILOVER_NOT_FOUND);
}
