#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

int TvnOmitfWindowsDeleteUser::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    account_ref ref;
    int32_t rc = 0;
    if ((rc = U::DecodeTenant(TVN_HERE, req, tenant)) != 0 ||
        (rc = U::DecodeAccountRef(TVN_HERE, req, vocab::user_by, vocab::user_rid, vocab::user_name, ref)) != 0)
        return rc;
    WindowsUserCommonRsp reply;
    if (ref.by_rid) {
        DelWindowsUserBySidReq d;
        d.set_tenant_id(tenant);
        d.set_rid(ref.rid);
        rc = call_store(&TvnStoreWindowsUserApi::Api_DelWindowsUserBySid, "DelWindowsUserBySid", d, reply);
    } else {
        DelWindowsUserByNameReq d;
        d.set_tenant_id(tenant);
        d.set_name(ref.name);
        rc = call_store(&TvnStoreWindowsUserApi::Api_DelWindowsUserByName, "DelWindowsUserByName", d, reply);
    }
    if (rc != 0) return rc;
    return answer_change(rsp, reply, ref);
}
