#include "tvn_omitf_nfs_util.h"

#include <arpa/inet.h>

#include <charconv>
#include <fmt/format.h>

#include "talvane_store_nfs.pb.h"
#include "tvn_omitf_nfs_auth.h"

namespace tvn_nfs {

int32_t NfsConvertErrorCode(int32_t code) {
    switch (code) {
        case NFS_HYPER_PAIR_NOT_READY:
        case NFS_HYPER_PAIR_NOT_EXIST:
        case NFS_FS_REMOTE_COPY_ALTERNATE:
            return code;
        default:
            return NFS_ERR_FSID;
    }
}

// ---- identifiers ------------------------------------------------------------------

namespace {

std::string_view trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

}  // namespace

bool parse_fsid(std::string_view text, uint64_t& out) {
    // File systems are numbered within 32 bits; the decimal number is the
    // only form the management plane writes.
    uint32_t value = 0;
    if (!parse_dec_u32(text, value)) return false;
    out = value;
    return true;
}

bool parse_filter_dtree(std::string_view text, uint64_t& out) {
    uint32_t value = 0;
    if (!parse_dec_u32(text.substr(0, 64), value)) return false;
    out = value;
    return true;
}

std::string dtree_at_fsid(uint64_t dtree_id, uint64_t fsid) {
    return fmt::format("{}@{}", dtree_id, fsid);
}

// ---- audit items --------------------------------------------------------------------

// Index 1 is every item. The last four rows are not in mask order; the
// indexes are what the management plane shows, so they stay as they are.
const uint32_t kNfsAuditItemTable[NFS_AUDIT_TABLE_SIZE] = {
    0x0, 0x7FF, 0x1, 0x2, 0x4, 0x8, 0x10, 0x20, 0x40, 0x200, 0x400, 0x80, 0x100,
};

int32_t parse_audit_items(std::string_view text, uint32_t& mask) {
    std::string_view list = trim(text);
    if (!list.empty() && list.front() == '[') list.remove_prefix(1);
    if (!list.empty() && list.back() == ']') list.remove_suffix(1);
    if (trim(list).empty()) return NFS_ERR_INVALID;

    std::vector<int64_t> indexes;
    for (size_t start = 0;;) {
        size_t comma = list.find(',', start);
        std::string_view piece = trim(list.substr(start, comma == std::string_view::npos ? comma : comma - start));
        int64_t index = 0;
        if (!piece.empty() && piece.front() == '+') piece.remove_prefix(1);
        auto [end, ec] = std::from_chars(piece.data(), piece.data() + piece.size(), index);
        if (piece.empty() || ec != std::errc() || end != piece.data() + piece.size()) return NFS_ERR_INVALID;
        indexes.push_back(index);
        if (comma == std::string_view::npos) break;
        start = comma + 1;
    }

    uint32_t result = 0;
    const int64_t last = NFS_AUDIT_TABLE_SIZE - 1;
    for (int64_t index : indexes) {
        // "No auditing" and "all items" mean nothing beside other items.
        if (indexes.size() > 1 && (index == 0 || index == 1)) return NFS_ERR_PARAM_RANGE;
        // Kept as the management plane has always been answered: this test
        // lets every index through.
        if (index < 0 && index > last) return NFS_ERR_PARAM_RANGE;
        // An index outside the table adds nothing.
        if (index >= 0 && index <= last) result |= kNfsAuditItemTable[index];
    }
    mask = result;
    return 0;
}

std::string audit_items_text(uint32_t mask) {
    if (mask == 0) return "[0]";
    if ((mask & kNfsAuditItemTable[1]) == kNfsAuditItemTable[1]) return "[1]";
    std::string text = "[";
    for (uint32_t i = 2; i < NFS_AUDIT_TABLE_SIZE; ++i) {
        if ((mask & kNfsAuditItemTable[i]) == 0) continue;
        if (text.size() > 1) text += ',';
        text += std::to_string(i);
    }
    text += ']';
    return text;
}

// ---- permission options ------------------------------------------------------------

std::optional<uint32_t>* option_slot(auth_options& opts, uint32_t item) {
    switch (item) {
        case ITEM_ACCESS: return &opts.access;
        case ITEM_WRITE_MODE: return &opts.write_mode;
        case ITEM_ALL_SQUASH: return &opts.all_squash;
        case ITEM_ROOT_SQUASH: return &opts.root_squash;
        case ITEM_SECURE: return &opts.secure;
        case ITEM_AUTH_CHARSET: return &opts.charset;
        case ITEM_ANON_ID: return &opts.anon_id;
        case ITEM_CHOWN: return &opts.chown_mode;
        case ITEM_V4ACL: return &opts.v4acl;
        case ITEM_NTFS_UNIX_SEC: return &opts.ntfs_unix_sec;
        case ITEM_SEC_TYPE: return &opts.sec_type;
        case ITEM_KRB5: return &opts.krb5;
        case ITEM_KRB5I: return &opts.krb5i;
        case ITEM_KRB5P: return &opts.krb5p;
        default: return nullptr;
    }
}

namespace {

bool is_access_value(uint32_t v) { return v == 0 || v == 1 || v == 5; }

const char* access_word(uint32_t v) {
    switch (v) {
        case 1: return "rw";
        case 5: return "na";
        default: return "ro";
    }
}

const char* sec_word(uint32_t v) {
    switch (v) {
        case 1: return "none";
        case 2: return "none:unix";
        default: return "unix";
    }
}

}  // namespace

int32_t check_option(uint32_t item, uint32_t value, std::string* why) {
    auto bad = [&](const char* name) {
        if (why != nullptr) *why = fmt::format("OM {}: {} is invalid.", name, value);
        return NFS_ERR_AUTH_OPTION;
    };
    switch (item) {
        case ITEM_ACCESS:
            return is_access_value(value) ? 0 : bad("unixAccessVal");
        case ITEM_KRB5:
            return is_access_value(value) ? 0 : bad("krb5AccessVal");
        case ITEM_KRB5I:
            return is_access_value(value) ? 0 : bad("krb5iAccessVal");
        case ITEM_KRB5P:
            return is_access_value(value) ? 0 : bad("krb5pAccessVal");
        case ITEM_WRITE_MODE:
            return value <= 1 ? 0 : bad("writeMode");
        case ITEM_ALL_SQUASH:
            if (value <= 1) return 0;
            if (why != nullptr) *why = "All_Squash flag invalid.";
            return NFS_ERR_AUTH_OPTION;
        case ITEM_ROOT_SQUASH:
            if (value <= 1) return 0;
            if (why != nullptr) *why = "Root_Squash flag invalid.";
            return NFS_ERR_AUTH_OPTION;
        case ITEM_SECURE:
            return value <= 1 ? 0 : bad("secureVal");
        case ITEM_CHOWN:
            return value <= 1 ? 0 : bad("chownMode");
        case ITEM_V4ACL:
            return value <= 1 ? 0 : bad("v4AclPreserve");
        case ITEM_NTFS_UNIX_SEC:
            return value <= 1 ? 0 : bad("ntfsUnixSecOps");
        case ITEM_SEC_TYPE:
            return value <= 2 ? 0 : bad("secType");
        case ITEM_AUTH_CHARSET:
            return 0;
        case ITEM_ANON_ID:
            if (value <= NFS_ANON_MAX) return 0;
            if (why != nullptr) *why = "anonymous id out of range.";
            return NFS_ERR_ANON_ID;
        default:
            return 0;
    }
}

std::string build_create_options(const auth_options& opts) {
    std::string out = "sync,";
    out += opts.all_squash.value_or(0) == 0 ? "all_squash," : "no_all_squash,";
    out += opts.root_squash.value_or(0) == 0 ? "root_squash" : "no_root_squash";
    out += ',';
    out += access_word(opts.access.value_or(0));
    out += opts.secure.value_or(1) == 0 ? ",secure" : ",insecure";
    uint32_t charset = opts.charset.value_or(NFS_CHARSET_NOT_SET);
    if (charset != NFS_CHARSET_NOT_SET) out += fmt::format(",chs={}", charset);
    uint32_t anon = opts.anon_id.value_or(NFS_ANON_NOT_SET);
    if (anon != NFS_ANON_NOT_SET) out += fmt::format(",anonuid={},anongid={}", anon, anon);
    out += ",sec=";
    out += sec_word(opts.sec_type.value_or(0));
    out += opts.ntfs_unix_sec.value_or(0) == 0 ? ",ntfsunixsec=fail" : ",ntfsunixsec=ignore";
    out += opts.v4acl.value_or(0) == 0 ? ",v4aclpreserve=enable" : ",v4aclpreserve=disable";
    out += opts.chown_mode.value_or(0) == 0 ? ",chownmode=restricted" : ",chownmode=unrestricted";
    out += ",accesskrb5=";
    out += access_word(opts.krb5.value_or(5));
    out += ",accesskrb5i=";
    out += access_word(opts.krb5i.value_or(5));
    out += ",accesskrb5p=";
    out += access_word(opts.krb5p.value_or(5));
    return out;
}

int32_t build_modify_options(const auth_options& opts, std::string& out) {
    std::string list;
    auto word = [&](std::string_view w) {
        list += w;
        list += ',';
    };
    if (opts.write_mode) word(*opts.write_mode == 0 ? "sync" : "async");
    if (opts.all_squash) word(*opts.all_squash == 0 ? "all_squash" : "no_all_squash");
    if (opts.root_squash) word(*opts.root_squash == 0 ? "root_squash" : "no_root_squash");
    if (opts.access) word(access_word(*opts.access));
    if (opts.krb5) word(fmt::format("accesskrb5={}", access_word(*opts.krb5)));
    if (opts.krb5i) word(fmt::format("accesskrb5i={}", access_word(*opts.krb5i)));
    if (opts.krb5p) word(fmt::format("accesskrb5p={}", access_word(*opts.krb5p)));
    if (opts.secure) word(*opts.secure == 0 ? "secure" : "insecure");
    if (opts.charset) word(fmt::format("chs={}", *opts.charset));
    if (opts.anon_id) {
        word(fmt::format("anonuid={}", *opts.anon_id));
        word(fmt::format("anongid={}", *opts.anon_id));
    }
    if (opts.sec_type) word(fmt::format("sec={}", sec_word(*opts.sec_type)));
    if (opts.ntfs_unix_sec) word(*opts.ntfs_unix_sec == 0 ? "ntfsunixsec=fail" : "ntfsunixsec=ignore");
    if (opts.v4acl) word(*opts.v4acl == 0 ? "v4aclpreserve=enable" : "v4aclpreserve=disable");
    if (opts.chown_mode) word(*opts.chown_mode == 0 ? "chownmode=restricted" : "chownmode=unrestricted");
    // Nothing to change is no modification the store could apply.
    if (list.empty()) return NFS_ERR_AUTH_OPTIONS_BUILD;
    // The store splits at commas; a trailing one would only add an empty word.
    list.pop_back();
    out = std::move(list);
    return 0;
}

auth_options parse_options(std::string_view options) {
    auth_options o;
    o.access = 0;
    o.write_mode = 0;
    o.all_squash = 1;
    o.root_squash = 0;
    o.secure = 1;
    o.charset = NFS_CHARSET_NOT_SET;
    o.anon_id = NFS_ANON_NOT_SET;
    o.chown_mode = 0;
    o.v4acl = 0;
    o.ntfs_unix_sec = 0;
    o.sec_type = 0;
    o.krb5 = 5;
    o.krb5i = 5;
    o.krb5p = 5;

    auto access_of = [](std::string_view v, std::optional<uint32_t>& slot) {
        if (v == "ro") slot = 0;
        else if (v == "rw") slot = 1;
        else if (v == "na") slot = 5;
    };
    auto number_of = [](std::string_view v, std::optional<uint32_t>& slot) {
        uint32_t n = 0;
        if (parse_dec_u32(v, n)) slot = n;
    };

    for (size_t start = 0; start <= options.size();) {
        size_t comma = options.find(',', start);
        std::string_view w = trim(options.substr(start, comma == std::string_view::npos ? comma : comma - start));
        size_t eq = w.find('=');
        std::string_view key = w.substr(0, eq);
        std::string_view val = eq == std::string_view::npos ? std::string_view{} : w.substr(eq + 1);

        if (w == "sync") o.write_mode = 0;
        else if (w == "async") o.write_mode = 1;
        else if (w == "all_squash") o.all_squash = 0;
        else if (w == "no_all_squash") o.all_squash = 1;
        else if (w == "root_squash") o.root_squash = 0;
        else if (w == "no_root_squash") o.root_squash = 1;
        else if (w == "ro" || w == "rw" || w == "na") access_of(w, o.access);
        else if (w == "secure") o.secure = 0;
        else if (w == "insecure") o.secure = 1;
        else if (key == "chs") number_of(val, o.charset);
        else if (key == "anonuid") number_of(val, o.anon_id);
        else if (key == "sec") {
            if (val == "unix") o.sec_type = 0;
            else if (val == "none") o.sec_type = 1;
            else if (val == "none:unix") o.sec_type = 2;
        } else if (key == "ntfsunixsec") {
            if (val == "fail") o.ntfs_unix_sec = 0;
            else if (val == "ignore") o.ntfs_unix_sec = 1;
        } else if (key == "v4aclpreserve") {
            if (val == "enable") o.v4acl = 0;
            else if (val == "disable") o.v4acl = 1;
        } else if (key == "chownmode") {
            if (val == "restricted") o.chown_mode = 0;
            else if (val == "unrestricted") o.chown_mode = 1;
        } else if (key == "accesskrb5") access_of(val, o.krb5);
        else if (key == "accesskrb5i") access_of(val, o.krb5i);
        else if (key == "accesskrb5p") access_of(val, o.krb5p);
        // anongid follows anonuid; other words are not ours to show.

        if (comma == std::string_view::npos) break;
        start = comma + 1;
    }
    return o;
}

// ---- host names ----------------------------------------------------------------------

bool access_name_is_host(std::string_view name) {
    if (name.empty() || name == "*" || name.front() == '@') return false;
    if (name.find_first_of("*?[]") != std::string_view::npos) return false;
    // An address or a network (address/prefix or address/mask).
    std::string addr(name.substr(0, name.find('/')));
    unsigned char buf[sizeof(struct in6_addr)];
    if (inet_pton(AF_INET, addr.c_str(), buf) == 1 || inet_pton(AF_INET6, addr.c_str(), buf) == 1)
        return false;
    return true;
}

// ---- answers --------------------------------------------------------------------------

std::vector<answer_item> share_answer_items(const mul_vstore_nfs_share& s) {
    auto b = [](uint32_t v) { return std::string(v != 0 ? "true" : "false"); };
    return {
        {ITEM_OBJ_TYPE, TYPE_UNSIGNED, std::to_string(NFS_SHARE_OBJ_TYPE)},
        {ITEM_ID, TYPE_STRING, std::to_string(s.share_id())},
        {ITEM_NAME, TYPE_STRING, s.alias()},
        {ITEM_DESCRIPTION, TYPE_STRING, s.comment()},
        {ITEM_PATH, TYPE_STRING, s.path()},
        {ITEM_FSID, TYPE_STRING, std::to_string(s.fsid())},
        {ITEM_FSNAME, TYPE_STRING, s.fsname()},
        {ITEM_DTREE, TYPE_STRING, dtree_at_fsid(s.dtreeid(), s.fsid())},
        {ITEM_LOCK, TYPE_STRING, std::to_string(s.lock_strategy())},
        {ITEM_CHARSET, TYPE_STRING, std::to_string(s.charset_id())},
        {ITEM_SNAPSHOT, TYPE_BOOL, b(s.snapshot_switch())},
        {ITEM_FREEZE, TYPE_BOOL, b(s.freeze())},
        {ITEM_FH_ALIGN, TYPE_BOOL, b(s.fhbytealignmentsupport())},
        {ITEM_TENANT, TYPE_UNSIGNED, std::to_string(s.tenant_id())},
        {ITEM_AUDIT, TYPE_STRING, audit_items_text(s.audit_item())},
    };
}

std::vector<answer_item> auth_answer_items(const mul_vstore_nfs_share_permission& a) {
    auth_options o = parse_options(a.options());
    auto u = [](const std::optional<uint32_t>& v) { return std::to_string(v.value_or(0)); };
    return {
        {ITEM_OBJ_TYPE, TYPE_UNSIGNED, std::to_string(NFS_AUTH_OBJ_TYPE)},
        {ITEM_ID, TYPE_STRING, std::to_string(a.auth_id())},
        {ITEM_NAME, TYPE_STRING, a.hostname()},
        {ITEM_PARENT_ID, TYPE_STRING, std::to_string(a.share_id())},
        {ITEM_PATH, TYPE_STRING, a.alias().empty() ? a.path() : a.alias()},
        {ITEM_ACCESS, TYPE_UNSIGNED, u(o.access)},
        {ITEM_WRITE_MODE, TYPE_UNSIGNED, u(o.write_mode)},
        {ITEM_ALL_SQUASH, TYPE_UNSIGNED, u(o.all_squash)},
        {ITEM_ROOT_SQUASH, TYPE_UNSIGNED, u(o.root_squash)},
        {ITEM_SECURE, TYPE_UNSIGNED, u(o.secure)},
        {ITEM_AUTH_CHARSET, TYPE_UNSIGNED, u(o.charset)},
        {ITEM_ANON_ID, TYPE_UNSIGNED, u(o.anon_id)},
        {ITEM_CHOWN, TYPE_UNSIGNED, u(o.chown_mode)},
        {ITEM_V4ACL, TYPE_UNSIGNED, u(o.v4acl)},
        {ITEM_NTFS_UNIX_SEC, TYPE_UNSIGNED, u(o.ntfs_unix_sec)},
        {ITEM_SEC_TYPE, TYPE_UNSIGNED, u(o.sec_type)},
        {ITEM_KRB5, TYPE_UNSIGNED, u(o.krb5)},
        {ITEM_KRB5I, TYPE_UNSIGNED, u(o.krb5i)},
        {ITEM_KRB5P, TYPE_UNSIGNED, u(o.krb5p)},
        {ITEM_VPC_ID, TYPE_STRING, a.vpcid()},
        {ITEM_PRIORITY, TYPE_UNSIGNED, std::to_string(a.priority())},
        {ITEM_TENANT, TYPE_UNSIGNED, std::to_string(a.tenant_id())},
    };
}

// ---- operation log ---------------------------------------------------------------------

std::string oplog_cut(std::string_view text) {
    if (text.size() <= 100) return std::string(text);
    std::string out(text.substr(0, 97));
    out += "...";
    return out;
}

std::string create_share_oplog_params(const create_share_oplog& log, bool alias_feature) {
    std::string out = oplog_cut(log.path);
    out += log.description_given ? ",1" : ",0";
    out += fmt::format(",{},{}", log.charset_id, log.lock_strategy);
    if (alias_feature) {
        out += ',';
        out += oplog_cut(log.alias);
    }
    out += ',';
    out += log.tail;
    out += fmt::format(",{}", log.snapshot_switch);
    return out;
}

std::string auth_oplog(const auth_client& client, uint64_t auth_id) {
    if (client.name.empty()) return std::to_string(auth_id);
    return oplog_cut(client.name) + "," + std::to_string(client.share_id);
}

}  // namespace tvn_nfs
