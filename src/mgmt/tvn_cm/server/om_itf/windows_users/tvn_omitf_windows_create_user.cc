#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

int TvnOmitfWindowsCreateUser::deal(void* req, void** rsp) {
    AddWindowsUserReq add;
    uint32_t tenant = 0;
    std::optional<uint64_t> rid, privileges;
    std::optional<std::string> desc;
    std::optional<uint32_t> enabled;
    std::string name, password;
    int32_t rc = 0;
    if ((rc = U::DecodeTenant(TVN_HERE, req, tenant)) != 0 || (rc = U::DecodeRid(TVN_HERE, req, vocab::user_rid, rid)) != 0 ||
        (rc = U::DecodeName(TVN_HERE, req, vocab::user_name, "StrUserName null.", name)) != 0 ||
        (rc = U::DecodeDesc(TVN_HERE, req, vocab::user_desc, desc)) != 0 ||
        (rc = U::DecodePassword(TVN_HERE, req, 0, password)) != 0 ||
        (rc = tvn_omitf::item_reader(req).take(vocab::user_enabled, enabled,
                                               TVN_OM_FAIL(WIN_ERR_ENABLED, "Get bStatusEnable err."))) != 0 ||
        (rc = U::DecodePrivileges(TVN_HERE, req, vocab::user_privileges, privileges)) != 0)
        return rc;
    add.set_tenant_id(tenant);
    add.set_name(name);
    add.set_password(password);
    if (rid) add.set_rid(*rid);
    if (desc) add.set_desc(*desc);
    add.set_statusenabled(enabled.value_or(1) != 0);
    if (privileges) add.set_privileges(*privileges);

    WindowsUserInfoRsp reply;
    rc = call_store(&TvnStoreWindowsUserApi::Api_AddWindowsUser, "AddWindowsUser", add, reply);
    if (rc != 0) return rc;
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS, user_items(reply.userinfo()));
}
