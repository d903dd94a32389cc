#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

int TvnOmitfWindowsDeleteGroup::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    account_ref ref;
    int32_t rc = 0;
    if ((rc = U::DecodeTenant(TVN_HERE, req, tenant)) != 0 ||
        (rc = U::DecodeAccountRef(TVN_HERE, req, vocab::group_by, vocab::group_rid, vocab::group_name, ref)) != 0)
        return rc;
    WindowsUserCommonRsp reply;
    if (ref.by_rid) {
        DelWindowsGroupBySidReq d;
        d.set_tenant_id(tenant);
        d.set_rid(ref.rid);
        rc = call_store(&TvnStoreWindowsUserApi::Api_DelWindowsGroupBySid, "DelWindowsGroupBySid", d, reply);
    } else {
        DelWindowsGroupByNameReq d;
        d.set_tenant_id(tenant);
        d.set_name(ref.name);
        rc = call_store(&TvnStoreWindowsUserApi::Api_DelWindowsGroupByName, "DelWindowsGroupByName", d, reply);
    }
    if (rc != 0) return rc;
    return answer_change(rsp, reply, ref);
}
