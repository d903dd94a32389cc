#pragma once
// Handler classes of the user mapping commands, by the names the command
// table registers them under. The identity-mapping configuration commands
// are not written yet and stand for the shared placeholder (answers "not
// supported").
#include "common/tvn_omitf_placeholder.h"
#include "tvn_omitf_usermapping_handlers.h"

using tvn_omitf_clear_mapping_identity_cfg = tvn_omitf_placeholder;
using tvn_omitf_get_identity_mapping_cache_cfg = tvn_omitf_placeholder;
using tvn_omitf_get_identity_mapping_cache_hit = tvn_omitf_placeholder;
using tvn_omitf_get_identity_mapping_cfg = tvn_omitf_placeholder;
using tvn_omitf_modify_identity_mapping_cache_cfg = tvn_omitf_placeholder;
using tvn_omitf_modify_mapping_identity_cfg = tvn_omitf_placeholder;
