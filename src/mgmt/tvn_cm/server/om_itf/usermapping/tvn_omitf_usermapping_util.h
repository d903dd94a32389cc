#pragma once
// What the user-mapping commands check and build without asking another
// process: rule ids, the operation-log cut of identities, the Windows and
// Unix name checks, the path check, the command strings of the
// security-descriptor display and the kernel cache request.
//
// A check answers the text of its failure ("" when the input passes) and
// leaves the log line to the command, so that it counts against the
// command's own rate limit.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/tvn_omitf_items.h"

namespace tvn_usermapping {

// A rule id: decimal digits, 0 to 2^64 - 1.
bool parse_rule_id(std::string_view text, uint64_t& out);

// An identity for the operation log: longer than `limit` bytes, it is cut
// on a UTF-8 character boundary so that it and "..." fit. nullopt when no
// boundary can be found (the text is not UTF-8).
std::optional<std::string> trim_utf8(std::string_view text, size_t limit);

// Whether a rule's identity may be stored: not longer than the identity
// limit, UTF-8, no control character.
bool identity_ok(std::string_view text);

struct name_problem {
    int32_t code = 0;  // 0: the name passes
    std::string text;  // the log line
};
// "DOMAIN\account" or "account" of the permission display.
name_problem check_windows_name(std::string_view name);
// A Unix user name.
name_problem check_unix_name(std::string_view name);

// The path of an ACL or permission request: "" when it passes, else the
// text of the condition that failed.
std::string check_path(std::string_view path);

// The command strings handed to the security-descriptor display: fields
// joined with UM_CMD_SEP. A path's separator characters arrive escaped
// with a backslash (the path check insists), so the fields split cleanly.
inline constexpr char UM_CMD_SEP = '|';
struct acl_request {
    uint64_t fsid = 0;
    std::string path;
    uint32_t offset = 0;
    uint32_t count = 100;
    bool names = true;
    uint32_t acl_type = 0;
};
struct perm_request {
    uint64_t fsid = 0;
    uint32_t user_type = 0;  // 0 Windows, 1 Unix
    std::string user;
    std::string path;
};
std::string acl_cmdstr(uint32_t tenant, const acl_request& r);
std::string perm_cmdstr(uint32_t tenant, const perm_request& r);

// The fixed-size request of the kernel's user-mapping cache channel, in
// host byte order. A show asks for one entry, a clear drops the entries
// its selector names (all of the tenant's for UM_CACHE_ALL).
enum cache_selector : uint32_t {
    UM_CACHE_ALL = 0,
    UM_CACHE_BY_RULE = 1,
    UM_CACHE_BY_UID = 2,
    UM_CACHE_BY_SID = 3,
    UM_CACHE_SHOW_SID = 4,
    UM_CACHE_SHOW_UID = 5,
};
inline constexpr size_t UM_CACHE_SID_LEN = 256;
struct cache_request {
    uint32_t tenant_id = 0;
    uint32_t selector = UM_CACHE_ALL;
    uint64_t rule_id = 0;
    uint64_t uid = 0;
    char sid[UM_CACHE_SID_LEN] = {};  // NUL-terminated
};
static_assert(sizeof(cache_request) == 280, "the kernel takes 280 bytes");
// False when the SID does not fit.
bool set_cache_sid(cache_request& r, std::string_view sid);
// The kernel's answer to a show, "key=value" lines (rule, win, sid, unix,
// uid), as answer items; unknown keys are left out.
std::vector<tvn_omitf::answer_item> cache_answer_items(std::string_view text);

}  // namespace tvn_usermapping
