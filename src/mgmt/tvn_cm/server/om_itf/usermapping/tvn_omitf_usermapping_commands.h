#pragma once
// Handler classes of the user mapping commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

using tvn_omitf_clear_mapping_identity_cfg = tvn_omitf_placeholder;
using tvn_omitf_get_identity_mapping_cache_cfg = tvn_omitf_placeholder;
using tvn_omitf_get_identity_mapping_cache_hit = tvn_omitf_placeholder;
using tvn_omitf_get_identity_mapping_cfg = tvn_omitf_placeholder;
using tvn_omitf_modify_identity_mapping_cache_cfg = tvn_omitf_placeholder;
using tvn_omitf_modify_mapping_identity_cfg = tvn_omitf_placeholder;
using tvn_omitf_user_mapping_add_rule = tvn_omitf_placeholder;
using tvn_omitf_user_mapping_modify_rule = tvn_omitf_placeholder;
using tvn_omitf_user_mapping_show_rule = tvn_omitf_placeholder;
using tvn_omitf_user_mapping_list_rule = tvn_omitf_placeholder;
using tvn_omitf_user_mapping_delete_rule = tvn_omitf_placeholder;
using tvn_omitf_user_mapping_count_rule = tvn_omitf_placeholder;
using tvn_omitf_unixuser_mapping_get_cache = tvn_omitf_placeholder;
using tvn_omitf_winuser_mapping_get_cache = tvn_omitf_placeholder;
using tvn_omitf_user_mapping_clear_cache = tvn_omitf_placeholder;
using tvn_omitf_user_mapping_do_mapping = tvn_omitf_placeholder;
using tvn_omitf_user_mapping_get_acl_info = tvn_omitf_placeholder;
using tvn_omitf_user_mapping_verify = tvn_omitf_placeholder;
using TvnOmitfUserMappingGetEffectivePerm = tvn_omitf_placeholder;
