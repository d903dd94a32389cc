#pragma once
// The local Windows account family's items, commands and result codes.
// Users, groups, memberships and the account policy reuse some item ids for
// different things (64 is a user's password and the policy's minimum
// password length); the scope tells them apart.
#include "common/tvn_om_common_vocab.h"
#include "common/tvn_om_vocab.h"

namespace tvn_win {

enum : int32_t {
    WIN_ERR_ENCRYPT = -1,         // the password could not be encrypted
    WIN_ERR_NOT_FOUND = -2,       // no such account (store), or domain account unknown
    WIN_ERR_RANGE = -5,           // range or sort malformed, or more than 100 records asked
    WIN_ERR_NOMEM = -6,           // client not made
    WIN_ERR_BUILTIN = -13,        // a built-in group cannot be deleted or renamed (store)
    WIN_ERR_SID_IN_USE = -16,     // SID prefix change while the tenant has local accounts
    WIN_ERR_EXIST = -17,          // duplicate name or RID (store)
    WIN_ERR_INVALID = -22,        // other invalid item
    WIN_ERR_TOO_LONG = -3208,     // description or SID prefix too long, SID prefix invalid
    WIN_ERR_DESC_NULL = -38008,   // description given empty
    WIN_ERR_NAME = -38100,        // name refused by the name rule
    WIN_ERR_PASSWORD = -38205,    // password unreadable
    WIN_ERR_ENABLED = -38306,     // enabled flag unreadable
};

// Limits of names, descriptions and SID prefixes (characters).
inline constexpr size_t kNameMax = 256;
inline constexpr size_t kDescMax = 256;
inline constexpr size_t kSidPrefixMax = 256;
// Records of one list page.
inline constexpr uint32_t kPageMax = 100;
// Time-out of a store call; the counts take the same.
inline constexpr unsigned kStoreTimeoutMs = 10000;
// RIDs the store allocates start here; below are the well-known ones.
inline constexpr uint64_t kFirstRid = 1000;

// The privileges a user or group may hold: index i of the list sets bit
// 1 << i of the stored value.
inline constexpr const char* kPrivilegeNames[] = {
    "SeBackupPrivilege",        "SeRestorePrivilege",       "SeTakeOwnershipPrivilege",
    "SeSecurityPrivilege",      "SeChangeNotifyPrivilege",  "SeDiskOperatorPrivilege",
};
inline constexpr uint32_t kPrivilegeCount = sizeof(kPrivilegeNames) / sizeof(kPrivilegeNames[0]);

namespace vocab {

using tvn_om_vocab::item_def;
using tvn_om_vocab::item_type;
using tvn_om_vocab::word;

inline constexpr word kOnOff[] = {{"off", 0}, {"on", 1}};
inline constexpr word kBy[] = {{"name", 0}, {"rid", 1}};
inline constexpr word kGroupType[] = {{"builtin", 1}, {"created", 2}};
inline constexpr word kMemberType[] = {{"user", 0}, {"group", 1}, {"ad-user", 2}, {"ad-group", 3}};

// ---- users ----
inline constexpr item_def user_name{2, item_type::string, "name", "user name (1 to 256 characters)", "user"};
inline constexpr item_def user_desc{9, item_type::string, "description", "description (at most 256 characters)", "user"};
inline constexpr item_def user_password{64, item_type::string, "", "password, encrypted before it is sent (tvn_om reads it without echo)", "user"};
inline constexpr item_def user_rid{65, item_type::string, "rid", "RID, decimal (create: optional, else allocated from 1000)", "user"};
inline constexpr item_def user_enabled{66, item_type::boolean, "enabled", "account enabled", "user", kOnOff, "on"};
inline constexpr item_def user_by{67, item_type::enumeration, "by", "choose the user by name or by RID (absent: RID when 65 is given)", "user", kBy};
inline constexpr item_def user_new_name{68, item_type::string, "new-name", "new user name", "user"};
inline constexpr item_def user_privileges{70, item_type::string, "privileges", "privilege indexes, \"[0,2]\" (see README)", "user"};
inline constexpr item_def user_sid{71, item_type::string, "", "SID (answers)", "user"};
inline constexpr item_def user_pwd_days{72, item_type::unsigned32, "", "days until the password expires (answers)", "user"};

// ---- groups ----
inline constexpr item_def group_name{2, item_type::string, "name", "group name (1 to 256 characters)", "group"};
inline constexpr item_def group_desc{9, item_type::string, "description", "description (at most 256 characters)", "group"};
inline constexpr item_def group_rid{65, item_type::string, "rid", "RID, decimal (create: optional, else allocated from 1000)", "group"};
inline constexpr item_def group_by{67, item_type::enumeration, "by", "choose the group by name or by RID (absent: RID when 65 is given)", "group", kBy};
inline constexpr item_def group_new_name{68, item_type::string, "new-name", "new group name", "group"};
inline constexpr item_def group_privileges{70, item_type::string, "privileges", "privilege indexes, \"[0,2]\" (see README)", "group"};
inline constexpr item_def group_sid{71, item_type::string, "", "SID (answers)", "group"};
inline constexpr item_def group_type{74, item_type::enumeration, "", "group type (answers)", "group", kGroupType};

// ---- memberships ----
inline constexpr item_def member_group{2, item_type::string, "group", "group name", "member"};
inline constexpr item_def member_rid{65, item_type::string, "", "member RID (answers; 0 for a domain account)", "member"};
inline constexpr item_def member_name{80, item_type::string, "member", "member name (domain accounts: DOMAIN\\name or name@fqdn)", "member"};
inline constexpr item_def member_sid{81, item_type::string, "member-sid", "member SID (optional)", "member"};
inline constexpr item_def member_type{82, item_type::enumeration, "type", "member kind", "member", kMemberType, "user"};
inline constexpr item_def member_user{83, item_type::string, "user", "list: the groups of this local user (instead of 2)", "member"};

// ---- account policy ----
inline constexpr item_def pol_min_len{64, item_type::unsigned32, "passwd-min-length", "\"passwdMinLength\"", "policy"};
inline constexpr item_def pol_max_len{65, item_type::unsigned32, "passwd-max-length", "\"passwdMaxLength\"", "policy"};
inline constexpr item_def pol_complex{66, item_type::unsigned32, "pwd-complex", "\"pwdComplex\"", "policy"};
inline constexpr item_def pol_redup{67, item_type::unsigned32, "reduplicate-char-count", "\"reduplicateCharCount\"", "policy"};
inline constexpr item_def pol_incorrect{70, item_type::unsigned32, "pwd-incorrect-times", "\"pwdIncorrectTimes\"", "policy"};
inline constexpr item_def pol_valid{73, item_type::unsigned32, "pwd-valid-period", "\"pwdValidPeriod\"", "policy"};
inline constexpr item_def pol_user_min{74, item_type::unsigned32, "username-min-length", "\"usernameMinLength\"", "policy"};
inline constexpr item_def pol_lock{75, item_type::unsigned32, "user-lock-threshold", "\"userLockThreshold\"", "policy"};
inline constexpr item_def pol_modify_min{76, item_type::unsigned32, "pwd-modify-min-period", "\"pwdModifyMinPeriod\"", "policy"};
inline constexpr item_def pol_sid_prefix{77, item_type::string, "sid-prefix", "\"cifs.local.domainsid\": local domain SID prefix", "policy"};

// The policy's numbered items with their configuration keys, in item order.
struct policy_key {
    const item_def* item;
    const char* key;
};
inline constexpr policy_key kPolicyKeys[] = {
    {&pol_min_len, "passwdMinLength"},      {&pol_max_len, "passwdMaxLength"},
    {&pol_complex, "pwdComplex"},           {&pol_redup, "reduplicateCharCount"},
    {&pol_incorrect, "pwdIncorrectTimes"},  {&pol_valid, "pwdValidPeriod"},
    {&pol_user_min, "usernameMinLength"},   {&pol_lock, "userLockThreshold"},
    {&pol_modify_min, "pwdModifyMinPeriod"},
};
inline constexpr const char* kSidPrefixKey = "cifs.local.domainsid";

inline constexpr item_def items[] = {
    tvn_om_common::kMsgType, tvn_om_common::kCount, tvn_om_common::kQuery, tvn_om_common::kSort,
    tvn_om_common::kRange, tvn_om_common::kTenant,
    user_name, user_desc, user_password, user_rid, user_enabled, user_by, user_new_name, user_privileges,
    user_sid, user_pwd_days,
    group_name, group_desc, group_rid, group_by, group_new_name, group_privileges, group_sid, group_type,
    member_group, member_rid, member_name, member_sid, member_type, member_user,
    pol_min_len, pol_max_len, pol_complex, pol_redup, pol_incorrect, pol_valid, pol_user_min, pol_lock,
    pol_modify_min, pol_sid_prefix,
};

// ---- commands ----
using tvn_om_vocab::command_def;
inline constexpr command_def user_create{"user create", "TvnOmitfWindowsCreateUser", 0xde2124000ULL, 0, "Create a local Windows user"};
inline constexpr command_def user_delete{"user delete", "TvnOmitfWindowsDeleteUser", 0xde2126000ULL, 0, "Delete a local Windows user"};
inline constexpr command_def user_show{"user show", "TvnOmitfWindowsQueryUser", 0xde2120000ULL, 0, "Show one local Windows user"};
inline constexpr command_def user_modify{"user modify", "TvnOmitfWindowsModifyUser", 0xde2122000ULL, 0, "Change a local Windows user"};
inline constexpr command_def user_list{"user list", "TvnOmitfWindowsListUser", 0xde212c000ULL, 0, "List local Windows users"};
inline constexpr command_def user_count{"user count", "CmOmitfWindowsCountUser", 0xde212e000ULL, 0, "Count local Windows users"};
inline constexpr command_def policy_set{"policy set", "TvnOmitfSetWindowsUserSecurityPolicy", 0xde2152000ULL, 0, "Set the local account policy"};
inline constexpr command_def policy_show{"policy show", "TvnOmitfGetWindowsUserSecurityPolicy", 0xde2150000ULL, 0, "Show the local account policy"};
inline constexpr command_def group_create{"group create", "TvnOmitfWindowsCreateGroup", 0xde2134000ULL, 0, "Create a local Windows group"};
inline constexpr command_def group_delete{"group delete", "TvnOmitfWindowsDeleteGroup", 0xde2136000ULL, 0, "Delete a local Windows group"};
inline constexpr command_def group_show{"group show", "TvnOmitfWindowsGetGroup", 0xde2130000ULL, 0, "Show one local Windows group"};
inline constexpr command_def group_modify{"group modify", "TvnOmitfWindowsModifyGroup", 0xde2132000ULL, 0, "Change a local Windows group"};
inline constexpr command_def group_list{"group list", "TvnOmitfWindowsListGroup", 0xde213c000ULL, 0, "List local Windows groups"};
inline constexpr command_def group_count{"group count", "TvnOmitfWindowsCountGroup", 0xde213e000ULL, 0, "Count local Windows groups"};
inline constexpr command_def member_add{"member add", "TvnOmitfWindowsAddGroupMember", 0xde2144000ULL, 0, "Add a member to a local group"};
inline constexpr command_def member_remove{"member remove", "TvnOmitfWindowsRemoveGroupMember", 0xde2146000ULL, 0, "Remove a member from a local group"};
inline constexpr command_def member_list{"member list", "TvnOmitfWindowsQueryGroupMember", 0xde214c000ULL, 0, "List the members of a group, or the groups of a user"};
inline constexpr command_def member_count{"member count", "CmOmitfWindowsCountGroupMember", 0xde214e000ULL, 0, "Count the members of a group"};

inline constexpr command_def commands[] = {
    user_create, user_delete, user_show, user_modify, user_list, user_count,
    group_create, group_delete, group_show, group_modify, group_list, group_count,
    member_add, member_remove, member_list, member_count, policy_set, policy_show,
};

// ---- result codes ----
inline constexpr tvn_om_vocab::error_def errors[] = {
    TVN_OM_ERROR(WIN_ERR_ENCRYPT, "the password could not be encrypted"),
    TVN_OM_ERROR(WIN_ERR_NOT_FOUND, "no such user, group or membership; domain account unknown"),
    TVN_OM_ERROR(WIN_ERR_RANGE, "range or sort malformed, or more than 100 records asked"),
    TVN_OM_ERROR(WIN_ERR_NOMEM, "store or lookup client could not be made"),
    TVN_OM_ERROR(WIN_ERR_BUILTIN, "a built-in group cannot be deleted or renamed"),
    TVN_OM_ERROR(WIN_ERR_SID_IN_USE, "the SID prefix cannot change while the tenant has local users or groups"),
    TVN_OM_ERROR(WIN_ERR_EXIST, "a user or group of that name or RID exists, or the membership exists"),
    TVN_OM_ERROR(WIN_ERR_INVALID, "invalid item (tenant text, RID, privileges, selector, missing name)"),
    TVN_OM_ERROR(WIN_ERR_TOO_LONG, "description or SID prefix too long, or SID prefix invalid"),
    TVN_OM_ERROR(WIN_ERR_DESC_NULL, "description given empty"),
    TVN_OM_ERROR(WIN_ERR_NAME, "name empty, longer than 256, ending in '.', starting with a blank, or holding a forbidden or control character"),
    TVN_OM_ERROR(WIN_ERR_PASSWORD, "password missing or unreadable"),
    TVN_OM_ERROR(WIN_ERR_ENABLED, "enabled flag unreadable"),
};

inline constexpr tvn_om_vocab::family_def family{"windows_users", "Local Windows users, groups, memberships and account policy",
                                                 items, commands, errors, "win"};

}  // namespace vocab
}  // namespace tvn_win
