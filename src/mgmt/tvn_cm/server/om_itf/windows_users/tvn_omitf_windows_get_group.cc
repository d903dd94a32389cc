#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

int TvnOmitfWindowsGetGroup::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    account_ref ref;
    int32_t rc = 0;
    if ((rc = U::DecodeTenant(TVN_HERE, req, tenant)) != 0 ||
        (rc = U::DecodeAccountRef(TVN_HERE, req, vocab::group_by, vocab::group_rid, vocab::group_name, ref)) != 0)
        return rc;
    QueryWindowsGroupRsp reply;
    if (ref.by_rid) {
        QueryWindowsGroupBySidReq q;
        q.set_tenant_id(tenant);
        q.set_rid(ref.rid);
        rc = call_store(&TvnStoreWindowsUserApi::Api_QueryWindowsGroupBySid, "QueryWindowsGroupBySid", q, reply);
    } else {
        QueryWindowsGroupByNameReq q;
        q.set_tenant_id(tenant);
        q.set_name(ref.name);
        rc = call_store(&TvnStoreWindowsUserApi::Api_QueryWindowsGroupByName, "QueryWindowsGroupByName", q, reply);
    }
    if (rc != 0) return rc;
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS, group_items(reply.groupinfo()));
}
