#include "talvane_store_nfs.pb.h"
#include "tvn_cm_util.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_omitf_nfs_share.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

int tvn_omitf_nfs_modify_share::deal(void* req, void** rsp) {
    // The share first (its name looked up too), then the tenant, then the
    // fields: the first failure in that order is the one reported.
    int32_t rc = read_share_ref(TVN_HERE, req, m_share, NFS_ERR_INVALID);
    if (rc != 0) return rc;
    rc = read_tenant(req, m_tenant, NFS_ERR_ITEM);
    if (rc != 0) return rc;
    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;
    rc = resolve_share_ref(TVN_HERE, *api, m_tenant, m_share);
    if (rc != 0) return rc;
    rc = tvn_nfs::tvn_cm_check_tenant_exist(m_tenant);
    if (rc != 0) return rc;

    tvn_nfs_mod_share_req mod;
    mod.set_tenant_id(m_tenant);

    tvn_omitf::item_reader in(req);
    std::optional<std::string> description;
    std::optional<uint32_t> charset, lock;
    if ((rc = in.take(vocab::share_description, description,
                      TVN_OM_FAIL(NFS_ERR_ITEM, "Get param(9) of modify share failed."))) != 0 ||
        (rc = in.take(vocab::share_charset, charset, TVN_OM_FAIL(NFS_ERR_ITEM, "Get param(90) of modify share failed."))) != 0 ||
        (rc = in.take(vocab::share_lock, lock, TVN_OM_FAIL(NFS_ERR_ITEM, "Get param(89) of modify share failed."))) != 0)
        return rc;
    if (description) mod.set_comment(*description);
    if (charset) mod.set_charset_id(*charset);
    if (lock) mod.set_lock_strategy(static_cast<int32_t>(*lock));

    uint32_t value = 0;
    item_read got = read_snapshot_switch(TVN_HERE, req, value);
    if (got == ITEM_READ_FAILED) return NFS_ERR_ITEM;
    if (got == ITEM_READ_OK) mod.set_snapshot_switch(value);

    std::optional<std::string> audit;
    rc = in.take(vocab::share_audit, audit, TVN_OM_FAIL(NFS_ERR_ITEM, "Get param(92) of modify share failed."));
    if (rc != 0) return rc;
    if (audit) {
        const std::string& text = *audit;
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

    std::optional<uint32_t> freeze;
    rc = in.take(vocab::share_freeze, freeze, TVN_OM_FAIL(NFS_ERR_ITEM, "Get param(91) of modify share failed."));
    if (rc != 0) return rc;
    if (freeze) mod.set_freeze(*freeze);

    got = read_fh_alignment(TVN_HERE, req, value);
    if (got == ITEM_READ_FAILED) return NFS_ERR_ITEM;
    if (got == ITEM_READ_OK) mod.set_fhbytealignmentsupport(value);

    mod.set_share_id(m_share.id);

    rc = audit_log_fs_check(TVN_HERE);
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
