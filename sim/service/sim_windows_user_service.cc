#include "sim_windows_user_service.h"

#include "sim_result.h"

namespace tvn::sim {

namespace {

using store = windows_user_store;

template <class Req>
win_account_ref by_name(const Req& req) {
    return {req.tenant_id(), true, req.name(), 0, {}};
}

template <class Req>
win_account_ref by_sid(const Req& req) {
    return {req.tenant_id(), false, {}, req.rid(), req.sid()};
}

// A modify by SID as the change a modify by name carries.
ModifyWindowsUserByNameReq user_change(const ModifyWindowsUserBySidReq& r) {
    ModifyWindowsUserByNameReq c;
    c.set_tenant_id(r.tenant_id());
    c.set_name("");
    if (r.has_newname()) c.set_newname(r.newname());
    if (r.has_newpassword()) c.set_newpassword(r.newpassword());
    if (r.has_newdesc()) c.set_newdesc(r.newdesc());
    if (r.has_newpwdexpired()) c.set_newpwdexpired(r.newpwdexpired());
    if (r.has_newstatusenabled()) c.set_newstatusenabled(r.newstatusenabled());
    if (r.has_atime()) c.set_atime(r.atime());
    if (r.has_privileges()) c.set_privileges(r.privileges());
    return c;
}

ModifyWindowsGroupByNameReq group_change(const ModifyWindowsGroupBySidReq& r) {
    ModifyWindowsGroupByNameReq c;
    c.set_tenant_id(r.tenant_id());
    c.set_name("");
    if (r.has_newname()) c.set_newname(r.newname());
    if (r.has_newdesc()) c.set_newdesc(r.newdesc());
    if (r.has_newprivileges()) c.set_newprivileges(r.newprivileges());
    return c;
}

template <class Rsp, class N>
void set_count(Rsp* rsp, int32_t rc, N count) {
    if (rc == SIM_OK) rsp->set_count(count);
}

}  // namespace

SIM_RPC_IMPL(sim_windows_user_service, AddWindowsUser, AddWindowsUserReq, WindowsUserInfoRsp) {
    if (sim_answer(rsp->mutable_status(), users_, &store::add_user, *req, rsp->mutable_userinfo()) != SIM_OK)
        rsp->clear_userinfo();
    else {
        rsp->mutable_status()->set_rid(rsp->userinfo().rid());
        rsp->mutable_status()->set_name(req->name());
    }
}
SIM_RPC_IMPL(sim_windows_user_service, DelWindowsUserByName, DelWindowsUserByNameReq, WindowsUserCommonRsp) {
    sim_answer(rsp, users_, &store::del_user, by_name(*req), rsp);
}
SIM_RPC_IMPL(sim_windows_user_service, DelWindowsUserBySid, DelWindowsUserBySidReq, WindowsUserCommonRsp) {
    sim_answer(rsp, users_, &store::del_user, by_sid(*req), rsp);
}
SIM_RPC_IMPL(sim_windows_user_service, ModifyWindowsUserByName, ModifyWindowsUserByNameReq, WindowsUserCommonRsp) {
    sim_answer(rsp, users_, &store::modify_user, by_name(*req), *req, rsp);
}
SIM_RPC_IMPL(sim_windows_user_service, ModifyWindowsUserBySid, ModifyWindowsUserBySidReq, WindowsUserCommonRsp) {
    sim_answer(rsp, users_, &store::modify_user, by_sid(*req), user_change(*req), rsp);
}
SIM_RPC_IMPL(sim_windows_user_service, QueryWindowsUserByName, QueryWindowsUserByNameReq, QueryWindowsUserRsp) {
    if (sim_answer(rsp->mutable_status(), users_, &store::query_user, by_name(*req), rsp->mutable_userinfo()) != SIM_OK)
        rsp->clear_userinfo();
}
SIM_RPC_IMPL(sim_windows_user_service, QueryWindowsUserBySid, QueryWindowsUserBySidReq, QueryWindowsUserRsp) {
    if (sim_answer(rsp->mutable_status(), users_, &store::query_user, by_sid(*req), rsp->mutable_userinfo()) != SIM_OK)
        rsp->clear_userinfo();
}
SIM_RPC_IMPL(sim_windows_user_service, ListWindowsUser, ListWindowsUserReq, ListWindowsUserRsp) {
    sim_answer(rsp->mutable_status(), users_, &store::list_users, *req, rsp);
}
SIM_RPC_IMPL(sim_windows_user_service, QueryWindowsUserCount, CountWindowsUserReq, CountWindowsUserRsp) {
    uint32_t count = 0;
    const int32_t rc = sim_answer(rsp->mutable_status(), users_, &store::count_users, *req, count);
    set_count(rsp, rc, count);
}
SIM_RPC_IMPL(sim_windows_user_service, QueryWindowsUserSidPrefix, QueryUserSidPrefixReq, QueryUserSidPrefixRsp) {
    rsp->set_sid_prefix(users_.sid_prefix(req->tenant_id()));
    rsp->mutable_status()->set_result(SIM_OK);
    rsp->mutable_status()->set_desc("success");
}
SIM_RPC_IMPL(sim_windows_user_service, AddWindowsGroup, AddWindowsGroupReq, AddWindowsGroupRsp) {
    if (sim_answer(rsp->mutable_status(), users_, &store::add_group, *req, rsp->mutable_groupinfo()) != SIM_OK)
        rsp->clear_groupinfo();
    else {
        rsp->mutable_status()->set_rid(rsp->groupinfo().rid());
        rsp->mutable_status()->set_name(req->name());
    }
}
SIM_RPC_IMPL(sim_windows_user_service, DelWindowsGroupBySid, DelWindowsGroupBySidReq, WindowsUserCommonRsp) {
    sim_answer(rsp, users_, &store::del_group, by_sid(*req), rsp);
}
SIM_RPC_IMPL(sim_windows_user_service, DelWindowsGroupByName, DelWindowsGroupByNameReq, WindowsUserCommonRsp) {
    sim_answer(rsp, users_, &store::del_group, by_name(*req), rsp);
}
SIM_RPC_IMPL(sim_windows_user_service, ModifyWindowsGroupBySid, ModifyWindowsGroupBySidReq, WindowsUserCommonRsp) {
    sim_answer(rsp, users_, &store::modify_group, by_sid(*req), group_change(*req), rsp);
}
SIM_RPC_IMPL(sim_windows_user_service, ModifyWindowsGroupByName, ModifyWindowsGroupByNameReq, WindowsUserCommonRsp) {
    sim_answer(rsp, users_, &store::modify_group, by_name(*req), *req, rsp);
}
SIM_RPC_IMPL(sim_windows_user_service, QueryWindowsGroupBySid, QueryWindowsGroupBySidReq, QueryWindowsGroupRsp) {
    if (sim_answer(rsp->mutable_status(), users_, &store::query_group, by_sid(*req), rsp->mutable_groupinfo()) != SIM_OK)
        rsp->clear_groupinfo();
}
SIM_RPC_IMPL(sim_windows_user_service, QueryWindowsGroupByName, QueryWindowsGroupByNameReq, QueryWindowsGroupRsp) {
    if (sim_answer(rsp->mutable_status(), users_, &store::query_group, by_name(*req), rsp->mutable_groupinfo()) !=
        SIM_OK)
        rsp->clear_groupinfo();
}
SIM_RPC_IMPL(sim_windows_user_service, ListWindowsGroup, ListWindowsGroupReq, ListWindowsGroupRsp) {
    sim_answer(rsp->mutable_status(), users_, &store::list_groups, *req, rsp);
}
SIM_RPC_IMPL(sim_windows_user_service, QueryWindowsGroupCount, GetWindowsGroupCountReq, GetWindowsGroupCountRsp) {
    int32_t count = 0;
    const int32_t rc = sim_answer(rsp->mutable_status(), users_, &store::count_groups, *req, count);
    set_count(rsp, rc, count);
}
SIM_RPC_IMPL(sim_windows_user_service, QueryWindowsMemberCount, GetWindowsMemberCountReq, GetWindowsMemberCountRsp) {
    sim_answer(rsp->mutable_status(), users_, &store::member_counts, req->tenant_id(), rsp);
}
SIM_RPC_IMPL(sim_windows_user_service, AddWindowsMemberShip, AddWindowsMemberShipReq, WindowsUserCommonRsp) {
    sim_answer(rsp, users_, &store::add_member, *req);
}
SIM_RPC_IMPL(sim_windows_user_service, DelWindowsMemberShip, DelWindowsMemberShipReq, WindowsUserCommonRsp) {
    sim_answer(rsp, users_, &store::del_member, *req);
}
SIM_RPC_IMPL(sim_windows_user_service, QueryWindowsMemberShipByUser, QueryWindowsMemberShipByUserReq,
             QueryWindowsMemberShipByUserRsp) {
    sim_answer(rsp->mutable_status(), users_, &store::groups_of_user, *req, rsp);
}
SIM_RPC_IMPL(sim_windows_user_service, QueryWindowsMemberShipByGroup, QueryWindowsMemberShipByGroupReq,
             QueryWindowsMemberShipByGroupRsp) {
    sim_answer(rsp->mutable_status(), users_, &store::members_of_group, *req, rsp);
}
SIM_RPC_IMPL(sim_windows_user_service, QueryWindowsMemberCountByName, CountWindowsGroupMemberReq,
             CountWindowsGroupMemberRsp) {
    uint32_t count = 0;
    const int32_t rc = sim_answer(rsp->mutable_status(), users_, &store::count_members, *req, count);
    set_count(rsp, rc, count);
}
SIM_RPC_IMPL(sim_windows_user_service, GetWindowsUserSidByRid, GetWindowsUserSidByRidReq, GetWindowsUserSidByRidRsp) {
    std::string sid;
    if (sim_answer(rsp->mutable_status(), users_, &store::user_sid_by_rid, req->tenant_id(), req->rid(), sid) == SIM_OK)
        rsp->set_sid(sid);
}

}  // namespace tvn::sim
