#pragma once
// Client of the configuration store service of the store daemon (system
// and per-tenant key/value settings). Each method returns 0 when the call
// completed (the store's verdict is then in the reply) or the transport
// error.
#include <cstdint>
#include <string>

#include "talvane_store_conf.pb.h"
#include "tvn_msg_rpc_api.h"

class tvn_store_conf_api : public tvn_msg_rpc_api<tvn_store_conf_service_Stub> {
public:
    static constexpr int32_t STORE_PORT = 6102;
    static constexpr unsigned STORE_WORKER_NUM = 3;

    explicit tvn_store_conf_api(const std::string& host, bool multi_channel = false,
                                int32_t port = STORE_PORT)
        : tvn_msg_rpc_api(host, port, multi_channel, STORE_WORKER_NUM) {}

    int32_t get_tenant_config(const tvn_gettenant_cfg_req& req, tvn_gettenant_cfg_rsp& rsp,
                              int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::get_tenant_config, req, rsp, timeout_ms);
    }
    int32_t set_tenant_config(const tvn_settenant_cfg_req& req, tvn_conf_common_rsp& rsp,
                              int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::set_tenant_config, req, rsp, timeout_ms);
    }
    int32_t del_tenant_config_like(const tvn_deltenant_cfg_req& req, tvn_conf_common_rsp& rsp,
                                   int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::del_tenant_config_like, req, rsp, timeout_ms);
    }
    int32_t get_tenant_config_from_db(const tvn_gettenant_cfg_req& req, tvn_gettenant_cfg_rsp& rsp,
                                      int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::get_tenant_config_from_db, req, rsp, timeout_ms);
    }
    int32_t set_ldap_server(const tvn_settenant_cfg_req& req, tvn_conf_common_rsp& rsp,
                            int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::set_ldap_server, req, rsp, timeout_ms);
    }
    int32_t get_ldap_server(const tvn_gettenant_cfg_req& req, tvn_gettenant_cfg_rsp& rsp,
                            int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::get_ldap_server, req, rsp, timeout_ms);
    }
    int32_t del_ldap_server(const tvn_settenant_cfg_req& req, tvn_conf_common_rsp& rsp,
                            int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::del_ldap_server, req, rsp, timeout_ms);
    }
    int32_t set_nis_server(const tvn_settenant_cfg_req& req, tvn_conf_common_rsp& rsp,
                           int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::set_nis_server, req, rsp, timeout_ms);
    }
    int32_t get_nis_server(const tvn_gettenant_cfg_req& req, tvn_gettenant_cfg_rsp& rsp,
                           int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::get_nis_server, req, rsp, timeout_ms);
    }
    int32_t del_nis_server(const tvn_settenant_cfg_req& req, tvn_conf_common_rsp& rsp,
                           int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::del_nis_server, req, rsp, timeout_ms);
    }
    int32_t set_nfs_mount_version(const tvn_settenant_cfg_req& req, tvn_conf_common_rsp& rsp,
                                  int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::set_nfs_mount_version, req, rsp, timeout_ms);
    }
    int32_t set_nfs_mount_version_sync(const tvn_settenant_cfg_req& req, tvn_conf_common_rsp& rsp,
                                       int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::set_nfs_mount_version_sync, req, rsp, timeout_ms);
    }
    int32_t set_nfs4_domain(const tvn_settenant_cfg_req& req, tvn_conf_common_rsp& rsp,
                            int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::set_nfs4_domain, req, rsp, timeout_ms);
    }
    int32_t add_new_tenant_cfg_byid(const tvn_tenant_cfg_mgr_req& req, tvn_conf_common_rsp& rsp,
                                    int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::add_new_tenant_cfg_byid, req, rsp, timeout_ms);
    }
    int32_t del_tenant_cfg_byid(const tvn_tenant_cfg_mgr_req& req, tvn_conf_common_rsp& rsp,
                                int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::del_tenant_cfg_byid, req, rsp, timeout_ms);
    }
    int32_t update_nfs_version_file(const tvn_gettenant_cfg_req& req, tvn_gettenant_cfg_rsp& rsp,
                                    int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::update_nfs_version_file, req, rsp, timeout_ms);
    }
    int32_t set_log_level(const tvn_store_set_log_level_req& req, tvn_conf_common_rsp& rsp,
                          int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::set_log_level, req, rsp, timeout_ms);
    }
    int32_t check_tenant_exist(const tvn_check_tenant_exist_req& req,
                               tvn_check_tenant_exist_rsp& rsp, int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::check_tenant_exist, req, rsp, timeout_ms);
    }
    int32_t get_tenant_list(const tvn_tenant_list_req& req, tvn_tenant_list_rsp& rsp,
                            int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::get_tenant_list, req, rsp, timeout_ms);
    }
    int32_t GetTenantListFromCache(const tvn_tenant_list_req& req, tvn_tenant_list_rsp& rsp,
                                   int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::GetTenantListFromCache, req, rsp, timeout_ms);
    }
    int32_t DropDatabase(const tvn_tenant_cfg_mgr_req& req, tvn_conf_common_rsp& rsp,
                         int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::DropDatabase, req, rsp, timeout_ms);
    }
    int32_t del_krb_conf(const tvn_delete_krb_conf_req& req, tvn_delete_krb_conf_rsp& rsp,
                         int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::del_krb_conf, req, rsp, timeout_ms);
    }
    int32_t del_krb_keytab(const tvn_delete_krb_keytab_req& req, tvn_delete_krb_keytab_rsp& rsp,
                           int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::del_krb_keytab, req, rsp, timeout_ms);
    }
    int32_t DropOldTable(const tvn_tenant_cfg_mgr_req& req, tvn_conf_common_rsp& rsp,
                         int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::DropOldTable, req, rsp, timeout_ms);
    }
    int32_t GetAllTenantConfigFromDb(const tvn_gettenant_cfg_req& req, tvn_gettenant_cfg_rsp& rsp,
                                     int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::GetAllTenantConfigFromDb, req, rsp, timeout_ms);
    }
    int32_t check_multi_dc_slave(const tvn_settenant_cfg_req& req, tvn_conf_common_rsp& rsp,
                                 int timeout_ms) {
        return call(&tvn_store_conf_service_Stub::check_multi_dc_slave, req, rsp, timeout_ms);
    }
};
