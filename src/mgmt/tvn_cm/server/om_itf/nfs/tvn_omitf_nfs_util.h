#pragma once
// What the NFS share and client-permission commands share: identifier and
// item checks, the audit-item table, the translation between the OM items of
// a permission and the store's textual export option list, the items of a
// share or permission in an answer, the page guard of the list answers and
// the operation-log texts. Nothing here talks to another process; the
// look-ups through the store, the kernel agent and the lookup service live in
// tvn_omitf_nfs_lookup.h.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/tvn_omitf_command.h"
#include "common/tvn_omitf_items.h"
#include "tvn_omitf_nfs_vocab.h"

class mul_vstore_nfs_share;
class mul_vstore_nfs_share_permission;

namespace tvn_nfs {

// Maps a failed file-system name look-up to the command's result.
int32_t NfsConvertErrorCode(int32_t code);

// ---- items ----------------------------------------------------------------------

inline constexpr uint32_t NFS_SHARE_OBJ_TYPE = 16401;
// The permission records of an answer carry their own object type so that a
// reader can tell them from share records.
inline constexpr uint32_t NFS_AUTH_OBJ_TYPE = 16402;

// Message-object constructor arguments of the answers and notifications.
inline constexpr uint32_t NFS_MSG_RECORDS = tvn_omitf::TVN_OM_MSG_RECORDS;
inline constexpr uint32_t NFS_MSG_ITEMS = tvn_omitf::TVN_OM_MSG_ITEMS;
inline constexpr uint32_t NFS_AUTH_ACK_ITEMS = 84;

// Item ids by what they mean to these commands; the declarations (type,
// values, option name) are in tvn_omitf_nfs_vocab.h.
enum nfs_item : uint32_t {
    ITEM_OBJ_TYPE = tvn_om_common::kMsgType.id,
    ITEM_ID = vocab::share_id.id,
    ITEM_NAME = vocab::client_name.id,  // share alias; access name of a permission
    ITEM_PARENT_ID = vocab::client_share_id.id,
    ITEM_DESCRIPTION = vocab::share_description.id,
    ITEM_COUNT = tvn_om_common::kCount.id,
    ITEM_QUERY = tvn_om_common::kQuery.id,
    ITEM_SORT = tvn_om_common::kSort.id,
    ITEM_RANGE = tvn_om_common::kRange.id,
    ITEM_PATH = vocab::share_path.id,  // share path; share name
    ITEM_FSID = vocab::share_fsid.id,  // share: file system; permission: access
    ITEM_LOCK = vocab::share_lock.id,
    ITEM_CHARSET = vocab::share_charset.id,
    ITEM_FREEZE = vocab::share_freeze.id,
    ITEM_AUDIT = vocab::share_audit.id,
    ITEM_SNAPSHOT = vocab::share_snapshot.id,
    ITEM_FSNAME = vocab::share_fs_name.id,
    ITEM_DTREE = vocab::share_dtree.id,
    ITEM_FH_ALIGN = vocab::share_fh_alignment.id,
    ITEM_TENANT = tvn_om_common::kTenant.id,

