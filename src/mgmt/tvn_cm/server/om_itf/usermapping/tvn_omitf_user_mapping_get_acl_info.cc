#include "tvn_omitf_usermapping_handlers.h"

using namespace tvn_usermapping;

int tvn_omitf_user_mapping_get_acl_info::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    if (int32_t rc = read_tenant(req, tenant)) return rc;
    acl_request r;
    if (int32_t rc = read_fs_path(req, r.fsid, r.path)) return rc;
    item_reader in(req);
    uint32_t names = 1;
    if (int32_t rc = in.take(vocab::acl_offset, r.offset, TVN_OM_FAIL(UM_ERR_ITEM, "Get offset failed."))) return rc;
    if (int32_t rc = in.take(vocab::acl_count, r.count, TVN_OM_FAIL(UM_ERR_ITEM, "Get count failed."))) return rc;
    if (int32_t rc = in.take(vocab::acl_names, names, TVN_OM_FAIL(UM_ERR_ITEM, "Get show name flag failed."))) return rc;
    if (int32_t rc = in.take(vocab::acl_type, r.acl_type, TVN_OM_FAIL(UM_ERR_USER_TYPE, "Access type invalid.")))
        return rc;
    r.names = names != 0;
    return show_security_desc(rsp, acl_cmdstr(tenant, r));
}
