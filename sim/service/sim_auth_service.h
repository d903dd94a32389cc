#pragma once
// The authentication daemon's three services over the stand-ins' directory:
// authentication, identity look-ups and diagnosis (join, connectivity, ...).
#include "sim_service_base.h"
#include "sim_store.h"
#include "talvane_auth.pb.h"
#include "talvane_diagnose.pb.h"
#include "talvane_lookup.pb.h"

namespace tvn::sim {

class sim_auth_service : public sim_service<tvn_auth_service> {
public:
    explicit sim_auth_service(sim_store& store) : store_(store) {}

    SIM_RPC(auth_notify_lif_change, tvn_auth_notify_lif_change_req,
            tvn_auth_notify_lif_change_rsp);
    SIM_RPC(AuthKerberosJoinRealm, TvnAuthNfsKerberosJoinRealmReq, TvnAuthNfsKerberosJoinRealmRsp);
    SIM_RPC(AuthKerberosUnjoinDomain, TvnAuthNfsKerberosJoinRealmReq,
            TvnAuthNfsKerberosJoinRealmRsp);

private:
    sim_store& store_;
};

class sim_lookup_service : public sim_service<tvn_lookup_service> {
public:
    explicit sim_lookup_service(sim_store& store) : store_(store) {}

    SIM_RPC(lookup_userinfo_by_sid, tvn_lookup_userinfo_by_sid_req, tvn_lookup_userinfo_rsp);
    SIM_RPC(lookup_usersinfo_by_sids, tvn_lookup_usersinfo_by_sids_req, tvn_lookup_usersinfo_rsp);
    SIM_RPC(lookup_userinfo_by_name, tvn_lookup_userinfo_by_name_req, tvn_lookup_userinfo_rsp);
    SIM_RPC(LookupUnixUserInfoByName, tvn_lookup_unix_userinfo_by_name_req,
            tvn_lookup_userinfo_rsp);
    SIM_RPC(lookup_userinfo_by_uid, tvn_lookup_userinfo_by_uid_req, tvn_lookup_userinfo_rsp);
    SIM_RPC(lookup_userinfo_by_gid, tvn_lookup_userinfo_by_gid_req, tvn_lookup_userinfo_rsp);
    SIM_RPC(lookup_allcred_by_name, tvn_lookup_allcred_by_name_req, tvn_lookup_allcred_rsp);
    SIM_RPC(lookup_wincred_by_uid, tvn_lookup_wincred_by_uid_req, tvn_lookup_wincred_rsp);
    SIM_RPC(lookup_dominfo_by_sid, tvn_lookup_dominfo_by_sid_req, tvn_lookup_dominfo_rsp);
    SIM_RPC(lookup_dominfo_by_name, tvn_lookup_dominfo_by_name_req, tvn_lookup_dominfo_rsp);
    SIM_RPC(lookup_dominfo_by_indom, tvn_lookup_dominfo_by_indom_req, tvn_lookup_dominfo_rsp);
    SIM_RPC(lookup_dcinfo, tvn_lookup_dcinfo_req, tvn_lookup_dcinfo_rsp);
    SIM_RPC(lookup_sid_type, tvn_lookup_sid_type_req, tvn_lookup_sid_type_rsp);
    SIM_RPC(lookup_join_state, tvn_lookup_join_state_req, tvn_lookup_join_state_rsp);
    SIM_RPC(lookup_machine_principal_name, tvn_lookup_machine_principal_name_req,
            tvn_lookup_machine_principal_name_rsp);
    SIM_RPC(lookup_unixcred_by_usid, tvn_lookup_unixcred_by_usid_req,
            tvn_lookup_unixcred_by_usid_rsp);
    SIM_RPC(lookup_hostinfo_by_addr, tvn_lookup_hostinfo_by_addr_req, tvn_lookup_hostinfo_rsp);
    SIM_RPC(lookup_hostinfo_by_name, tvn_lookup_hostinfo_by_name_req, tvn_lookup_hostinfo_rsp);
    SIM_RPC(lookup_netgroup_info, tvn_lookup_netgroup_info_req, tvn_lookup_netgroup_info_rsp);
    SIM_RPC(netgroups_check, tvn_netgroups_check_req, tvn_netgroups_check_rsp);
    SIM_RPC(lookup_netgroup_verify, tvn_lookup_netgroup_verify_req,
            tvn_lookup_netgroup_verify_rsp);
    SIM_RPC(lookup_domain_user, tvn_lookup_domain_user_req, tvn_lookup_userinfo_rsp);
    SIM_RPC(LookupWinQuotaIdByName, TvnLookupWinQuotaIdByNameReq, TvnLookupWinQuotaIdByNameRsp);
    SIM_RPC(LookupWinNameByQuotaId, TvnLookupWinNameByQuotaIdReq, TvnLookupWinNameByQuotaIdRsp);
    SIM_RPC(LookupWinQuotaIdBySid, TvnLookupWinQuotaIdBySidReq, TvnLookupWinQuotaIdBySidRsp);
    SIM_RPC(ResetAuthLocalConf, TvnResetAuthLocalConfReq, TvnResetAuthLocalConfRsp);

private:
    sim_store& store_;
};

class sim_diagnose_service : public sim_service<tvn_diagnose_service> {
public:
    explicit sim_diagnose_service(sim_store& store) : store_(store) {}

