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
// The share id of a filter whose ID is no number: matches no share.
constexpr uint64_t kNoShare = kAll - 1;

int32_t bad_condition(const std::string& key) {
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_QUERY_COND, "The query condition(%s) is invalid.", key.c_str());
    return NFS_ERR_QUERY_COND;
}

int32_t apply_filter(uint32_t tenant, const std::string& key, const std::string& value,
                     tvn_nfs_show_share_req& show) {
    if (key == "SHAREPATH" || key == "SHARENAME") {
        show.set_path(value);
    } else if (key == "DESCRIPTION") {
        show.set_comment(value);
    } else if (key == "FSID") {
        uint64_t fsid = 0;
        if (!parse_fsid(value, fsid)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_FSID, "NFS fsid(%s) is null or invalid.", value.c_str());
            return NFS_ERR_FSID;
        }
        show.set_fsid(fsid);
    } else if (key == "DTREEID") {
        uint64_t dtree = 0;
        if (!parse_filter_dtree(value, dtree)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_FSID, "NFS dtreeid(%s) is null or invalid.",
                    value.substr(0, 64).c_str());
            return NFS_ERR_FSID;
        }
        show.set_dtreeid(dtree);
    } else if (key == "FSNAME") {
        uint64_t fsid = 0;
        int32_t rc = fsid_by_name(TVN_HERE, tenant, value, fsid);
        if (rc != 0) return NfsConvertErrorCode(rc);
        show.set_fsid(fsid);
    } else if (key == "ID") {
        uint64_t id = 0;
        if (!parse_dec_u64(value, id)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, 0, "ShareIdStr(%s) is not a valid number.", value.c_str());
            id = kNoShare;
        }
        show.set_share_id(id);
    } else {
        return bad_condition(key);
    }
    return 0;
}
}  // namespace

int TvnOmitfNfsListShare::deal(void* req, void** rsp) {
    tvn_nfs_show_share_req show;
    show.set_fsid(kAll);
    show.set_dtreeid(kAll);
    show.set_path("");
    show.set_comment("");
    show.set_sort_type(TVN_NFS_SHARE_SORT_DEFAULT);
    show.set_share_id(kAll);
    show.set_list_type(TVN_NFSBYSHAREPATH);

    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant, NFS_ERR_ITEM);
    if (rc != 0) return rc;
    show.set_tenant_id(tenant);

    std::string text;
    item_read got = read_text(req, ITEM_QUERY, text);
    if (got == ITEM_READ_FAILED) return bad_condition("");
    if (got == ITEM_READ_OK) {
        tvn::query_filter filter;
        tvn::query_cond_error err;
        if (tvn::parse_query_filter(text, filter, &err) != tvn::QUERY_COND_OK) return bad_condition(text);
        for (const auto& [key, value] : filter) {
            rc = apply_filter(tenant, key, value, show);
            if (rc != 0) return rc;
        }
    }

    page_request page;
    rc = read_page(req, "Share_id", text, page);
    if (rc != 0) return rc;
    show.set_offset(page.offset);
    show.set_count(page.count);
    if (page.sort) {
        if (page.sort->key == "SHAREPATH")
            show.set_list_type(TVN_NFSBYSHAREPATH);
        else if (page.sort->key == "ID")
            show.set_list_type(TVN_NFSBYSHAREID);
        show.set_sort_type(page.sort->descending ? TVN_NFS_SHARE_SORT_DESCEND : TVN_NFS_SHARE_SORT_ASCEND);
    }
    show.mutable_next_share_id()->set_flag(page.after ? TVN_NFS_SHARE_ID_FIELD_VALID
                                                      : TVN_NFS_SHARE_ID_FIELD_INVALID);
    show.mutable_next_share_id()->set_shareid(page.after.value_or(0));

    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;
    tvn_nfs_show_share_rsp reply;
    rc = call_store(*api, &tvn_store_nfs_api::show_share, "show_share", show, reply);
    if (rc != 0) return rc;
    return answer_page(rsp, reply.share_info(), share_answer_items, "share");
}
