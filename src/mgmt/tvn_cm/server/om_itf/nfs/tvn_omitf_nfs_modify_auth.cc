#include "talvane_store_nfs.pb.h"
#include "tvn_cm_util.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_auth.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

int tvn_omitf_nfs_modify_auth::deal(void* req, void** rsp) {
    std::string text;
    if (read_text(req, ITEM_ID, text) != ITEM_READ_OK || !parse_object_id(text, m_auth_id)) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_SHARE_ID, "Auth_id(%s) is null or invalid.", text.c_str());
        return NFS_ERR_SHARE_ID;
    }
    int32_t rc = read_tenant(req, m_tenant, NFS_ERR_AUTH_OPTION);
    if (rc != 0) return rc;
    rc = tvn_nfs::tvn_cm_check_tenant_exist(m_tenant);
    if (rc != 0) return rc;

    auth_options opts;
    rc = read_optional_options(TVN_HERE, req, vocab::kModifyItems, opts);
    if (rc != 0) return rc;
    rc = build_modify_options(opts, m_options);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Get options fail.");
        return rc;
    }

    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;
    name_auth_for_oplog(*api, m_tenant, m_auth_id, m_client);
    tvn_nfs_modify_auth_req mod;
    tvn_nfs_common_rsp reply;
    mod.set_auth_id(m_auth_id);
    mod.set_options(m_options);
    mod.set_opts_flag(NFS_MODIFY_OPTS_FLAG);
    mod.set_tenant_id(m_tenant);
    rc = prepare_notify(NFS_NOTIFY_MODIFY, NFS_AUTH_OBJ_TYPE);
    if (rc != 0) return rc;
    rc = call_store(*api, &tvn_store_nfs_api::modify_auth, "modify_auth", mod, reply);
    if (rc != 0) return rc;
    notify_change(std::to_string(m_auth_id));

    return answer_record(rsp, NFS_AUTH_ACK_ITEMS, {{ITEM_ID, TYPE_STRING, std::to_string(m_auth_id)}});
}

void tvn_omitf_nfs_modify_auth::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_MODIFY_AUTH_OK, OPLOG_MODIFY_AUTH_FAIL, m_tenant,
               auth_oplog(m_client, m_auth_id) + "," + oplog_cut(m_options));
}
