#pragma once
// The store daemon's NFS service over the stand-ins' database.
#include "sim_service_base.h"
#include "sim_store.h"
#include "talvane_store_nfs.pb.h"

namespace tvn::sim {

class sim_nfs_service : public sim_service<tvn_store_nfs_service> {
public:
    explicit sim_nfs_service(sim_store& store) : store_(store) {}

    SIM_RPC(add_vpc, AddVpcMapReq, AddVpcMapRsp);
    SIM_RPC(del_vpc, DelVpcMapReq, tvn_nfs_common_rsp);
    SIM_RPC(show_vpc, ShowVpcMapReq, ShowVpcMapRsp);
    SIM_RPC(add_share, tvn_nfs_add_share_req, tvn_nfs_add_share_rsp);
    SIM_RPC(del_share, tvn_nfs_del_share_req, tvn_nfs_common_rsp);
    SIM_RPC(mod_share, tvn_nfs_mod_share_req, tvn_nfs_common_rsp);
    SIM_RPC(get_share, tvn_nfs_get_share_req, tvn_nfs_get_share_rsp);
    SIM_RPC(show_share, tvn_nfs_show_share_req, tvn_nfs_show_share_rsp);
    SIM_RPC(get_share_count, tvn_nfs_get_share_count_req, tvn_nfs_get_share_count_rsp);
    SIM_RPC(create_auth, tvn_nfs_create_auth_req, tvn_nfs_create_auth_rsp);
    SIM_RPC(delete_auth, tvn_nfs_delete_auth_req, tvn_nfs_common_rsp);
    SIM_RPC(modify_auth, tvn_nfs_modify_auth_req, tvn_nfs_common_rsp);
    SIM_RPC(get_auth, tvn_nfs_get_auth_req, tvn_nfs_get_auth_rsp);
    SIM_RPC(show_auth, tvn_nfs_show_auth_req, tvn_nfs_show_auth_rsp);
    SIM_RPC(get_auth_count, tvn_nfs_get_auth_count_req, tvn_nfs_get_auth_count_rsp);
    SIM_RPC(get_fsids, nfs_get_fsids_arg, nfs_get_fsids_rsp);
    SIM_RPC(get_shareids, nfs_get_shareids_arg, nfs_get_shareids_rsp);
    SIM_RPC(get_auths, nfs_get_auths_arg, nfs_get_auths_rsp);
    SIM_RPC(delete_tenant, nfs_delete_tenant_req, tvn_nfs_common_rsp);
    SIM_RPC(get_shares_by_fsid, nfs_get_shares_by_fsid_req, nfs_get_shares_by_fsid_rsp);
    SIM_RPC(get_share_count_for_qtree, tvn_nfs_get_share_count_for_qtree_req,
            tvn_nfs_get_share_count_for_qtree_rsp);
    SIM_RPC(get_sharesinfo, nfs_get_shareinfo_arg, nfs_get_shareinfo_rsp);
    SIM_RPC(update_auths, tvn_nfs_update_auths_req, tvn_nfs_common_rsp);
    SIM_RPC(mountd_heartbeat, tvn_nfs_mountd_heartbeat_req, tvn_nfs_common_rsp);
    SIM_RPC(get_store_state, tvn_nfs_common_req, tvn_nfs_common_rsp);
    SIM_RPC(get_nfs_server_info, tvn_nfs_get_server_info_req, tvn_nfs_get_server_info_rsp);
    SIM_RPC(get_shareid_by_sharename, tvn_nfs_queryshareid_byname_req,
            tvn_nfs_queryshareid_byname_rsp);
    SIM_RPC(get_share_permissionid_by_access_name, tvn_nfs_query_permission_byaccnessname_req,
            tvn_nfs_query_permission_byaccnessname_rsp);

private:
    sim_store& store_;
};

}  // namespace tvn::sim
