#pragma once
// The kernel agent over the stand-ins' inventory (file systems, tenants,
// controllers, interfaces).
//
// kagent_pum understands these commands (module, cmdstr, value -> value):
//   "fs", "get_fsid_by_name", "NAME" or "TENANT:NAME" -> the fsid
//   "fs", "get_fs_name",      "FSID"                  -> the name
//   "fs", "list",             ""                      -> JSON array of
//         {"fsid", "name", "tenant", "controller"}
//   "kchannel", a kernel channel's name, the request bytes in hexadecimal
//         -> the answer bytes in hexadecimal (the kernel channels'
//         stand-in, tvn_kchannel_request)
// and answers any other command with -95.
#include "sim_service_base.h"
#include "sim_store.h"
#include "talvane_kagent.pb.h"

namespace tvn::sim {

class sim_kagent_service : public sim_service<tvn_kagent_service> {
public:
    explicit sim_kagent_service(sim_store& store) : store_(store) {}

    SIM_RPC(kagent_pum, tvn_ka_pum_req, tvn_ka_pum_rsp);
    SIM_RPC(kagent_shr_info, tvn_ka_shr_info_req, tvn_ka_shr_info_rsq);
    SIM_RPC(kagent_mkdir, tvn_mkdir_req, tvn_mkdir_rsp);
    SIM_RPC(kagent_notify_del_user, tvn_ka_deluser_req, tvn_ka_deluser_rsp);
    SIM_RPC(kagent_get_tenant, tvn_ka_get_tenant_req, tvn_ka_get_tenant_rsp);
    SIM_RPC(kagent_get_controller, tvn_ka_get_controller_req, tvn_ka_get_controller_rsp);
    SIM_RPC(kagent_get_ip, tvn_ka_get_ip_req, tvn_ka_get_ip_rsp);
    SIM_RPC(kagent_get_peer_id, tvn_ka_get_peer_id_req, tvn_ka_get_peer_id_rsp);
    SIM_RPC(kagent_get_fs_controller_id, tvn_ka_get_fs_controller_id_req,
            tvn_ka_get_fs_controller_id_rsp);
    SIM_RPC(kagent_get_vendor, tvn_ka_get_vendor_req, tvn_ka_get_vendor_rsp);
    SIM_RPC(kagent_get_model, tvn_ka_get_model_req, tvn_ka_get_model_rsp);
    SIM_RPC(kagent_get_group_id, tvn_ka_get_group_id_req, tvn_ka_get_group_id_rsp);
    SIM_RPC(kagent_nfs_update_fsids, tvn_ka_nfs_fsids_req, tvn_ka_nfs_fsids_rsp);
    SIM_RPC(kagent_create_snap, tvn_ka_fs_snapshot_req, tvn_ka_fs_snapshot_rsp);
    SIM_RPC(kagent_delete_snap, tvn_ka_fs_snapshot_req, tvn_ka_fs_snapshot_rsp);
    SIM_RPC(kagent_set_log_level, tvn_ka_log_level_req, tvn_ka_log_level_resp);
    SIM_RPC(kagent_heartbeat_call, tvn_ka_heart_test_req, tvn_ka_heart_test_resp);
    SIM_RPC(kagent_get_upgrade_flag, tvn_get_node_upgrade_flag_req, tvn_get_node_upgrade_flag_resp);
    SIM_RPC(kagent_kernel_acl_cfg_u2k, tvn_ka_kernel_acl_cfg_req, tvn_ka_kernel_acl_cfg_rsp);
    SIM_RPC(kagent_delete_usermap_cache, tvn_ka_delete_usermap_cache_req,
            tvn_ka_delete_usermap_cache_rsp);
    SIM_RPC(kagent_mps_get_usermap_cache_hit, tvn_mps_usermap_get_cache_hit_req,
            tvn_mps_usermap_get_cache_hit_rsp);
    SIM_RPC(kagent_mps_get_usermap_cache, tvn_mps_usermap_get_cache_req,
            tvn_mps_usermap_get_cache_rsp);
    SIM_RPC(kagent_mps_get_unix_usermap_cache, tvn_mps_usermap_get_unix_cache_req,
            tvn_mps_usermap_get_unix_cache_rsp);
    SIM_RPC(kagent_mps_get_win_usermap_cache, tvn_mps_usermap_get_win_cache_req,
            tvn_mps_usermap_get_win_cache_rsp);
    SIM_RPC(kagent_get_fsid, tvn_ka_get_fsid_req, tvn_ka_get_fsid_rsp);
    SIM_RPC(kagent_update_dom_idmap, tvn_ka_update_dom_idmap_req, tvn_ka_update_dom_idmap_rsp);
    SIM_RPC(kagent_get_tenantid_by_fsid, tvn_ka_get_tenantid_by_fsid_req,
            tvn_ka_get_tenantid_by_fsid_rsp);
    SIM_RPC(kagent_get_tenant_name_by_tenantid, tvn_ka_get_tenant_name_by_tenantid_req,
            tvn_ka_get_tenant_name_by_tenantid_rsp);
    SIM_RPC(kagent_get_lif_info, tvn_ka_get_lif_info_req, tvn_ka_get_lif_info_rsp);
    SIM_RPC(kagent_get_mgmt_ip, tvn_ka_get_mgmt_ip_req, tvn_ka_get_mgmt_ip_rsp);
    SIM_RPC(kagent_get_fsids_by_tenantid, tvn_ka_get_fsids_by_tenantid_req,
            tvn_ka_get_fsids_by_tenantid_rsp);
    SIM_RPC(kagent_get_controller_info, tvn_ka_get_controller_info_req,
            tvn_ka_get_controller_info_rsp);
    SIM_RPC(kagent_get_common_cfg_info, tvn_ka_get_common_cfg_info_req,
            tvn_ka_get_common_cfg_info_rsp);
    SIM_RPC(kagent_modify_common_cfg_info, tvn_ka_modify_common_cfg_info_req,
            tvn_ka_modify_common_cfg_info_rsp);
    SIM_RPC(kagent_get_state, tvn_get_kagent_state_req, tvn_get_kagent_state_rsp);

    // The node this process stands for: $TVN_NODE_ID (decimal), default 0.
    static uint32_t local_node_id();

private:
    sim_store& store_;
};

}  // namespace tvn::sim
