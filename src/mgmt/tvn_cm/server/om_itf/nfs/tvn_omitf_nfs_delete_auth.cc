#include "talvane_store_nfs.pb.h"
#include "tvn_cm_util.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_auth.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

int tvn_omitf_nfs_delete_auth::deal(void* req, void** rsp) {
    int32_t rc = read_tenant(req, m_tenant, NFS_ERR_AUTH_OPTION);
    if (rc != 0) return rc;
    rc = tvn_nfs::tvn_cm_check_tenant_exist(m_tenant);
    if (rc != 0) return rc;

    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;

    std::string text;
    item_read got = read_text(req, ITEM_ID, text);
    if (got != ITEM_READ_ABSENT) {
        if (got != ITEM_READ_OK || !parse_object_id(text, m_auth_id)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_SHARE_ID, "Auth_id(%s) is null or invalid.", text.c_str());
            return NFS_ERR_SHARE_ID;
        }
    } else {
        // The permission by its client on a share named by name.
        if (read_text(req, ITEM_NAME, m_access_name) != ITEM_READ_OK) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_SHARE_ID, "OMAgent access_name is not input.");
            return NFS_ERR_SHARE_ID;
        }
        if (read_text(req, ITEM_PATH, m_share_name) != ITEM_READ_OK) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_SHARE_NAME, "OMAgent sharename is not input.");
            return NFS_ERR_SHARE_NAME;
        }
        rc = share_id_by_name(TVN_HERE, *api, m_tenant, m_share_name, m_client.share_id);
        if (rc != 0) return rc;
        rc = auth_id_by_access_name(TVN_HERE, *api, m_tenant, m_client.share_id, m_access_name, m_auth_id);
        if (rc != 0) return rc;
        m_client.name = m_access_name;
    }
    if (m_client.name.empty()) name_auth_for_oplog(*api, m_tenant, m_auth_id, m_client);

    tvn_nfs_delete_auth_req del;
    tvn_nfs_common_rsp reply;
    del.set_auth_id(m_auth_id);
    del.set_tenant_id(m_tenant);
    rc = prepare_notify(NFS_NOTIFY_DELETE, NFS_AUTH_OBJ_TYPE);
    if (rc != 0) return rc;
    rc = call_store(*api, &tvn_store_nfs_api::delete_auth, "delete_auth", del, reply);
    if (rc != 0) return rc;
    notify_change(std::to_string(m_auth_id));

    return answer_record(rsp, NFS_AUTH_ACK_ITEMS, {{ITEM_ID, TYPE_STRING, std::to_string(m_auth_id)}});
}

void tvn_omitf_nfs_delete_auth::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_DELETE_AUTH_OK, OPLOG_DELETE_AUTH_FAIL, m_tenant,
               auth_oplog(m_client, m_auth_id));
}
