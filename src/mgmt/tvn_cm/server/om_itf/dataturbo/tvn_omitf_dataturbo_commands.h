#pragma once
// Handler classes of the DPC share and permission commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

using tvn_omitf_dataturbo_create_share = tvn_omitf_placeholder;
using tvn_omitf_dataturbo_delete_share = tvn_omitf_placeholder;
using tvn_omitf_dataturbo_get_share = tvn_omitf_placeholder;
using tvn_omitf_dataturbo_modify_share = tvn_omitf_placeholder;
using tvn_omitf_dataturbo_list_share = tvn_omitf_placeholder;
using tvn_omitf_dataturbo_count_share = tvn_omitf_placeholder;
using tvn_omitf_dataturbo_create_auth = tvn_omitf_placeholder;
using tvn_omitf_dataturbo_delete_auth = tvn_omitf_placeholder;
using tvn_omitf_dataturbo_get_auth = tvn_omitf_placeholder;
using tvn_omitf_dataturbo_modify_auth = tvn_omitf_placeholder;
using tvn_omitf_dataturbo_list_auth = tvn_omitf_placeholder;
using tvn_omitf_dataturbo_count_auth = tvn_omitf_placeholder;
