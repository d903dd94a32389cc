#pragma once
// The store daemon's local Windows accounts per tenant: users, groups and
// group memberships, in the stand-ins' database.
//
// Names are unique per tenant across users and groups, ignoring ASCII case.
// A user or group's SID is the tenant's local domain SID prefix (the
// configuration pair "cifs.local.domainsid", else a default made from the
// tenant id) and its RID. RIDs are allocated from 1000 upward and never
// given twice in a tenant, even after the account is gone. Every tenant has
// the built-in groups (S-1-5-32-544 Administrators and the like), which
// cannot be deleted or renamed. Members of a group are local users, local
// groups and domain accounts (kept by SID with the name they were added
// under).
#include <cstdint>
#include <mutex>
#include <set>
#include <string>

#include "sim_conf_store.h"
#include "sim_db.h"
#include "vstore_windows_user.pb.h"

namespace tvn::sim {

// A user or group as a request names it.
struct win_account_ref {
    uint32_t tenant = 0;
    bool by_name = true;
    std::string name;
    uint64_t rid = 0;
    std::string sid;  // by_name false: the SID, else the RID
};

// The built-in groups every tenant has.
struct win_builtin_group {
    uint64_t rid;
    const char* name;
    const char* desc;
};
extern const win_builtin_group kWinBuiltinGroups[5];

class windows_user_store {
public:
    windows_user_store(sim_db& db, conf_store& conf) : db_(db), conf_(conf) {}

    // Creates the tables when missing. 0 or SIM_ERR_IO.
    int32_t open(std::string& err);
    // The tables' schema, for tools that fill a database in bulk.
    static const char* schema_sql();
    // The tenant's local domain SID prefix.
    std::string sid_prefix(uint32_t tenant);

    int32_t add_user(const AddWindowsUserReq& req, WindowsUserInfo* out, std::string& desc);
    int32_t del_user(const win_account_ref& ref, WindowsUserCommonRsp* out, std::string& desc);
    int32_t modify_user(const win_account_ref& ref, const ModifyWindowsUserByNameReq& change,
                        WindowsUserCommonRsp* out, std::string& desc);
    int32_t query_user(const win_account_ref& ref, WindowsUserInfo* out, std::string& desc);
    int32_t list_users(const ListWindowsUserReq& req, ListWindowsUserRsp* out, std::string& desc);
    int32_t count_users(const CountWindowsUserReq& req, uint32_t& count, std::string& desc);

    int32_t add_group(const AddWindowsGroupReq& req, WindowsGroupInfo* out, std::string& desc);
    int32_t del_group(const win_account_ref& ref, WindowsUserCommonRsp* out, std::string& desc);
    int32_t modify_group(const win_account_ref& ref, const ModifyWindowsGroupByNameReq& change,
                         WindowsUserCommonRsp* out, std::string& desc);
    int32_t query_group(const win_account_ref& ref, WindowsGroupInfo* out, std::string& desc);
    int32_t list_groups(const ListWindowsGroupReq& req, ListWindowsGroupRsp* out, std::string& desc);
    int32_t count_groups(const GetWindowsGroupCountReq& req, int32_t& count, std::string& desc);

    int32_t add_member(const AddWindowsMemberShipReq& req, std::string& desc);
    int32_t del_member(const DelWindowsMemberShipReq& req, std::string& desc);
    int32_t groups_of_user(const QueryWindowsMemberShipByUserReq& req, QueryWindowsMemberShipByUserRsp* out,
                           std::string& desc);
    int32_t members_of_group(const QueryWindowsMemberShipByGroupReq& req, QueryWindowsMemberShipByGroupRsp* out,
                             std::string& desc);
    int32_t count_members(const CountWindowsGroupMemberReq& req, uint32_t& count, std::string& desc);
    int32_t member_counts(uint32_t tenant, GetWindowsMemberCountRsp* out, std::string& desc);
    int32_t user_sid_by_rid(uint32_t tenant, uint64_t rid, std::string& sid, std::string& desc);

private:
    // Gives a tenant its built-in groups the first time it is seen.
    int32_t ensure_tenant(uint32_t tenant, std::string& desc);
    // What a new account needs before its transaction: a name of the right
    // length, the tenant's built-in groups, the SID prefix.
    int32_t admit(uint32_t tenant, const std::string& name, std::string& prefix, std::string& desc);
    // Adds or removes one membership.
    template <class Req>
    int32_t change_member(const Req& req, bool add, std::string& desc);

    sim_db& db_;
    conf_store& conf_;
    std::mutex seeded_mutex_;
    std::set<uint32_t> seeded_;
};

}  // namespace tvn::sim
