#pragma once
// Client of the management service's own RPC services (tvn_cm_service and
// tvn_failover_service) for sibling daemons and for parts of this process.
// Each calling method returns 0 when the call completed or the transport
// error.
#include <cstdint>
#include <string>

#include "talvane_cm.pb.h"
#include "talvane_failover.pb.h"
#include "tvn_msg_rpc_api.h"

class tvn_cm_api : public tvn_msg_rpc_api<tvn_cm_service_Stub, tvn_failover_service_Stub> {
public:
    static constexpr int32_t CM_PORT = 6106;
    static constexpr unsigned CM_WORKER_NUM = 3;
    static constexpr int FIXED_TIMEOUT_MS = 30000;

    explicit tvn_cm_api(const std::string& host, bool multi_channel = false, int32_t port = CM_PORT)
        : tvn_msg_rpc_api(host, port, multi_channel, CM_WORKER_NUM) {}

    // ---- tvn_cm_service
    int32_t send_alarm(const tvn_alarm_req& req, tvn_alarm_rsp& rsp, int timeout_ms) {
        return call(&tvn_cm_service_Stub::cm_send_alarm, req, rsp, timeout_ms);
    }
    int32_t get_cluster_info(const tvn_get_cluster_info_req& req, tvn_get_cluster_info_rsp& rsp,
                             int timeout_ms) {
        return call(&tvn_cm_service_Stub::get_cluster_info, req, rsp, timeout_ms);
    }
    int32_t get_cm_state(const tvn_get_cm_state_req& req, tvn_get_cm_state_rsp& rsp,
                         int timeout_ms) {
        return call(&tvn_cm_service_Stub::get_cm_state, req, rsp, timeout_ms);
    }
    // Always waits up to 30000 ms, whatever the caller passes.
    int32_t set_log_level(const tvn_cm_set_log_level_req& req, tvn_cm_set_log_level_rsq& rsp,
                          int = FIXED_TIMEOUT_MS) {
        return call(&tvn_cm_service_Stub::set_log_level, req, rsp, FIXED_TIMEOUT_MS);
    }
    // Always waits up to 30000 ms, whatever the caller passes.
    int32_t get_sslcert_files(const tvn_cm_get_sslcert_files_req& req,
                              tvn_cm_get_sslcert_files_rsp& rsp, int = FIXED_TIMEOUT_MS) {
        return call(&tvn_cm_service_Stub::get_sslcert_files, req, rsp, FIXED_TIMEOUT_MS);
    }
    // Always waits up to 30000 ms, whatever the caller passes.
    int32_t del_sslcert_files(const tvn_cm_del_sslcert_files_req& req,
                              tvn_cm_del_sslcert_files_rsp& rsp, int = FIXED_TIMEOUT_MS) {
        return call(&tvn_cm_service_Stub::del_sslcert_files, req, rsp, FIXED_TIMEOUT_MS);
    }
    // Deliberately no call: 0 at once, the response untouched.
    int32_t get_key_by_index(const tvn_cm_get_key_by_index_req&, tvn_cm_get_key_by_index_rsp&,
                             int = 0) {
        return 0;
    }
    // Deliberately no call: 0 at once, the response untouched.
    int32_t get_latest_key(const tvn_cm_get_latest_key_req&, tvn_cm_get_latest_key_rsp&, int = 0) {
        return 0;
    }

    // ---- tvn_failover_service
    int32_t get_ip_info(const tvn_get_ip_info_req& req, tvn_get_ip_info_rsp& rsp, int timeout_ms) {
        return call(&tvn_failover_service_Stub::get_ip_info, req, rsp, timeout_ms);
    }
    int32_t get_node_list(const tvn_get_node_list_req& req, tvn_get_node_list_rsp& rsp,
                          int timeout_ms) {
        return call(&tvn_failover_service_Stub::get_node_list, req, rsp, timeout_ms);
    }
    int32_t get_node_info(const tvn_get_node_info_req& req, tvn_get_node_info_rsp& rsp,
                          int timeout_ms) {
        return call(&tvn_failover_service_Stub::get_node_info, req, rsp, timeout_ms);
    }
    int32_t get_node_name(const tvn_get_node_name_req& req, tvn_get_node_name_rsp& rsp,
                          int timeout_ms) {
        return call(&tvn_failover_service_Stub::get_node_name, req, rsp, timeout_ms);
    }
};
