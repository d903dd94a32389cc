#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;

int TvnOmitfWindowsQueryUser::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    account_ref ref;
    if (int32_t rc = read_account(req, vocab::user_by, vocab::user_rid, vocab::user_name, tenant, ref)) return rc;
    QueryWindowsUserByNameReq by_name;
    QueryWindowsUserBySidReq by_sid;
    QueryWindowsUserRsp reply;
    if (int32_t rc = call_on_account(tenant, ref, by_name, by_sid, &TvnStoreWindowsUserApi::Api_QueryWindowsUserByName,
                                     "QueryWindowsUserByName", &TvnStoreWindowsUserApi::Api_QueryWindowsUserBySid,
                                     "QueryWindowsUserBySid", reply))
        return rc;
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS, user_items(reply.userinfo()));
}
