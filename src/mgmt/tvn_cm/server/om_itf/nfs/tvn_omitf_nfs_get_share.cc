#include "talvane_store_nfs.pb.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_omitf_nfs_share.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

namespace {
constexpr const char* kName = "tvn_omitf_nfs_get_share";
}

int tvn_omitf_nfs_get_share::ommsg_deal(void* req, void** rsp) {
    m_timer.start(kName, get_opcode());
    int rc = deal(req, rsp);
    m_timer.end(kName, rc);
    return rc;
}

int tvn_omitf_nfs_get_share::deal(void* req, void** rsp) {
    if (req == nullptr || rsp == nullptr) return NFS_ERR_ITEM;

    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant, NFS_ERR_ITEM);
    if (rc != 0) return rc;
    share_ref share;
    rc = read_share_ref(req, share, NFS_ERR_INVALID);
    if (rc != 0) return rc;

    auto api = new_store_api();
    if (!api) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_NOMEM, "New tvn_store_nfs_api failed.");
        return NFS_ERR_NOMEM;
    }
    rc = resolve_share_ref(*api, tenant, share);
    if (rc != 0) return rc;

    tvn_nfs_get_share_req get;
    tvn_nfs_get_share_rsp reply;
    get.set_share_id(share.id);
    get.set_tenant_id(tenant);
    rc = api->get_share(get, reply, rpc_timeout_ms(NFS_STORE_TIMEOUT_MS));
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent get_share rpc call is failed.");
        return rc;
    }
    if (reply.status().result() != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, reply.status().result(), "OMAgent get_share is failed, rc =%d.",
                reply.status().result());
        return reply.status().result();
    }
    if (!reply.has_share_info()) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_ITEM, "OMAgent get_share answered without a share.");
        return NFS_ERR_ITEM;
    }

    void* ack = new_message(NFS_MSG_ITEMS);
    if (ack == nullptr) return NFS_ERR_NOMEM;
    rc = write_items(ack, 0, share_answer_items(reply.share_info()));
    if (rc != 0) {
        MSGOBJ_Destroy(ack);
        return rc;
    }
    *rsp = ack;
    return 0;
}
