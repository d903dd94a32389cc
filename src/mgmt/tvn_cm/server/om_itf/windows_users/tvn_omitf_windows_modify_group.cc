#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

namespace {

template <class Req>
bool fill_changes(Req& r, const std::optional<std::string>& new_name, const std::optional<std::string>& desc,
                  const std::optional<uint64_t>& privileges) {
    if (new_name) r.set_newname(*new_name);
    if (desc) r.set_newdesc(*desc);
    if (privileges) r.set_newprivileges(*privileges);
    return new_name || desc || privileges;
}

}  // namespace

int TvnOmitfWindowsModifyGroup::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    account_ref ref;
    std::optional<std::string> new_name, desc;
    std::optional<uint64_t> privileges;
    int32_t rc = 0;
    if ((rc = U::DecodeTenant(TVN_HERE, req, tenant)) != 0 ||
        (rc = U::DecodeAccountRef(TVN_HERE, req, vocab::group_by, vocab::group_rid, vocab::group_name, ref)) != 0 ||
        (rc = U::DecodeNewName(TVN_HERE, req, vocab::group_new_name, new_name)) != 0 ||
        (rc = U::DecodeDesc(TVN_HERE, req, vocab::group_desc, desc)) != 0 ||
        (rc = U::DecodePrivileges(TVN_HERE, req, vocab::group_privileges, privileges)) != 0)
        return rc;
    WindowsUserCommonRsp reply;
    if (ref.by_rid) {
        ModifyWindowsGroupBySidReq m;
        m.set_tenant_id(tenant);
        m.set_rid(ref.rid);
        if (!fill_changes(m, new_name, desc, privileges))
            return tvn_omitf::fail(TVN_OM_FAIL(WIN_ERR_INVALID, "Nothing to modify."));
        rc = call_store(&TvnStoreWindowsUserApi::Api_ModifyWindowsGroupBySid, "ModifyWindowsGroupBySid", m, reply);
    } else {
        ModifyWindowsGroupByNameReq m;
        m.set_tenant_id(tenant);
        m.set_name(ref.name);
        if (!fill_changes(m, new_name, desc, privileges))
            return tvn_omitf::fail(TVN_OM_FAIL(WIN_ERR_INVALID, "Nothing to modify."));
        rc = call_store(&TvnStoreWindowsUserApi::Api_ModifyWindowsGroupByName, "ModifyWindowsGroupByName", m, reply);
    }
    if (rc != 0) return rc;
    return answer_change(rsp, reply, ref);
}
