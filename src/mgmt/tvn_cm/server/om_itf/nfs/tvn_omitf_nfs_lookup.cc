#include "tvn_omitf_nfs_lookup.h"

#include "tvn_omitf_nfs_auth.h"

#include <cstdlib>
#include <new>

#include "talvane_kagent.pb.h"
#include "talvane_lookup.pb.h"
#include "talvane_store_nfs.pb.h"
#include "tvn_auth_api.h"
#include "tvn_fault.h"
#include "tvn_kagent_api.h"
#include "tvn_log.h"
#include "tvn_omitf_nfs_util.h"
#include "tvn_store_nfs_api.h"

namespace tvn_nfs {

namespace {

constexpr const char* kHost = "127.0.0.1";

}  // namespace


std::unique_ptr<tvn_store_nfs_api> new_store_api() {
    // Lets tests take the road of a failed allocation.
    if (tvn::fail_at("tvn_store_nfs_api")) return nullptr;
    return std::unique_ptr<tvn_store_nfs_api>(new (std::nothrow) tvn_store_nfs_api(kHost, false));
}

int32_t share_id_by_name(const tvn::log_here& here, tvn_store_nfs_api& api, uint32_t tenant, const std::string& name,
                         uint64_t& share_id) {
    tvn_nfs_queryshareid_byname_req req;
    tvn_nfs_queryshareid_byname_rsp rsp;
    req.set_tenant_id(tenant);
    req.set_alias(name);
    int32_t rc = api.get_shareid_by_sharename(req, rsp, static_cast<int>(rpc_timeout_ms(NFS_STORE_TIMEOUT_MS)));
    if (rc != 0) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent get_shareid_by_sharename rpc call is failed.");
        return NFS_ERR_SHARE_NAME;
    }
    if (rsp.rsp_status() != 0 || !rsp.has_share_id()) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rsp.rsp_status(), "No such sharename.");
        return NFS_ERR_SHARE_NAME;
    }
    share_id = rsp.share_id();
    return 0;
}

int32_t auth_id_by_access_name(const tvn::log_here& here, tvn_store_nfs_api& api, uint32_t tenant, uint64_t share_id,
                               const std::string& access_name, uint64_t& auth_id) {
    tvn_nfs_query_permission_byaccnessname_req req;
    tvn_nfs_query_permission_byaccnessname_rsp rsp;
    req.set_host_name(access_name);
    req.set_share_id(share_id);
    req.set_tenant_id(tenant);
    int32_t rc = api.get_share_permissionid_by_access_name(
        req, rsp, static_cast<int>(rpc_timeout_ms(NFS_STORE_TIMEOUT_MS)));
    if (rc != 0) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc,
                "OMAgent get_share_permissionid_by_access_name rpc call is failed.");
        return NFS_ERR_SHARE_ID;
    }
    if (rsp.rsp_status() != 0 || !rsp.has_permisson_id()) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rsp.rsp_status(), "No such access name(%s).",
                access_name.c_str());
        return NFS_ERR_SHARE_ID;
    }
    auth_id = rsp.permisson_id();
    return 0;
}

int32_t fsid_by_name(const tvn::log_here& here, uint32_t tenant, const std::string& name, uint64_t& fsid) {
    tvn_kagent_api kagent(kHost, false, 1);
    tvn_ka_pum_req req;
    tvn_ka_pum_rsp rsp;
    req.set_module("fs");
    req.set_cmdstr("get_fsid_by_name");
    req.set_value(std::to_string(tenant) + ":" + name);
    int32_t rc = kagent.kagent_pum(req, rsp, static_cast<int>(rpc_timeout_ms(NFS_READ_TIMEOUT_MS)));
    if (rc != 0) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Get fsid of fs name(%s) rpc call failed.", name.c_str());
        return rc;
    }
    if (rsp.result() != 0) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rsp.result(), "Get fsid of fs name(%s) failed.", name.c_str());
        return rsp.result();
    }
    uint64_t value = 0;
    if (!parse_fsid(rsp.value(), value)) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_FSID, "Fsid(%s) of fs name(%s) is invalid.",
                rsp.value().c_str(), name.c_str());
        return NFS_ERR_FSID;
    }
    fsid = value;
    return 0;
}

int32_t host_resolves(uint32_t tenant, const std::string& name) {
    tvn_auth_api auth(kHost, false, 1);
    tvn_lookup_hostinfo_by_name_req req;
    tvn_lookup_hostinfo_rsp rsp;
    req.set_tenant_id(tenant);
    req.set_hostname(name);
    int32_t rc = auth.lookup_hostinfo_by_name(req, rsp, static_cast<int>(rpc_timeout_ms(NFS_READ_TIMEOUT_MS)));
    if (rc != 0) return rc;
    if (rsp.status() != 0) return rsp.status();
    return rsp.hostinfos_size() > 0 ? 0 : -2;
}

void name_auth_for_oplog(tvn_store_nfs_api& api, uint32_t tenant, uint64_t auth_id, auth_client& out) {
    tvn_nfs_get_auth_req req;
    tvn_nfs_get_auth_rsp rsp;
    req.set_auth_id(auth_id);
    req.set_tenant_id(tenant);
    if (api.get_auth(req, rsp, rpc_timeout_ms(NFS_STORE_TIMEOUT_MS)) != 0 || rsp.status().result() != 0 ||
        !rsp.has_auth_info())
        return;
    out.name = rsp.auth_info().hostname();
    out.share_id = rsp.auth_info().share_id();
}

}  // namespace tvn_nfs
