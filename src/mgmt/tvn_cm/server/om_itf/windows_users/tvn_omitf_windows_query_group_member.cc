#include "tvn_omitf_windows_member.h"
#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

// The groups of a user (item 83), or the members of a group (item 2) with
// their kind (item 82) and name prefix (filter "NAME").
int TvnOmitfWindowsQueryGroupMember::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    range page;
    int32_t rc = 0;
    std::optional<std::string> user;
    if ((rc = U::DecodeTenant(TVN_HERE, req, tenant)) != 0 || (rc = U::DecodeRange(TVN_HERE, req, page)) != 0 ||
        (rc = tvn_omitf::item_reader(req).take(vocab::member_user, user,
                                               TVN_OM_FAIL(WIN_ERR_INVALID, "Get user name failed."))) != 0)
        return rc;

    if (user) {
        if ((rc = U::CheckWindowsNameValidUtil(TVN_HERE, *user)) != 0) return rc;
        QueryWindowsMemberShipByUserReq q;
        q.set_tenant_id(tenant);
        q.set_username(*user);
        q.set_offset(static_cast<int32_t>(page.offset));
        q.set_limit(static_cast<int32_t>(page.limit));
        QueryWindowsMemberShipByUserRsp reply;
        rc = call_store(&TvnStoreWindowsUserApi::Api_QueryWindowsMemberShipByUser, "QueryWindowsMemberShipByUser", q,
                        reply);
        if (rc != 0) return rc;
        return answer_page(rsp, reply.groupinfo(), group_items, "groups");
    }

    std::string group;
    tvn::query_filter filter;
    WindowsMemberType type = WINDOWS_MEMBER_TYPE_INVALID;
    const bool type_given = tvn_omitf::read_text(req, vocab::member_type.id, group) != tvn_omitf::ITEM_READ_ABSENT;
    if ((rc = U::DecodeName(TVN_HERE, req, vocab::member_group, "Group name null.", group)) != 0 ||
        (rc = U::DecodeFilter(TVN_HERE, req, {"NAME"}, filter)) != 0 ||
        (type_given && (rc = U::GetGroupMemberAccountType(TVN_HERE, req, type)) != 0))
        return rc;
    QueryWindowsMemberShipByGroupReq q;
    q.set_tenant_id(tenant);
    q.set_groupname(group);
    q.set_offset(static_cast<int32_t>(page.offset));
    q.set_limit(static_cast<int32_t>(page.limit));
    if (type_given) q.set_type(type);
    if (!filter.empty()) q.set_prefixname(filter.front().second);
    QueryWindowsMemberShipByGroupRsp reply;
    rc = call_store(&TvnStoreWindowsUserApi::Api_QueryWindowsMemberShipByGroup, "QueryWindowsMemberShipByGroup", q,
                    reply);
    if (rc != 0) return rc;
    // Domain members (no local RID) are shown under their current account
    // names; one that the directory no longer knows keeps its stored name.
    std::unique_ptr<tvn_auth_api> lookup;
    for (auto& m : *reply.mutable_memberinfo()) {
        if (m.memberrid() != 0) continue;
        if (!lookup && !(lookup = open_lookup())) return WIN_ERR_NOMEM;
        std::string name;
        if (ad_account_name(*lookup, tenant, m.membersid(), name)) m.set_membername(name);
    }
    return answer_page(rsp, reply.memberinfo(), member_items, "members");
}
