#pragma once
// What adding and removing a member share: the request items, and a domain
// member resolved to its SID before the store sees it.
#include "tvn_omitf_windows_user_util.h"

namespace tvn_win {

struct member_ref {
    uint32_t tenant = 0;
    std::string group;
    std::string member;
    std::string sid;
    WindowsMemberType type = WINDOWS_MEMBER_TYPE_WINDOWS_USER;
};

// Reads tenant, group, member name, member SID and kind, logging at `here`.
int32_t read_member_ref(const tvn::log_here& here, void* req, member_ref& out);

inline bool is_domain_member(WindowsMemberType type) {
    return type == WINDOWS_MEMBER_TYPE_AD_USER || type == WINDOWS_MEMBER_TYPE_AD_GROUP;
}

template <class Req>
void fill_member(Req& r, const member_ref& m) {
    r.set_tenant_id(m.tenant);
    r.set_groupname(m.group);
    r.set_membername(m.member);
    if (!m.sid.empty()) r.set_membersid(m.sid);
    r.set_type(m.type);
}

}  // namespace tvn_win

template <class Derived>
template <class Req>
int32_t tvn_omitf_windows_command<Derived>::change_membership(
    void* req, void** rsp, int32_t (TvnStoreWindowsUserApi::*method)(const Req&, WindowsUserCommonRsp&, int),
    const char* method_name) {
    tvn_win::member_ref m;
    int32_t rc = tvn_win::read_member_ref(TVN_HERE, req, m);
    if (rc != 0) return rc;
    if (tvn_win::is_domain_member(m.type) && m.sid.empty() &&
        (rc = GetWindowsAdMemberSid(m.tenant, m.member, m.type, m.sid)) != 0)
        return rc;
    Req change;
    tvn_win::fill_member(change, m);
    WindowsUserCommonRsp reply;
    if ((rc = call_store(method, method_name, change, reply)) != 0) return rc;
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS,
                                    {{tvn_win::vocab::member_group.id, tvn_omitf::TYPE_STRING, m.group},
                                     {tvn_win::vocab::member_name.id, tvn_omitf::TYPE_STRING, m.member},
                                     {tvn_win::vocab::member_sid.id, tvn_omitf::TYPE_STRING, m.sid}});
}
