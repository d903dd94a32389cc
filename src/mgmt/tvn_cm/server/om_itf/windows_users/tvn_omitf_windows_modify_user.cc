#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

namespace {

struct user_changes {
    std::optional<std::string> new_name, desc;
    std::optional<uint32_t> enabled;
    std::optional<uint64_t> privileges;
    std::string password;  // encrypted; "" for none

    bool any() const { return new_name || desc || enabled || privileges || !password.empty(); }
    // The same change whichever way the user is named.
    template <class Req>
    void fill(Req& r) const {
        if (new_name) r.set_newname(*new_name);
        if (desc) r.set_newdesc(*desc);
        if (!password.empty()) r.set_newpassword(password);
        if (enabled) r.set_newstatusenabled(*enabled != 0);
        if (privileges) r.set_privileges(*privileges);
    }
};

}  // namespace

int TvnOmitfWindowsModifyUser::deal(void* req, void** rsp) {
    constexpr int32_t kNoPassword = 1;
    uint32_t tenant = 0;
    account_ref ref;
    user_changes c;
    int32_t rc = 0;
    if ((rc = read_account(req, vocab::user_by, vocab::user_rid, vocab::user_name, tenant, ref)) != 0 ||
        (rc = U::DecodeNewName(TVN_HERE, req, vocab::user_new_name, c.new_name)) != 0 ||
        (rc = U::DecodeDesc(TVN_HERE, req, vocab::user_desc, c.desc)) != 0)
        return rc;
    rc = U::DecodePassword(TVN_HERE, req, kNoPassword, c.password);
    if (rc != 0 && rc != kNoPassword) return rc;
    if ((rc = tvn_omitf::item_reader(req).take(vocab::user_enabled, c.enabled,
                                               TVN_OM_FAIL(WIN_ERR_ENABLED, "Get bStatusEnable err."))) != 0 ||
        (rc = U::DecodePrivileges(TVN_HERE, req, vocab::user_privileges, c.privileges)) != 0)
        return rc;
    if (!c.any()) return tvn_omitf::fail(TVN_OM_FAIL(WIN_ERR_INVALID, "Nothing to modify."));

    ModifyWindowsUserByNameReq by_name;
    ModifyWindowsUserBySidReq by_sid;
    c.fill(by_name);
    c.fill(by_sid);
    WindowsUserCommonRsp reply;
    if ((rc = call_on_account(tenant, ref, by_name, by_sid, &TvnStoreWindowsUserApi::Api_ModifyWindowsUserByName,
                              "ModifyWindowsUserByName", &TvnStoreWindowsUserApi::Api_ModifyWindowsUserBySid,
                              "ModifyWindowsUserBySid", reply)) != 0)
        return rc;
    return answer_change(rsp, reply, ref);
}
