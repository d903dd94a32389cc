#include "sim_nfs_service.h"

#include "sim_result.h"

namespace tvn::sim {

namespace {

void set_status(tvn_nfs_common_rsp* s, int32_t rc, const std::string& desc) {
    s->set_result(rc);
    s->set_desc(desc);
}

}  // namespace

SIM_RPC_IMPL(sim_nfs_service, add_vpc, AddVpcMapReq, AddVpcMapRsp) {
    std::string desc;
    int32_t rc = store_.nfs.add_vpc(*req, desc);
    set_status(rsp->mutable_status(), rc, desc);
    if (rc == SIM_OK) {
        rsp->set_marker_id(req->marker_id());
        rsp->set_vpc_id(req->vpc_id());
        rsp->set_project_id(req->project_id());
        rsp->set_tenant_id(req->tenant_id());
    }
}

SIM_RPC_IMPL(sim_nfs_service, del_vpc, DelVpcMapReq, tvn_nfs_common_rsp) {
    std::string desc;
    int32_t rc = store_.nfs.del_vpc(req->marker_id(), req->tenant_id(), desc);
    set_status(rsp, rc, desc);
}

SIM_RPC_IMPL(sim_nfs_service, show_vpc, ShowVpcMapReq, ShowVpcMapRsp) {
    std::string desc;
    int32_t rc = store_.nfs.show_vpc(*req, rsp, desc);
    set_status(rsp->mutable_status(), rc, desc);
}

SIM_RPC_IMPL(sim_nfs_service, add_share, tvn_nfs_add_share_req, tvn_nfs_add_share_rsp) {
    std::string desc;
    uint64_t id = 0;
    int32_t rc = store_.nfs.add_share(*req, id, desc);
    set_status(rsp->mutable_status(), rc, desc);
    if (rc == SIM_OK) {
        rsp->set_share_id(id);
        rsp->set_fsid(req->fsid());
        rsp->set_dtreeid(req->dtreeid());
    }
}

SIM_RPC_IMPL(sim_nfs_service, del_share, tvn_nfs_del_share_req, tvn_nfs_common_rsp) {
    std::string desc;
    int32_t rc = store_.nfs.del_share(req->share_id(), req->tenant_id(), desc);
    set_status(rsp, rc, desc);
}

SIM_RPC_IMPL(sim_nfs_service, mod_share, tvn_nfs_mod_share_req, tvn_nfs_common_rsp) {
    std::string desc;
    int32_t rc = store_.nfs.mod_share(*req, desc);
    set_status(rsp, rc, desc);
}

SIM_RPC_IMPL(sim_nfs_service, get_share, tvn_nfs_get_share_req, tvn_nfs_get_share_rsp) {
    std::string desc;
    mul_vstore_nfs_share share;
    int32_t rc = store_.nfs.get_share(req->share_id(), req->tenant_id(), &share, desc);
    set_status(rsp->mutable_status(), rc, desc);
    if (rc == SIM_OK) *rsp->mutable_share_info() = std::move(share);
}

SIM_RPC_IMPL(sim_nfs_service, show_share, tvn_nfs_show_share_req, tvn_nfs_show_share_rsp) {
    std::string desc;
    int32_t rc = store_.nfs.show_share(*req, rsp, desc);
    set_status(rsp->mutable_status(), rc, desc);
}

SIM_RPC_IMPL(sim_nfs_service, get_share_count, tvn_nfs_get_share_count_req,
             tvn_nfs_get_share_count_rsp) {
    std::string desc;
    uint32_t count = 0;
    int32_t rc = store_.nfs.count_shares(*req, count, desc);
    set_status(rsp->mutable_status(), rc, desc);
    if (rc == SIM_OK) rsp->set_count(count);
}

SIM_RPC_IMPL(sim_nfs_service, create_auth, tvn_nfs_create_auth_req, tvn_nfs_create_auth_rsp) {
    std::string desc;
    uint64_t id = 0;
    int32_t rc = store_.nfs.create_auth(*req, id, desc);
    set_status(rsp->mutable_status(), rc, desc);
    if (rc == SIM_OK) rsp->set_auth_id(id);
}

SIM_RPC_IMPL(sim_nfs_service, delete_auth, tvn_nfs_delete_auth_req, tvn_nfs_common_rsp) {
    std::string desc;
    int32_t rc = store_.nfs.delete_auth(req->auth_id(), req->tenant_id(), desc);
    set_status(rsp, rc, desc);
}

SIM_RPC_IMPL(sim_nfs_service, modify_auth, tvn_nfs_modify_auth_req, tvn_nfs_common_rsp) {
    std::string desc;
    int32_t rc = store_.nfs.modify_auth(*req, desc);
    set_status(rsp, rc, desc);
}

SIM_RPC_IMPL(sim_nfs_service, get_auth, tvn_nfs_get_auth_req, tvn_nfs_get_auth_rsp) {
    std::string desc;
    mul_vstore_nfs_share_permission auth;
    int32_t rc = store_.nfs.get_auth(req->auth_id(), req->tenant_id(), &auth, desc);
    set_status(rsp->mutable_status(), rc, desc);
    if (rc == SIM_OK) *rsp->mutable_auth_info() = std::move(auth);
}

SIM_RPC_IMPL(sim_nfs_service, show_auth, tvn_nfs_show_auth_req, tvn_nfs_show_auth_rsp) {
    std::string desc;
    int32_t rc = store_.nfs.show_auth(*req, rsp, desc);
    set_status(rsp->mutable_status(), rc, desc);
}

SIM_RPC_IMPL(sim_nfs_service, get_auth_count, tvn_nfs_get_auth_count_req,
             tvn_nfs_get_auth_count_rsp) {
    std::string desc;
    uint32_t count = 0;
    int32_t rc = store_.nfs.count_auths(*req, count, desc);
    set_status(rsp->mutable_status(), rc, desc);
    if (rc == SIM_OK) rsp->set_count(count);
}

SIM_RPC_IMPL(sim_nfs_service, get_fsids, nfs_get_fsids_arg, nfs_get_fsids_rsp) {
    std::string desc;
    int32_t rc = store_.nfs.list_fsids(req->from_index(), req->count(), rsp, desc);
    set_status(rsp->mutable_status(), rc, desc);
}

SIM_RPC_IMPL(sim_nfs_service, get_shareids, nfs_get_shareids_arg, nfs_get_shareids_rsp) {
    std::string desc;
    int32_t rc = store_.nfs.list_share_ids(*req, rsp, desc);
    set_status(rsp->mutable_status(), rc, desc);
}

SIM_RPC_IMPL(sim_nfs_service, get_auths, nfs_get_auths_arg, nfs_get_auths_rsp) {
    std::string desc;
    int32_t rc = store_.nfs.list_exports(*req, rsp, desc);
    set_status(rsp->mutable_status(), rc, desc);
}

SIM_RPC_IMPL(sim_nfs_service, delete_tenant, nfs_delete_tenant_req, tvn_nfs_common_rsp) {
    std::string desc;
    int32_t rc = store_.nfs.delete_tenant(req->tenant_id(), desc);
    set_status(rsp, rc, desc);
}

SIM_RPC_IMPL(sim_nfs_service, get_shares_by_fsid, nfs_get_shares_by_fsid_req,
             nfs_get_shares_by_fsid_rsp) {
    std::string desc;
    uint32_t count = 0;
    int32_t rc =
        store_.nfs.count_shares_of_fs(req->fsid(), req->dtreeid(), req->tenant_id(), count, desc);
    set_status(rsp->mutable_status(), rc, desc);
    if (rc == SIM_OK) rsp->set_count(count);
}

SIM_RPC_IMPL(sim_nfs_service, get_share_count_for_qtree, tvn_nfs_get_share_count_for_qtree_req,
             tvn_nfs_get_share_count_for_qtree_rsp) {
    std::string desc;
    uint32_t count = 0;
    int32_t rc =
        store_.nfs.count_shares_under(req->fsid(), req->path(), req->tenant_id(), count, desc);
    set_status(rsp->mutable_status(), rc, desc);
    if (rc == SIM_OK) rsp->set_count(count);
}

SIM_RPC_IMPL(sim_nfs_service, get_sharesinfo, nfs_get_shareinfo_arg, nfs_get_shareinfo_rsp) {
    std::string desc;
    int32_t rc = store_.nfs.list_shareinfo(*req, rsp, desc);
    set_status(rsp->mutable_status(), rc, desc);
}

SIM_RPC_IMPL(sim_nfs_service, update_auths, tvn_nfs_update_auths_req, tvn_nfs_common_rsp) {
    // Nothing is cached on this side: the next read sees the table as it is.
    if (req->has_share_id() && req->share_id() != 0) {
        std::string desc;
        mul_vstore_nfs_share share;
        int32_t rc = store_.nfs.get_share(req->share_id(), req->tenant_id(), &share, desc);
        set_status(rsp, rc, desc);
        return;
    }
    set_status(rsp, SIM_OK, "success");
}

SIM_RPC_IMPL(sim_nfs_service, mountd_heartbeat, tvn_nfs_mountd_heartbeat_req,
             tvn_nfs_common_rsp) {
    (void)req;
    set_status(rsp, SIM_OK, "success");
}

SIM_RPC_IMPL(sim_nfs_service, get_store_state, tvn_nfs_common_req, tvn_nfs_common_rsp) {
    (void)req;
    set_status(rsp, SIM_OK, "ready");
}

SIM_RPC_IMPL(sim_nfs_service, get_nfs_server_info, tvn_nfs_get_server_info_req,
             tvn_nfs_get_server_info_rsp) {
    (void)req;
    rsp->set_server_info("tvn_sim NFS store stand-in; versions 3, 4.0, 4.1");
    rsp->set_desc("success");
}

SIM_RPC_IMPL(sim_nfs_service, get_shareid_by_sharename, tvn_nfs_queryshareid_byname_req,
             tvn_nfs_queryshareid_byname_rsp) {
    std::string desc;
    uint64_t id = 0;
    int32_t rc = store_.nfs.share_id_by_name(req->tenant_id(), req->alias(), id, desc);
    rsp->set_rsp_status(rc);
    if (rc == SIM_OK) rsp->set_share_id(id);
}

SIM_RPC_IMPL(sim_nfs_service, get_share_permissionid_by_access_name,
             tvn_nfs_query_permission_byaccnessname_req,
             tvn_nfs_query_permission_byaccnessname_rsp) {
    std::string desc;
    uint64_t id = 0;
    int32_t rc =
        store_.nfs.auth_id_by_client(req->tenant_id(), req->share_id(), req->host_name(), id, desc);
    rsp->set_rsp_status(rc);
    if (rc == SIM_OK) rsp->set_permisson_id(id);
}

}  // namespace tvn::sim
