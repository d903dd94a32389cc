#include "talvane_store_nfs.pb.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_omitf_nfs_share.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

int tvn_omitf_nfs_get_share::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant, NFS_ERR_ITEM);
    if (rc != 0) return rc;
    share_ref share;
    rc = read_share_ref(TVN_HERE, req, share, NFS_ERR_INVALID);
    if (rc != 0) return rc;

    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;
    rc = resolve_share_ref(TVN_HERE, *api, tenant, share);
    if (rc != 0) return rc;

    tvn_nfs_get_share_req get;
    tvn_nfs_get_share_rsp reply;
    get.set_share_id(share.id);
    get.set_tenant_id(tenant);
    rc = call_store(*api, &tvn_store_nfs_api::get_share, "get_share", get, reply);
    if (rc != 0) return rc;
    if (!reply.has_share_info()) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_ITEM, "OMAgent get_share answered without a share.");
        return NFS_ERR_ITEM;
    }
    return answer_record(rsp, NFS_MSG_ITEMS, share_answer_items(reply.share_info()));
}
