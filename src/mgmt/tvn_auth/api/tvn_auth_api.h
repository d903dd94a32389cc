#pragma once
// Client of the authentication daemon's three services (authentication,
// lookup, diagnose) over one connection. Each method returns 0 when the
// call completed (the service's outcome is in the response) or the
// transport error.
#include <cstdint>
#include <string>

#include "talvane_auth.pb.h"
#include "talvane_diagnose.pb.h"
#include "talvane_lookup.pb.h"
#include "tvn_msg_rpc_api.h"

class tvn_auth_api : public tvn_msg_rpc_api<tvn_auth_service_Stub, tvn_lookup_service_Stub,
                                            tvn_diagnose_service_Stub> {
public:
    static constexpr int32_t AUTH_PORT = 6103;

    tvn_auth_api(const std::string& host, bool multi_channel, unsigned worker_num,
                 int32_t port = AUTH_PORT)
        : tvn_msg_rpc_api(host, port, multi_channel, worker_num) {}

    // ---- tvn_auth_service
    int32_t auth_via_raw_ntlm(const tvn_auth_raw_ntlm_req& req, tvn_auth_raw_ntlm_rsp& rsp,
                              int timeout_ms);
    int32_t auth_via_spnego(const tvn_auth_spnego_req& req, tvn_auth_spnego_rsp& rsp,
                            int timeout_ms) {
        return call(&tvn_auth_service_Stub::auth_via_spnego, req, rsp, timeout_ms);
    }
    int32_t auth_get_neg_tokeninit(const tvn_auth_get_negtoken_req& req,
                                   tvn_auth_get_negtoken_rsp& rsp, int timeout_ms) {
        return call(&tvn_auth_service_Stub::auth_get_neg_tokeninit, req, rsp, timeout_ms);
    }
    int32_t auth_notify_lif_change(const tvn_auth_notify_lif_change_req& req,
                                   tvn_auth_notify_lif_change_rsp& rsp, int timeout_ms) {
        return call(&tvn_auth_service_Stub::auth_notify_lif_change, req, rsp, timeout_ms);
    }
    int32_t AuthKerberosJoinRealm(const TvnAuthNfsKerberosJoinRealmReq& req,
                                  TvnAuthNfsKerberosJoinRealmRsp& rsp, int timeout_ms);
    int32_t AuthKerberosUnjoinDomain(const TvnAuthNfsKerberosJoinRealmReq& req,
                                     TvnAuthNfsKerberosJoinRealmRsp& rsp, int timeout_ms);

    // ---- tvn_lookup_service
    int32_t lookup_userinfo_by_sid(const tvn_lookup_userinfo_by_sid_req& req,
                                   tvn_lookup_userinfo_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_userinfo_by_sid, req, rsp, timeout_ms);
    }
    int32_t lookup_userinfo_list_by_sid(const tvn_lookup_usersinfo_by_sids_req& req,
                                        tvn_lookup_usersinfo_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_usersinfo_by_sids, req, rsp, timeout_ms);
    }
    int32_t lookup_userinfo_by_name(const tvn_lookup_userinfo_by_name_req& req,
                                    tvn_lookup_userinfo_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_userinfo_by_name, req, rsp, timeout_ms);
    }
    int32_t LookupUnixUserInfoByName(const tvn_lookup_unix_userinfo_by_name_req& req,
                                     tvn_lookup_userinfo_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::LookupUnixUserInfoByName, req, rsp, timeout_ms);
    }
    int32_t lookup_userinfo_by_uid(const tvn_lookup_userinfo_by_uid_req& req,
                                   tvn_lookup_userinfo_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_userinfo_by_uid, req, rsp, timeout_ms);
    }
    int32_t lookup_userinfo_by_gid(const tvn_lookup_userinfo_by_gid_req& req,
                                   tvn_lookup_userinfo_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_userinfo_by_gid, req, rsp, timeout_ms);
    }
    int32_t lookup_allcred_by_name(const tvn_lookup_allcred_by_name_req& req,
                                   tvn_lookup_allcred_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_allcred_by_name, req, rsp, timeout_ms);
    }
    int32_t lookup_wincred_by_uid(const tvn_lookup_wincred_by_uid_req& req,
                                  tvn_lookup_wincred_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_wincred_by_uid, req, rsp, timeout_ms);
    }
    int32_t lookup_dominfo_by_sid(const tvn_lookup_dominfo_by_sid_req& req,
                                  tvn_lookup_dominfo_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_dominfo_by_sid, req, rsp, timeout_ms);
    }
    int32_t lookup_dominfo_by_name(const tvn_lookup_dominfo_by_name_req& req,
                                   tvn_lookup_dominfo_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_dominfo_by_name, req, rsp, timeout_ms);
    }
    int32_t lookup_dominfo_by_indom(const tvn_lookup_dominfo_by_indom_req& req,
                                    tvn_lookup_dominfo_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_dominfo_by_indom, req, rsp, timeout_ms);
    }
    int32_t lookup_dcinfo_list(const tvn_lookup_dcinfo_req& req, tvn_lookup_dcinfo_rsp& rsp,
                               int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_dcinfo, req, rsp, timeout_ms);
    }
    int32_t lookup_sid_type(const tvn_lookup_sid_type_req& req, tvn_lookup_sid_type_rsp& rsp,
                            int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_sid_type, req, rsp, timeout_ms);
    }
    int32_t join_state(const tvn_lookup_join_state_req& req, tvn_lookup_join_state_rsp& rsp,
                       int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_join_state, req, rsp, timeout_ms);
    }
    int32_t lookup_machine_principal_name(const tvn_lookup_machine_principal_name_req& req,
                                          tvn_lookup_machine_principal_name_rsp& rsp,
                                          int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_machine_principal_name, req, rsp, timeout_ms);
    }
    int32_t lookup_unixcred_by_usid(const tvn_lookup_unixcred_by_usid_req& req,
                                    tvn_lookup_unixcred_by_usid_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_unixcred_by_usid, req, rsp, timeout_ms);
    }
    int32_t lookup_hostinfo_by_addr(const tvn_lookup_hostinfo_by_addr_req& req,
                                    tvn_lookup_hostinfo_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_hostinfo_by_addr, req, rsp, timeout_ms);
    }
    int32_t lookup_hostinfo_by_name(const tvn_lookup_hostinfo_by_name_req& req,
                                    tvn_lookup_hostinfo_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_hostinfo_by_name, req, rsp, timeout_ms);
    }
    int32_t lookup_netgroup_info(const tvn_lookup_netgroup_info_req& req,
                                 tvn_lookup_netgroup_info_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_netgroup_info, req, rsp, timeout_ms);
    }
    int32_t netgroups_check(const tvn_netgroups_check_req& req, tvn_netgroups_check_rsp& rsp,
                            int timeout_ms) {
        return call(&tvn_lookup_service_Stub::netgroups_check, req, rsp, timeout_ms);
    }
    int32_t lookup_netgroup_verify(const tvn_lookup_netgroup_verify_req& req,
                                   tvn_lookup_netgroup_verify_rsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_netgroup_verify, req, rsp, timeout_ms);
    }
    int32_t lookup_domain_user(const tvn_lookup_domain_user_req& req, tvn_lookup_userinfo_rsp& rsp,
                               int timeout_ms) {
        return call(&tvn_lookup_service_Stub::lookup_domain_user, req, rsp, timeout_ms);
    }
    int32_t LookupWinQuotaIdByName(const TvnLookupWinQuotaIdByNameReq& req,
                                   TvnLookupWinQuotaIdByNameRsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::LookupWinQuotaIdByName, req, rsp, timeout_ms);
    }
    int32_t LookupWinNameByQuotaId(const TvnLookupWinNameByQuotaIdReq& req,
                                   TvnLookupWinNameByQuotaIdRsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::LookupWinNameByQuotaId, req, rsp, timeout_ms);
    }
    int32_t LookupWinQuotaIdBySid(const TvnLookupWinQuotaIdBySidReq& req,
                                  TvnLookupWinQuotaIdBySidRsp& rsp, int timeout_ms) {
        return call(&tvn_lookup_service_Stub::LookupWinQuotaIdBySid, req, rsp, timeout_ms);
    }
    int32_t ResetAuthLocalConf(const TvnResetAuthLocalConfReq& req, TvnResetAuthLocalConfRsp& rsp,
                               int timeout_ms) {
        return call(&tvn_lookup_service_Stub::ResetAuthLocalConf, req, rsp, timeout_ms);
    }

    // ---- tvn_diagnose_service
    int32_t refresh_dc(const tvn_refresh_dc_req& req, tvn_refresh_dc_rsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::refresh_dc, req, rsp, timeout_ms);
    }
    int32_t update_ddns(const tvn_update_ddns_req& req, tvn_update_ddns_rsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::update_ddns, req, rsp, timeout_ms);
    }
    int32_t set_log_level(const tvn_set_log_level_req& req, tvn_set_log_level_rsp& rsp,
                          int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::set_log_level, req, rsp, timeout_ms);
    }
    int32_t enable_dom_cache(const tvn_enable_dom_cache_req& req, tvn_enable_dom_cache_rsp& rsp,
                             int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::enable_dom_cache, req, rsp, timeout_ms);
    }
    int32_t update_dom_cache(const tvn_update_dom_cache_req& req, tvn_update_dom_cache_rsp& rsp,
                             int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::update_dom_cache, req, rsp, timeout_ms);
    }
    int32_t set_hostname(const tvn_set_hostname_req& req, tvn_set_hostname_rsp& rsp,
                         int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::set_hostname, req, rsp, timeout_ms);
    }
    int32_t get_hostname(const tvn_get_hostname_req& req, tvn_get_hostname_rsp& rsp,
                         int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::get_hostname, req, rsp, timeout_ms);
    }
    int32_t set_hostips(const tvn_set_hostips_req& req, tvn_set_hostips_rsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::set_hostips, req, rsp, timeout_ms);
    }
    int32_t get_hostips(const tvn_get_hostips_req& req, tvn_get_hostips_rsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::get_hostips, req, rsp, timeout_ms);
    }
    int32_t get_msrpc_session(const tvn_get_msrpc_session_req& req, tvn_get_msrpc_session_rsp& rsp,
                              int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::get_msrpc_session, req, rsp, timeout_ms);
    }
    int32_t GetAuthDiagnoseInfo(const TvnAuthGetDiagnoseInfoReq& req,
                                TvnAuthGetDiagnoseInfoRsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::GetAuthDiagnoseInfo, req, rsp, timeout_ms);
    }
    int32_t join_domain(const tvn_join_domain_req& req, tvn_join_domain_rsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::join_domain, req, rsp, timeout_ms);
    }
    int32_t unjoin_domain(const tvn_join_domain_req& req, tvn_join_domain_rsp& rsp,
                          int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::unjoin_domain, req, rsp, timeout_ms);
    }
    int32_t set_userlock(const tvn_set_userlock_req& req, tvn_set_userlock_rsp& rsp,
                         int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::set_userlock, req, rsp, timeout_ms);
    }
    int32_t get_userlock(const tvn_get_userlock_req& req, tvn_get_userlock_rsp& rsp,
                         int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::get_userlock, req, rsp, timeout_ms);
    }
    int32_t get_auth_state(const tvn_get_auth_state_req& req, tvn_get_auth_state_rsp& rsp,
                           int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::get_auth_state, req, rsp, timeout_ms);
    }
    int32_t check_connectivity(const tvn_check_connectivity_req& req,
                               tvn_check_connectivity_rsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::check_connectivity, req, rsp, timeout_ms);
    }
    int32_t CheckDnsAvailable(const tvn_check_connectivity_req& req,
                              tvn_check_connectivity_rsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::CheckDnsAvailable, req, rsp, timeout_ms);
    }
    int32_t enable_tenant_netrouter(const tvn_enable_tenant_netrouter_req& req,
                                    tvn_enable_tenant_netrouter_rsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::enable_tenant_netrouter, req, rsp, timeout_ms);
    }
    int32_t set_feature_enable(const tvn_set_feature_enable_req& req,
                               tvn_set_feature_enable_rsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::set_feature_enable, req, rsp, timeout_ms);
    }
    int32_t get_feature_enable(const tvn_get_feature_enable_req& req,
                               tvn_get_feature_enable_rsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::get_feature_enable, req, rsp, timeout_ms);
    }
    int32_t update_namesrv_cache(const tvn_update_namesrv_cache_req& req,
                                 tvn_update_namesrv_cache_rsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::update_namesrv_cache, req, rsp, timeout_ms);
    }
    int32_t handle_conn_view_cache(const TvnConnViewCacheHandleReq& req,
                                   TvnConnViewCacheHandleRsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::handle_conn_view_cache, req, rsp, timeout_ms);
    }
    int32_t list_dc_conn_view(const TvnAuthListDcConnViewReq& req, TvnAuthListDcConnViewRsp& rsp,
                              int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::list_dc_conn_view, req, rsp, timeout_ms);
    }
    int32_t GetOrClearStatis(const TvnOperateStatisReq& req, TvnOperateStatisRsp& rsp,
                             int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::GetOrClearStatis, req, rsp, timeout_ms);
    }
    int32_t ClearAllLocalUnixUserGrpCache(const TvnClearAllLocalUnixUserGrpCacheReq& req,
                                          TvnClearAllLocalUnixUserGrpCacheRsp& rsp,
                                          int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::ClearAllLocalUnixUserGrpCache, req, rsp,
                    timeout_ms);
    }
    int32_t ClearLocalUnixUserCache(const TvnClearLocalUnixUserCacheReq& req,
                                    TvnClearLocalUnixUserCacheRsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::ClearLocalUnixUserCache, req, rsp, timeout_ms);
    }
    int32_t ClearLocalUnixGrpCache(const TvnClearLocalUnixGrpCacheReq& req,
                                   TvnClearLocalUnixGrpCacheRsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::ClearLocalUnixGrpCache, req, rsp, timeout_ms);
    }
    int32_t LdapLogonMgmt(const TvnLdapLogonReq& req, TvnLdapLogonRsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::LdapLogonMgmt, req, rsp, timeout_ms);
    }
    int32_t ClearTenantConfCache(const TvnClearTenantConfCacheReq& req,
                                 TvnClearTenantConfCacheRsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::ClearTenantConfCache, req, rsp, timeout_ms);
    }
    int32_t GetKerberosKoStatus(const TvnGetKerberosKoStatusReq& req,
                                TvnGetKerberosKoStatusRsp& rsp, int timeout_ms) {
        return call(&tvn_diagnose_service_Stub::GetKerberosKoStatus, req, rsp, timeout_ms);
    }
};
