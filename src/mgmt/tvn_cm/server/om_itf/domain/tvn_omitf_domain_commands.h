#pragma once
// Handler classes of the domain (LDAP/NIS users and groups, name-service caches, monitoring) commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

using tvn_omitf_domain_get_ldap_nis_user = tvn_omitf_placeholder;
using tvn_omitf_domain_get_ldap_nis_group = tvn_omitf_placeholder;
using tvn_omitf_domain_get_netgroup = tvn_omitf_placeholder;
using tvn_omitf_get_domain_service_monitor_cfg = tvn_omitf_placeholder;
using tvn_omitf_modify_domain_service_monitor_cfg = tvn_omitf_placeholder;
using tvn_omitf_change_namesrv_cache = tvn_omitf_placeholder;
using tvn_omitf_clear_fqdn_cache = tvn_omitf_placeholder;
using tvn_omitf_clear_windows_group_ad_cache = tvn_omitf_placeholder;
