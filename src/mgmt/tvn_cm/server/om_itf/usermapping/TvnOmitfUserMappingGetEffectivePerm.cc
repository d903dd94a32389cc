#include "tvn_omitf_usermapping_handlers.h"

using namespace tvn_usermapping;

int TvnOmitfUserMappingGetEffectivePerm::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    if (int32_t rc = read_tenant(req, tenant)) return rc;
    perm_request r;
    if (int32_t rc = read_fs_path(req, r.fsid, r.path)) return rc;
    item_reader in(req);
    if (int32_t rc = in.need(vocab::perm_user_type, r.user_type, TVN_OM_FAIL(UM_ERR_USER_TYPE, "User type is null."),
                             TVN_OM_FAIL(UM_ERR_USER_TYPE, "User type(%s) is invalid.")))
        return rc;
    if (int32_t rc = in.need(vocab::perm_user, r.user, TVN_OM_FAIL(UM_ERR_ACCOUNT_NAME, "User name is null."),
                             TVN_OM_FAIL(UM_ERR_ACCOUNT_NAME, "Get user name failed.")))
        return rc;
    name_problem problem = r.user_type == 0 ? check_windows_name(r.user) : check_unix_name(r.user);
    if (problem.code != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, problem.code, "%s", problem.text.c_str());
        return problem.code;
    }
    return show_security_desc(rsp, perm_cmdstr(tenant, r));
}
