#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

int TvnOmitfWindowsListGroup::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    tvn::query_filter filter;
    range page;
    std::optional<tvn::query_sort> sort;
    int32_t rc = 0;
    if ((rc = U::DecodeTenant(TVN_HERE, req, tenant)) != 0 ||
        (rc = U::DecodeFilter(TVN_HERE, req, {"NAME", "RID", "TYPE"}, filter)) != 0 ||
        (rc = U::DecodeRange(TVN_HERE, req, page, &sort)) != 0)
        return rc;
    ListWindowsGroupReq list;
    list.set_tenant_id(tenant);
    list.set_offset(static_cast<int32_t>(page.offset));
    list.set_limit(static_cast<int32_t>(page.limit));
    for (const auto& [key, value] : filter) {
        if (key == "NAME") {
            list.set_prefix_name(value);
        } else if (key == "RID") {
            list.set_rid(value);
        } else {
            WindowsGroupType type = WINDOWS_GROUP_TYPE_BOTH;
            if ((rc = U::DecodeGroupType(TVN_HERE, value, type)) != 0) return rc;
            list.set_group_type(type);
        }
    }
    WindowsUserListType list_type = WINDOWS_USER_LIST_BY_DEFAULT;
    WindowsUserSortType order = WINDOWS_USER_SORT_DEFAULT;
    if ((rc = U::DecodeListOrder(TVN_HERE, sort, list_type, order)) != 0) return rc;
    list.set_list_type(list_type);
    list.set_sort_type(order);
    ListWindowsGroupRsp reply;
    rc = call_store(&TvnStoreWindowsUserApi::Api_ListWindowsGroup, "ListWindowsGroup", list, reply);
    if (rc != 0) return rc;
    return answer_page(rsp, reply.groupinfo(), group_items, "groups");
}
