#include <limits>

#include "common/tvn_query_cond.h"
#include "talvane_store_nfs.pb.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_auth.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

namespace {
constexpr const char* kName = "TvnOmitfNfsListAuth";

int32_t bad_condition(const std::string& text) {
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_QUERY_COND, "The query condition(%s) is invalid.", text.c_str());
    return NFS_ERR_QUERY_COND;
}
}  // namespace

namespace tvn_nfs {

int32_t parse_auth_filter(const std::string& text, auth_filter& out) {
    tvn::query_filter filter;
    tvn::query_cond_error err;
    int32_t rc = tvn::parse_query_filter(text, {"NAME", "PARENTID", "SHARENAME", "ACCESSVAL", "AUTHTYPE"}, filter, &err);
    if (rc != tvn::QUERY_COND_OK) return bad_condition(rc == tvn::QUERY_COND_UNKNOWN_KEY ? err.key : text);
    for (const auto& [key, value] : filter) {
        if (key == "NAME") {
            out.hostname = value;
        } else if (key == "SHARENAME") {
            out.path = value;
        } else if (key == "PARENTID") {
            uint64_t id = 0;
            if (!parse_object_id(value, id)) return bad_condition(key + "=" + value);
            out.share_id = id;
        } else if (key == "ACCESSVAL") {
            // The management plane names access by number; the store keeps words.
            if (value == "0") out.options = "ro";
            else if (value == "1") out.options = "rw";
            else if (value == "5") out.options = "na";
            else out.options = value;
        } else if (key == "AUTHTYPE") {
            uint32_t type = 0;
            if (!parse_dec_u32(value, type)) return bad_condition(key + "=" + value);
            out.auth_type = type;
        }
    }
    return 0;
}

}  // namespace tvn_nfs

int TvnOmitfNfsListAuth::ommsg_deal(void* req, void** rsp) {
    m_timer.start(kName, get_opcode());
    int rc = deal(req, rsp);
    m_timer.end(kName, rc);
    return rc;
}

int TvnOmitfNfsListAuth::deal(void* req, void** rsp) {
    if (req == nullptr || rsp == nullptr) return NFS_ERR_ITEM;

    tvn_nfs_show_auth_req show;
    show.set_path("");
    show.set_hostname("");
    show.set_sort_type(TVN_NFS_AUTH_SORT_DEFAULT);
    show.set_offset(1);
    show.set_count(0);

    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant, NFS_ERR_AUTH_OPTION);
    if (rc != 0) return rc;
    show.set_tenant_id(tenant);

    std::string text;
    item_read got = read_text(req, ITEM_QUERY, text);
    if (got == ITEM_READ_FAILED) return bad_condition("");
    if (got == ITEM_READ_OK) {
        auth_filter filter;
        rc = parse_auth_filter(text, filter);
        if (rc != 0) return rc;
        show.set_hostname(filter.hostname);
        show.set_path(filter.path);
        if (filter.share_id) show.set_share_id(*filter.share_id);
        if (filter.options) show.set_options(*filter.options);
        if (filter.auth_type) show.set_authtype(*filter.auth_type);
    }

    got = read_text(req, ITEM_RANGE, text);
    if (got == ITEM_READ_ABSENT) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "no range , use default value.");
    } else {
        tvn::query_range range;
        if (got != ITEM_READ_OK || tvn::parse_query_range(text, range) != tvn::QUERY_COND_OK ||
            range.offset == std::numeric_limits<uint32_t>::max()) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_PARAM_RANGE, "TvnOmitfNfsListAuth Param range is invalid.");
            return NFS_ERR_PARAM_RANGE;
        }
        show.set_offset(range.offset + 1);
        show.set_count(range.limit);
    }

    got = read_text(req, ITEM_SORT, text);
    if (got != ITEM_READ_ABSENT) {
        tvn::query_sort sort;
        if (got != ITEM_READ_OK || tvn::parse_query_sort(text, sort) != tvn::QUERY_COND_OK) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_PARAM_RANGE, "TvnOmitfNfsListAuth Param sort is invalid.");
            return NFS_ERR_PARAM_RANGE;
        }
        if (sort.key == "NAME")
            show.set_sort_type(sort.descending ? TVN_NFS_AUTH_NAME_SORT_DESCEND : TVN_NFS_AUTH_NAME_SORT_ASCEND);
        else if (sort.key == "ACCESSVAL")
            show.set_sort_type(sort.descending ? TVN_NFS_AUTH_VALUE_SORT_DESCEND : TVN_NFS_AUTH_VALUE_SORT_ASCEND);
    }

    got = read_text(req, ITEM_ID, text);
    if (got == ITEM_READ_ABSENT) {
        show.mutable_next_auth_id()->set_flag(TVN_NFS_AUTH_ID_FIELD_INVALID);
        show.mutable_next_auth_id()->set_authid(0);
    } else {
        uint64_t last = 0;
        if (got != ITEM_READ_OK || !parse_object_id(text, last)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_SHARE_ID, "Auth_id(%s) is null or invalid.", text.c_str());
            return NFS_ERR_SHARE_ID;
        }
        show.mutable_next_auth_id()->set_flag(TVN_NFS_AUTH_ID_FIELD_VALID);
        show.mutable_next_auth_id()->set_authid(last);
    }

    auto api = new_store_api();
    if (!api) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_NOMEM, "New tvn_store_nfs_api failed.");
        return NFS_ERR_NOMEM;
    }
    tvn_nfs_show_auth_rsp reply;
    rc = api->show_auth(show, reply, rpc_timeout_ms(NFS_STORE_TIMEOUT_MS));
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent show_auth rpc call is failed.");
        return rc;
    }
    if (reply.status().result() != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, reply.status().result(), "OMAgent show_auth is failed, rc =%d.",
                reply.status().result());
        return reply.status().result();
    }

    void* ack = new_message(NFS_MSG_ITEMS);
    if (ack == nullptr) return NFS_ERR_NOMEM;
    const uint32_t total = static_cast<uint32_t>(reply.auth_info_size());
    for (uint32_t i = 0; i < total; ++i) {
        size_t size = MSGOBJ_GetSize(ack);
        if (!ack_has_room(size)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, 0, "msg obj size may over, current: %llu, only get %u of %u auth",
                    static_cast<unsigned long long>(size), i, total);
            break;
        }
        MSGOBJ_SetOpcode(ack, i, get_opcode());
        rc = write_items(ack, i, auth_answer_items(reply.auth_info(static_cast<int>(i))));
        if (rc != 0) {
            MSGOBJ_Destroy(ack);
            return rc;
        }
    }
    *rsp = ack;
    return 0;
}
