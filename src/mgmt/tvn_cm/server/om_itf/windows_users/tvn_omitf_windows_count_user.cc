#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

int CmOmitfWindowsCountUser::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    tvn::query_filter filter;
    int32_t rc = 0;
    if ((rc = U::DecodeTenant(TVN_HERE, req, tenant)) != 0 ||
        (rc = U::DecodeFilter(TVN_HERE, req, {"NAME", "RID", "STATUS"}, filter)) != 0)
        return rc;
    CountWindowsUserReq count;
    count.set_tenant_id(tenant);
    for (const auto& [key, value] : filter) {
        if (key == "NAME") count.set_nameprifix(value);
        else if (key == "RID") count.set_rid(value);
        else count.set_status(value);
    }
    CountWindowsUserRsp reply;
    rc = call_store(&TvnStoreWindowsUserApi::Api_QueryWindowsUserCount, "QueryWindowsUserCount", count, reply);
    if (rc != 0) return rc;
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS,
                                    {{tvn_om_common::kCount.id, tvn_omitf::TYPE_UNSIGNED, std::to_string(reply.count())}});
}
