#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

namespace {

// What a modify changes, the same whichever way the user is named.
template <class Req>
bool fill_changes(Req& r, const std::optional<std::string>& new_name, const std::optional<std::string>& desc,
                  const std::string& password, const std::optional<uint32_t>& enabled,
                  const std::optional<uint64_t>& privileges) {
    if (new_name) r.set_newname(*new_name);
    if (desc) r.set_newdesc(*desc);
    if (!password.empty()) r.set_newpassword(password);
    if (enabled) r.set_newstatusenabled(*enabled != 0);
    if (privileges) r.set_privileges(*privileges);
    return new_name || desc || !password.empty() || enabled || privileges;
}

}  // namespace

int TvnOmitfWindowsModifyUser::deal(void* req, void** rsp) {
    constexpr int32_t kNoPassword = 1;
    uint32_t tenant = 0;
    account_ref ref;
    std::optional<std::string> new_name, desc;
    std::optional<uint32_t> enabled;
    std::optional<uint64_t> privileges;
    std::string password;
    int32_t rc = 0;
    if ((rc = U::DecodeTenant(TVN_HERE, req, tenant)) != 0 ||
        (rc = U::DecodeAccountRef(TVN_HERE, req, vocab::user_by, vocab::user_rid, vocab::user_name, ref)) != 0 ||
        (rc = U::DecodeNewName(TVN_HERE, req, vocab::user_new_name, new_name)) != 0 ||
        (rc = U::DecodeDesc(TVN_HERE, req, vocab::user_desc, desc)) != 0)
        return rc;
    rc = U::DecodePassword(TVN_HERE, req, kNoPassword, password);
    if (rc != 0 && rc != kNoPassword) return rc;
    if ((rc = tvn_omitf::item_reader(req).take(vocab::user_enabled, enabled,
                                               TVN_OM_FAIL(WIN_ERR_ENABLED, "Get bStatusEnable err."))) != 0 ||
        (rc = U::DecodePrivileges(TVN_HERE, req, vocab::user_privileges, privileges)) != 0)
        return rc;

    WindowsUserCommonRsp reply;
    if (ref.by_rid) {
        ModifyWindowsUserBySidReq m;
        m.set_tenant_id(tenant);
        m.set_rid(ref.rid);
        if (!fill_changes(m, new_name, desc, password, enabled, privileges))
            return tvn_omitf::fail(TVN_OM_FAIL(WIN_ERR_INVALID, "Nothing to modify."));
        rc = call_store(&TvnStoreWindowsUserApi::Api_ModifyWindowsUserBySid, "ModifyWindowsUserBySid", m, reply);
    } else {
        ModifyWindowsUserByNameReq m;
        m.set_tenant_id(tenant);
        m.set_name(ref.name);
        if (!fill_changes(m, new_name, desc, password, enabled, privileges))
            return tvn_omitf::fail(TVN_OM_FAIL(WIN_ERR_INVALID, "Nothing to modify."));
        rc = call_store(&TvnStoreWindowsUserApi::Api_ModifyWindowsUserByName, "ModifyWindowsUserByName", m, reply);
    }
    if (rc != 0) return rc;
    return answer_change(rsp, reply, ref);
}
