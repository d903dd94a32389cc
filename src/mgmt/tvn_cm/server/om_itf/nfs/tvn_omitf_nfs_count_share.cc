#include <limits>

#include "common/tvn_query_cond.h"
#include "talvane_store_nfs.pb.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_omitf_nfs_share.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

namespace {
constexpr uint64_t kAll = std::numeric_limits<uint64_t>::max();

// One condition of the count. 0 or the command's code for that condition.
int32_t apply_filter(const std::string& key, const std::string& value, tvn_nfs_get_share_count_req& count) {
    if (key == "SHAREPATH") {
        count.set_path(value);
    } else if (key == "DESCRIPTION") {
        count.set_comment(value);
    } else if (key == "FSID") {
        uint64_t fsid = 0;
        if (!parse_fsid(value, fsid)) return NFS_ERR_FSID;
        count.set_fsid(fsid);
    } else if (key == "DTREEID") {
        uint64_t dtree = 0;
        if (!parse_filter_dtree(value, dtree)) return NFS_ERR_FSID;
        count.set_dtreeid(dtree);
    } else if (key == "ID") {
        uint64_t id = 0;
        if (!parse_dec_u64(value, id)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, 0, "ShareIdStr(%s) is not a valid number.", value.c_str());
            id = kAll - 1;
        }
        count.set_share_id(id);
    } else {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_QUERY_COND, "The query condition(%s) is invalid.",
                key.c_str());
        return NFS_ERR_QUERY_COND;
    }
    return 0;
}
}  // namespace

int tvn_omitf_nfs_count_share::deal(void* req, void** rsp) {
    tvn_nfs_get_share_count_req count;
    count.set_fsid(kAll);
    count.set_path("");

    std::string text;
    if (read_text(req, ITEM_QUERY, text) != ITEM_READ_OK) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_QUERY_COND, "CLI: queryCondition is NULL.");
        return NFS_ERR_QUERY_COND;
    }
    tvn::query_filter filter;
    if (tvn::parse_query_filter(text, filter) != tvn::QUERY_COND_OK) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_QUERY_COND, "The query condition(%s) is invalid.",
                text.c_str());
        return NFS_ERR_QUERY_COND;
    }
    for (const auto& [key, value] : filter) {
        int32_t rc = apply_filter(key, value, count);
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Parse filter [%s, %s] failed.", key.c_str(), value.c_str());
            return rc;
        }
    }

    item_read got = read_text(req, ITEM_FSID, text);
    if (got != ITEM_READ_ABSENT) {
        uint64_t fsid = 0;
        if (got != ITEM_READ_OK || !parse_fsid(text, fsid)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_FSID, "File system id(%s) is null or invalid.",
                    text.c_str());
            return NFS_ERR_FSID;
        }
        count.set_fsid(fsid);
    }

    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant, NFS_ERR_ITEM);
    if (rc != 0) return rc;
    count.set_tenant_id(tenant);

    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;
    tvn_nfs_get_share_count_rsp reply;
    rc = call_store(*api, &tvn_store_nfs_api::get_share_count, "get_share_count", count, reply);
    if (rc != 0) return rc;
    return answer_record(rsp, NFS_MSG_ITEMS,
                         {
                             {ITEM_OBJ_TYPE, TYPE_UNSIGNED, std::to_string(NFS_SHARE_OBJ_TYPE)},
                             {ITEM_COUNT, TYPE_UNSIGNED, std::to_string(reply.count())},
                         });
}
