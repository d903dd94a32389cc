#include <limits>

#include "talvane_store_nfs.pb.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_auth.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

namespace {
constexpr const char* kName = "tvn_omitf_nfs_count_auth";
}

int tvn_omitf_nfs_count_auth::ommsg_deal(void* req, void** rsp) {
    m_timer.start(kName, get_opcode());
    int rc = deal(req, rsp);
    m_timer.end(kName, rc);
    return rc;
}

int tvn_omitf_nfs_count_auth::deal(void* req, void** rsp) {
    if (req == nullptr || rsp == nullptr) return NFS_ERR_ITEM;

    tvn_nfs_get_auth_count_req count;
    count.set_share_id(std::numeric_limits<uint64_t>::max());
    count.set_hostname("");
    count.set_path("");

    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant, NFS_ERR_AUTH_OPTION);
    if (rc != 0) return rc;
    count.set_tenant_id(tenant);

    std::string text;
    item_read got = read_text(req, ITEM_QUERY, text);
    if (got == ITEM_READ_FAILED) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_QUERY_COND, "The query condition(%s) is invalid.", "");
        return NFS_ERR_QUERY_COND;
    }
    if (got == ITEM_READ_OK) {
        auth_filter filter;
        rc = parse_auth_filter(text, filter);
        if (rc != 0) return rc;
        count.set_hostname(filter.hostname);
        count.set_path(filter.path);
        if (filter.share_id) count.set_share_id(*filter.share_id);
        if (filter.options) count.set_options(*filter.options);
        // The count request has no field for the permission type; a count
        // by type is a count of all.
    }

    auto api = new_store_api();
    if (!api) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_NOMEM, "New tvn_store_nfs_api failed.");
        return NFS_ERR_NOMEM;
    }
    tvn_nfs_get_auth_count_rsp reply;
    rc = api->get_auth_count(count, reply, rpc_timeout_ms(NFS_STORE_TIMEOUT_MS));
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent get_auth_count rpc call is failed.");
        return rc;
    }
    if (reply.status().result() != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, reply.status().result(),
                "OMAgent get_auth_count is failed, rc =%d.", reply.status().result());
        return reply.status().result();
    }

    void* ack = new_message(NFS_MSG_ITEMS);
    if (ack == nullptr) return NFS_ERR_NOMEM;
    rc = write_items(ack, 0,
                     {
                         {ITEM_OBJ_TYPE, TYPE_UNSIGNED, std::to_string(NFS_AUTH_OBJ_TYPE)},
                         {ITEM_COUNT, TYPE_UNSIGNED, std::to_string(reply.count())},
                     });
    if (rc != 0) {
        MSGOBJ_Destroy(ack);
        return rc;
    }
    *rsp = ack;
    return 0;
}
