#pragma once
// tvn_failover_service as served on 127.0.0.1:6106: answers from the
// failover data file (tvn_failover_service_data.h).
//
// Results: 0; TVN_FAILOVER_NO_DATA when there is no usable data file (the
// reply then carries nothing else); -2 when the IP, zone or node is not in
// the data; -22 for an empty or malformed request field; for
// get_node_name without "local_node", the node whose id is the local node
// id (GetLocalNodeId's code when that call fails).
#include "talvane_failover.pb.h"
#include "tvn_failover_service_data.h"

constexpr int32_t TVN_FAILOVER_NO_DATA = -61;
constexpr int32_t TVN_FAILOVER_NOT_FOUND = -2;

class tvn_failover_serviceimp : public tvn_failover_service {
public:
    explicit tvn_failover_serviceimp(tvn_failover_data& data = tvn_failover_data::instance());

    void get_ip_info(google::protobuf::RpcController* controller, const tvn_get_ip_info_req* request,
                     tvn_get_ip_info_rsp* response, google::protobuf::Closure* done) override;
    void get_node_list(google::protobuf::RpcController* controller, const tvn_get_node_list_req* request,
                       tvn_get_node_list_rsp* response, google::protobuf::Closure* done) override;
    void get_node_info(google::protobuf::RpcController* controller, const tvn_get_node_info_req* request,
                       tvn_get_node_info_rsp* response, google::protobuf::Closure* done) override;
    void get_node_name(google::protobuf::RpcController* controller, const tvn_get_node_name_req* request,
                       tvn_get_node_name_rsp* response, google::protobuf::Closure* done) override;

private:
    tvn_failover_data& data_;
};
