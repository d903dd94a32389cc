#include "tvn_omitf_windows_users_commands.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

int TvnOmitfWindowsCreateGroup::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    std::optional<uint64_t> rid, privileges;
    std::optional<std::string> desc;
    std::string name;
    int32_t rc = 0;
    if ((rc = U::DecodeTenant(TVN_HERE, req, tenant)) != 0 ||
        (rc = U::DecodeRid(TVN_HERE, req, vocab::group_rid, rid)) != 0 ||
        (rc = U::DecodeName(TVN_HERE, req, vocab::group_name, "StrGroupName null.", name)) != 0 ||
        (rc = U::DecodeDesc(TVN_HERE, req, vocab::group_desc, desc)) != 0 ||
        (rc = U::DecodePrivileges(TVN_HERE, req, vocab::group_privileges, privileges)) != 0)
        return rc;
    AddWindowsGroupReq add;
    add.set_tenant_id(tenant);
    add.set_name(name);
    if (rid) add.set_rid(*rid);
    if (desc) add.set_desc(*desc);
    if (privileges) add.set_privileges(*privileges);
    AddWindowsGroupRsp reply;
    rc = call_store(&TvnStoreWindowsUserApi::Api_AddWindowsGroup, "AddWindowsGroup", add, reply);
    if (rc != 0) return rc;
    void* ack = tvn_omitf::new_message(tvn_omitf::TVN_OM_MSG_ITEMS);
    if (ack == nullptr) return WIN_ERR_NOMEM;
    rc = U::EncodeWindowsGroup(ack, 0, reply.groupinfo());
    if (rc != 0) {
        MSGOBJ_Destroy(ack);
        return rc;
    }
    *rsp = ack;
    return 0;
}
