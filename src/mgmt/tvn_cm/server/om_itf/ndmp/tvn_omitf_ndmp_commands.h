#pragma once
// Handler classes of the NDMP commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

using tvn_omitf_ndmp_get_tape_info = tvn_omitf_placeholder;
using tvn_omitf_ndmp_modify_service = tvn_omitf_placeholder;
using tvn_omitf_ndmp_get_service = tvn_omitf_placeholder;
using tvn_omitf_ndmp_list_connections = tvn_omitf_placeholder;
using tvn_omitf_ndmp_list_performance = tvn_omitf_placeholder;
using tvn_omitf_ndmp_clear_performance = tvn_omitf_placeholder;
using tvn_omitf_ndmp_get_connection = tvn_omitf_placeholder;
using tvn_omitf_ndmp_get_diagnose = tvn_omitf_placeholder;
using tvn_omitf_ndmp_clear_diagnose = tvn_omitf_placeholder;
