#pragma once
// Client of the local Windows user and group store of the store daemon.
// One Api_<operation> per operation; each returns 0 when the call completed
// (the store's verdict is then in the reply) or the transport error.
#include <cstdint>
#include <string>

#include "tvn_msg_rpc_api.h"
#include "vstore_windows_user.pb.h"

class TvnStoreWindowsUserApi : public tvn_msg_rpc_api<TvnStoreWindowsUserMgmtService_Stub> {
public:
    static constexpr int32_t STORE_PORT = 6102;
    static constexpr unsigned STORE_WORKER_NUM = 3;

    explicit TvnStoreWindowsUserApi(const std::string& host, bool multi_channel = false,
                                    int32_t port = STORE_PORT)
        : tvn_msg_rpc_api(host, port, multi_channel, STORE_WORKER_NUM) {}

    int32_t Api_AddWindowsUser(const AddWindowsUserReq& req, WindowsUserInfoRsp& rsp,
                               int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::AddWindowsUser, req, rsp, timeout_ms);
    }
    int32_t Api_DelWindowsUserByName(const DelWindowsUserByNameReq& req, WindowsUserCommonRsp& rsp,
                                     int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::DelWindowsUserByName, req, rsp,
                    timeout_ms);
    }
    int32_t Api_DelWindowsUserBySid(const DelWindowsUserBySidReq& req, WindowsUserCommonRsp& rsp,
                                    int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::DelWindowsUserBySid, req, rsp,
                    timeout_ms);
    }
    int32_t Api_ModifyWindowsUserByName(const ModifyWindowsUserByNameReq& req,
                                        WindowsUserCommonRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::ModifyWindowsUserByName, req, rsp,
                    timeout_ms);
    }
    int32_t Api_ModifyWindowsUserBySid(const ModifyWindowsUserBySidReq& req,
                                       WindowsUserCommonRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::ModifyWindowsUserBySid, req, rsp,
                    timeout_ms);
    }
    int32_t Api_QueryWindowsUserByName(const QueryWindowsUserByNameReq& req,
                                       QueryWindowsUserRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::QueryWindowsUserByName, req, rsp,
                    timeout_ms);
    }
    int32_t Api_QueryWindowsUserBySid(const QueryWindowsUserBySidReq& req, QueryWindowsUserRsp& rsp,
                                      int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::QueryWindowsUserBySid, req, rsp,
                    timeout_ms);
    }
    int32_t Api_ListWindowsUser(const ListWindowsUserReq& req, ListWindowsUserRsp& rsp,
                                int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::ListWindowsUser, req, rsp, timeout_ms);
    }
    int32_t Api_QueryWindowsUserCount(const CountWindowsUserReq& req, CountWindowsUserRsp& rsp,
                                      int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::QueryWindowsUserCount, req, rsp,
                    timeout_ms);
    }
    int32_t Api_QueryWindowsUserSidPrefix(const QueryUserSidPrefixReq& req,
                                          QueryUserSidPrefixRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::QueryWindowsUserSidPrefix, req, rsp,
                    timeout_ms);
    }
    int32_t Api_AddWindowsGroup(const AddWindowsGroupReq& req, AddWindowsGroupRsp& rsp,
                                int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::AddWindowsGroup, req, rsp, timeout_ms);
    }
    int32_t Api_DelWindowsGroupBySid(const DelWindowsGroupBySidReq& req, WindowsUserCommonRsp& rsp,
                                     int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::DelWindowsGroupBySid, req, rsp,
                    timeout_ms);
    }
    int32_t Api_DelWindowsGroupByName(const DelWindowsGroupByNameReq& req,
                                      WindowsUserCommonRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::DelWindowsGroupByName, req, rsp,
                    timeout_ms);
    }
    int32_t Api_DelAdDomainCacheByTenantId(const DelAdDomainCacheByTenantIdReq& req,
                                           WindowsUserCommonRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::DelAdDomainCacheByTenantId, req, rsp,
                    timeout_ms);
    }
    int32_t Api_ModifyWindowsGroupBySid(const ModifyWindowsGroupBySidReq& req,
                                        WindowsUserCommonRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::ModifyWindowsGroupBySid, req, rsp,
                    timeout_ms);
    }
    int32_t Api_ModifyWindowsGroupByName(const ModifyWindowsGroupByNameReq& req,
                                         WindowsUserCommonRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::ModifyWindowsGroupByName, req, rsp,
                    timeout_ms);
    }
    int32_t Api_QueryWindowsGroupBySid(const QueryWindowsGroupBySidReq& req,
                                       QueryWindowsGroupRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::QueryWindowsGroupBySid, req, rsp,
                    timeout_ms);
    }
    int32_t Api_QueryWindowsGroupByName(const QueryWindowsGroupByNameReq& req,
                                        QueryWindowsGroupRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::QueryWindowsGroupByName, req, rsp,
                    timeout_ms);
    }
    int32_t Api_ListWindowsGroup(const ListWindowsGroupReq& req, ListWindowsGroupRsp& rsp,
                                 int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::ListWindowsGroup, req, rsp, timeout_ms);
    }
    int32_t Api_QueryWindowsGroupCount(const GetWindowsGroupCountReq& req,
                                       GetWindowsGroupCountRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::QueryWindowsGroupCount, req, rsp,
                    timeout_ms);
    }
    int32_t Api_QueryWindowsMemberCount(const GetWindowsMemberCountReq& req,
                                        GetWindowsMemberCountRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::QueryWindowsMemberCount, req, rsp,
                    timeout_ms);
    }
    int32_t Api_AddWindowsMemberShip(const AddWindowsMemberShipReq& req, WindowsUserCommonRsp& rsp,
                                     int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::AddWindowsMemberShip, req, rsp,
                    timeout_ms);
    }
    int32_t Api_DelWindowsMemberShip(const DelWindowsMemberShipReq& req, WindowsUserCommonRsp& rsp,
                                     int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::DelWindowsMemberShip, req, rsp,
                    timeout_ms);
    }
    int32_t Api_QueryWindowsMemberShipByUser(const QueryWindowsMemberShipByUserReq& req,
                                             QueryWindowsMemberShipByUserRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::QueryWindowsMemberShipByUser, req, rsp,
                    timeout_ms);
    }
    int32_t Api_QueryWindowsMemberShipByGroup(const QueryWindowsMemberShipByGroupReq& req,
                                              QueryWindowsMemberShipByGroupRsp& rsp,
                                              int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::QueryWindowsMemberShipByGroup, req, rsp,
                    timeout_ms);
    }
    int32_t Api_QueryWindowsMemberCountByName(const CountWindowsGroupMemberReq& req,
                                              CountWindowsGroupMemberRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::QueryWindowsMemberCountByName, req, rsp,
                    timeout_ms);
    }
    int32_t Api_QueryLocalGroupSidsByDomainSids(const QueryLocalGroupSidsByDomainSidsReq& req,
                                                QueryLocalGroupSidsByDomainSidsRsp& rsp,
                                                int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::QueryLocalGroupSidsByDomainSids, req, rsp,
                    timeout_ms);
    }
    int32_t Api_QueryWinUserInfoListBySids(const QueryWindUserInfoListBySidReq& req,
                                           QueryWindUserInfoListBySidRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::QueryWinUserInfoListBySids, req, rsp,
                    timeout_ms);
    }
    int32_t Api_GetWindowsUserSidByRid(const GetWindowsUserSidByRidReq& req,
                                       GetWindowsUserSidByRidRsp& rsp, int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::GetWindowsUserSidByRid, req, rsp,
                    timeout_ms);
    }
    int32_t Api_ListWindowsMemberShipCache(const ListLocalGroupSidsCacheByDomainSidsReq& req,
                                           ListLocalGroupSidsCacheByDomainSidsRsp& rsp,
                                           int timeout_ms) {
        return call(&TvnStoreWindowsUserMgmtService_Stub::ListWindowsMemberShipCache, req, rsp,
                    timeout_ms);
    }
};
