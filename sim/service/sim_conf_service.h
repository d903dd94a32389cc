#pragma once
// The store daemon's configuration service over the stand-ins' database.
#include "sim_service_base.h"
#include "sim_store.h"
#include "talvane_store_conf.pb.h"

namespace tvn::sim {

class sim_conf_service : public sim_service<tvn_store_conf_service> {
public:
    // The flag check_multi_dc_slave answers for a tenant whose pair
    // "multi_dc_role" is "slave": the secondary side of a multi-DC setup.
    static constexpr int32_t kMultiDcSlaveFlag = -8029;

    explicit sim_conf_service(sim_store& store) : store_(store) {}

    SIM_RPC(get_global_config, tvn_getglobal_cfg_req, tvn_getglobal_cfg_rsp);
    SIM_RPC(set_global_config, tvn_setglobal_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(get_tenant_config, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp);
    SIM_RPC(set_tenant_config, tvn_settenant_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(del_tenant_config_like, tvn_deltenant_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(get_tenant_config_from_db, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp);
    SIM_RPC(set_ldap_server, tvn_settenant_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(get_ldap_server, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp);
    SIM_RPC(del_ldap_server, tvn_settenant_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(set_nis_server, tvn_settenant_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(get_nis_server, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp);
    SIM_RPC(del_nis_server, tvn_settenant_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(set_nfs_mount_version, tvn_settenant_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(set_nfs_mount_version_sync, tvn_settenant_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(set_nfs4_domain, tvn_settenant_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(set_dnsip, tvn_settenant_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(get_dnsip, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp);
    SIM_RPC(add_new_tenant_cfg_byid, tvn_tenant_cfg_mgr_req, tvn_conf_common_rsp);
    SIM_RPC(del_tenant_cfg_byid, tvn_tenant_cfg_mgr_req, tvn_conf_common_rsp);
    SIM_RPC(set_autohome_dir, tvn_set_autohomedir_req, tvn_conf_common_rsp);
    SIM_RPC(get_autohome_dir, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp);
    SIM_RPC(update_nfs_version_file, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp);
    SIM_RPC(set_log_level, tvn_store_set_log_level_req, tvn_conf_common_rsp);
    SIM_RPC(set_oper_log_level, tvn_settenant_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(get_oper_log_level, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp);
    SIM_RPC(set_opt_log_dir, tvn_settenant_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(get_opt_log_dir, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp);
    SIM_RPC(get_conf_status, tvn_get_conf_status_req, tvn_get_conf_status_rsp);
    SIM_RPC(get_store_state, tvn_get_store_state_req, tvn_conf_common_rsp);
    SIM_RPC(notify_kernel_basic_configs, tvn_notify_kernel_basic_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(set_mps_usermapping_config, tvn_settenant_cfg_req, tvn_conf_common_rsp);
    SIM_RPC(get_mps_usermapping_config, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp);
    SIM_RPC(mount_vfs, tvn_mount_vfs_req, tvn_conf_common_rsp);
    SIM_RPC(check_tenant_exist, tvn_check_tenant_exist_req, tvn_check_tenant_exist_rsp);
    SIM_RPC(get_tenant_list, tvn_tenant_list_req, tvn_tenant_list_rsp);
    SIM_RPC(GetTenantListFromCache, tvn_tenant_list_req, tvn_tenant_list_rsp);
    SIM_RPC(set_fsclone_nfs_test_key, tvn_set_fsclone_nfs_key_req, tvn_conf_common_rsp);
    SIM_RPC(del_krb_conf, tvn_delete_krb_conf_req, tvn_delete_krb_conf_rsp);
    SIM_RPC(del_krb_keytab, tvn_delete_krb_keytab_req, tvn_delete_krb_keytab_rsp);
    SIM_RPC(GetAllTenantConfigFromDb, tvn_gettenant_cfg_req, tvn_gettenant_cfg_rsp);
    SIM_RPC(check_multi_dc_slave, tvn_settenant_cfg_req, tvn_conf_common_rsp);

private:
    void get_family(const tvn_gettenant_cfg_req& req, const char* family,
                    tvn_gettenant_cfg_rsp* rsp);
    void set_family(const tvn_settenant_cfg_req& req, const char* family, tvn_conf_common_rsp* rsp);
    void del_family(const tvn_settenant_cfg_req& req, const char* family, tvn_conf_common_rsp* rsp);
    void set_global_value(const char* key, const std::string& value, tvn_conf_common_rsp* rsp);

    sim_store& store_;
};

}  // namespace tvn::sim
