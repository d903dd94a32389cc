#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

int TvnOmitfWindowsListUser::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    tvn::query_filter filter;
    range page;
    std::optional<tvn::query_sort> sort;
    int32_t rc = 0;
    if ((rc = U::DecodeTenant(TVN_HERE, req, tenant)) != 0 ||
        (rc = U::DecodeFilter(TVN_HERE, req, {"NAME", "RID", "STATUS"}, filter)) != 0 ||
        (rc = U::DecodeRange(TVN_HERE, req, page, &sort)) != 0)
        return rc;
    ListWindowsUserReq list;
    list.set_tenant_id(tenant);
    list.set_offset(static_cast<int32_t>(page.offset));
    list.set_limit(static_cast<int32_t>(page.limit));
    for (const auto& [key, value] : filter) {
        if (key == "NAME") list.set_prefixname(value);
        else if (key == "RID") list.set_rid(value);
        else list.set_status(value);
    }
    WindowsUserListType list_type = WINDOWS_USER_LIST_BY_DEFAULT;
    WindowsUserSortType order = WINDOWS_USER_SORT_DEFAULT;
    if ((rc = U::DecodeListOrder(TVN_HERE, sort, list_type, order)) != 0) return rc;
    list.set_listtype(list_type);
    list.set_sorttype(order);
    ListWindowsUserRsp reply;
    rc = call_store(&TvnStoreWindowsUserApi::Api_ListWindowsUser, "ListWindowsUser", list, reply);
    if (rc != 0) return rc;
    return answer_page(rsp, reply.usersinfo(), user_items, "users");
}
