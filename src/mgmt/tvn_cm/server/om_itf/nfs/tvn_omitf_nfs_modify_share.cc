#include "talvane_store_nfs.pb.h"
#include "tvn_cm_util.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_omitf_nfs_share.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

namespace {
int32_t item_failed(uint32_t item) {
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_ITEM, "Get param(%u) of modify share failed.", item);
    return NFS_ERR_ITEM;
}
}  // namespace

int tvn_omitf_nfs_modify_share::deal(void* req, void** rsp) {
    int32_t rc = read_tenant(req, m_tenant, NFS_ERR_ITEM);
    if (rc != 0) return rc;
    rc = read_share_ref(req, m_share, NFS_ERR_INVALID);
    if (rc != 0) return rc;
    rc = tvn_nfs::tvn_cm_check_tenant_exist(m_tenant);
    if (rc != 0) return rc;

    tvn_nfs_mod_share_req mod;
    mod.set_tenant_id(m_tenant);

    std::string text;
    item_read got = read_text(req, ITEM_DESCRIPTION, text);
    if (got == ITEM_READ_FAILED) return item_failed(ITEM_DESCRIPTION);
    if (got == ITEM_READ_OK) mod.set_comment(text);

    uint32_t value = 0;
    got = read_decimal(req, ITEM_CHARSET, value);
    if (got == ITEM_READ_FAILED) return item_failed(ITEM_CHARSET);
    if (got == ITEM_READ_OK) mod.set_charset_id(value);

    got = read_decimal(req, ITEM_LOCK, value);
    if (got == ITEM_READ_FAILED) return item_failed(ITEM_LOCK);
    if (got == ITEM_READ_OK) mod.set_lock_strategy(static_cast<int32_t>(value));

    got = read_snapshot_switch(req, value);
    if (got == ITEM_READ_FAILED) return NFS_ERR_ITEM;
    if (got == ITEM_READ_OK) mod.set_snapshot_switch(value);

    got = read_text(req, ITEM_AUDIT, text);
    if (got == ITEM_READ_FAILED) return item_failed(ITEM_AUDIT);
    if (got == ITEM_READ_OK) {
        uint32_t mask = 0;
        rc = parse_audit_items(text, mask);
        if (rc == NFS_ERR_INVALID) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent audit_items is null.");
            return rc;
        }
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Audit items(%s) is invalid.", text.c_str());
            return rc;
        }
        mod.set_audit_item(mask);
    }

    got = read_switch(req, ITEM_FREEZE, value);
    if (got == ITEM_READ_FAILED) return item_failed(ITEM_FREEZE);
    if (got == ITEM_READ_OK) mod.set_freeze(value);

    got = read_fh_alignment(req, value);
    if (got == ITEM_READ_FAILED) return NFS_ERR_ITEM;
    if (got == ITEM_READ_OK) mod.set_fhbytealignmentsupport(value);

    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;
    rc = resolve_share_ref(*api, m_tenant, m_share);
    if (rc != 0) return rc;
    mod.set_share_id(m_share.id);

    rc = audit_log_fs_check();
    if (rc != 0) return rc;

    tvn_nfs_common_rsp reply;
    rc = prepare_notify(NFS_NOTIFY_MODIFY, NFS_SHARE_OBJ_TYPE);
    if (rc != 0) return rc;
    rc = call_store(*api, &tvn_store_nfs_api::mod_share, "mod_share", mod, reply);
    if (rc != 0) return rc;
    notify_change();

    return answer_record(rsp, NFS_MSG_ITEMS,
                         {
                             {ITEM_OBJ_TYPE, TYPE_UNSIGNED, std::to_string(NFS_SHARE_OBJ_TYPE)},
                             {ITEM_ID, TYPE_STRING, std::to_string(m_share.id)},
                         });
}

void tvn_omitf_nfs_modify_share::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_MODIFY_SHARE_OK, OPLOG_MODIFY_SHARE_FAIL, m_tenant, share_ref_oplog(m_share));
}
