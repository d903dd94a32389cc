#pragma once
// Handler classes of the authentication (AD, DNS, LDAP and NIS connectivity, security settings) commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

#include "auth/tvn_omitf_auth_ad.h"

using TvnOmitfAuthGetDiagnoseInfo = tvn_omitf_placeholder;
using tvn_omitf_auth_list_statis = tvn_omitf_placeholder;
using tvn_omitf_auth_delete_statis = tvn_omitf_placeholder;
using TvnOmitfAuthLogonLdapMgmt = tvn_omitf_placeholder;
