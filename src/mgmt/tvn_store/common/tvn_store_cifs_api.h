#pragma once
// Client of the CIFS store service of the store daemon. Each method returns
// 0 when the call completed (the store's verdict is then in the reply) or
// the transport error.
#include <cstdint>
#include <string>

#include "talvane_store_cifs.pb.h"
#include "tvn_msg_rpc_api.h"

class tvn_store_cifs_api : public tvn_msg_rpc_api<tvn_store_cifs_service_Stub> {
public:
    static constexpr int32_t STORE_PORT = 6102;
    static constexpr unsigned STORE_WORKER_NUM = 3;

    explicit tvn_store_cifs_api(const std::string& host, bool multi_channel = false,
                                int32_t port = STORE_PORT)
        : tvn_msg_rpc_api(host, port, multi_channel, STORE_WORKER_NUM) {}

    int32_t add_share(const tvn_cifs_addshare_req& req, tvn_cifs_addshare_rsp& rsp,
                      int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::add_share, req, rsp, timeout_ms);
    }
    int32_t del_share(const tvn_cifs_delshare_req& req, tvn_cifs_common_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::del_share, req, rsp, timeout_ms);
    }
    int32_t modify_share(const tvn_cifs_modify_share_req& req, tvn_cifs_common_rsp& rsp,
                         int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::modify_share_info, req, rsp, timeout_ms);
    }
    int32_t query_share_count(const tvn_cifs_query_share_count_req& req,
                              tvn_cifs_query_share_count_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::query_share_count, req, rsp, timeout_ms);
    }
    int32_t query_share_byid(const tvn_cifs_queryshare_byid_req& req, tvn_cifs_queryshare_rsp& rsp,
                             int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::query_share_byid, req, rsp, timeout_ms);
    }
    int32_t query_share_byname(const tvn_cifs_queryshare_byname_req& req,
                               tvn_cifs_queryshare_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::query_share_byname, req, rsp, timeout_ms);
    }
    int32_t list_share(const tvn_cifs_listshare_req& req, tvn_cifs_listshare_rsp& rsp,
                       int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::list_share, req, rsp, timeout_ms);
    }
    int32_t set_permission(const tvn_cifs_set_permission_req& req, tvn_cifs_set_permission_rsp& rsp,
                           int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::set_permission, req, rsp, timeout_ms);
    }
    int32_t add_permission(const tvn_cifs_add_permission_req& req, tvn_cifs_add_permission_rsp& rsp,
                           int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::add_permission, req, rsp, timeout_ms);
    }
    int32_t del_permission(const tvn_cifs_del_permission_req& req, tvn_cifs_common_rsp& rsp,
                           int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::del_permission, req, rsp, timeout_ms);
    }
    int32_t modify_permission(const tvn_cifs_modify_permission_req& req, tvn_cifs_common_rsp& rsp,
                              int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::modify_permission, req, rsp, timeout_ms);
    }
    int32_t query_permission(const tvn_cifs_query_permission_req& req,
                             tvn_cifs_query_permission_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::query_permission, req, rsp, timeout_ms);
    }
    int32_t list_permission(const tvn_cifs_list_permission_req& req,
                            tvn_cifs_list_permission_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::list_permission, req, rsp, timeout_ms);
    }
    int32_t query_permission_count(const tvn_cifs_query_permission_count_req& req,
                                   tvn_cifs_query_permission_count_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::query_permission_count, req, rsp, timeout_ms);
    }
    int32_t create_autohome_share_for_msrpc(const tvn_cifs_create_autohome_share_req& req,
                                            tvn_cifs_queryshare_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::create_autohome_share_for_msrpc, req, rsp,
                    timeout_ms);
    }
    int32_t query_share_count_for_qtree(const tvn_cifs_query_share_count_for_qtree_req& req,
                                        tvn_cifs_query_share_count_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::query_share_count_for_qtree, req, rsp,
                    timeout_ms);
    }
    int32_t list_share_abse(const tvn_cifs_listshare_abse_req& req, tvn_cifs_listshare_rsp& rsp,
                            int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::list_share_abse, req, rsp, timeout_ms);
    }
    int32_t query_abse_status(const tvn_cifs_query_abse_status_req& req,
                              tvn_cifs_query_abse_status_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::query_abse_status, req, rsp, timeout_ms);
    }
    int32_t add_ip_rule(const tvn_cifs_add_ip_rule_req& req, tvn_cifs_add_ip_rule_rsp& rsp,
                        int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::add_ip_rule, req, rsp, timeout_ms);
    }
    int32_t del_ip_rule(const tvn_cifs_del_ip_rule_req& req, tvn_cifs_common_rsp& rsp,
                        int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::del_ip_rule, req, rsp, timeout_ms);
    }
    int32_t modify_ip_rule(const tvn_cifs_modify_ip_rule_req& req, tvn_cifs_common_rsp& rsp,
                           int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::modify_ip_rule, req, rsp, timeout_ms);
    }
    int32_t list_ip_rule(const tvn_cifs_list_ip_rule_req& req, tvn_cifs_list_ip_rule_rsp& rsp,
                         int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::list_ip_rule, req, rsp, timeout_ms);
    }
    int32_t query_ip_rule(const tvn_cifs_query_ip_rule_req& req, tvn_cifs_query_ip_rule_rsp& rsp,
                          int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::query_ip_rule, req, rsp, timeout_ms);
    }
    int32_t query_ip_rule_count(const tvn_cifs_query_ip_rule_count_req& req,
                                tvn_cifs_query_ip_rule_count_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::query_ip_rule_count, req, rsp, timeout_ms);
    }
    int32_t homedir_rule_manage(const tvn_cifs_homedir_rule_req& req,
                                tvn_cifs_homedir_rule_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::homedir_rule_manage, req, rsp, timeout_ms);
    }
    int32_t verify_mirror_version(const tvn_verify_mirror_version_req& req,
                                  tvn_verify_mirror_version_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::verify_mirror_version, req, rsp, timeout_ms);
    }
    int32_t update_share_cache(const tvn_update_share_cache_req& req, tvn_cifs_common_rsp& rsp,
                               int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::update_share_cache, req, rsp, timeout_ms);
    }
    int32_t get_shareid_by_sharename(const tvn_cifs_queryshareid_byname_req& req,
                                     tvn_cifs_queryshareid_byname_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::get_shareid_by_sharename, req, rsp, timeout_ms);
    }
    int32_t get_share_permissionid_by_access_name(
        const tvn_cifs_query_permission_byaccnessname_req& req,
        tvn_cifs_query_permission_byaccnessname_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_cifs_service_Stub::get_share_permissionid_by_access_name, req, rsp,
                    timeout_ms);
    }
};
