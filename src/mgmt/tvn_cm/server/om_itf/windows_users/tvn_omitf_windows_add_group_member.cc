#include "tvn_omitf_windows_member.h"
#include "tvn_omitf_windows_users_commands.h"

int TvnOmitfWindowsAddGroupMember::deal(void* req, void** rsp) {
    return change_membership(req, rsp, &TvnStoreWindowsUserApi::Api_AddWindowsMemberShip, "AddWindowsMemberShip");
}
