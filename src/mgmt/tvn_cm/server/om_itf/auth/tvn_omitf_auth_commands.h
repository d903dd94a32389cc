#pragma once
// Handler classes of the authentication (AD, DNS, LDAP and NIS connectivity, security settings) commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

using TvnOmitfAuthSetNasSecurityConf = tvn_omitf_placeholder;
using TvnOmitfAuthGetDiagnoseInfo = tvn_omitf_placeholder;
using TvnOmitfAuthGetNasSecurityConf = tvn_omitf_placeholder;
using tvn_omitf_auth_modify_ad = tvn_omitf_placeholder;
using tvn_omitf_auth_get_ad = tvn_omitf_placeholder;
using tvn_omitf_auth_test_ad_connectivity = tvn_omitf_placeholder;
using tvn_omitf_auth_list_ad_dc_info = tvn_omitf_placeholder;
using tvn_omitf_auth_modify_ad_prefdc_info = tvn_omitf_placeholder;
using tvn_omitf_auth_get_ad_prefdc_info = tvn_omitf_placeholder;
using tvn_omitf_auth_delete_ad_prefdc_info = tvn_omitf_placeholder;
using tvn_omitf_auth_modify_domain_dns_conf = tvn_omitf_placeholder;
using tvn_omitf_auth_get_domain_dns_conf = tvn_omitf_placeholder;
using tvn_omitf_auth_delete_domain_dns_conf = tvn_omitf_placeholder;
using tvn_omitf_auth_update_related_ad_info = tvn_omitf_placeholder;
using tvn_omitf_auth_look_up_account_info = tvn_omitf_placeholder;
using TvnOmitfAuthLookUpIpInfo = tvn_omitf_placeholder;
using TvnOmitfUsersGetAdSource = tvn_omitf_placeholder;
using tvn_omitf_auth_test_dns_connectivity = tvn_omitf_placeholder;
using tvn_omitf_auth_list_statis = tvn_omitf_placeholder;
using tvn_omitf_auth_delete_statis = tvn_omitf_placeholder;
using tvn_omitf_auth_test_ldap_connectivity = tvn_omitf_placeholder;
using tvn_omitf_auth_test_nis_connectivity = tvn_omitf_placeholder;
using tvn_omitf_auth_get_ad_session_info = tvn_omitf_placeholder;
using TvnOmitfAuthLogonLdapMgmt = tvn_omitf_placeholder;