    // Permission options, one number each.
    ITEM_ACCESS = vocab::client_access.id,
    ITEM_WRITE_MODE = vocab::client_write_mode.id,
    ITEM_ALL_SQUASH = vocab::client_all_squash.id,
    ITEM_ROOT_SQUASH = vocab::client_root_squash.id,
    ITEM_SECURE = vocab::client_secure.id,
    ITEM_AUTH_CHARSET = vocab::client_charset.id,
    ITEM_ANON_ID = vocab::client_anon_id.id,
    ITEM_CHOWN = vocab::client_chown.id,
    ITEM_V4ACL = vocab::client_v4acl.id,
    ITEM_NTFS_UNIX_SEC = vocab::client_ntfs_unix_sec.id,
    ITEM_SEC_TYPE = vocab::client_sec.id,
    ITEM_KRB5 = vocab::client_krb5.id,
    ITEM_KRB5I = vocab::client_krb5i.id,
    ITEM_KRB5P = vocab::client_krb5p.id,
    // Answer-only items of a permission.
    ITEM_VPC_ID = vocab::client_vpc_id.id,
    ITEM_PRIORITY = vocab::client_priority.id,
};

using tvn_omitf::answer_item;
using tvn_omitf::TYPE_BOOL;
using tvn_omitf::TYPE_ENUM;
using tvn_omitf::TYPE_STRING;
using tvn_omitf::TYPE_STRING8;
using tvn_omitf::TYPE_UNSIGNED;

// The items of one share in a get or list answer.
std::vector<answer_item> share_answer_items(const mul_vstore_nfs_share& share);
// The items of one permission in a get or list answer.
std::vector<answer_item> auth_answer_items(const mul_vstore_nfs_share_permission& auth);

// ---- identifiers ---------------------------------------------------------------

using tvn_omitf::parse_dec_u32;
using tvn_omitf::parse_dec_u64;
using tvn_omitf::parse_object_id;
using tvn_omitf::parse_tenant_id;
// A file-system identifier as the management plane writes it.
bool parse_fsid(std::string_view text, uint64_t& out);
// A dtree identifier of a filter: the text cut to its first 64 characters,
// then 0 to 4294967295.
bool parse_filter_dtree(std::string_view text, uint64_t& out);
// "%llu@%llu": dtree id and file system of an answer.
std::string dtree_at_fsid(uint64_t dtree_id, uint64_t fsid);

// ---- audit items ----------------------------------------------------------------

inline constexpr uint32_t NFS_AUDIT_TABLE_SIZE = 13;
extern const uint32_t kNfsAuditItemTable[NFS_AUDIT_TABLE_SIZE];

// The audit-item list (item 92, "[2,3]") as the store's mask. 0, -22 for an
// empty list or a piece that is no number, -5 when index 0 or 1 is combined
// with another.
int32_t parse_audit_items(std::string_view text, uint32_t& mask);
// The list form of a stored mask, for answers: "[0]" for none, "[1]" for all,
// else the indexes whose bits are set.
std::string audit_items_text(uint32_t mask);

// ---- permission options ---------------------------------------------------------

// Per option item: its value when the request carried it.
struct auth_options {
    std::optional<uint32_t> access{};         // 65: 0 ro, 1 rw, 5 na
    std::optional<uint32_t> write_mode{};     // 66: 0 sync, 1 async
    std::optional<uint32_t> all_squash{};     // 68: 0 all_squash, 1 no_all_squash
    std::optional<uint32_t> root_squash{};    // 69: 0 root_squash, 1 no_root_squash
    std::optional<uint32_t> secure{};         // 70: 0 secure, 1 insecure
    std::optional<uint32_t> charset{};        // 71: 65535 not set
    std::optional<uint32_t> anon_id{};        // 72: 65534 not set
    std::optional<uint32_t> chown_mode{};     // 73: 0 restricted, 1 unrestricted
    std::optional<uint32_t> v4acl{};          // 74: 0 enable, 1 disable
    std::optional<uint32_t> ntfs_unix_sec{};  // 75: 0 fail, 1 ignore
    std::optional<uint32_t> sec_type{};       // 77: 0 unix, 1 none, 2 none:unix
    std::optional<uint32_t> krb5{};           // 78: 0 ro, 1 rw, 5 na
    std::optional<uint32_t> krb5i{};          // 79
    std::optional<uint32_t> krb5p{};          // 80
    bool operator==(const auth_options&) const = default;
};

inline constexpr uint32_t NFS_CHARSET_NOT_SET = 65535;
inline constexpr uint32_t NFS_ANON_NOT_SET = 65534;
inline constexpr uint32_t NFS_ANON_MAX = 4294967294u;
inline constexpr uint32_t NFS_MODIFY_OPTS_FLAG = 1063;

// The slot of auth_options that holds an item, or nullptr for other items.
std::optional<uint32_t>* option_slot(auth_options& opts, uint32_t item);

// Checks one option value. 0, -14042 outside its set, -7 for an anonymous id
// above 4294967294; *why gets the log text.
int32_t check_option(uint32_t item, uint32_t value, std::string* why = nullptr);

// The create command's option list. The two squash flags must be present;
// every other option that is absent takes its default.
std::string build_create_options(const auth_options& opts);
// The modify command's option list: only the given words, in modify's order.
// -14043 when there is nothing to send.
int32_t build_modify_options(const auth_options& opts, std::string& out);
// Reads an option list back into items; every item gets a value (the
// default for a word the list does not hold), words not named are ignored.
auth_options parse_options(std::string_view options);

// ---- host names ------------------------------------------------------------------

// Whether an access name names a host that must resolve: not "*", not a
// netgroup ("@..."), not an address or network, and no wildcard.
bool access_name_is_host(std::string_view name);

// ---- list answers ----------------------------------------------------------------

using tvn_omitf::ack_has_room;

// ---- operation log ----------------------------------------------------------------

inline constexpr uint64_t OPLOG_CREATE_SHARE_OK = 0x200F40440005ULL;
inline constexpr uint64_t OPLOG_CREATE_SHARE_FAIL = 0x200F40440006ULL;
inline constexpr uint64_t OPLOG_CREATE_SHARE_ALIAS_OK = 0x200F40440042ULL;
inline constexpr uint64_t OPLOG_CREATE_SHARE_ALIAS_FAIL = 0x200F40440043ULL;
inline constexpr uint64_t OPLOG_DELETE_SHARE_OK = 0x200F40440009ULL;
inline constexpr uint64_t OPLOG_DELETE_SHARE_FAIL = 0x200F4044000AULL;
inline constexpr uint64_t OPLOG_MODIFY_SHARE_OK = 0x200F40440044ULL;
inline constexpr uint64_t OPLOG_MODIFY_SHARE_FAIL = 0x200F40440045ULL;
// The permission commands' own events.
inline constexpr uint64_t OPLOG_CREATE_AUTH_OK = 0x200F40440046ULL;
inline constexpr uint64_t OPLOG_CREATE_AUTH_FAIL = 0x200F40440047ULL;
inline constexpr uint64_t OPLOG_DELETE_AUTH_OK = 0x200F40440048ULL;
inline constexpr uint64_t OPLOG_DELETE_AUTH_FAIL = 0x200F40440049ULL;
inline constexpr uint64_t OPLOG_MODIFY_AUTH_OK = 0x200F4044004AULL;
inline constexpr uint64_t OPLOG_MODIFY_AUTH_FAIL = 0x200F4044004BULL;

// Change notifications (record operation codes).
inline constexpr uint64_t NFS_NOTIFY_CREATE = 0xD00C90034ULL;
inline constexpr uint64_t NFS_NOTIFY_MODIFY = 0xD00C90035ULL;
inline constexpr uint64_t NFS_NOTIFY_DELETE = 0xD00C90036ULL;

inline constexpr std::string_view NFS_OPLOG_PRESET_TAIL = ",,,,,,,,,,";

// A name of more than 100 characters becomes its first 97 and "...".
std::string oplog_cut(std::string_view text);

struct create_share_oplog {
    std::string path{};
    bool description_given = false;
    uint32_t charset_id = 0;
    int32_t lock_strategy = 0;
    std::string alias{};
    std::string tail{NFS_OPLOG_PRESET_TAIL};
    uint32_t snapshot_switch = 1;
};
// Parameter text of a share create; the alias only when the "alias"
// feature is on.
std::string create_share_oplog_params(const create_share_oplog& log, bool alias_feature);
using tvn_omitf::oplog_with_result;

}  // namespace tvn_nfs
