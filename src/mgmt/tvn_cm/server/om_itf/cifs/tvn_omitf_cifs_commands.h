#pragma once
// Handler classes of the CIFS share, permission, IP-rule, home-directory and service commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

using tvn_omitf_cifs_create_share = tvn_omitf_placeholder;
using tvn_omitf_cifs_delete_share = tvn_omitf_placeholder;
using tvn_omitf_cifs_get_share = tvn_omitf_placeholder;
using tvn_omitf_cifs_modify_share = tvn_omitf_placeholder;
using tvn_omitf_cifs_list_share = tvn_omitf_placeholder;
using tvn_omitf_cifs_count_share = tvn_omitf_placeholder;
using tvn_omitf_cifs_create_auth = tvn_omitf_placeholder;
using tvn_omitf_cifs_delete_auth = tvn_omitf_placeholder;
using tvn_omitf_cifs_get_auth = tvn_omitf_placeholder;
using tvn_omitf_cifs_modify_auth = tvn_omitf_placeholder;
using tvn_omitf_cifs_list_auth = tvn_omitf_placeholder;
using tvn_omitf_cifs_count_auth = tvn_omitf_placeholder;
using tvn_omitf_cifs_list_ip_rule = tvn_omitf_placeholder;
using tvn_omitf_cifs_get_ip_rule = tvn_omitf_placeholder;
using tvn_omitf_cifs_create_ip_rule = tvn_omitf_placeholder;
using tvn_omitf_cifs_delete_ip_rule = tvn_omitf_placeholder;
using tvn_omitf_cifs_modify_ip_rule = tvn_omitf_placeholder;
using tvn_omitf_cifs_count_ip_rule = tvn_omitf_placeholder;
using tvn_omitf_cifs_homedir_rule_create = tvn_omitf_placeholder;
using tvn_omitf_cifs_homedir_rule_delete = tvn_omitf_placeholder;
using tvn_omitf_cifs_homedir_rule_modify = tvn_omitf_placeholder;
using tvn_omitf_cifs_homedir_rule_list = tvn_omitf_placeholder;
using tvn_omitf_cifs_homedir_rule_count = tvn_omitf_placeholder;
using tvn_omitf_cifs_modify_service = tvn_omitf_placeholder;
using tvn_omitf_cifs_get_service = tvn_omitf_placeholder;
using tvn_omitf_cifs_clear_nas_stage_statis = tvn_omitf_placeholder;
using tvn_omitf_cifs_show_connection = tvn_omitf_placeholder;
using tvn_omitf_cifs_show_server_info = tvn_omitf_placeholder;
using tvn_omitf_cifs_show_server_state = tvn_omitf_placeholder;
using tvn_omitf_cifs_show_smb1_state = tvn_omitf_placeholder;
using tvn_omitf_cifs_show_smb2_state = tvn_omitf_placeholder;
using tvn_omitf_cifs_show_reserve_bit = tvn_omitf_placeholder;
using tvn_omitf_cifs_set_reserve_bit = tvn_omitf_placeholder;
using tvn_omitf_cifs_show_capacity_bit = tvn_omitf_placeholder;
using tvn_omitf_cifs_set_capacity_bit = tvn_omitf_placeholder;
using tvn_omitf_cifs_show_smb3_switch = tvn_omitf_placeholder;
using tvn_omitf_cifs_set_smb3_switch = tvn_omitf_placeholder;
using tvn_omitf_cifs_show_conn_statistic = tvn_omitf_placeholder;
using tvn_omitf_cifs_clear_connection = tvn_omitf_placeholder;
using tvn_omitf_cifs_clear_lockc_stat = tvn_omitf_placeholder;
using tvn_omitf_cifs_clear_share_cache = tvn_omitf_placeholder;
using tvn_omitf_cifs_set_share_cache = tvn_omitf_placeholder;
using tvn_omitf_cifs_show_open_info = tvn_omitf_placeholder;
using tvn_omitf_cifs_clear_open = tvn_omitf_placeholder;
