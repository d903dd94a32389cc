#pragma once
// The AD domain family's items, commands and result codes: the domain
// settings with join and leave, domain controllers and the preferred one,
// the tenant's DNS resolver, NTLM security settings, connectivity tests,
// account and host look-ups and the domain client's sessions. Several
// commands use one item id for different things (64 is the join account,
// the preferred DC and the DNS servers); the scope tells them apart.
#include "common/tvn_om_common_vocab.h"
#include "common/tvn_om_vocab.h"

namespace tvn_auth {

enum : int32_t {
    AD_ERR_ITEM = -1,              // tenant item unreadable or empty; answer not written
    AD_ERR_NULL = -5,              // a present setting text is empty
    AD_ERR_NOMEM = -6,             // client or answer could not be made
    AD_ERR_INVALID = -22,          // invalid parameter
    AD_ERR_NOT_JOINED = -5026,     // leave asked while not joined
    AD_ERR_NBNAME = -5043,         // NetBIOS name holds a character it may not
    AD_ERR_JOIN_RUNNING = -5057,   // a join or leave is running
    AD_ERR_ALREADY_JOINED = -5077, // joined already, or a protected key changed while joined
};

// The multi-DC flag of the store that marks this side as the secondary one:
// it leaves the domain without administrator credentials.
inline constexpr int32_t AD_MULTI_DC_SLAVE = -8029;

// Time-outs of the calls, in milliseconds.
inline constexpr unsigned AD_READ_TIMEOUT_MS = 10000;
inline constexpr unsigned AD_WRITE_TIMEOUT_MS = 30000;
inline constexpr unsigned AD_JOIN_TIMEOUT_MS = 25000;
inline constexpr unsigned AD_LOOKUP_TIMEOUT_MS = 30000;
// Seconds the agent gives a forwarded modify.
inline constexpr int AD_MODIFY_FORWARD_TIMEOUT_S = 30;

// Limits.
inline constexpr size_t AD_FQDN_MAX = 127;
inline constexpr size_t AD_OU_MAX = 255;
inline constexpr size_t AD_NBNAME_MAX = 15;
inline constexpr size_t AD_SITE_MAX = 255;
inline constexpr size_t AD_ACCOUNT_MAX = 63;
inline constexpr size_t AD_PASSWORD_MAX = 127;
inline constexpr uint32_t AD_NTLM_LEVEL_MAX = 6;
inline constexpr uint32_t AD_DDNS_TTL_MAX = 2592000;
inline constexpr uint32_t AD_SESSION_THRESHOLD_MIN = 1, AD_SESSION_THRESHOLD_MAX = 10000;
inline constexpr size_t AD_PREF_DC_MAX = 15;
inline constexpr size_t AD_DNS_DOMAINS_MAX = 6;
inline constexpr size_t AD_DNS_SERVERS_MAX = 3;
inline constexpr size_t AD_TEST_DNS_ADDRESSES_MAX = 1;
inline constexpr size_t AD_LDAP_ADDRESS_MAX = 256;
inline constexpr size_t AD_HOSTNAME_MAX = 255;

// The join operation of item 68 and the join states of the answer.
inline constexpr uint32_t AD_OP_LEAVE = 0, AD_OP_JOIN = 1, AD_OP_NONE = 0xFFFFFFFFu;
inline constexpr uint32_t AD_STATE_NOT_JOINED = 0, AD_STATE_JOINED = 1, AD_STATE_JOINING = 2, AD_STATE_LEAVING = 3;

// Configuration keys of the domain settings, as the store keeps them
// ("forwarding_eanble" is the store's own spelling).
namespace key {
inline constexpr const char* fqdn = "fqdn";
inline constexpr const char* ou = "target_dn";
inline constexpr const char* nbname = "cluster_nbname";
inline constexpr const char* site = "ads_site";
inline constexpr const char* ntlm = "lmauth_level";
inline constexpr const char* ddns_enable = "ddns_enable";
inline constexpr const char* ddns_ttl = "ddns_ttl";
inline constexpr const char* forwarding = "forwarding_eanble";
inline constexpr const char* dom_cache = "query_ad_dom_cache";
inline constexpr const char* sid_history = "sid_history_enable";
inline constexpr const char* ldap_sign = "cifs_ad_ldap_sign_enable";
inline constexpr const char* consistent = "consistent_switch";
inline constexpr const char* session_threshold = "session_with_threshold";
inline constexpr const char* pref_dc = "pref_dc";
inline constexpr const char* session_key_cache = "logonex_sessionkey_cache_switch";
}  // namespace key

// What get AD reads, in this order.
inline constexpr const char* kGetAdKeys[] = {
    key::ntlm, key::fqdn, key::ou, key::nbname, key::site, key::ddns_enable, key::ddns_ttl,
    key::forwarding, key::dom_cache, key::sid_history, key::ldap_sign, key::consistent, key::session_threshold,
};
// Keys that may not change while the tenant is joined (except by the join
// or leave itself).
inline constexpr const char* kProtectedKeys[] = {key::fqdn, key::ou, key::nbname};
inline constexpr const char* kDnsDomainKeys[] = {"DNS_DOM0", "DNS_DOM1", "DNS_DOM2", "DNS_DOM3", "DNS_DOM4", "DNS_DOM5"};
inline constexpr const char* kDnsServerKeys[] = {"DNS_IP", "DNS_IP1", "DNS_IP2"};

// Operation-log events of modify AD (success, failure).
struct oplog_events {
    uint64_t ok;
    uint64_t fail;
};
inline constexpr oplog_events EV_OU{0x200F40450020ULL, 0x200F40450021ULL};
inline constexpr oplog_events EV_SITE{0x200F40450024ULL, 0x200F40450025ULL};
inline constexpr oplog_events EV_FQDN{0x200F40450022ULL, 0x200F40450023ULL};
inline constexpr oplog_events EV_NBNAME{0x200F40450026ULL, 0x200F40450027ULL};
inline constexpr oplog_events EV_NTLM{0x200F40450030ULL, 0x200F40450031ULL};
inline constexpr oplog_events EV_DDNS_ENABLE{0x200F00CB0001ULL, 0x200F00CB0002ULL};
inline constexpr oplog_events EV_DDNS_TTL{0x200F00CB0003ULL, 0x200F00CB0004ULL};
inline constexpr oplog_events EV_FORWARDING{0x200F400E000EULL, 0x200F400E000FULL};
inline constexpr oplog_events EV_DOM_CACHE{0x200F00CB0005ULL, 0x200F00CB0006ULL};
inline constexpr oplog_events EV_SID_HISTORY{0x200F00CB0007ULL, 0x200F00CB0008ULL};
inline constexpr oplog_events EV_JOIN{0x200F4045000CULL, 0x200F4045000BULL};

// The last join error as the management plane shows it: the daemon's code
// and the small code of item 77. Codes not listed show as 14.
struct join_error_row {
    int32_t errcode;
    uint32_t om_code;
};
inline constexpr join_error_row kJoinErrors[] = {
    {0, 0},       {-5014, 1},  {-5019, 1},  {-5050, 2},  {-5051, 3},  {-5043, 4},  {-5045, 5},
    {-12008, 5},  {-5012, 6},  {-5046, 6},  {-5047, 7},  {-11006, 7}, {-12010, 9}, {-12011, 10},
    {-11047, 11}, {-11048, 12}, {-11049, 13}, {-11052, 15}, {-5085, 16}, {-11064, 17},
};
inline constexpr uint32_t AD_JOIN_ERROR_OTHER = 14;

constexpr uint32_t translate_join_error(int32_t errcode) {
    for (const auto& row : kJoinErrors)
        if (row.errcode == errcode) return row.om_code;
    return AD_JOIN_ERROR_OTHER;
}
// States 6 and 7 are the daemon's own "running" states; the management
// plane knows only 2 and 3.
constexpr uint32_t fold_join_state(uint32_t state) {
    if (state == 6) return AD_STATE_LEAVING;
    if (state == 7) return AD_STATE_JOINING;
    return state;
}

// What an operator should check for each translated join error (tvn_om).
struct join_hint {
    uint32_t om_code;
    const char* meaning;
};
inline constexpr join_hint kJoinHints[] = {
    {0, "no error"},
    {1, "wrong account or password, or the account has no right to join computers: check the credentials"},
    {2, "the domain is unknown: check the fqdn and the DNS servers of the vStore"},
    {3, "no domain controller answered: check the network and the DNS servers"},
    {4, "the NetBIOS name of the system is not acceptable: check --netbios-name"},
    {5, "a computer account of this name exists: join again with --overwrite"},
    {6, "the organisational unit does not exist or may not be written: check --ou"},
    {7, "the clocks of the system and the domain controller differ too much: check the time"},
    {9, "the dynamic DNS registration failed: check the DNS server"},
    {10, "the directory (LDAP) of the domain controller refused the system"},
    {11, "no Kerberos ticket could be obtained: check the time and the DNS servers"},
    {12, "the Kerberos encryption types do not match"},
    {13, "the password of the computer account could not be set"},
    {14, "another error: see the log of the authentication daemon"},
    {15, "the domain controller refused the connection: check its signing settings"},
    {16, "the account is locked or disabled"},
    {17, "the site does not exist: check --site"},
};

namespace vocab {

using tvn_om_vocab::item_def;
using tvn_om_vocab::item_type;
using tvn_om_vocab::word;

inline constexpr word kOnOff[] = {{"off", 0}, {"on", 1}};
inline constexpr word kJoinOp[] = {{"leave", 0}, {"join", 1}};
inline constexpr word kLocateMode[] = {{"cache", 0}, {"detect-one", 1}, {"detect-all", 2}};
inline constexpr word kUpdate[] = {{"dc", 1}, {"domain-cache", 2}, {"ddns", 3}, {"config-cache", 4}};
inline constexpr word kAccountType[] = {{"user", 0}, {"group", 1}};
inline constexpr word kDest[] = {{"local", 0}, {"ad", 1}, {"ldap", 2}, {"nis", 3}, {"windows", 4},
                                 {"unix", 5}, {"unix-domain", 6}, {"all", 7}, {"dns", 8}};

// ---- domain settings, join and leave (modify and get) ----
inline constexpr item_def ad_account{64, item_type::string, "account", "administrator account of a join or leave, at most 63 characters", "ad"};
inline constexpr item_def ad_password{65, item_type::string, "", "administrator password, at most 127 characters (tvn_om reads it without echo, never from the command line)", "ad"};
inline constexpr item_def ad_op{68, item_type::unsigned32, "", "request: join operation; answer: join state (0 not joined, 1 joined, 2 join running, 3 leave running)", "ad", kJoinOp};
inline constexpr item_def ad_overwrite{78, item_type::boolean, "overwrite", "overwrite a computer account of the same name", "ad", kOnOff, "off"};
inline constexpr item_def ad_fqdn{70, item_type::string, "fqdn", "domain name (\"fqdn\"), at most 127 characters", "ad"};
inline constexpr item_def ad_ntlm{71, item_type::unsigned32, "ntlm-level", "NTLM level (\"lmauth_level\"), 0 to 6; above 6 ignored", "ad"};
inline constexpr item_def ad_ou{72, item_type::string, "ou", "organisational unit (\"target_dn\"), at most 255 characters", "ad"};
inline constexpr item_def ad_nbname{75, item_type::string, "netbios-name", "the system's NetBIOS name (\"cluster_nbname\"), at most 15 characters", "ad"};
inline constexpr item_def ad_site{76, item_type::string, "site", "AD site (\"ads_site\"), at most 255 characters", "ad"};
inline constexpr item_def ad_join_error{77, item_type::unsigned32, "", "last join error, translated (answers)", "ad"};
inline constexpr item_def ad_ddns{79, item_type::boolean, "ddns", "dynamic DNS update (\"ddns_enable\")", "ad", kOnOff};
inline constexpr item_def ad_ddns_ttl{80, item_type::unsigned32, "ddns-ttl", "dynamic DNS record TTL in seconds (\"ddns_ttl\")", "ad", {}, {}, 0, AD_DDNS_TTL_MAX};
inline constexpr item_def ad_forwarding{81, item_type::boolean, "forwarding", "forwarding switch (\"forwarding_eanble\")", "ad", kOnOff};
inline constexpr item_def ad_dom_cache{82, item_type::boolean, "domain-cache", "query the domain cache (\"query_ad_dom_cache\")", "ad", kOnOff};
inline constexpr item_def ad_sid_history{83, item_type::boolean, "sid-history", "SID history (\"sid_history_enable\")", "ad", kOnOff};
inline constexpr item_def ad_consistent{85, item_type::unsigned32, "consistent-switch", "consistency switch (\"consistent_switch\")", "ad"};
inline constexpr item_def ad_session_threshold{86, item_type::unsigned32, "session-threshold", "session threshold (\"session_with_threshold\")", "ad", {}, {}, AD_SESSION_THRESHOLD_MIN, AD_SESSION_THRESHOLD_MAX};

// ---- domain controllers ----
inline constexpr item_def dc_mode{71, item_type::unsigned32, "mode", "locate mode", "dc", kLocateMode, "cache"};
inline constexpr item_def dc_ip{70, item_type::string, "ip", "request: domain controller address (required by detect-one); answer: its address", "dc"};
inline constexpr item_def dc_name{64, item_type::string, "", "host name (answers)", "dc"};
inline constexpr item_def dc_fqdn{65, item_type::string, "", "fully qualified name (answers)", "dc"};
inline constexpr item_def dc_priority{66, item_type::unsigned32, "", "priority (answers)", "dc"};
inline constexpr item_def dc_weight{67, item_type::unsigned32, "", "weight (answers)", "dc"};
inline constexpr item_def dc_writeable{68, item_type::boolean, "", "writeable (answers)", "dc"};
inline constexpr item_def dc_primedc{69, item_type::boolean, "", "primary domain controller (answers)", "dc"};
inline constexpr item_def dc_alived{72, item_type::boolean, "", "answers (answers)", "dc"};
inline constexpr item_def dc_site{73, item_type::string, "", "site (answers)", "dc"};
inline constexpr item_def pref_dc_name{64, item_type::string, "name", "preferred domain controller (\"pref_dc\"), at most 15 characters", "pref-dc"};

// ---- maintenance ----
inline constexpr item_def update_what{65, item_type::enumeration, "what", "1 refresh the domain controllers, 2 the domain cache, 3 update dynamic DNS, 4 clear the configuration cache", "refresh", kUpdate};

// ---- DNS resolver of the tenant ----
inline constexpr item_def dns_servers{64, item_type::string, "servers", "DNS servers, comma-separated, at most 3 (\"DNS_IP\", \"DNS_IP1\", \"DNS_IP2\")", "dns"};
inline constexpr item_def dns_domains{65, item_type::string, "domains", "search domains, comma-separated, at most 6 (\"DNS_DOM0\" to \"DNS_DOM5\")", "dns"};

// ---- NTLM security ----
inline constexpr item_def sec_ntlm{64, item_type::enumeration, "ntlm-level", "NTLM level (\"lmauth_level\"), 0 to 6; answers: text", "security", {}, {}, 0, AD_NTLM_LEVEL_MAX};
inline constexpr item_def sec_session_key_cache{65, item_type::boolean, "session-key-cache", "logon session-key cache (\"logonex_sessionkey_cache_switch\"); answers: \"1\"/\"0\"", "security", kOnOff};

// ---- connectivity tests ----
inline constexpr item_def test_fqdn{70, item_type::string, "fqdn", "AD: domain to reach, at most 127 characters (absent: the vStore's)", "test"};
inline constexpr item_def test_node{71, item_type::unsigned32, "node", "AD: node that runs the test", "test"};
inline constexpr item_def test_address{64, item_type::string, "address", "DNS: \"[address]\" (at most one); LDAP and NIS: servers, comma-separated, at most 256 characters", "test"};
inline constexpr item_def test_port{65, item_type::unsigned32, "port", "LDAP: port, 1 to 65535", "test", {}, {}, 1, 65535};
inline constexpr item_def test_elapsed{66, item_type::unsigned32, "", "time the check took, ms (answers)", "test"};

// ---- look-ups ----
inline constexpr item_def acct_name{73, item_type::string, "name", "account name (DOMAIN\\name, name@domain or name); answers: the name found", "account"};
inline constexpr item_def acct_sid{69, item_type::string, "sid", "account SID (instead of the name)", "account"};
inline constexpr item_def acct_dest{70, item_type::enumeration, "source", "where to look", "account", kDest, "all"};
inline constexpr item_def acct_is_group{67, item_type::boolean, "", "the account is a group (answers)", "account"};
inline constexpr item_def acct_id{68, item_type::string, "", "account id, uid or gid (answers)", "account"};
inline constexpr item_def acct_domain{71, item_type::string, "", "domain name (answers)", "account"};
inline constexpr item_def acct_domain_sid{72, item_type::string, "", "domain SID (answers)", "account"};
inline constexpr item_def host_name{64, item_type::string, "name", "host name to resolve; answers: a name", "host"};
inline constexpr item_def host_ip{65, item_type::string, "ip", "address to resolve; answers: an address", "host"};
inline constexpr item_def host_dest{63, item_type::enumeration, "source", "where to look", "host", kDest, "dns"};
inline constexpr item_def src_sid{1, item_type::string, "sid", "account SID", "source"};
inline constexpr item_def src_name{2, item_type::string, "name", "account name, DOMAIN\\name", "source"};
inline constexpr item_def src_type{64, item_type::enumeration, "type", "account type", "source", kAccountType, "user"};
inline constexpr item_def src_id{65, item_type::string, "", "account id (answers)", "source"};

// ---- sessions ----
inline constexpr item_def session_ip{64, item_type::string, "", "peer address (answers)", "session"};
inline constexpr item_def session_info{65, item_type::string, "", "what the session is (answers)", "session"};

inline constexpr item_def items[] = {
    tvn_om_common::kMsgType, tvn_om_common::kTenant,
    ad_account, ad_password, ad_op, ad_overwrite, ad_fqdn, ad_ntlm, ad_ou, ad_nbname, ad_site, ad_join_error,
    ad_ddns, ad_ddns_ttl, ad_forwarding, ad_dom_cache, ad_sid_history, ad_consistent, ad_session_threshold,
    dc_mode, dc_ip, dc_name, dc_fqdn, dc_priority, dc_weight, dc_writeable, dc_primedc, dc_alived, dc_site,
    pref_dc_name, update_what, dns_servers, dns_domains, sec_ntlm, sec_session_key_cache,
    test_fqdn, test_node, test_address, test_port, test_elapsed,
    acct_name, acct_sid, acct_dest, acct_is_group, acct_id, acct_domain, acct_domain_sid,
    host_name, host_ip, host_dest, src_sid, src_name, src_type, src_id, session_ip, session_info,
};

// Items of modify AD that become settings, in the order they are stored.
inline constexpr const item_def* kSettingItems[] = {
    &ad_fqdn, &ad_ou, &ad_nbname, &ad_site, &ad_ntlm, &ad_ddns, &ad_ddns_ttl,
    &ad_forwarding, &ad_dom_cache, &ad_sid_history, &ad_consistent, &ad_session_threshold,
};

// ---- commands ----
using tvn_om_vocab::command_def;
inline constexpr command_def ad_modify{"set", "tvn_omitf_auth_modify_ad", 0xd800f2000ULL, 0, "Change the domain settings; join or leave the domain (ad join, ad leave)"};
inline constexpr command_def ad_get{"show", "tvn_omitf_auth_get_ad", 0xd800f0000ULL, 0, "Show the domain settings and the join state"};
inline constexpr command_def dc_list{"dc list", "tvn_omitf_auth_list_ad_dc_info", 0xd405cc000ULL, 0, "List the domain controllers"};
inline constexpr command_def pref_dc_set{"pref-dc set", "tvn_omitf_auth_modify_ad_prefdc_info", 0xd405d2000ULL, 0, "Set the preferred domain controller"};
inline constexpr command_def pref_dc_get{"pref-dc show", "tvn_omitf_auth_get_ad_prefdc_info", 0xd405d0000ULL, 0, "Show the preferred domain controller"};
inline constexpr command_def pref_dc_delete{"pref-dc delete", "tvn_omitf_auth_delete_ad_prefdc_info", 0xd405d6000ULL, 0, "Forget the preferred domain controller"};
inline constexpr command_def dns_set{"dns set", "tvn_omitf_auth_modify_domain_dns_conf", 0xd80162000ULL, 0, "Set the DNS servers and search domains"};
inline constexpr command_def dns_get{"dns show", "tvn_omitf_auth_get_domain_dns_conf", 0xd80160000ULL, 0, "Show the DNS servers and search domains"};
inline constexpr command_def dns_delete{"dns delete", "tvn_omitf_auth_delete_domain_dns_conf", 0xd80166000ULL, 0, "Clear the DNS servers and search domains"};
inline constexpr command_def refresh{"refresh", "tvn_omitf_auth_update_related_ad_info", 0xd01b82000ULL, 0, "Refresh domain controllers, domain cache, dynamic DNS or configuration cache"};
inline constexpr command_def test_ad{"test ad", "tvn_omitf_auth_test_ad_connectivity", 0xd800f2014ULL, 0, "Test that the domain answers"};
inline constexpr command_def test_dns{"test dns", "tvn_omitf_auth_test_dns_connectivity", 0xd80170000ULL, 0, "Test a DNS server"};
inline constexpr command_def test_ldap{"test ldap", "tvn_omitf_auth_test_ldap_connectivity", 0xd80122000ULL, 0xd88c90000ULL, "Test LDAP servers"};
inline constexpr command_def test_nis{"test nis", "tvn_omitf_auth_test_nis_connectivity", 0xd00002014ULL, 0, "Test NIS servers"};
inline constexpr command_def lookup_account{"lookup account", "tvn_omitf_auth_look_up_account_info", 0xd01ba0000ULL, 0, "Look an account up by name or SID"};
inline constexpr command_def lookup_host{"lookup host", "TvnOmitfAuthLookUpIpInfo", 0xd00a60000ULL, 0, "Resolve a host name or an address"};
inline constexpr command_def ad_source{"source", "TvnOmitfUsersGetAdSource", 0xd80030000ULL, 0, "Look a domain account up in the domain"};
inline constexpr command_def sessions{"sessions", "tvn_omitf_auth_get_ad_session_info", 0xde148c000ULL, 0, "List the domain client's RPC sessions"};
inline constexpr command_def security_set{"security set", "TvnOmitfAuthSetNasSecurityConf", 0xd01362000ULL, 0, "Set the NTLM security settings"};
inline constexpr command_def security_get{"security show", "TvnOmitfAuthGetNasSecurityConf", 0xd01360000ULL, 0, "Show the NTLM security settings"};

inline constexpr command_def commands[] = {
    ad_modify, ad_get, dc_list, pref_dc_set, pref_dc_get, pref_dc_delete, dns_set, dns_get, dns_delete, refresh,
    test_ad, test_dns, test_ldap, test_nis, lookup_account, lookup_host, ad_source, sessions, security_set,
    security_get,
};

// ---- result codes ----
inline constexpr tvn_om_vocab::error_def errors[] = {
    TVN_OM_ERROR(AD_ERR_ITEM, "the tenant item is unreadable or empty, or an answer item could not be written"),
    TVN_OM_ERROR(AD_ERR_NULL, "a setting was given empty"),
    TVN_OM_ERROR(AD_ERR_NOMEM, "a client or the answer could not be made"),
    TVN_OM_ERROR(AD_ERR_INVALID, "invalid parameter: wrong type, too long, out of range, or a bad mix of join items"),
    TVN_OM_ERROR(AD_ERR_NOT_JOINED, "leave asked while the vStore is not joined"),
    TVN_OM_ERROR(AD_ERR_NBNAME, "the NetBIOS name holds a character it may not"),
    TVN_OM_ERROR(AD_ERR_JOIN_RUNNING, "a join or leave is running: wait for it to end"),
    TVN_OM_ERROR(AD_ERR_ALREADY_JOINED, "joined already, or fqdn, OU or NetBIOS name changed while joined (leave first)"),
};

inline constexpr tvn_om_vocab::family_def family{"auth", "AD domain: settings, join, controllers, DNS, tests, look-ups",
                                                 items, commands, errors, "ad"};

}  // namespace vocab
}  // namespace tvn_auth
