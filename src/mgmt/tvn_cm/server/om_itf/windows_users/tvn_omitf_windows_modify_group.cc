#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

namespace {

struct group_changes {
    std::optional<std::string> new_name, desc;
    std::optional<uint64_t> privileges;

    bool any() const { return new_name || desc || privileges; }
    template <class Req>
    void fill(Req& r) const {
        if (new_name) r.set_newname(*new_name);
        if (desc) r.set_newdesc(*desc);
        if (privileges) r.set_newprivileges(*privileges);
    }
};

}  // namespace

int TvnOmitfWindowsModifyGroup::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    account_ref ref;
    group_changes c;
    int32_t rc = 0;
    if ((rc = read_account(req, vocab::group_by, vocab::group_rid, vocab::group_name, tenant, ref)) != 0 ||
        (rc = U::DecodeNewName(TVN_HERE, req, vocab::group_new_name, c.new_name)) != 0 ||
        (rc = U::DecodeDesc(TVN_HERE, req, vocab::group_desc, c.desc)) != 0 ||
        (rc = U::DecodePrivileges(TVN_HERE, req, vocab::group_privileges, c.privileges)) != 0)
        return rc;
    if (!c.any()) return tvn_omitf::fail(TVN_OM_FAIL(WIN_ERR_INVALID, "Nothing to modify."));

    ModifyWindowsGroupByNameReq by_name;
    ModifyWindowsGroupBySidReq by_sid;
    c.fill(by_name);
    c.fill(by_sid);
    WindowsUserCommonRsp reply;
    if ((rc = call_on_account(tenant, ref, by_name, by_sid, &TvnStoreWindowsUserApi::Api_ModifyWindowsGroupByName,
                              "ModifyWindowsGroupByName", &TvnStoreWindowsUserApi::Api_ModifyWindowsGroupBySid,
                              "ModifyWindowsGroupBySid", reply)) != 0)
        return rc;
    return answer_change(rsp, reply, ref);
}
