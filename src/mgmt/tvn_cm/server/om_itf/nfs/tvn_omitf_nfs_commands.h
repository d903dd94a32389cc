#pragma once
// Handler classes of the NFS share, client permission and service commands, by the names the command
// table registers them under. A class that is not written yet stands for
// the shared placeholder (answers "not supported"); when it is written,
// replace its alias with the class's own header.
#include "common/tvn_omitf_placeholder.h"

#include "nfs/tvn_omitf_nfs_auth.h"
#include "nfs/tvn_omitf_nfs_share.h"

using tvn_omitf_nfs_create_vpc_policy = tvn_omitf_placeholder;
using tvn_omitf_nfs_delete_vpc_policy = tvn_omitf_placeholder;
using tvn_omitf_nfs_modify_service = tvn_omitf_placeholder;
using tvn_omitf_nfs_get_service = tvn_omitf_placeholder;
using tvn_omitf_nfs_get_server_info = tvn_omitf_placeholder;
using tvn_omitf_nfs_flush_export_cache = tvn_omitf_placeholder;
using tvn_omitf_nfs_show_lock_db = tvn_omitf_placeholder;
using tvn_omitf_nfs_clear_lock_db = tvn_omitf_placeholder;
using tvn_omitf_nfs_get_debug_info = tvn_omitf_placeholder;
using tvn_omitf_nfs_modify_debug_info = tvn_omitf_placeholder;
using TvnOmitfGetNfsCfg = tvn_omitf_placeholder;
using TvnOmitfSetNfsCfg = tvn_omitf_placeholder;
using tvn_omitf_nfsv4_show_session_cache = tvn_omitf_placeholder;
using tvn_omitf_nfsv4_flush_session_cache = tvn_omitf_placeholder;
using tvn_omitf_nfsv4_flush_idmap_cache = tvn_omitf_placeholder;
using tvn_omitf_nfs_clear_extd_grp_cache = tvn_omitf_placeholder;
using tvn_omitf_nfsv4_show_lock_info = tvn_omitf_placeholder;
using tvn_omitf_nfsv4_show_lock_count = tvn_omitf_placeholder;
