#pragma once
// Handler classes of the local Unix user and group commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

using tvn_omitf_unix_users_create_user = tvn_omitf_placeholder;
using tvn_omitf_unix_users_delete_user = tvn_omitf_placeholder;
using tvn_omitf_unix_users_get_user = tvn_omitf_placeholder;
using tvn_omitf_unix_users_modify_user = tvn_omitf_placeholder;
using tvn_omitf_unix_users_list_user = tvn_omitf_placeholder;
using tvn_omitf_unix_users_count_user = tvn_omitf_placeholder;
using tvn_omitf_unix_users_create_group = tvn_omitf_placeholder;
using tvn_omitf_unix_users_delete_group = tvn_omitf_placeholder;
using tvn_omitf_unix_users_get_group = tvn_omitf_placeholder;
using tvn_omitf_unix_users_modify_group = tvn_omitf_placeholder;
using tvn_omitf_unix_users_list_group = tvn_omitf_placeholder;
using tvn_omitf_unix_users_count_group = tvn_omitf_placeholder;
using tvn_omitf_unix_users_add_group_member = tvn_omitf_placeholder;
using tvn_omitf_unix_users_remove_group_member = tvn_omitf_placeholder;
