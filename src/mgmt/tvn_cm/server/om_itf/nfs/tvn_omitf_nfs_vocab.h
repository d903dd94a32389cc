#pragma once
// The NFS family's items, commands and result codes. Shares and client
// permissions use some item ids for different things (65 is a share's file
// system and a permission's access); the scope tells them apart.
#include "common/tvn_om_common_vocab.h"
#include "common/tvn_om_vocab.h"

namespace tvn_nfs {

enum : int32_t {
    NFS_ERR_ITEM = -1,              // item unreadable, answer item not formatted
    NFS_ERR_PARAM_RANGE = -5,       // tenant text, range, audit items 0/1 combined
    NFS_ERR_NOMEM = -6,             // store client or notification not allocated
    NFS_ERR_ANON_ID = -7,           // anonymous id above 4294967294
    NFS_ERR_INVALID = -22,          // share name or audit-item list empty
    NFS_ERR_GET_SHARE_PATH = -14001,
    NFS_ERR_SHARE_NAME = -14020,
    NFS_ERR_ACCESS_NAME = -14040,
    NFS_ERR_AUTH_OPTION = -14042,
    NFS_ERR_AUTH_OPTIONS_BUILD = -14043,
    NFS_ERR_CLIENT_LOOKUP = -14053,
    NFS_ERR_NO_SHARE_PATH = -14073,
    NFS_ERR_SHARE_ID = -14074,
    NFS_ERR_AUTH_ID = -14075,
    NFS_ERR_FSID = -14078,
    NFS_ERR_QUERY_COND = -14082,
};

// Codes of the file-system name look-up that reach the OM unchanged.
inline constexpr int32_t NFS_HYPER_PAIR_NOT_READY = static_cast<int32_t>(0xBFFE6FD9u);
inline constexpr int32_t NFS_HYPER_PAIR_NOT_EXIST = static_cast<int32_t>(0xBFFE6FA9u);
inline constexpr int32_t NFS_FS_REMOTE_COPY_ALTERNATE = static_cast<int32_t>(0xBFFE6FD2u);

namespace vocab {

using tvn_om_vocab::item_def;
using tvn_om_vocab::item_type;
using tvn_om_vocab::word;

inline constexpr word kOnOff[] = {{"off", 0}, {"on", 1}};
inline constexpr word kAccess[] = {{"ro", 0}, {"rw", 1}, {"na", 5}};
// The squash and secure-port flags say "yes" with 0.
inline constexpr word kYes0[] = {{"yes", 0}, {"no", 1}};
inline constexpr word kWriteMode[] = {{"sync", 0}, {"async", 1}};
inline constexpr word kChown[] = {{"restricted", 0}, {"unrestricted", 1}};
inline constexpr word kV4Acl[] = {{"enable", 0}, {"disable", 1}};
inline constexpr word kNtfsUnix[] = {{"fail", 0}, {"ignore", 1}};
inline constexpr word kSec[] = {{"unix", 0}, {"none", 1}, {"none:unix", 2}};

// ---- shares ----
inline constexpr item_def share_id{1, item_type::string, "id", "share id, decimal 1 to 2^64-1; list: the cursor", "share"};
inline constexpr item_def share_alias{2, item_type::string, "", "share alias (answers)", "share"};
inline constexpr item_def share_description{9, item_type::string, "description", "description", "share"};
inline constexpr item_def share_path{64, item_type::string, "path", "share path (create); share name (delete, modify, get)", "share"};
inline constexpr item_def share_fsid{65, item_type::string, "fsid", "file system id, decimal", "share"};
inline constexpr item_def share_lock{89, item_type::enumeration, "lock", "lock strategy (enumeration or decimal text)", "share"};
inline constexpr item_def share_charset{90, item_type::enumeration, "charset", "character set id (enumeration or decimal text)", "share"};
inline constexpr item_def share_freeze{91, item_type::boolean, "freeze", "freeze the share (0/1 or boolean)", "share", kOnOff};
inline constexpr item_def share_audit{92, item_type::string, "audit-items", "audit items, \"[2,3]\" (0 none, 1 all)", "share"};
inline constexpr item_def share_snapshot{93, item_type::boolean, "snapshot", "show the snapshot directory (0/1 or boolean)", "share", kOnOff};
inline constexpr item_def share_fs_name{98, item_type::string, "fs-name", "file system name (create, when 65 is absent)", "share"};
inline constexpr item_def share_dtree{99, item_type::string, "dtree", "dtree id (create); \"dtree@fsid\" (answers)", "share"};
inline constexpr item_def share_fh_alignment{101, item_type::boolean, "fh-alignment", "file-handle byte alignment (0/1 or boolean)", "share", kOnOff};

// ---- client permissions ----
inline constexpr item_def client_id{1, item_type::string, "id", "permission id, decimal 1 to 2^64-1; list: the cursor", "client"};
inline constexpr item_def client_name{2, item_type::string, "client", "access name: host, address, network, @netgroup or *", "client"};
inline constexpr item_def client_share_id{4, item_type::string, "share-id", "share id of the permission", "client"};
inline constexpr item_def client_share_name{64, item_type::string, "share-name", "share name (look-up when 4 is absent)", "client"};
inline constexpr item_def client_access{65, item_type::unsigned32, "access", "access", "client", kAccess, "ro"};
inline constexpr item_def client_write_mode{66, item_type::unsigned32, "write-mode", "write mode (modify only)", "client", kWriteMode, "sync"};
inline constexpr item_def client_all_squash{68, item_type::unsigned32, "all-squash", "map every user to the anonymous user (create: required)", "client", kYes0};
inline constexpr item_def client_root_squash{69, item_type::unsigned32, "root-squash", "map root to the anonymous user (create: required)", "client", kYes0};
inline constexpr item_def client_secure{70, item_type::unsigned32, "secure", "require a privileged source port", "client", kYes0, "no"};
inline constexpr item_def client_charset{71, item_type::unsigned32, "charset", "character set id; 65535 not set", "client", {}, "65535"};
inline constexpr item_def client_anon_id{72, item_type::unsigned32, "anon-id", "anonymous user and group id, 0 to 4294967294; 65534 not set", "client", {}, "65534", 0, 4294967294u};
inline constexpr item_def client_chown{73, item_type::unsigned32, "chown", "chown mode", "client", kChown, "restricted"};
inline constexpr item_def client_v4acl{74, item_type::unsigned32, "v4acl-preserve", "keep NFSv4 ACLs", "client", kV4Acl, "enable"};
inline constexpr item_def client_ntfs_unix_sec{75, item_type::unsigned32, "ntfs-unix-sec", "NTFS/Unix security operations", "client", kNtfsUnix, "fail"};
inline constexpr item_def client_sec{77, item_type::unsigned32, "sec", "security type", "client", kSec, "unix"};
inline constexpr item_def client_krb5{78, item_type::unsigned32, "krb5", "access with Kerberos 5", "client", kAccess, "na"};
inline constexpr item_def client_krb5i{79, item_type::unsigned32, "krb5i", "access with Kerberos 5i", "client", kAccess, "na"};
inline constexpr item_def client_krb5p{80, item_type::unsigned32, "krb5p", "access with Kerberos 5p", "client", kAccess, "na"};
inline constexpr item_def client_vpc_id{81, item_type::string, "", "VPC id (answers)", "client"};
inline constexpr item_def client_priority{82, item_type::unsigned32, "", "priority: host 3, address 1, network 2, @netgroup 4, * 5 (answers)", "client"};

inline constexpr item_def items[] = {
    tvn_om_common::kMsgType, tvn_om_common::kCount, tvn_om_common::kQuery, tvn_om_common::kSort,
    tvn_om_common::kRange, tvn_om_common::kTenant,
    share_id, share_alias, share_description, share_path, share_fsid, share_lock, share_charset, share_freeze,
    share_audit, share_snapshot, share_fs_name, share_dtree, share_fh_alignment,
    client_id, client_name, client_share_id, client_share_name, client_access, client_write_mode,
    client_all_squash, client_root_squash, client_secure, client_charset, client_anon_id, client_chown,
    client_v4acl, client_ntfs_unix_sec, client_sec, client_krb5, client_krb5i, client_krb5p, client_vpc_id,
    client_priority,
};

// The permission options in the order create reads them after the two
// squash flags, and in the order modify reads all of them.
inline constexpr const item_def* kCreateOptionalItems[] = {
    &client_access, &client_secure, &client_charset, &client_anon_id, &client_sec, &client_ntfs_unix_sec,
    &client_v4acl, &client_chown, &client_krb5, &client_krb5i, &client_krb5p,
};
inline constexpr const item_def* kModifyItems[] = {
    &client_access, &client_write_mode, &client_all_squash, &client_root_squash, &client_secure,
    &client_charset, &client_anon_id, &client_chown, &client_v4acl, &client_ntfs_unix_sec,
    &client_sec, &client_krb5, &client_krb5i, &client_krb5p,
};

// ---- commands ----
inline constexpr tvn_om_vocab::command_def share_create{"share create", "tvn_omitf_nfs_create_share", 0xd40114000ULL, 0xd88c64000ULL, "Create an NFS share"};
inline constexpr tvn_om_vocab::command_def share_delete{"share delete", "tvn_omitf_nfs_delete_share", 0xd40116000ULL, 0xd88c66000ULL, "Delete an NFS share"};
inline constexpr tvn_om_vocab::command_def share_get{"share get", "tvn_omitf_nfs_get_share", 0xd40110000ULL, 0xd88c60000ULL, "Show one NFS share"};
inline constexpr tvn_om_vocab::command_def share_modify{"share modify", "tvn_omitf_nfs_modify_share", 0xd40112000ULL, 0xd88c62000ULL, "Change an NFS share"};
inline constexpr tvn_om_vocab::command_def share_list{"share list", "TvnOmitfNfsListShare", 0xd4011c000ULL, 0xd88c6c000ULL, "List NFS shares"};
inline constexpr tvn_om_vocab::command_def share_count{"share count", "tvn_omitf_nfs_count_share", 0xd4011e000ULL, 0xd88c6e000ULL, "Count NFS shares"};
inline constexpr tvn_om_vocab::command_def client_create{"client create", "tvn_omitf_nfs_create_auth", 0xd40194000ULL, 0, "Give a client access to an NFS share"};
inline constexpr tvn_om_vocab::command_def client_delete{"client delete", "tvn_omitf_nfs_delete_auth", 0xd40196000ULL, 0, "Remove a client permission"};
inline constexpr tvn_om_vocab::command_def client_get{"client get", "tvn_omitf_nfs_get_auth", 0xd40190000ULL, 0, "Show one client permission"};
inline constexpr tvn_om_vocab::command_def client_modify{"client modify", "tvn_omitf_nfs_modify_auth", 0xd40192000ULL, 0, "Change a client permission"};
inline constexpr tvn_om_vocab::command_def client_list{"client list", "TvnOmitfNfsListAuth", 0xd4019c000ULL, 0, "List client permissions"};
inline constexpr tvn_om_vocab::command_def client_count{"client count", "tvn_omitf_nfs_count_auth", 0xd4019e000ULL, 0, "Count client permissions"};

inline constexpr tvn_om_vocab::command_def commands[] = {
    share_create, share_delete, share_get, share_modify, share_list, share_count,
    client_create, client_delete, client_get, client_modify, client_list, client_count,
};

// ---- result codes ----
inline constexpr tvn_om_vocab::error_def errors[] = {
    TVN_OM_ERROR(NFS_ERR_ITEM, "an item could not be read (wrong type), or an answer item not written"),
    TVN_OM_ERROR(NFS_ERR_PARAM_RANGE, "tenant id text, range or sort invalid; audit item 0 or 1 combined with another"),
    TVN_OM_ERROR(NFS_ERR_NOMEM, "store client or notification could not be made"),
    TVN_OM_ERROR(NFS_ERR_ANON_ID, "anonymous id above 4294967294"),
    TVN_OM_ERROR(NFS_ERR_INVALID, "share name given empty, or audit-item list empty or not numbers"),
    TVN_OM_ERROR(NFS_ERR_GET_SHARE_PATH, "the share path could not be read"),
    TVN_OM_ERROR(NFS_ERR_SHARE_NAME, "no share of that name (or neither share id nor share name given)"),
    TVN_OM_ERROR(NFS_ERR_ACCESS_NAME, "the client name is empty or longer than 255 characters"),
    TVN_OM_ERROR(NFS_ERR_AUTH_OPTION, "an NFS client option is missing or outside its values; tenant item unreadable"),
    TVN_OM_ERROR(NFS_ERR_AUTH_OPTIONS_BUILD, "nothing to modify: no NFS client option given"),
    TVN_OM_ERROR(NFS_ERR_CLIENT_LOOKUP, "the client's host name does not resolve"),
    TVN_OM_ERROR(NFS_ERR_NO_SHARE_PATH, "no share path given"),
    TVN_OM_ERROR(NFS_ERR_SHARE_ID, "share or client permission id missing or invalid"),
    TVN_OM_ERROR(NFS_ERR_AUTH_ID, "client permission id invalid"),
    TVN_OM_ERROR(NFS_ERR_FSID, "file system or dtree id invalid, or file system name not found"),
    TVN_OM_ERROR(NFS_ERR_QUERY_COND, "unknown or malformed query condition"),
    TVN_OM_ERROR(NFS_HYPER_PAIR_NOT_READY, "hyper pair is not ready"),
    TVN_OM_ERROR(NFS_HYPER_PAIR_NOT_EXIST, "hyper pair does not exist"),
    TVN_OM_ERROR(NFS_FS_REMOTE_COPY_ALTERNATE, "file system remotely copied data alternately"),
};

inline constexpr tvn_om_vocab::family_def family{"nfs", "NFS shares and client permissions", items, commands,
                                                 errors};

}  // namespace vocab
}  // namespace tvn_nfs