    SIM_RPC(refresh_dc, tvn_refresh_dc_req, tvn_refresh_dc_rsp);
    SIM_RPC(update_ddns, tvn_update_ddns_req, tvn_update_ddns_rsp);
    SIM_RPC(set_log_level, tvn_set_log_level_req, tvn_set_log_level_rsp);
    SIM_RPC(enable_dom_cache, tvn_enable_dom_cache_req, tvn_enable_dom_cache_rsp);
    SIM_RPC(update_dom_cache, tvn_update_dom_cache_req, tvn_update_dom_cache_rsp);
    SIM_RPC(set_hostname, tvn_set_hostname_req, tvn_set_hostname_rsp);
    SIM_RPC(get_hostname, tvn_get_hostname_req, tvn_get_hostname_rsp);
    SIM_RPC(set_hostips, tvn_set_hostips_req, tvn_set_hostips_rsp);
    SIM_RPC(get_hostips, tvn_get_hostips_req, tvn_get_hostips_rsp);
    SIM_RPC(get_msrpc_session, tvn_get_msrpc_session_req, tvn_get_msrpc_session_rsp);
    SIM_RPC(GetAuthDiagnoseInfo, TvnAuthGetDiagnoseInfoReq, TvnAuthGetDiagnoseInfoRsp);
    SIM_RPC(join_domain, tvn_join_domain_req, tvn_join_domain_rsp);
    SIM_RPC(unjoin_domain, tvn_join_domain_req, tvn_join_domain_rsp);
    SIM_RPC(set_userlock, tvn_set_userlock_req, tvn_set_userlock_rsp);
    SIM_RPC(get_userlock, tvn_get_userlock_req, tvn_get_userlock_rsp);
    SIM_RPC(get_auth_state, tvn_get_auth_state_req, tvn_get_auth_state_rsp);
    SIM_RPC(check_connectivity, tvn_check_connectivity_req, tvn_check_connectivity_rsp);
    SIM_RPC(CheckDnsAvailable, tvn_check_connectivity_req, tvn_check_connectivity_rsp);
    SIM_RPC(enable_tenant_netrouter, tvn_enable_tenant_netrouter_req,
            tvn_enable_tenant_netrouter_rsp);
    SIM_RPC(set_feature_enable, tvn_set_feature_enable_req, tvn_set_feature_enable_rsp);
    SIM_RPC(get_feature_enable, tvn_get_feature_enable_req, tvn_get_feature_enable_rsp);
    SIM_RPC(update_namesrv_cache, tvn_update_namesrv_cache_req, tvn_update_namesrv_cache_rsp);
    SIM_RPC(update_krb_keytab, tvn_update_krb_keytab_req, tvn_update_krb_keytab_rsp);
    SIM_RPC(update_krb_conf, tvn_update_krb_conf_req, tvn_update_krb_conf_rsp);
    SIM_RPC(handle_conn_view_cache, TvnConnViewCacheHandleReq, TvnConnViewCacheHandleRsp);
    SIM_RPC(list_dc_conn_view, TvnAuthListDcConnViewReq, TvnAuthListDcConnViewRsp);
    SIM_RPC(GetOrClearStatis, TvnOperateStatisReq, TvnOperateStatisRsp);
    SIM_RPC(ClearAllLocalUnixUserGrpCache, TvnClearAllLocalUnixUserGrpCacheReq,
            TvnClearAllLocalUnixUserGrpCacheRsp);
    SIM_RPC(ClearLocalUnixUserCache, TvnClearLocalUnixUserCacheReq, TvnClearLocalUnixUserCacheRsp);
    SIM_RPC(ClearLocalUnixGrpCache, TvnClearLocalUnixGrpCacheReq, TvnClearLocalUnixGrpCacheRsp);
    SIM_RPC(LdapLogonMgmt, TvnLdapLogonReq, TvnLdapLogonRsp);
    SIM_RPC(ClearTenantConfCache, TvnClearTenantConfCacheReq, TvnClearTenantConfCacheRsp);
    SIM_RPC(GetKerberosKoStatus, TvnGetKerberosKoStatusReq, TvnGetKerberosKoStatusRsp);
    SIM_RPC(GetKoStatus, TvnGetKerberosKoStatusReq, TvnGetKerberosKoStatusRsp);

private:
    // 0 with the time it took, or SIM_ERR_UNREACHABLE / SIM_ERR_INVALID.
    int32_t probe(uint32_t tenant_id, TvnConnectType type, const std::string& address,
                  bool has_port, uint32_t port, uint32_t& elapsed_ms);
    int32_t run_join(const tvn_join_domain_req& req, bool join);

    sim_store& store_;
};

}  // namespace tvn::sim
