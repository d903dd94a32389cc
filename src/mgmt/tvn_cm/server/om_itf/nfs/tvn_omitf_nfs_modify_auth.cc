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
    for (uint32_t item : kModifyItems) {
        uint32_t value = 0;
        item_read got = read_number(req, item, value);
        if (got == ITEM_READ_ABSENT) continue;
        std::string why = "OM option item " + std::to_string(item) + " is not a number.";
        rc = got == ITEM_READ_OK ? check_option(item, value, &why) : NFS_ERR_AUTH_OPTION;
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "%s", why.c_str());
            return rc;
        }
        *option_slot(opts, item) = value;
    }
    rc = build_modify_options(opts, m_options);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Get options fail.");
        return rc;
    }

    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;
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
               std::to_string(m_auth_id) + "," + oplog_cut(m_options));
}
