#include <limits>

#include "common/tvn_query_cond.h"
#include "talvane_store_nfs.pb.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_omitf_nfs_share.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

namespace {
constexpr const char* kName = "TvnOmitfNfsListShare";
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
        int32_t rc = fsid_by_name(tenant, value, fsid);
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

int TvnOmitfNfsListShare::ommsg_deal(void* req, void** rsp) {
    m_timer.start(kName, get_opcode());
    int rc = deal(req, rsp);
    m_timer.end(kName, rc);
    return rc;
}

int TvnOmitfNfsListShare::deal(void* req, void** rsp) {
    if (req == nullptr || rsp == nullptr) return NFS_ERR_ITEM;

    tvn_nfs_show_share_req show;
    show.set_count(0);
    show.set_fsid(kAll);
    show.set_dtreeid(kAll);
    show.set_path("");
    show.set_comment("");
    show.set_sort_type(TVN_NFS_SHARE_SORT_DEFAULT);
    show.set_offset(1);
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

    got = read_text(req, ITEM_RANGE, text);
    if (got == ITEM_READ_ABSENT) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "no range , use default value.");
    } else {
        tvn::query_range range;
        // The store counts its offset from 1.
        if (got != ITEM_READ_OK || tvn::parse_query_range(text, range) != tvn::QUERY_COND_OK ||
            range.offset == std::numeric_limits<uint32_t>::max()) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_PARAM_RANGE, "TvnOmitfNfsListShare Param range is invalid.");
            return NFS_ERR_PARAM_RANGE;
        }
        show.set_offset(range.offset + 1);
        show.set_count(range.limit);
    }

    got = read_text(req, ITEM_SORT, text);
    if (got != ITEM_READ_ABSENT) {
        tvn::query_sort sort;
        if (got != ITEM_READ_OK || tvn::parse_query_sort(text, sort) != tvn::QUERY_COND_OK) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_PARAM_RANGE, "TvnOmitfNfsListShare Param sort is invalid.");
            return NFS_ERR_PARAM_RANGE;
        }
        if (sort.key == "SHAREPATH")
            show.set_list_type(TVN_NFSBYSHAREPATH);
        else if (sort.key == "ID")
            show.set_list_type(TVN_NFSBYSHAREID);
        show.set_sort_type(sort.descending ? TVN_NFS_SHARE_SORT_DESCEND : TVN_NFS_SHARE_SORT_ASCEND);
    }

    // The cursor: the last share of the previous page.
    got = read_text(req, ITEM_ID, text);
    if (got == ITEM_READ_ABSENT) {
        show.mutable_next_share_id()->set_flag(TVN_NFS_SHARE_ID_FIELD_INVALID);
        show.mutable_next_share_id()->set_shareid(0);
    } else {
        uint64_t last = 0;
        if (got != ITEM_READ_OK || !parse_object_id(text, last)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_SHARE_ID, "Share_id(%s) is null or invalid.", text.c_str());
            return NFS_ERR_SHARE_ID;
        }
        show.mutable_next_share_id()->set_flag(TVN_NFS_SHARE_ID_FIELD_VALID);
        show.mutable_next_share_id()->set_shareid(last);
    }

    auto api = new_store_api();
    if (!api) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_NOMEM, "New tvn_store_nfs_api failed.");
        return NFS_ERR_NOMEM;
    }
    tvn_nfs_show_share_rsp reply;
    rc = api->show_share(show, reply, rpc_timeout_ms(NFS_STORE_TIMEOUT_MS));
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent show_share rpc call is failed.");
        return rc;
    }
    if (reply.status().result() != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, reply.status().result(), "OMAgent show_share is failed, rc =%d.",
                reply.status().result());
        return reply.status().result();
    }

    void* ack = new_message(NFS_MSG_ITEMS);
    if (ack == nullptr) return NFS_ERR_NOMEM;
    const uint32_t total = static_cast<uint32_t>(reply.share_info_size());
    for (uint32_t i = 0; i < total; ++i) {
        size_t size = MSGOBJ_GetSize(ack);
        if (!ack_has_room(size)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, 0, "msg obj size may over, current: %llu, only get %u of %u share",
                    static_cast<unsigned long long>(size), i, total);
            break;
        }
        MSGOBJ_SetOpcode(ack, i, get_opcode());
        rc = write_items(ack, i, share_answer_items(reply.share_info(static_cast<int>(i))));
        if (rc != 0) {
            MSGOBJ_Destroy(ack);
            return rc;
        }
    }
    *rsp = ack;
    return 0;
}
