#pragma once
// Handler classes of the file-extension filter commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

using tvn_omitf_file_ex_filter_create = tvn_omitf_placeholder;
using tvn_omitf_file_ex_filter_delete = tvn_omitf_placeholder;
using tvn_omitf_file_ex_filter_list = tvn_omitf_placeholder;
using tvn_omitf_file_ex_filter_modify = tvn_omitf_placeholder;
using tvn_omitf_file_ex_filter_count = tvn_omitf_placeholder;
