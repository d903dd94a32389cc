#include "sim_conf_service.h"

#include <fmt/format.h>

#include "sim_result.h"

namespace tvn::sim {

namespace {

std::vector<std::string> keys_of(const tvn_gettenant_cfg_req& req) {
    return {req.key().begin(), req.key().end()};
}

void set_rsp(tvn_conf_common_rsp* rsp, int32_t rc, const std::string& desc) {
    rsp->set_result(rc);
    rsp->set_desc(desc);
}

// A request of pairs names its tenant in each pair; a request without pairs
// speaks for the system tenant.
uint32_t tenant_of(const tvn_settenant_cfg_req& req) {
    return req.config_size() > 0 ? req.config(0).tenant_id() : 0;
}

}  // namespace

void sim_conf_service::get_family(const tvn_gettenant_cfg_req& req, const char* family,
                                  tvn_gettenant_cfg_rsp* rsp) {
    store_.conf.get_tenant(req.tenant_id(), keys_of(req), family, rsp);
}

void sim_conf_service::set_family(const tvn_settenant_cfg_req& req, const char* family,
                                  tvn_conf_common_rsp* rsp) {
    sim_answer(rsp, store_.conf, &conf_store::set_tenant, req, family);
}

void sim_conf_service::del_family(const tvn_settenant_cfg_req& req, const char* family,
                                  tvn_conf_common_rsp* rsp) {
    sim_answer(rsp, store_.conf, &conf_store::del_tenant_keys, tenant_of(req), req, family);
}

void sim_conf_service::set_global_value(const char* key, const std::string& value,
                                        tvn_conf_common_rsp* rsp) {
    tvn_setglobal_cfg_req g;
    auto* p = g.add_config();
    p->set_key(key);
    p->set_value(value);
    sim_answer(rsp, store_.conf, &conf_store::set_global, g);
}

SIM_RPC_IMPL(sim_conf_service, get_global_config, tvn_getglobal_cfg_req, tvn_getglobal_cfg_rsp) {
    store_.conf.get_global({req->key().begin(), req->key().end()}, rsp);
}

SIM_RPC_IMPL(sim_conf_service, set_global_config, tvn_setglobal_cfg_req, tvn_conf_common_rsp) {
    sim_answer(rsp, store_.conf, &conf_store::set_global, *req);
}

SIM_RPC_IMPL(sim_conf_service, get_tenant_config, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp) {
    get_family(*req, "", rsp);
}

SIM_RPC_IMPL(sim_conf_service, set_tenant_config, tvn_settenant_cfg_req, tvn_conf_common_rsp) {
    set_family(*req, "", rsp);
}

SIM_RPC_IMPL(sim_conf_service, del_tenant_config_like, tvn_deltenant_cfg_req, tvn_conf_common_rsp) {
    int deleted = 0;
    sim_answer(rsp, store_.conf, &conf_store::del_tenant_like, req->tenant_id(), req->key(),
               deleted);
}

SIM_RPC_IMPL(sim_conf_service, get_tenant_config_from_db, tvn_gettenant_cfg_req,
             tvn_gettenant_cfg_rsp) {
    get_family(*req, "", rsp);
}

SIM_RPC_IMPL(sim_conf_service, set_ldap_server, tvn_settenant_cfg_req, tvn_conf_common_rsp) {
    set_family(*req, "ldap", rsp);
}
SIM_RPC_IMPL(sim_conf_service, get_ldap_server, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp) {
    get_family(*req, "ldap", rsp);
}
SIM_RPC_IMPL(sim_conf_service, del_ldap_server, tvn_settenant_cfg_req, tvn_conf_common_rsp) {
    del_family(*req, "ldap", rsp);
}
SIM_RPC_IMPL(sim_conf_service, set_nis_server, tvn_settenant_cfg_req, tvn_conf_common_rsp) {
    set_family(*req, "nis", rsp);
}
SIM_RPC_IMPL(sim_conf_service, get_nis_server, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp) {
    get_family(*req, "nis", rsp);
}
SIM_RPC_IMPL(sim_conf_service, del_nis_server, tvn_settenant_cfg_req, tvn_conf_common_rsp) {
    del_family(*req, "nis", rsp);
}
SIM_RPC_IMPL(sim_conf_service, set_nfs_mount_version, tvn_settenant_cfg_req,
             tvn_conf_common_rsp) {
    set_family(*req, "nfs_mount_version", rsp);
}
SIM_RPC_IMPL(sim_conf_service, set_nfs_mount_version_sync, tvn_settenant_cfg_req,
             tvn_conf_common_rsp) {
    set_family(*req, "nfs_mount_version", rsp);
}
SIM_RPC_IMPL(sim_conf_service, update_nfs_version_file, tvn_gettenant_cfg_req,
             tvn_gettenant_cfg_rsp) {
    get_family(*req, "nfs_mount_version", rsp);
}
SIM_RPC_IMPL(sim_conf_service, set_nfs4_domain, tvn_settenant_cfg_req, tvn_conf_common_rsp) {
    set_family(*req, "nfs4_domain", rsp);
}
SIM_RPC_IMPL(sim_conf_service, set_dnsip, tvn_settenant_cfg_req, tvn_conf_common_rsp) {
    set_family(*req, "dns", rsp);
}
SIM_RPC_IMPL(sim_conf_service, get_dnsip, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp) {
    get_family(*req, "dns", rsp);
}
SIM_RPC_IMPL(sim_conf_service, set_oper_log_level, tvn_settenant_cfg_req, tvn_conf_common_rsp) {
    set_family(*req, "oper_log_level", rsp);
}
SIM_RPC_IMPL(sim_conf_service, get_oper_log_level, tvn_gettenant_cfg_req,
             tvn_gettenant_cfg_rsp) {
    get_family(*req, "oper_log_level", rsp);
}
SIM_RPC_IMPL(sim_conf_service, set_opt_log_dir, tvn_settenant_cfg_req, tvn_conf_common_rsp) {
    set_family(*req, "opt_log_dir", rsp);
}
SIM_RPC_IMPL(sim_conf_service, get_opt_log_dir, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp) {
    get_family(*req, "opt_log_dir", rsp);
}
SIM_RPC_IMPL(sim_conf_service, set_mps_usermapping_config, tvn_settenant_cfg_req,
             tvn_conf_common_rsp) {
    set_family(*req, "mps_usermapping", rsp);
}
SIM_RPC_IMPL(sim_conf_service, get_mps_usermapping_config, tvn_gettenant_cfg_req,
             tvn_gettenant_cfg_rsp) {
    get_family(*req, "mps_usermapping", rsp);
}

SIM_RPC_IMPL(sim_conf_service, add_new_tenant_cfg_byid, tvn_tenant_cfg_mgr_req,
             tvn_conf_common_rsp) {
    sim_answer(rsp, store_.conf, &conf_store::add_tenant, *req);
}

SIM_RPC_IMPL(sim_conf_service, del_tenant_cfg_byid, tvn_tenant_cfg_mgr_req,
             tvn_conf_common_rsp) {
    sim_answer(rsp, store_.conf, &conf_store::del_tenant, *req);
}

SIM_RPC_IMPL(sim_conf_service, set_autohome_dir, tvn_set_autohomedir_req, tvn_conf_common_rsp) {
    tvn_settenant_cfg_req pairs;
    for (auto [k, v] : {std::pair<const char*, const std::string*>{"autohome_dir", &req->homedir()},
                        std::pair<const char*, const std::string*>{"autohome_fsid",
                                                                    &req->fsid_str()}}) {
        auto* p = pairs.add_config();
        p->set_tenant_id(req->tenant_id());
        p->set_key(k);
        p->set_value(*v);
    }
    set_family(pairs, "autohome", rsp);
}

SIM_RPC_IMPL(sim_conf_service, get_autohome_dir, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp) {
    get_family(*req, "autohome", rsp);
}

SIM_RPC_IMPL(sim_conf_service, set_log_level, tvn_store_set_log_level_req, tvn_conf_common_rsp) {
    set_global_value("store_log_level", std::to_string(req->level()), rsp);
}

SIM_RPC_IMPL(sim_conf_service, get_conf_status, tvn_get_conf_status_req,
             tvn_get_conf_status_rsp) {
    (void)req;
    // No export or import ever runs here.
    set_rsp(rsp->mutable_status(), SIM_OK, "idle");
    rsp->set_conf_status(false);
}

SIM_RPC_IMPL(sim_conf_service, get_store_state, tvn_get_store_state_req, tvn_conf_common_rsp) {
    (void)req;
    set_rsp(rsp, SIM_OK, "ready");
}

SIM_RPC_IMPL(sim_conf_service, notify_kernel_basic_configs, tvn_notify_kernel_basic_cfg_req,
             tvn_conf_common_rsp) {
    (void)req;
    set_rsp(rsp, SIM_OK, "success");
}

SIM_RPC_IMPL(sim_conf_service, mount_vfs, tvn_mount_vfs_req, tvn_conf_common_rsp) {
    if (store_.inv.fs_by_id(req->fsid()))
        set_rsp(rsp, SIM_OK, "success");
    else
        set_rsp(rsp, SIM_ERR_NOT_FOUND, fmt::format("file system {} not found", req->fsid()));
}

SIM_RPC_IMPL(sim_conf_service, check_tenant_exist, tvn_check_tenant_exist_req,
             tvn_check_tenant_exist_rsp) {
    rsp->set_result(store_.conf.tenant_exists(req->tenant_id()) ? SIM_OK : SIM_ERR_NOT_FOUND);
}

SIM_RPC_IMPL(sim_conf_service, get_tenant_list, tvn_tenant_list_req, tvn_tenant_list_rsp) {
    (void)req;
    store_.conf.list_tenants(rsp);
}

SIM_RPC_IMPL(sim_conf_service, GetTenantListFromCache, tvn_tenant_list_req, tvn_tenant_list_rsp) {
    (void)req;
    store_.conf.list_tenants(rsp);
}

SIM_RPC_IMPL(sim_conf_service, set_fsclone_nfs_test_key, tvn_set_fsclone_nfs_key_req,
             tvn_conf_common_rsp) {
    set_global_value("fsclone_nfs_test_key", std::to_string(req->key()), rsp);
}

SIM_RPC_IMPL(sim_conf_service, del_krb_conf, tvn_delete_krb_conf_req, tvn_delete_krb_conf_rsp) {
    tvn_settenant_cfg_req none;
    std::string desc;
    rsp->set_result(store_.conf.del_tenant_keys(req->tenant_id(), none, "krb_conf", desc));
}

SIM_RPC_IMPL(sim_conf_service, del_krb_keytab, tvn_delete_krb_keytab_req,
             tvn_delete_krb_keytab_rsp) {
    tvn_settenant_cfg_req none;
    std::string desc;
    rsp->set_result(store_.conf.del_tenant_keys(req->tenant_id(), none, "krb_keytab", desc));
}

SIM_RPC_IMPL(sim_conf_service, GetAllTenantConfigFromDb, tvn_gettenant_cfg_req,
             tvn_gettenant_cfg_rsp) {
    get_family(*req, "", rsp);
}

SIM_RPC_IMPL(sim_conf_service, check_multi_dc_slave, tvn_settenant_cfg_req, tvn_conf_common_rsp) {
    const uint32_t tenant = tenant_of(*req);
    const bool slave = store_.conf.tenant_value(tenant, "multi_dc_role") == "slave";
    set_rsp(rsp, SIM_OK, slave ? "secondary" : "primary");
    rsp->set_flag(slave ? kMultiDcSlaveFlag : 0);
}

}  // namespace tvn::sim
