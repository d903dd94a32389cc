#pragma once
// The user-mapping family's items, commands and result codes. The same item
// id means different things in the rule commands, a tried mapping, a name
// check, the caches and the ACL display; the scope tells them apart.
#include "common/tvn_om_common_vocab.h"
#include "common/tvn_om_vocab.h"

namespace tvn_usermapping {

enum : int32_t {
    UM_ERR_ITEM = -1,              // an item unreadable as its type
    UM_ERR_NOMEM = -6,             // client or answer could not be made
    UM_ERR_INVALID = -22,          // tenant text, path, Unix or Windows name
    UM_ERR_QUERY_COND = -3110,     // filter, sort or range of a list or count
    UM_ERR_FROM_IDENTITY = -25001,
    UM_ERR_TO_IDENTITY = -25002,
    UM_ERR_PRIORITY = -25003,
    UM_ERR_MAP_TYPE = -25004,
    UM_ERR_ACCOUNT_NAME = -25005,  // tried, verified or cached name missing
    UM_ERR_DIRECTION = -25006,     // "mapping type invalid" of a tried mapping
    UM_ERR_FSID = -25007,          // file system of an ACL request
    UM_ERR_USER_TYPE = -25008,     // Windows/Unix user type of a permission request
    UM_ERR_CACHE_KEY = -25009,     // a cache selector unreadable, or two given
    UM_ERR_RULE_ID = -25010,
    UM_ERR_WIN_NAME_LEN = -38100,
};

// Priority of a rule added without one.
inline constexpr uint32_t UM_DEFAULT_PRIORITY = 10;
// Mapping types a rule may have (TVN_TYPE_DEFAULT, 3, is "unchanged" or "any").
inline constexpr uint32_t UM_TYPE_DEFAULT = 3;
// Longest Windows name "DOMAIN\account" the permission display takes.
inline constexpr size_t UM_WIN_NAME_MAX = 256;
// Longest from/to identity a rule may hold.
inline constexpr size_t UM_IDENTITY_MAX = 1024;
// Identities longer than this are cut in the operation log.
inline constexpr size_t UM_OPLOG_IDENTITY_MAX = 256;
inline constexpr size_t UM_MAX_PATH = 4096;

namespace vocab {

using tvn_om_vocab::item_def;
using tvn_om_vocab::item_type;
using tvn_om_vocab::word;

inline constexpr word kRuleType[] = {{"win-to-unix", 0}, {"unix-to-win", 1}, {"kerberos-to-unix", 2}};
inline constexpr word kDirection[] = {{"unix", 0}, {"windows", 1}};
inline constexpr word kNameKind[] = {{"windows", 0}, {"unix", 1}};
inline constexpr word kProvider[] = {{"none", 0}, {"local", 1}, {"idmu", 2}, {"idmu-local", 3}, {"local-idmu", 4}};
inline constexpr word kAclType[] = {{"access", 0}, {"default", 1}};
inline constexpr word kOnOff[] = {{"off", 0}, {"on", 1}};

// ---- rules ----
inline constexpr item_def rule_id{1, item_type::string, "id", "rule id, decimal 0 to 2^64-1", "rule"};
inline constexpr item_def rule_from{64, item_type::string, "from", "from account (a pattern: * any run of characters)", "rule"};
inline constexpr item_def rule_type{65, item_type::enumeration, "type", "mapping type (enumeration or decimal text)", "rule", kRuleType};
inline constexpr item_def rule_to{66, item_type::string, "to", "to identity (* takes what the from pattern's * matched)", "rule"};
inline constexpr item_def rule_priority{67, item_type::unsigned32, "priority", "priority, smaller is tried first (modify: 0 unchanged)", "rule", {}, "10"};
inline constexpr item_def rule_filter{33, item_type::string, "", "filter, JSON of FROMIDENTITY, TOIDENTITY, MAPPINGTYPE", "rule"};
inline constexpr item_def rule_sort{34, item_type::string, "", "sort, JSON {\"sortKey\": ID|FROMIDENTITY|TOIDENTITY|MAPPINGTYPE|PRIORITY, \"sortType\": 0|1}", "rule"};
inline constexpr item_def rule_range{35, item_type::string, "", "range, JSON {\"offset\": N, \"limit\": N}", "rule"};

// ---- a tried mapping ----
inline constexpr item_def try_name{65, item_type::string, "name", "account name to map (DOMAIN\\name or a Unix name)", "try"};
inline constexpr item_def try_direction{66, item_type::enumeration, "to", "what to map to: 0 Windows to Unix, 1 Unix to Windows", "try", kDirection};
inline constexpr item_def try_provider{67, item_type::enumeration, "provider", "mapping provider", "try", kProvider, "none"};
inline constexpr item_def answer_rule_id{68, item_type::string, "", "rule id used, 0 for the directory (answers)", "answer"};
inline constexpr item_def answer_win_name{69, item_type::string, "", "Windows name (answers)", "answer"};
inline constexpr item_def answer_unix_name{71, item_type::string, "", "Unix name (answers)", "answer"};
inline constexpr item_def answer_uid{72, item_type::unsigned32, "", "uid (answers)", "answer"};
inline constexpr item_def answer_gids{73, item_type::string, "", "gids, comma-separated (answers)", "answer"};
inline constexpr item_def answer_sid{74, item_type::string, "", "Windows SID (answers)", "answer"};
inline constexpr item_def answer_ad_elapsed{77, item_type::unsigned32, "", "AD look-up time, microseconds (answers)", "answer"};
inline constexpr item_def answer_ldap_elapsed{78, item_type::unsigned32, "", "LDAP look-up time, microseconds (answers)", "answer"};
inline constexpr item_def answer_nis_elapsed{79, item_type::unsigned32, "", "NIS look-up time, microseconds (answers)", "answer"};

// ---- a name check ----
inline constexpr item_def verify_kind{65, item_type::enumeration, "kind", "what the name is: 0 Windows, 1 Unix", "verify", kNameKind};
inline constexpr item_def verify_name{66, item_type::string, "name", "name to verify", "verify"};
inline constexpr item_def verify_resolved{67, item_type::boolean, "", "whether the name resolves (answers)", "verify"};
inline constexpr item_def verify_full_name{68, item_type::string, "", "the account's full name (answers)", "verify"};
inline constexpr item_def verify_sid{69, item_type::string, "", "the account's SID (answers)", "verify"};
inline constexpr item_def verify_id{70, item_type::unsigned32, "", "the account's uid (answers)", "verify"};

// ---- caches ----
inline constexpr item_def cache_name{64, item_type::string, "name", "user name (get: looked up for its SID or uid)", "cache"};
inline constexpr item_def cache_rule{69, item_type::string, "rule", "clear the mappings a rule made", "cache"};
inline constexpr item_def cache_uid{70, item_type::unsigned32, "uid", "clear or show the mapping of a uid", "cache"};
inline constexpr item_def cache_sid{79, item_type::string, "sid", "clear or show the mapping of a SID", "cache"};

// ---- ACL and effective permission ----
inline constexpr item_def acl_fsid{64, item_type::string, "fsid", "file system id, decimal", "acl"};
inline constexpr item_def acl_text{65, item_type::string, "", "the ACL or permission text (answers)", "acl"};
inline constexpr item_def acl_path{66, item_type::string, "path", "path inside the file system, from /", "acl"};
inline constexpr item_def acl_offset{67, item_type::unsigned32, "offset", "first ACL entry shown", "acl", {}, "0"};
inline constexpr item_def acl_count{68, item_type::unsigned32, "count", "ACL entries shown", "acl", {}, "100"};
inline constexpr item_def acl_names{69, item_type::boolean, "names", "show names rather than ids", "acl", kOnOff, "on"};
inline constexpr item_def acl_type{70, item_type::unsigned32, "acl-type", "which ACL", "acl", kAclType, "access"};
inline constexpr item_def perm_user_type{67, item_type::unsigned32, "user-type", "what the user name is", "perm", kNameKind};
inline constexpr item_def perm_user{68, item_type::string, "user", "user name (DOMAIN\\name or a Unix name)", "perm"};

inline constexpr item_def items[] = {
    tvn_om_common::kMsgType, tvn_om_common::kCount, tvn_om_common::kTenant,
    rule_id, rule_from, rule_type, rule_to, rule_priority, rule_filter, rule_sort, rule_range,
    try_name, try_direction, try_provider,
    answer_rule_id, answer_win_name, answer_unix_name, answer_uid, answer_gids, answer_sid,
    answer_ad_elapsed, answer_ldap_elapsed, answer_nis_elapsed,
    verify_kind, verify_name, verify_resolved, verify_full_name, verify_sid, verify_id,
    cache_name, cache_rule, cache_uid, cache_sid,
    acl_fsid, acl_text, acl_path, acl_offset, acl_count, acl_names, acl_type, perm_user_type, perm_user,
};

// ---- commands ----
inline constexpr tvn_om_vocab::command_def rule_add{"rule add", "tvn_omitf_user_mapping_add_rule", 0xd7fff4000ULL, 0, "Add a user mapping rule"};
inline constexpr tvn_om_vocab::command_def rule_modify{"rule modify", "tvn_omitf_user_mapping_modify_rule", 0xd7fff2000ULL, 0, "Change a user mapping rule"};
inline constexpr tvn_om_vocab::command_def rule_delete{"rule delete", "tvn_omitf_user_mapping_delete_rule", 0xd7fff6000ULL, 0, "Delete a user mapping rule"};
inline constexpr tvn_om_vocab::command_def rule_show{"rule show", "tvn_omitf_user_mapping_show_rule", 0xd7fff0000ULL, 0, "Show one user mapping rule"};
inline constexpr tvn_om_vocab::command_def rule_list{"rule list", "tvn_omitf_user_mapping_list_rule", 0xd7fffc000ULL, 0, "List user mapping rules"};
inline constexpr tvn_om_vocab::command_def rule_count{"rule count", "tvn_omitf_user_mapping_count_rule", 0xd7fffe000ULL, 0, "Count user mapping rules"};
inline constexpr tvn_om_vocab::command_def try_mapping{"try", "tvn_omitf_user_mapping_do_mapping", 0xd50000272ULL, 0, "Map an account as the file services would"};
inline constexpr tvn_om_vocab::command_def verify{"verify", "tvn_omitf_user_mapping_verify", 0xd7ffd0000ULL, 0, "Check that a Windows or Unix name resolves"};
inline constexpr tvn_om_vocab::command_def cache_show{"cache show", "tvn_omitf_winuser_mapping_get_cache", 0xde022223bULL, 0, "Show the cached mapping of a Windows user"};
inline constexpr tvn_om_vocab::command_def cache_show_unix{"cache show-unix", "tvn_omitf_unixuser_mapping_get_cache", 0xde022223aULL, 0, "Show the cached mapping of a Unix user"};
inline constexpr tvn_om_vocab::command_def cache_clear{"cache clear", "tvn_omitf_user_mapping_clear_cache", 0xd50000270ULL, 0, "Clear cached mappings (by rule, uid or SID; none: all)"};
inline constexpr tvn_om_vocab::command_def acl{"acl", "tvn_omitf_user_mapping_get_acl_info", 0xd50000273ULL, 0, "Show the ACL of a path"};
inline constexpr tvn_om_vocab::command_def perm{"perm", "TvnOmitfUserMappingGetEffectivePerm", 0xde0222375ULL, 0, "Show a user's effective permission on a path"};

inline constexpr tvn_om_vocab::command_def commands[] = {
    rule_add, rule_modify, rule_delete, rule_show, rule_list, rule_count, try_mapping, verify,
    cache_show, cache_show_unix, cache_clear, acl, perm,
};

// ---- result codes ----
inline constexpr tvn_om_vocab::error_def errors[] = {
    TVN_OM_ERROR(UM_ERR_ITEM, "an item could not be read as its type (tenant, rule id, ...)"),
    TVN_OM_ERROR(UM_ERR_NOMEM, "a client or the answer could not be made"),
    TVN_OM_ERROR(UM_ERR_INVALID, "tenant id text, path, or Unix or Windows user name invalid"),
    TVN_OM_ERROR(UM_ERR_QUERY_COND, "filter, sort or range of a list or count unreadable or unknown"),
    TVN_OM_ERROR(UM_ERR_FROM_IDENTITY, "from identity missing, empty or invalid"),
    TVN_OM_ERROR(UM_ERR_TO_IDENTITY, "to identity missing, empty or invalid"),
    TVN_OM_ERROR(UM_ERR_PRIORITY, "priority unreadable"),
    TVN_OM_ERROR(UM_ERR_MAP_TYPE, "mapping type missing, unreadable or not below 3"),
    TVN_OM_ERROR(UM_ERR_ACCOUNT_NAME, "the name to map, verify or look up is missing or empty"),
    TVN_OM_ERROR(UM_ERR_DIRECTION, "mapping direction or provider unreadable or unknown"),
    TVN_OM_ERROR(UM_ERR_FSID, "file system id missing or not a number"),
    TVN_OM_ERROR(UM_ERR_USER_TYPE, "user type or ACL type missing or unknown"),
    TVN_OM_ERROR(UM_ERR_CACHE_KEY, "cache selector unreadable, or more than one given"),
    TVN_OM_ERROR(UM_ERR_RULE_ID, "rule id missing or not a 64-bit unsigned number"),
    TVN_OM_ERROR(UM_ERR_WIN_NAME_LEN, "Windows user name empty or too long"),
};

inline constexpr tvn_om_vocab::family_def family{"usermapping", "User mapping rules, caches and permissions", items,
                                                 commands, errors, "mapping"};

}  // namespace vocab
}  // namespace tvn_usermapping
