#pragma once
// The store daemon's local Windows account service over the stand-ins'
// database. Calls it does not offer (the authentication daemon's caches)
// answer "not supported".
#include "sim_service_base.h"
#include "sim_store.h"
#include "sim_windows_user_store.h"
#include "vstore_windows_user.pb.h"

namespace tvn::sim {

class sim_windows_user_service : public sim_service<TvnStoreWindowsUserMgmtService> {
public:
    explicit sim_windows_user_service(sim_store& store) : users_(store.db, store.conf) {}
    // Creates the tables. 0 or SIM_ERR_IO with the reason.
    int32_t open(std::string& err) { return users_.open(err); }

    SIM_RPC(AddWindowsUser, AddWindowsUserReq, WindowsUserInfoRsp);
    SIM_RPC(DelWindowsUserByName, DelWindowsUserByNameReq, WindowsUserCommonRsp);
    SIM_RPC(DelWindowsUserBySid, DelWindowsUserBySidReq, WindowsUserCommonRsp);
    SIM_RPC(ModifyWindowsUserByName, ModifyWindowsUserByNameReq, WindowsUserCommonRsp);
    SIM_RPC(ModifyWindowsUserBySid, ModifyWindowsUserBySidReq, WindowsUserCommonRsp);
    SIM_RPC(QueryWindowsUserByName, QueryWindowsUserByNameReq, QueryWindowsUserRsp);
    SIM_RPC(QueryWindowsUserBySid, QueryWindowsUserBySidReq, QueryWindowsUserRsp);
    SIM_RPC(ListWindowsUser, ListWindowsUserReq, ListWindowsUserRsp);
    SIM_RPC(QueryWindowsUserCount, CountWindowsUserReq, CountWindowsUserRsp);
    SIM_RPC(QueryWindowsUserSidPrefix, QueryUserSidPrefixReq, QueryUserSidPrefixRsp);
    SIM_RPC(AddWindowsGroup, AddWindowsGroupReq, AddWindowsGroupRsp);
    SIM_RPC(DelWindowsGroupBySid, DelWindowsGroupBySidReq, WindowsUserCommonRsp);
    SIM_RPC(DelWindowsGroupByName, DelWindowsGroupByNameReq, WindowsUserCommonRsp);
    SIM_RPC(ModifyWindowsGroupBySid, ModifyWindowsGroupBySidReq, WindowsUserCommonRsp);
    SIM_RPC(ModifyWindowsGroupByName, ModifyWindowsGroupByNameReq, WindowsUserCommonRsp);
    SIM_RPC(QueryWindowsGroupBySid, QueryWindowsGroupBySidReq, QueryWindowsGroupRsp);
    SIM_RPC(QueryWindowsGroupByName, QueryWindowsGroupByNameReq, QueryWindowsGroupRsp);
    SIM_RPC(ListWindowsGroup, ListWindowsGroupReq, ListWindowsGroupRsp);
    SIM_RPC(QueryWindowsGroupCount, GetWindowsGroupCountReq, GetWindowsGroupCountRsp);
    SIM_RPC(QueryWindowsMemberCount, GetWindowsMemberCountReq, GetWindowsMemberCountRsp);
    SIM_RPC(AddWindowsMemberShip, AddWindowsMemberShipReq, WindowsUserCommonRsp);
    SIM_RPC(DelWindowsMemberShip, DelWindowsMemberShipReq, WindowsUserCommonRsp);
    SIM_RPC(QueryWindowsMemberShipByUser, QueryWindowsMemberShipByUserReq, QueryWindowsMemberShipByUserRsp);
    SIM_RPC(QueryWindowsMemberShipByGroup, QueryWindowsMemberShipByGroupReq, QueryWindowsMemberShipByGroupRsp);
    SIM_RPC(QueryWindowsMemberCountByName, CountWindowsGroupMemberReq, CountWindowsGroupMemberRsp);
    SIM_RPC(GetWindowsUserSidByRid, GetWindowsUserSidByRidReq, GetWindowsUserSidByRidRsp);

private:
    windows_user_store users_;
};

}  // namespace tvn::sim
