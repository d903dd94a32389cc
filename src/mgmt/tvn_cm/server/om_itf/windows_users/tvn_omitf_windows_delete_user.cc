#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;

int TvnOmitfWindowsDeleteUser::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    account_ref ref;
    if (int32_t rc = read_account(req, vocab::user_by, vocab::user_rid, vocab::user_name, tenant, ref)) return rc;
    DelWindowsUserByNameReq by_name;
    DelWindowsUserBySidReq by_sid;
    WindowsUserCommonRsp reply;
    if (int32_t rc = call_on_account(tenant, ref, by_name, by_sid, &TvnStoreWindowsUserApi::Api_DelWindowsUserByName,
                                     "DelWindowsUserByName", &TvnStoreWindowsUserApi::Api_DelWindowsUserBySid,
                                     "DelWindowsUserBySid", reply))
        return rc;
    return answer_change(rsp, reply, ref);
}
