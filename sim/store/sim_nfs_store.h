#pragma once
// NFS shares, client permissions and the VPC marker map of every tenant.
//
// Identifiers are assigned here, from 1 upward, never reused. A share is
// unique per tenant by path and by alias (its name); a permission is unique
// per share by client name (case-insensitive). Each call returns 0 or a code
// of sim_result.h with a text in `desc`.
//
// Lists: `offset` counts from 1 (0 is taken as 1); `count` 0 means the
// default page of kDefaultPage. With a valid cursor the list resumes after
// the cursor's record in the list's own order and `offset` is not used.
// Text filters (path, description, client) match when the record contains
// the text; numeric ones must be equal; an identifier or fsid of all ones
// (or 0 for identifiers) means "any".
#include <cstdint>
#include <string>

#include "sim_db.h"
#include "talvane_store_nfs.pb.h"

namespace tvn::sim {

class nfs_store {
public:
    static constexpr uint32_t kDefaultPage = 100;
    static constexpr uint32_t kMaxPage = 100000;

    explicit nfs_store(sim_db& db) : db_(db) {}

    int32_t add_share(const tvn_nfs_add_share_req& req, uint64_t& share_id, std::string& desc);
    int32_t del_share(uint64_t share_id, uint32_t tenant_id, std::string& desc);
    int32_t mod_share(const tvn_nfs_mod_share_req& req, std::string& desc);
    int32_t get_share(uint64_t share_id, uint32_t tenant_id, mul_vstore_nfs_share* out,
                      std::string& desc);
    int32_t show_share(const tvn_nfs_show_share_req& req, tvn_nfs_show_share_rsp* rsp,
                       std::string& desc);
    int32_t count_shares(const tvn_nfs_get_share_count_req& req, uint32_t& count,
                         std::string& desc);
    // Shares at `path` or below it on one file system.
    int32_t count_shares_under(uint64_t fsid, const std::string& path, uint32_t tenant_id,
                               uint32_t& count, std::string& desc);
    // Shares of a file system (dtree 0: all of its dtrees).
    int32_t count_shares_of_fs(uint64_t fsid, uint64_t dtreeid, uint32_t tenant_id,
                               uint32_t& count, std::string& desc);
    int32_t share_id_by_name(uint32_t tenant_id, const std::string& name, uint64_t& share_id,
                             std::string& desc);

    int32_t create_auth(const tvn_nfs_create_auth_req& req, uint64_t& auth_id, std::string& desc);
    int32_t delete_auth(uint64_t auth_id, uint32_t tenant_id, std::string& desc);
    int32_t modify_auth(const tvn_nfs_modify_auth_req& req, std::string& desc);
    int32_t get_auth(uint64_t auth_id, uint32_t tenant_id, mul_vstore_nfs_share_permission* out,
                     std::string& desc);
    int32_t show_auth(const tvn_nfs_show_auth_req& req, tvn_nfs_show_auth_rsp* rsp,
                      std::string& desc);
    int32_t count_auths(const tvn_nfs_get_auth_count_req& req, uint32_t& count,
                        std::string& desc);
    int32_t auth_id_by_client(uint32_t tenant_id, uint64_t share_id, const std::string& client,
                              uint64_t& auth_id, std::string& desc);

    int32_t add_vpc(const AddVpcMapReq& req, std::string& desc);
    int32_t del_vpc(uint64_t marker_id, uint32_t tenant_id, std::string& desc);
    int32_t show_vpc(const ShowVpcMapReq& req, ShowVpcMapRsp* rsp, std::string& desc);

    // Read-back for the kernel side: from_index counts from 0; count 0 = all.
    int32_t list_fsids(uint32_t from_index, uint32_t count, nfs_get_fsids_rsp* rsp,
                       std::string& desc);
    int32_t list_share_ids(const nfs_get_shareids_arg& req, nfs_get_shareids_rsp* rsp,
                           std::string& desc);
    int32_t list_exports(const nfs_get_auths_arg& req, nfs_get_auths_rsp* rsp, std::string& desc);
    int32_t list_shareinfo(const nfs_get_shareinfo_arg& req, nfs_get_shareinfo_rsp* rsp,
                           std::string& desc);
    int32_t delete_tenant(uint32_t tenant_id, std::string& desc);

private:
    sim_db& db_;
};

}  // namespace tvn::sim
