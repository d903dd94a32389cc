#pragma once
// Handler classes of the per-controller protocol statistics commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

using tvn_omitf_smb1_get_controller = tvn_omitf_placeholder;
using tvn_omitf_smb1_list_controller = tvn_omitf_placeholder;
using tvn_omitf_smb2_get_controller = tvn_omitf_placeholder;
using tvn_omitf_smb2_list_controller = tvn_omitf_placeholder;
using tvn_omitf_nfsv3_get_controller = tvn_omitf_placeholder;
using tvn_omitf_nfsv3_list_controller = tvn_omitf_placeholder;
using tvn_omitf_nfsv4_get_controller = tvn_omitf_placeholder;
using tvn_omitf_nfsv4_list_controller = tvn_omitf_placeholder;
using tvn_omitf_nfsv41_get_controller = tvn_omitf_placeholder;
using tvn_omitf_nfsv41_list_controller = tvn_omitf_placeholder;
