#include "sim_nfs_service.h"

#include "sim_result.h"

namespace tvn::sim {

namespace {

void set_status(tvn_nfs_common_rsp* s, int32_t rc, const std::string& desc) {
    s->set_result(rc);
    s->set_desc(desc);
}

// A count: the store's verdict in the status record, the count when there
// is one.
template <class Rsp, class... Params, class... Args>
void answer_count(nfs_store& nfs, Rsp* rsp, int32_t (nfs_store::*call)(Params...), Args&&... args) {
    uint32_t count = 0;
    if (sim_answer(rsp->mutable_status(), nfs, call, std::forward<Args>(args)..., count) == SIM_OK)
        rsp->set_count(count);
}

}  // namespace

SIM_RPC_IMPL(sim_nfs_service, add_vpc, AddVpcMapReq, AddVpcMapRsp) {
    if (sim_answer(rsp->mutable_status(), store_.nfs, &nfs_store::add_vpc, *req) == SIM_OK) {
        rsp->set_marker_id(req->marker_id());
        rsp->set_vpc_id(req->vpc_id());
        rsp->set_project_id(req->project_id());
        rsp->set_tenant_id(req->tenant_id());
    }
}

SIM_RPC_IMPL(sim_nfs_service, del_vpc, DelVpcMapReq, tvn_nfs_common_rsp) {
    sim_answer(rsp, store_.nfs, &nfs_store::del_vpc, req->marker_id(), req->tenant_id());
}

SIM_RPC_IMPL(sim_nfs_service, show_vpc, ShowVpcMapReq, ShowVpcMapRsp) {
    sim_answer(rsp->mutable_status(), store_.nfs, &nfs_store::show_vpc, *req, rsp);
}

SIM_RPC_IMPL(sim_nfs_service, add_share, tvn_nfs_add_share_req, tvn_nfs_add_share_rsp) {
    uint64_t id = 0;
    if (sim_answer(rsp->mutable_status(), store_.nfs, &nfs_store::add_share, *req, id) == SIM_OK) {
        rsp->set_share_id(id);
        rsp->set_fsid(req->fsid());
        rsp->set_dtreeid(req->dtreeid());
    }
}

SIM_RPC_IMPL(sim_nfs_service, del_share, tvn_nfs_del_share_req, tvn_nfs_common_rsp) {
    sim_answer(rsp, store_.nfs, &nfs_store::del_share, req->share_id(), req->tenant_id());
}

SIM_RPC_IMPL(sim_nfs_service, mod_share, tvn_nfs_mod_share_req, tvn_nfs_common_rsp) {
    sim_answer(rsp, store_.nfs, &nfs_store::mod_share, *req);
}

SIM_RPC_IMPL(sim_nfs_service, get_share, tvn_nfs_get_share_req, tvn_nfs_get_share_rsp) {
    mul_vstore_nfs_share share;
    if (sim_answer(rsp->mutable_status(), store_.nfs, &nfs_store::get_share, req->share_id(),
                   req->tenant_id(), &share) == SIM_OK)
        *rsp->mutable_share_info() = std::move(share);
}

SIM_RPC_IMPL(sim_nfs_service, show_share, tvn_nfs_show_share_req, tvn_nfs_show_share_rsp) {
    sim_answer(rsp->mutable_status(), store_.nfs, &nfs_store::show_share, *req, rsp);
}

SIM_RPC_IMPL(sim_nfs_service, get_share_count, tvn_nfs_get_share_count_req,
             tvn_nfs_get_share_count_rsp) {
    answer_count(store_.nfs, rsp, &nfs_store::count_shares, *req);
}

SIM_RPC_IMPL(sim_nfs_service, create_auth, tvn_nfs_create_auth_req, tvn_nfs_create_auth_rsp) {
    uint64_t id = 0;
    if (sim_answer(rsp->mutable_status(), store_.nfs, &nfs_store::create_auth, *req, id) == SIM_OK)
        rsp->set_auth_id(id);
}

SIM_RPC_IMPL(sim_nfs_service, delete_auth, tvn_nfs_delete_auth_req, tvn_nfs_common_rsp) {
    sim_answer(rsp, store_.nfs, &nfs_store::delete_auth, req->auth_id(), req->tenant_id());
}

SIM_RPC_IMPL(sim_nfs_service, modify_auth, tvn_nfs_modify_auth_req, tvn_nfs_common_rsp) {
    sim_answer(rsp, store_.nfs, &nfs_store::modify_auth, *req);
}

SIM_RPC_IMPL(sim_nfs_service, get_auth, tvn_nfs_get_auth_req, tvn_nfs_get_auth_rsp) {
    mul_vstore_nfs_share_permission auth;
    if (sim_answer(rsp->mutable_status(), store_.nfs, &nfs_store::get_auth, req->auth_id(),
                   req->tenant_id(), &auth) == SIM_OK)
        *rsp->mutable_auth_info() = std::move(auth);
}

SIM_RPC_IMPL(sim_nfs_service, show_auth, tvn_nfs_show_auth_req, tvn_nfs_show_auth_rsp) {
    sim_answer(rsp->mutable_status(), store_.nfs, &nfs_store::show_auth, *req, rsp);
}

SIM_RPC_IMPL(sim_nfs_service, get_auth_count, tvn_nfs_get_auth_count_req,
             tvn_nfs_get_auth_count_rsp) {
    answer_count(store_.nfs, rsp, &nfs_store::count_auths, *req);
}

SIM_RPC_IMPL(sim_nfs_service, get_fsids, nfs_get_fsids_arg, nfs_get_fsids_rsp) {
    sim_answer(rsp->mutable_status(), store_.nfs, &nfs_store::list_fsids, req->from_index(),
               req->count(), rsp);
}

SIM_RPC_IMPL(sim_nfs_service, get_shareids, nfs_get_shareids_arg, nfs_get_shareids_rsp) {
    sim_answer(rsp->mutable_status(), store_.nfs, &nfs_store::list_share_ids, *req, rsp);
}

SIM_RPC_IMPL(sim_nfs_service, get_auths, nfs_get_auths_arg, nfs_get_auths_rsp) {
    sim_answer(rsp->mutable_status(), store_.nfs, &nfs_store::list_exports, *req, rsp);
}

SIM_RPC_IMPL(sim_nfs_service, delete_tenant, nfs_delete_tenant_req, tvn_nfs_common_rsp) {
    sim_answer(rsp, store_.nfs, &nfs_store::delete_tenant, req->tenant_id());
}

SIM_RPC_IMPL(sim_nfs_service, get_shares_by_fsid, nfs_get_shares_by_fsid_req,
             nfs_get_shares_by_fsid_rsp) {
    answer_count(store_.nfs, rsp, &nfs_store::count_shares_of_fs, req->fsid(), req->dtreeid(),
                 req->tenant_id());
}

SIM_RPC_IMPL(sim_nfs_service, get_share_count_for_qtree, tvn_nfs_get_share_count_for_qtree_req,
             tvn_nfs_get_share_count_for_qtree_rsp) {
    answer_count(store_.nfs, rsp, &nfs_store::count_shares_under, req->fsid(), req->path(),
                 req->tenant_id());
}

SIM_RPC_IMPL(sim_nfs_service, get_sharesinfo, nfs_get_shareinfo_arg, nfs_get_shareinfo_rsp) {
    sim_answer(rsp->mutable_status(), store_.nfs, &nfs_store::list_shareinfo, *req, rsp);
}

SIM_RPC_IMPL(sim_nfs_service, update_auths, tvn_nfs_update_auths_req, tvn_nfs_common_rsp) {
    // Nothing is cached on this side: the next read sees the table as it is.
    if (req->has_share_id() && req->share_id() != 0) {
        mul_vstore_nfs_share share;
        sim_answer(rsp, store_.nfs, &nfs_store::get_share, req->share_id(), req->tenant_id(),
                   &share);
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
