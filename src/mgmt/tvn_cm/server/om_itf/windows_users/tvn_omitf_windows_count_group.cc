#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

int TvnOmitfWindowsCountGroup::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    tvn::query_filter filter;
    int32_t rc = 0;
    if ((rc = U::DecodeTenant(TVN_HERE, req, tenant)) != 0 ||
        (rc = U::DecodeFilter(TVN_HERE, req, {"NAME", "RID", "TYPE"}, filter)) != 0)
        return rc;
    GetWindowsGroupCountReq count;
    count.set_tenant_id(tenant);
    for (const auto& [key, value] : filter) {
        if (key == "NAME") {
            count.set_prefixname(value);
        } else if (key == "RID") {
            count.set_rid(value);
        } else {
            WindowsGroupType type = WINDOWS_GROUP_TYPE_BOTH;
            if ((rc = U::DecodeGroupType(TVN_HERE, value, type)) != 0) return rc;
            count.set_group_type(type);
        }
    }
    GetWindowsGroupCountRsp reply;
    rc = call_store(&TvnStoreWindowsUserApi::Api_QueryWindowsGroupCount, "QueryWindowsGroupCount", count, reply);
    if (rc != 0) return rc;
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS,
                                    {{tvn_om_common::kCount.id, tvn_omitf::TYPE_UNSIGNED, std::to_string(reply.count())}});
}
