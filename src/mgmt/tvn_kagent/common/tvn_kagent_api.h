#pragma once
// Client of the kernel agent (PUM commands, share push-down, directories
// and dtrees, node/tenant/LIF queries, kernel caches). Each method returns
// 0 when the call completed (the agent's own result is in the response) or
// the transport error.
#include <cstdint>
#include <string>

#include "talvane_kagent.pb.h"
#include "tvn_msg_rpc_api.h"

class tvn_kagent_api : public tvn_msg_rpc_api<tvn_kagent_service_Stub> {
public:
    static constexpr int32_t KAGENT_PORT = 6105;
    static constexpr int32_t KAGENT_NOT_OFFERED = -7;

    tvn_kagent_api(const std::string& host, bool multi_channel, unsigned worker_num,
                   int32_t port = KAGENT_PORT)
        : tvn_msg_rpc_api(host, port, multi_channel, worker_num) {}

    int32_t kagent_pum(const tvn_ka_pum_req& req, tvn_ka_pum_rsp& rsp, int timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_pum, req, rsp, timeout_ms);
    }
    int32_t kagent_shr_info(const tvn_ka_shr_info_req& req, tvn_ka_shr_info_rsq& rsp,
                            int timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_shr_info, req, rsp, timeout_ms);
    }
    int32_t kagent_mkdir(const tvn_mkdir_req& req, tvn_mkdir_rsp& rsp, int timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_mkdir, req, rsp, timeout_ms);
    }
    int32_t kagent_smbd_ioctl(const tvn_smbd_ioctl_req& req, tvn_smbd_ioctl_rsp& rsp,
                              int timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_smbd_ioctl, req, rsp, timeout_ms);
    }
    int32_t kagent_get_tenant(const tvn_ka_get_tenant_req& req, tvn_ka_get_tenant_rsp& rsp,
                              uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_tenant, req, rsp, timeout_ms);
    }
    int32_t kagent_get_controller(const tvn_ka_get_controller_req& req,
                                  tvn_ka_get_controller_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_controller, req, rsp, timeout_ms);
    }
    int32_t kagent_get_ip(const tvn_ka_get_ip_req& req, tvn_ka_get_ip_rsp& rsp,
                          uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_ip, req, rsp, timeout_ms);
    }
    int32_t kagent_get_peer_id(const tvn_ka_get_peer_id_req& req, tvn_ka_get_peer_id_rsp& rsp,
                               uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_peer_id, req, rsp, timeout_ms);
    }
    int32_t kagent_get_fs_controller_id(const tvn_ka_get_fs_controller_id_req& req,
                                        tvn_ka_get_fs_controller_id_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_fs_controller_id, req, rsp, timeout_ms);
    }
    int32_t kagent_get_vendor(const tvn_ka_get_vendor_req& req, tvn_ka_get_vendor_rsp& rsp,
                              uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_vendor, req, rsp, timeout_ms);
    }
    int32_t kagent_get_model(const tvn_ka_get_model_req& req, tvn_ka_get_model_rsp& rsp,
                             uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_model, req, rsp, timeout_ms);
    }
    int32_t kagent_get_group_id(const tvn_ka_get_group_id_req& req, tvn_ka_get_group_id_rsp& rsp,
                                uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_group_id, req, rsp, timeout_ms);
    }
    int32_t kagent_nfs_update_fsids(const tvn_ka_nfs_fsids_req& req, tvn_ka_nfs_fsids_rsp& rsp,
                                    uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_nfs_update_fsids, req, rsp, timeout_ms);
    }
    int32_t kagent_create_fs_snapshot(const tvn_ka_fs_snapshot_req& req,
                                      tvn_ka_fs_snapshot_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_create_snap, req, rsp, timeout_ms);
    }
    int32_t kagent_delete_fs_snapshot(const tvn_ka_fs_snapshot_req& req,
                                      tvn_ka_fs_snapshot_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_delete_snap, req, rsp, timeout_ms);
    }
    // The caller's level goes out converted to the agent's internal scale.
    int32_t KagentSetLogLevel(const tvn_ka_log_level_req& req, tvn_ka_log_level_resp& rsp,
                              int timeout_ms);
    int32_t kagent_get_upgrade_flag(const tvn_get_node_upgrade_flag_req& req,
                                    tvn_get_node_upgrade_flag_resp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_upgrade_flag, req, rsp, timeout_ms);
    }
    int32_t kagent_kernel_acl_cfg_u2k(const tvn_ka_kernel_acl_cfg_req& req,
                                      tvn_ka_kernel_acl_cfg_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_kernel_acl_cfg_u2k, req, rsp, timeout_ms);
    }
    int32_t kagent_delete_usermap_cache(const tvn_ka_delete_usermap_cache_req& req,
                                        tvn_ka_delete_usermap_cache_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_delete_usermap_cache, req, rsp, timeout_ms);
    }
    int32_t kagent_mps_get_usermap_cache_hit(const tvn_mps_usermap_get_cache_hit_req& req,
                                             tvn_mps_usermap_get_cache_hit_rsp& rsp,
                                             uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_mps_get_usermap_cache_hit, req, rsp, timeout_ms);
    }
    int32_t kagent_mps_get_usermap_cache(const tvn_mps_usermap_get_cache_req& req,
                                         tvn_mps_usermap_get_cache_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_mps_get_usermap_cache, req, rsp, timeout_ms);
    }
    int32_t kagent_get_fsid(const tvn_ka_get_fsid_req& req, tvn_ka_get_fsid_rsp& rsp,
                            uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_fsid, req, rsp, timeout_ms);
    }
    int32_t kagent_update_dom_idmap(const tvn_ka_update_dom_idmap_req& req,
                                    tvn_ka_update_dom_idmap_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_update_dom_idmap, req, rsp, timeout_ms);
    }
    int32_t kagent_get_tenantid_by_fsid(const tvn_ka_get_tenantid_by_fsid_req& req,
                                        tvn_ka_get_tenantid_by_fsid_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_tenantid_by_fsid, req, rsp, timeout_ms);
    }
    int32_t kagent_get_tenant_name_by_tenantid(const tvn_ka_get_tenant_name_by_tenantid_req& req,
                                               tvn_ka_get_tenant_name_by_tenantid_rsp& rsp,
                                               uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_tenant_name_by_tenantid, req, rsp, timeout_ms);
    }
    int32_t kagent_get_lif_info(const tvn_ka_get_lif_info_req& req, tvn_ka_get_lif_info_rsp& rsp,
                                uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_lif_info, req, rsp, timeout_ms);
    }
    int32_t kagent_get_mgmt_ip(const tvn_ka_get_mgmt_ip_req& req, tvn_ka_get_mgmt_ip_rsp& rsp,
                               uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_mgmt_ip, req, rsp, timeout_ms);
    }
    int32_t kagent_get_fsids_by_tenantid(const tvn_ka_get_fsids_by_tenantid_req& req,
                                         tvn_ka_get_fsids_by_tenantid_rsp& rsp,
                                         uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_fsids_by_tenantid, req, rsp, timeout_ms);
    }
    // Deliberately not offered from the management side: -7, no traffic.
    int32_t kagent_get_sidmap_cache(const tvn_sidmap_get_cache_req&, tvn_sidmap_get_cache_rsp&,
                                    uint32_t) {
        return KAGENT_NOT_OFFERED;
    }
    // Deliberately not offered from the management side: -7, no traffic.
    int32_t kagent_clear_sidmap_cache(const tvn_sidmap_clear_cache_req&,
                                      tvn_sidmap_clear_cache_rsp&, uint32_t) {
        return KAGENT_NOT_OFFERED;
    }
    int32_t kagent_create_directory(const tvn_create_directory_req& req,
                                    tvn_create_directory_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_create_directory, req, rsp, timeout_ms);
    }
    int32_t kagent_delete_directory(const tvn_delete_directory_req& req,
                                    tvn_delete_directory_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_delete_directory, req, rsp, timeout_ms);
    }
    int32_t kagent_modify_directory(const tvn_modify_directory_req& req,
                                    tvn_modify_directory_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_modify_directory, req, rsp, timeout_ms);
    }
    int32_t kagent_query_directory(const tvn_get_directory_req& req, tvn_get_directory_rsp& rsp,
                                   uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_query_directory, req, rsp, timeout_ms);
    }
    int32_t kagent_batch_query_directory(const tvn_get_batch_directory_req& req,
                                         tvn_get_batch_directory_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_batch_query_directory, req, rsp, timeout_ms);
    }
    int32_t kagent_count_directory(const tvn_count_directory_req& req, tvn_count_directory_rsp& rsp,
                                   uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_count_directory, req, rsp, timeout_ms);
    }
    int32_t kagent_create_dtree(const tvn_create_dtree_req& req, tvn_create_dtree_rsp& rsp,
                                uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_create_dtree, req, rsp, timeout_ms);
    }
    int32_t kagent_delete_dtree(const tvn_delete_dtree_req& req, tvn_delete_dtree_rsp& rsp,
                                uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_delete_dtree, req, rsp, timeout_ms);
    }
    int32_t kagent_modify_dtree(const tvn_modify_dtree_req& req, tvn_modify_dtree_rsp& rsp,
                                uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_modify_dtree, req, rsp, timeout_ms);
    }
    int32_t kagent_batch_query_dtree(const tvn_query_batch_dtree_req& req,
                                     tvn_query_batch_dtree_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_batch_query_dtree, req, rsp, timeout_ms);
    }
    int32_t kagent_get_controller_info(const tvn_ka_get_controller_info_req& req,
                                       tvn_ka_get_controller_info_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_controller_info, req, rsp, timeout_ms);
    }
    int32_t kagent_get_common_cfg_info(const tvn_ka_get_common_cfg_info_req& req,
                                       tvn_ka_get_common_cfg_info_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_common_cfg_info, req, rsp, timeout_ms);
    }
    int32_t kagent_modify_common_cfg_info(const tvn_ka_modify_common_cfg_info_req& req,
                                          tvn_ka_modify_common_cfg_info_rsp& rsp,
                                          uint32_t timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_modify_common_cfg_info, req, rsp, timeout_ms);
    }
    int32_t kagent_get_state(const tvn_get_kagent_state_req& req, tvn_get_kagent_state_rsp& rsp,
                             int timeout_ms) {
        return call(&tvn_kagent_service_Stub::kagent_get_state, req, rsp, timeout_ms);
    }
};
