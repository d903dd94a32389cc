#pragma once
// tvn_cm_service as served to the sibling daemons on 127.0.0.1:6106:
// alarms on their behalf, the local node id, a liveness probe, the log
// level and the certificate files of the HTTPS, LDAPS and FTPS modules
// (from the platform's security administration, sa_cert.h).
//
// cm_send_alarm answers status = ALM_SendAlarm's result; get_cluster_info
// serves GET_NODE_ID only (-22 for every other type).
#include <atomic>
#include <cstdint>

#include "talvane_cm.pb.h"

class tvn_cm_serviceimp : public tvn_cm_service {
public:
    static constexpr uint16_t NODE_ID_UNKNOWN = 65535;

    void cm_send_alarm(google::protobuf::RpcController* controller, const tvn_alarm_req* request,
                       tvn_alarm_rsp* response, google::protobuf::Closure* done) override;
    void get_cluster_info(google::protobuf::RpcController* controller, const tvn_get_cluster_info_req* request,
                          tvn_get_cluster_info_rsp* response, google::protobuf::Closure* done) override;
    void get_cm_state(google::protobuf::RpcController* controller, const tvn_get_cm_state_req* request,
                      tvn_get_cm_state_rsp* response, google::protobuf::Closure* done) override;
    void set_log_level(google::protobuf::RpcController* controller, const tvn_cm_set_log_level_req* request,
                       tvn_cm_set_log_level_rsq* response, google::protobuf::Closure* done) override;
    void get_sslcert_files(google::protobuf::RpcController* controller, const tvn_cm_get_sslcert_files_req* request,
                           tvn_cm_get_sslcert_files_rsp* response, google::protobuf::Closure* done) override;
    void del_sslcert_files(google::protobuf::RpcController* controller, const tvn_cm_del_sslcert_files_req* request,
                           tvn_cm_del_sslcert_files_rsp* response, google::protobuf::Closure* done) override;
    void get_key_by_index(google::protobuf::RpcController* controller, const tvn_cm_get_key_by_index_req* request,
                          tvn_cm_get_key_by_index_rsp* response, google::protobuf::Closure* done) override;
    void get_latest_key(google::protobuf::RpcController* controller, const tvn_cm_get_latest_key_req* request,
                        tvn_cm_get_latest_key_rsp* response, google::protobuf::Closure* done) override;

    uint16_t cached_node_id() const { return node_id_.load(std::memory_order_relaxed); }

private:
    // Two workers may fill it at once; both write the same value.
    std::atomic<uint16_t> node_id_{NODE_ID_UNKNOWN};
};
