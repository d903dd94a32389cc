#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;

int TvnOmitfWindowsGetGroup::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    account_ref ref;
    if (int32_t rc = read_account(req, vocab::group_by, vocab::group_rid, vocab::group_name, tenant, ref)) return rc;
    QueryWindowsGroupByNameReq by_name;
    QueryWindowsGroupBySidReq by_sid;
    QueryWindowsGroupRsp reply;
    if (int32_t rc = call_on_account(tenant, ref, by_name, by_sid,
                                     &TvnStoreWindowsUserApi::Api_QueryWindowsGroupByName, "QueryWindowsGroupByName",
                                     &TvnStoreWindowsUserApi::Api_QueryWindowsGroupBySid, "QueryWindowsGroupBySid",
                                     reply))
        return rc;
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS, group_items(reply.groupinfo()));
}
