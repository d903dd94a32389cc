#pragma once
// Handler classes of the protocol configuration commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

using tvn_omitf_conf_modify_nfs_buf_cfg = tvn_omitf_placeholder;
using tvn_omitf_conf_get_nfs_buf_cfg = tvn_omitf_placeholder;
using tvn_omitf_conf_modify_common_cfg = tvn_omitf_placeholder;
using tvn_omitf_conf_get_common_cfg = tvn_omitf_placeholder;
using tvn_omitf_conf_get_file_share_config = tvn_omitf_placeholder;
using tvn_omitf_conf_get_file_share_type_config = tvn_omitf_placeholder;
using tvn_omitf_conf_list_file_share_type_config = tvn_omitf_placeholder;
using tvn_omitf_conf_modify_protocol_cfg = tvn_omitf_placeholder;
using tvn_omitf_conf_get_protocol_cfg = tvn_omitf_placeholder;
using tvn_omitf_conf_modify_slave_configurable = tvn_omitf_placeholder;
using tvn_omitf_conf_get_slave_configurable = tvn_omitf_placeholder;
using tvn_omitf_conf_modify_ldap_server = tvn_omitf_placeholder;
using tvn_omitf_conf_get_ldap_server = tvn_omitf_placeholder;
using tvn_omitf_conf_delete_ldap_server = tvn_omitf_placeholder;
using tvn_omitf_conf_modify_nis_server = tvn_omitf_placeholder;
using tvn_omitf_conf_get_nis_server = tvn_omitf_placeholder;
using tvn_omitf_conf_delete_nis_server = tvn_omitf_placeholder;
using tvn_omitf_conf_get_ldap_schema = tvn_omitf_placeholder;
using tvn_omitf_conf_modify_ldap_schema = tvn_omitf_placeholder;
using tvn_omitf_conf_delete_ldap_schema = tvn_omitf_placeholder;
using tvn_omitf_modify_fssecurity_cfg = tvn_omitf_placeholder;
using tvn_omitf_get_fssecurity_cfg = tvn_omitf_placeholder;
