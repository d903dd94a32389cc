#include <limits>

#include "talvane_store_nfs.pb.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_auth.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

int tvn_omitf_nfs_count_auth::deal(void* req, void** rsp) {
    tvn_nfs_get_auth_count_req count;
    count.set_share_id(std::numeric_limits<uint64_t>::max());

    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant, NFS_ERR_AUTH_OPTION);
    if (rc != 0) return rc;
    count.set_tenant_id(tenant);

    std::string text;
    auth_filter filter;
    rc = read_auth_filter(req, text, filter);
    if (rc != 0) return rc;
    // The count request has no field for the permission type; a count by
    // type is a count of all.
    set_auth_filter(filter, count);

    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;
    tvn_nfs_get_auth_count_rsp reply;
    rc = call_store(*api, &tvn_store_nfs_api::get_auth_count, "get_auth_count", count, reply);
    if (rc != 0) return rc;
    return answer_record(rsp, NFS_MSG_ITEMS,
                         {
                             {ITEM_OBJ_TYPE, TYPE_UNSIGNED, std::to_string(NFS_AUTH_OBJ_TYPE)},
                             {ITEM_COUNT, TYPE_UNSIGNED, std::to_string(reply.count())},
                         });
}
