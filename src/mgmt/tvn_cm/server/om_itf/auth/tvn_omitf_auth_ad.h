#pragma once
// The AD domain commands: domain settings with join and leave, domain
// controllers, DNS resolver, NTLM security, connectivity tests, look-ups
// and sessions. One source per command.
#include <cstdint>
#include <memory>
#include <string>

#include "auth/tvn_omitf_auth_command.h"

// A command class with nothing of its own beyond deal().
#define TVN_AUTH_COMMAND(cls)                                  \
    class cls : public tvn_omitf_auth_command<cls> {           \
    public:                                                    \
        static constexpr const char* kName = #cls;             \
        using tvn_omitf_auth_command::tvn_omitf_auth_command;  \
                                                               \
    private:                                                   \
        int deal(void* req, void** rsp) override;              \
    }

class tvn_omitf_auth_modify_ad : public tvn_omitf_auth_command<tvn_omitf_auth_modify_ad> {
public:
    static constexpr const char* kName = "tvn_omitf_auth_modify_ad";
    static constexpr const char* kTag = "Modify ad";
    using tvn_omitf_auth_command::tvn_omitf_auth_command;
    ~tvn_omitf_auth_modify_ad() override;

    void oplog_send(int result, unsigned int number) override;
    bool need_forwarding(void* msg) override;
    int get_forwarding_node(int& node) override;
    int get_forwarding_timeout() override { return tvn_auth::AD_MODIFY_FORWARD_TIMEOUT_S; }

private:
    int deal(void* req, void** rsp) override;
    int32_t check_join_param(void* req);
    int32_t set_modify_ad_req(void* req);
    int32_t add_settings(void* req, pair_list& pairs);
    int32_t check_domain_modifiable(const pair_list& pairs);
    int32_t check_lengths();
    int32_t join_or_unjoin_domain();
    void wipe_password();
    std::string oplog_fqdn();

    uint32_t m_tenant = 0;
    std::string m_account;
    // The password, in a zero-filled buffer of its length plus one that is
    // wiped as soon as the request is built, and again on destruction.
    std::unique_ptr<char[]> m_password;
    size_t m_password_len = 0;
    uint32_t m_op = tvn_auth::AD_OP_NONE;
    bool m_overwrite = false;
    bool m_need_join = false;
    int32_t m_multi_dc = 0;
    // Each setting the request carried, as stored (for the operation log).
    std::string m_fqdn, m_ou, m_site, m_nbname, m_ntlm, m_ddns_enable, m_ddns_ttl, m_forwarding, m_dom_cache,
        m_sid_history;
};

TVN_AUTH_COMMAND(tvn_omitf_auth_get_ad);
TVN_AUTH_COMMAND(tvn_omitf_auth_list_ad_dc_info);
TVN_AUTH_COMMAND(tvn_omitf_auth_modify_ad_prefdc_info);
TVN_AUTH_COMMAND(tvn_omitf_auth_get_ad_prefdc_info);
TVN_AUTH_COMMAND(tvn_omitf_auth_delete_ad_prefdc_info);
TVN_AUTH_COMMAND(tvn_omitf_auth_modify_domain_dns_conf);
TVN_AUTH_COMMAND(tvn_omitf_auth_get_domain_dns_conf);
TVN_AUTH_COMMAND(tvn_omitf_auth_delete_domain_dns_conf);
TVN_AUTH_COMMAND(tvn_omitf_auth_update_related_ad_info);
TVN_AUTH_COMMAND(tvn_omitf_auth_test_ad_connectivity);
TVN_AUTH_COMMAND(tvn_omitf_auth_test_dns_connectivity);
TVN_AUTH_COMMAND(tvn_omitf_auth_test_ldap_connectivity);
TVN_AUTH_COMMAND(tvn_omitf_auth_test_nis_connectivity);
TVN_AUTH_COMMAND(tvn_omitf_auth_look_up_account_info);
TVN_AUTH_COMMAND(TvnOmitfAuthLookUpIpInfo);
TVN_AUTH_COMMAND(TvnOmitfUsersGetAdSource);
TVN_AUTH_COMMAND(tvn_omitf_auth_get_ad_session_info);
TVN_AUTH_COMMAND(TvnOmitfAuthSetNasSecurityConf);
TVN_AUTH_COMMAND(TvnOmitfAuthGetNasSecurityConf);

#undef TVN_AUTH_COMMAND
