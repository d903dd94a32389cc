#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;

int TvnOmitfWindowsDeleteGroup::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    account_ref ref;
    if (int32_t rc = read_account(req, vocab::group_by, vocab::group_rid, vocab::group_name, tenant, ref)) return rc;
    DelWindowsGroupByNameReq by_name;
    DelWindowsGroupBySidReq by_sid;
    WindowsUserCommonRsp reply;
    if (int32_t rc = call_on_account(tenant, ref, by_name, by_sid, &TvnStoreWindowsUserApi::Api_DelWindowsGroupByName,
                                     "DelWindowsGroupByName", &TvnStoreWindowsUserApi::Api_DelWindowsGroupBySid,
                                     "DelWindowsGroupBySid", reply))
        return rc;
    return answer_change(rsp, reply, ref);
}
