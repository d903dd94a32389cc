#include "tvn_omitf_nfs_items.h"

#include "tvn_log.h"
#include "tvn_msgobj.h"

namespace tvn_nfs {

item_read read_snapshot_switch(const tvn::log_here& here, void* msg, uint32_t& out) {
    item_read got = read_switch(msg, ITEM_SNAPSHOT, out);
    if (got == ITEM_READ_FAILED)
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_ITEM, "Get snapshot switch invalied.");
    return got;
}

item_read read_fh_alignment(const tvn::log_here& here, void* msg, uint32_t& out) {
    item_read got = read_switch(msg, ITEM_FH_ALIGN, out);
    if (got == ITEM_READ_FAILED) {
        uint32_t shown = 0;
        read_number(msg, ITEM_FH_ALIGN, shown);
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_ITEM, "Get fhSwitch invalied, val:(%u).", shown);
    }
    return got;
}

int32_t read_tenant(void* msg, uint32_t& tenant, int32_t read_fail_code) {
    std::string text;
    switch (read_text(msg, ITEM_TENANT, text)) {
        case ITEM_READ_ABSENT:
            tenant = 0;
            return 0;
        case ITEM_READ_FAILED:
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, read_fail_code, "Get tenantid is failed.");
            return read_fail_code;
        case ITEM_READ_OK:
            break;
    }
    uint32_t value = 0;
    if (!parse_tenant_id(text, value)) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_PARAM_RANGE, "Tenant id str invalid.");
        return NFS_ERR_PARAM_RANGE;
    }
    tenant = value;
    return 0;
}

int32_t read_optional_options(const tvn::log_here& here, void* req,
                              std::span<const tvn_om_vocab::item_def* const> items, auth_options& opts) {
    for (const auto* item : items) {
        uint32_t value = 0;
        if (read_unsigned(req, item->id, value) != ITEM_READ_OK) continue;
        std::string why;
        int32_t rc = check_option(item->id, value, &why);
        if (rc != 0) {
            TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "%s", why.c_str());
            return rc;
        }
        *option_slot(opts, item->id) = value;
    }
    return 0;
}

}  // namespace tvn_nfs
