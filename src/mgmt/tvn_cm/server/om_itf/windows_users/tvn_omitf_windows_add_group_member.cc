#include "tvn_omitf_windows_member.h"
#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;

int TvnOmitfWindowsAddGroupMember::deal(void* req, void** rsp) {
    member_ref m;
    int32_t rc = read_member_ref(TVN_HERE, req, m);
    if (rc != 0) return rc;
    if (is_domain_member(m.type) && m.sid.empty() &&
        (rc = GetWindowsAdMemberSid(m.tenant, m.member, m.type, m.sid)) != 0)
        return rc;
    AddWindowsMemberShipReq add;
    fill_member(add, m);
    WindowsUserCommonRsp reply;
    rc = call_store(&TvnStoreWindowsUserApi::Api_AddWindowsMemberShip, "AddWindowsMemberShip", add, reply);
    if (rc != 0) return rc;
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS,
                                    {{vocab::member_group.id, tvn_omitf::TYPE_STRING, m.group},
                                     {vocab::member_name.id, tvn_omitf::TYPE_STRING, m.member},
                                     {vocab::member_sid.id, tvn_omitf::TYPE_STRING, m.sid}});
}
