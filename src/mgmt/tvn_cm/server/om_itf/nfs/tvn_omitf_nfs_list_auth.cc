#include <limits>

#include "common/tvn_query_cond.h"
#include "talvane_store_nfs.pb.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_auth.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

namespace {
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

int32_t read_auth_filter(void* msg, std::string& text, auth_filter& out) {
    switch (read_text(msg, ITEM_QUERY, text)) {
        case ITEM_READ_ABSENT: return 0;
        case ITEM_READ_FAILED: return bad_condition("");
        case ITEM_READ_OK: break;
    }
    return parse_auth_filter(text, out);
}

}  // namespace tvn_nfs

int TvnOmitfNfsListAuth::deal(void* req, void** rsp) {
    tvn_nfs_show_auth_req show;
    show.set_sort_type(TVN_NFS_AUTH_SORT_DEFAULT);

    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant, NFS_ERR_AUTH_OPTION);
    if (rc != 0) return rc;
    show.set_tenant_id(tenant);

    std::string text;
    auth_filter filter;
    rc = read_auth_filter(req, text, filter);
    if (rc != 0) return rc;
    set_auth_filter(filter, show);
    if (filter.auth_type) show.set_authtype(*filter.auth_type);

    page_request page;
    rc = read_page(req, "Auth_id", text, page);
    if (rc != 0) return rc;
    show.set_offset(page.offset);
    show.set_count(page.count);
    if (page.sort) {
        if (page.sort->key == "NAME")
            show.set_sort_type(page.sort->descending ? TVN_NFS_AUTH_NAME_SORT_DESCEND : TVN_NFS_AUTH_NAME_SORT_ASCEND);
        else if (page.sort->key == "ACCESSVAL")
            show.set_sort_type(page.sort->descending ? TVN_NFS_AUTH_VALUE_SORT_DESCEND
                                                     : TVN_NFS_AUTH_VALUE_SORT_ASCEND);
    }
    show.mutable_next_auth_id()->set_flag(page.after ? TVN_NFS_AUTH_ID_FIELD_VALID : TVN_NFS_AUTH_ID_FIELD_INVALID);
    show.mutable_next_auth_id()->set_authid(page.after.value_or(0));

    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;
    tvn_nfs_show_auth_rsp reply;
    rc = call_store(*api, &tvn_store_nfs_api::show_auth, "show_auth", show, reply);
    if (rc != 0) return rc;
    return answer_page(rsp, reply.auth_info(), auth_answer_items, "auth");
}
