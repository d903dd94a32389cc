#include "talvane_store_nfs.pb.h"
#include "tvn_cm_util.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_omitf_nfs_share.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

int tvn_omitf_nfs_delete_share::deal(void* req, void** rsp) {
    int32_t rc = read_tenant(req, m_tenant, NFS_ERR_ITEM);
    if (rc != 0) return rc;
    rc = tvn_nfs::tvn_cm_check_tenant_exist(m_tenant);
    if (rc != 0) return rc;

    rc = read_share_ref(TVN_HERE, req, m_share, 0);
    if (rc != 0) return rc;

    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;
    rc = resolve_share_ref(TVN_HERE, *api, m_tenant, m_share);
    if (rc != 0) return rc;
    rc = audit_log_fs_check(TVN_HERE);
    if (rc != 0) return rc;

    tvn_nfs_del_share_req del;
    tvn_nfs_common_rsp reply;
    del.set_share_id(m_share.id);
    del.set_tenant_id(m_tenant);
    rc = prepare_notify(NFS_NOTIFY_DELETE, NFS_SHARE_OBJ_TYPE);
    if (rc != 0) return rc;
    rc = call_store(*api, &tvn_store_nfs_api::del_share, "del_share", del, reply);
    if (rc != 0) return rc;
    notify_change(std::to_string(m_share.id));

    return answer_record(rsp, NFS_MSG_ITEMS,
                         {
                             {ITEM_OBJ_TYPE, TYPE_UNSIGNED, std::to_string(NFS_SHARE_OBJ_TYPE)},
                             {ITEM_ID, TYPE_STRING, std::to_string(m_share.id)},
                         });
}

void tvn_omitf_nfs_delete_share::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_DELETE_SHARE_OK, OPLOG_DELETE_SHARE_FAIL, m_tenant, share_ref_oplog(m_share));
}
