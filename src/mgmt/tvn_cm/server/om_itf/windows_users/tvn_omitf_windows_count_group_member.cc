#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

int CmOmitfWindowsCountGroupMember::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    std::string group;
    tvn::query_filter filter;
    int32_t rc = 0;
    if ((rc = U::DecodeTenant(TVN_HERE, req, tenant)) != 0 ||
        (rc = U::DecodeName(TVN_HERE, req, vocab::member_group, "Group name null.", group)) != 0 ||
        (rc = U::DecodeFilter(TVN_HERE, req, {"NAME"}, filter)) != 0)
        return rc;
    CountWindowsGroupMemberReq count;
    count.set_tenant_id(tenant);
    count.set_groupname(group);
    if (!filter.empty()) count.set_nameprifix(filter.front().second);
    std::string probe;
    if (tvn_omitf::read_text(req, vocab::member_type.id, probe) != tvn_omitf::ITEM_READ_ABSENT) {
        WindowsMemberType type = WINDOWS_MEMBER_TYPE_WINDOWS_USER;
        if ((rc = U::GetGroupMemberAccountType(TVN_HERE, req, type)) != 0) return rc;
        count.set_type(type);
    }
    CountWindowsGroupMemberRsp reply;
    rc = call_store(&TvnStoreWindowsUserApi::Api_QueryWindowsMemberCountByName, "QueryWindowsMemberCountByName", count,
                    reply);
    if (rc != 0) return rc;
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS,
                                    {{tvn_om_common::kCount.id, tvn_omitf::TYPE_UNSIGNED, std::to_string(reply.count())}});
}
