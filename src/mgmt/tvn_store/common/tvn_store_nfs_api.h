#pragma once
// Client of the NFS store service of the store daemon. Each method returns
// 0 when the call completed (the store's verdict is then in the reply's
// status) or the transport error.
#include <cstdint>
#include <string>

#include "talvane_store_nfs.pb.h"
#include "tvn_msg_rpc_api.h"

class tvn_store_nfs_api : public tvn_msg_rpc_api<tvn_store_nfs_service_Stub> {
public:
    static constexpr int32_t STORE_PORT = 6102;
    static constexpr unsigned STORE_WORKER_NUM = 3;

    explicit tvn_store_nfs_api(const std::string& host, bool multi_channel = false,
                               int32_t port = STORE_PORT)
        : tvn_msg_rpc_api(host, port, multi_channel, STORE_WORKER_NUM) {}

    int32_t AddVpc(const AddVpcMapReq& req, AddVpcMapRsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::add_vpc, req, rsp, timeout_ms);
    }
    int32_t DelVpc(const DelVpcMapReq& req, tvn_nfs_common_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::del_vpc, req, rsp, timeout_ms);
    }
    int32_t show_vpc(const ShowVpcMapReq& req, ShowVpcMapRsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::show_vpc, req, rsp, timeout_ms);
    }
    int32_t add_share(const tvn_nfs_add_share_req& req, tvn_nfs_add_share_rsp& rsp,
                      uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::add_share, req, rsp, timeout_ms);
    }
    int32_t del_share(const tvn_nfs_del_share_req& req, tvn_nfs_common_rsp& rsp,
                      uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::del_share, req, rsp, timeout_ms);
    }
    int32_t mod_share(const tvn_nfs_mod_share_req& req, tvn_nfs_common_rsp& rsp,
                      uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::mod_share, req, rsp, timeout_ms);
    }
    int32_t get_share(const tvn_nfs_get_share_req& req, tvn_nfs_get_share_rsp& rsp,
                      uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_share, req, rsp, timeout_ms);
    }
    int32_t show_share(const tvn_nfs_show_share_req& req, tvn_nfs_show_share_rsp& rsp,
                       uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::show_share, req, rsp, timeout_ms);
    }
    int32_t get_share_count(const tvn_nfs_get_share_count_req& req,
                            tvn_nfs_get_share_count_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_share_count, req, rsp, timeout_ms);
    }
    int32_t create_auth(const tvn_nfs_create_auth_req& req, tvn_nfs_create_auth_rsp& rsp,
                        uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::create_auth, req, rsp, timeout_ms);
    }
    int32_t delete_auth(const tvn_nfs_delete_auth_req& req, tvn_nfs_common_rsp& rsp,
                        uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::delete_auth, req, rsp, timeout_ms);
    }
    int32_t modify_auth(const tvn_nfs_modify_auth_req& req, tvn_nfs_common_rsp& rsp,
                        uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::modify_auth, req, rsp, timeout_ms);
    }
    int32_t get_auth(const tvn_nfs_get_auth_req& req, tvn_nfs_get_auth_rsp& rsp,
                     uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_auth, req, rsp, timeout_ms);
    }
    int32_t show_auth(const tvn_nfs_show_auth_req& req, tvn_nfs_show_auth_rsp& rsp,
                      uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::show_auth, req, rsp, timeout_ms);
    }
    int32_t get_auth_count(const tvn_nfs_get_auth_count_req& req, tvn_nfs_get_auth_count_rsp& rsp,
                           uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_auth_count, req, rsp, timeout_ms);
    }
    int32_t get_fsids(const nfs_get_fsids_arg& req, nfs_get_fsids_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_fsids, req, rsp, timeout_ms);
    }
    int32_t get_shareids(const nfs_get_shareids_arg& req, nfs_get_shareids_rsp& rsp,
                         uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_shareids, req, rsp, timeout_ms);
    }
    int32_t get_auths(const nfs_get_auths_arg& req, nfs_get_auths_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_auths, req, rsp, timeout_ms);
    }
    int32_t delete_tenant(const nfs_delete_tenant_req& req, tvn_nfs_common_rsp& rsp,
                          uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::delete_tenant, req, rsp, timeout_ms);
    }
    int32_t get_shares_by_fsid(const nfs_get_shares_by_fsid_req& req,
                               nfs_get_shares_by_fsid_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_shares_by_fsid, req, rsp, timeout_ms);
    }
    int32_t get_share_count_for_qtree(const tvn_nfs_get_share_count_for_qtree_req& req,
                                      tvn_nfs_get_share_count_for_qtree_rsp& rsp,
                                      uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_share_count_for_qtree, req, rsp, timeout_ms);
    }
    int32_t get_sharesinfo(const nfs_get_shareinfo_arg& req, nfs_get_shareinfo_rsp& rsp,
                           uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_sharesinfo, req, rsp, timeout_ms);
    }
    int32_t update_auths(const tvn_nfs_update_auths_req& req, tvn_nfs_common_rsp& rsp,
                         uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::update_auths, req, rsp, timeout_ms);
    }
    int32_t mountd_heartbeat(const tvn_nfs_mountd_heartbeat_req& req, tvn_nfs_common_rsp& rsp,
                             uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::mountd_heartbeat, req, rsp, timeout_ms);
    }
    int32_t get_store_state(const tvn_nfs_common_req& req, tvn_nfs_common_rsp& rsp,
                            uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_store_state, req, rsp, timeout_ms);
    }
    int32_t get_nfs_server_info(const tvn_nfs_get_server_info_req& req,
                                tvn_nfs_get_server_info_rsp& rsp, uint32_t timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_nfs_server_info, req, rsp, timeout_ms);
    }
    int32_t get_shareid_by_sharename(const tvn_nfs_queryshareid_byname_req& req,
                                     tvn_nfs_queryshareid_byname_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_shareid_by_sharename, req, rsp, timeout_ms);
    }
    int32_t get_share_permissionid_by_access_name(
        const tvn_nfs_query_permission_byaccnessname_req& req,
        tvn_nfs_query_permission_byaccnessname_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_nfs_service_Stub::get_share_permissionid_by_access_name, req, rsp, timeout_ms);
    }
};
