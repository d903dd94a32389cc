#include "talvane_store_nfs.pb.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_auth.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

int tvn_omitf_nfs_get_auth::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant, NFS_ERR_AUTH_OPTION);
    if (rc != 0) return rc;

    std::string text;
    uint64_t auth_id = 0;
    if (read_text(req, ITEM_ID, text) != ITEM_READ_OK || !parse_object_id(text, auth_id)) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_AUTH_ID, "Auth_id(%s) is null or invalid.", text.c_str());
        return NFS_ERR_AUTH_ID;
    }

    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;
    tvn_nfs_get_auth_req get;
    tvn_nfs_get_auth_rsp reply;
    get.set_auth_id(auth_id);
    get.set_tenant_id(tenant);
    rc = call_store(*api, &tvn_store_nfs_api::get_auth, "get_auth", get, reply);
    if (rc != 0) return rc;
    if (!reply.has_auth_info()) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_ITEM, "OMAgent get_auth answered without a permission.");
        return NFS_ERR_ITEM;
    }
    return answer_record(rsp, NFS_MSG_ITEMS, auth_answer_items(reply.auth_info()));
}
