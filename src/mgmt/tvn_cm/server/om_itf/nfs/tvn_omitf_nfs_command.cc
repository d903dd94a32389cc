#include "tvn_omitf_nfs_command.h"

#include "platform_init.h"
#include "tvn_omitf_nfs_lookup.h"

namespace tvn_nfs {

int32_t read_share_ref(const tvn::log_here& here, void* msg, share_ref& ref, int32_t empty_name_code) {
    std::string text;
    switch (read_text(msg, ITEM_ID, text)) {
        case ITEM_READ_OK:
            if (!parse_object_id(text, ref.id)) {
                TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_SHARE_ID,
                        "GetShareIdFromMSGOBJ Share_id(%s) is null or invalid.", text.c_str());
                return NFS_ERR_SHARE_ID;
            }
            ref.by_name = false;
            return 0;
        case ITEM_READ_FAILED:
            TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_SHARE_ID,
                    "GetShareIdFromMSGOBJ Share_id(%s) is null or invalid.", "");
            return NFS_ERR_SHARE_ID;
        case ITEM_READ_ABSENT:
            break;
    }
    TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "shareName is input");
    if (read_text(msg, ITEM_PATH, text) != ITEM_READ_OK) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_SHARE_ID, "Share id and share name are not input.");
        return NFS_ERR_SHARE_ID;
    }
    if (text.empty() && empty_name_code != 0) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, empty_name_code, "strShareName == NULL");
        return empty_name_code;
    }
    ref.name = std::move(text);
    ref.by_name = true;
    return 0;
}

int32_t resolve_share_ref(const tvn::log_here& here, tvn_store_nfs_api& api, uint32_t tenant, share_ref& ref) {
    if (!ref.by_name) return 0;
    return share_id_by_name(here, api, tenant, ref.name, ref.id);
}

std::string share_ref_oplog(const share_ref& ref) {
    return ref.by_name ? oplog_cut(ref.name) : std::to_string(ref.id);
}

int32_t audit_log_fs_check(const tvn::log_here& here) {
    if (!TvnCmFmIsSupport("audit_log")) TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Don't support audit log.");
    return 0;
}

}  // namespace tvn_nfs
