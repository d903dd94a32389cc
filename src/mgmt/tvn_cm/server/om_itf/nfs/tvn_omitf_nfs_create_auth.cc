#include "talvane_store_nfs.pb.h"
#include "tvn_cm_util.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_nfs_auth.h"
#include "tvn_omitf_nfs_lookup.h"
#include "tvn_store_nfs_api.h"

using namespace tvn_nfs;

namespace {
constexpr size_t kMaxAccessName = 255;

int32_t option_failed(const char* text) {
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_AUTH_OPTION, "%s", text);
    return NFS_ERR_AUTH_OPTION;
}

// One of the two squash flags, which a create must carry.
int32_t read_squash(void* req, uint32_t item, const char* missing, std::optional<uint32_t>& out) {
    uint32_t value = 0;
    switch (read_number(req, item, value)) {
        case ITEM_READ_ABSENT: return option_failed(missing);
        case ITEM_READ_FAILED: value = 2; break;  // not a number: as bad as a wrong one
        case ITEM_READ_OK: break;
    }
    std::string why;
    if (check_option(item, value, &why) != 0) return option_failed(why.c_str());
    out = value;
    return 0;
}
}  // namespace

int tvn_omitf_nfs_create_auth::deal(void* req, void** rsp) {
    int32_t rc = read_tenant(req, m_tenant, NFS_ERR_AUTH_OPTION);
    if (rc != 0) return rc;

    if (read_text(req, ITEM_NAME, m_access_name) != ITEM_READ_OK) return option_failed("No have accessName.");

    auto api = open_store();
    if (!api) return NFS_ERR_NOMEM;

    std::string text;
    item_read got = read_text(req, ITEM_PARENT_ID, text);
    if (got != ITEM_READ_ABSENT) {
        if (got != ITEM_READ_OK || !parse_object_id(text, m_share_id)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_SHARE_ID, "Share_id(%s) is null or invalid.", text.c_str());
            return NFS_ERR_SHARE_ID;
        }
    } else if (read_text(req, ITEM_PATH, text) == ITEM_READ_OK) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "OMAgent share_id is not input,try get shareid by sharename.");
        rc = share_id_by_name(TVN_HERE, *api, m_tenant, text, m_share_id);
        if (rc != 0) return rc;
    } else {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_SHARE_NAME, "OMAgent shareid and sharename are not input.");
        return NFS_ERR_SHARE_NAME;
    }

    rc = read_squash(req, ITEM_ALL_SQUASH, "No have allSquashflag.", m_opts.all_squash);
    if (rc != 0) return rc;
    rc = read_squash(req, ITEM_ROOT_SQUASH, "No have rootSquashflag.", m_opts.root_squash);
    if (rc != 0) return rc;
    rc = read_optional_options(TVN_HERE, req, vocab::kCreateOptionalItems, m_opts);
    if (rc != 0) return rc;

    tvn_nfs_create_auth_req create;
    create.set_share_id(m_share_id);
    create.set_tenant_id(m_tenant);
    create.set_hostname(m_access_name);
    create.set_options(build_create_options(m_opts));

    rc = tvn_nfs::tvn_cm_check_tenant_exist(m_tenant);
    if (rc != 0) return rc;
    if (m_access_name.empty() || m_access_name.size() > kMaxAccessName) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_ACCESS_NAME, "Create auth access name is zero.");
        return NFS_ERR_ACCESS_NAME;
    }
    if (access_name_is_host(m_access_name) && host_resolves(m_tenant, m_access_name) != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, NFS_ERR_CLIENT_LOOKUP, "Create auth:client_lookup fail.");
        return NFS_ERR_CLIENT_LOOKUP;
    }

    tvn_nfs_create_auth_rsp reply;
    rc = prepare_notify(NFS_NOTIFY_CREATE, NFS_AUTH_OBJ_TYPE);
    if (rc != 0) return rc;
    rc = call_store(*api, &tvn_store_nfs_api::create_auth, "create_auth", create, reply);
    if (rc != 0) return rc;
    set_auth_id(reply.auth_id());
    notify_change(std::to_string(m_auth_id));

    return answer_record(rsp, NFS_AUTH_ACK_ITEMS, {{ITEM_ID, TYPE_STRING, std::to_string(m_auth_id)}});
}

std::string tvn_omitf_nfs_create_auth::AuditGetPermissionType() const {
    switch (m_opts.access.value_or(0)) {
        case 1: return "rw";
        case 5: return "na";
        default: return "ro";
    }
}

void tvn_omitf_nfs_create_auth::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_CREATE_AUTH_OK, OPLOG_CREATE_AUTH_FAIL, m_tenant,
               oplog_cut(m_access_name) + "," + std::to_string(m_share_id) + "," + AuditGetPermissionType());
}
