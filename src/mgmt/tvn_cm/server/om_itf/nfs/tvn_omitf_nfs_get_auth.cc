#include "talvane_store_nfs.pb.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_auth.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

namespace {
constexpr const char* kName = "tvn_omitf_nfs_get_auth";
}

int tvn_omitf_nfs_get_auth::ommsg_deal(void* req, void** rsp) {
    m_timer.start(kName, get_opcode());
    int rc = deal(req, rsp);
    m_timer.end(kName, rc);
    return rc;
}

int tvn_omitf_nfs_get_auth::deal(void* req, void** rsp) {
    if (req == nullptr || rsp == nullptr) return NFS_ERR_ITEM;

    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant, NFS_ERR_AUTH_OPTION);
    if (rc != 0) return rc;

    std::string text;
    uint64_t auth_id = 0;
    if (read_text(req, ITEM_ID, text) != ITEM_READ_OK || !parse_object_id(text, auth_id)) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_AUTH_ID, "Auth_id(%s) is null or invalid.", text.c_str());
        return NFS_ERR_AUTH_ID;
    }

    auto api = new_store_api();
    if (!api) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_NOMEM, "New tvn_store_nfs_api failed.");
        return NFS_ERR_NOMEM;
    }
    tvn_nfs_get_auth_req get;
    tvn_nfs_get_auth_rsp reply;
    get.set_auth_id(auth_id);
    get.set_tenant_id(tenant);
    rc = api->get_auth(get, reply, rpc_timeout_ms(NFS_STORE_TIMEOUT_MS));
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent get_auth rpc call is failed.");
        return rc;
    }
    if (reply.status().result() != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, reply.status().result(), "OMAgent get_auth is failed, rc =%d.",
                reply.status().result());
        return reply.status().result();
    }
    if (!reply.has_auth_info()) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_ITEM, "OMAgent get_auth answered without a permission.");
        return NFS_ERR_ITEM;
    }

    void* ack = new_message(NFS_MSG_ITEMS);
    if (ack == nullptr) return NFS_ERR_NOMEM;
    rc = write_items(ack, 0, auth_answer_items(reply.auth_info()));
    if (rc != 0) {
        MSGOBJ_Destroy(ack);
        return rc;
    }
    *rsp = ack;
    return 0;
}
