#include "sim_usermap_kernel.h"

#include <acl/libacl.h>
#include <fmt/format.h>
#include <sys/acl.h>
#include <sys/stat.h>

#include <charconv>
#include <cstring>
#include <memory>
#include <set>
#include <vector>

#include "sim_mapping_resolver.h"
#include "sim_result.h"
#include "sim_user_mapping_store.h"
#include "tvn_sysroot.h"

namespace tvn::sim {

namespace {

// The cache request as the service lays it out.
struct cache_request {
    uint32_t tenant_id;
    uint32_t selector;
    uint64_t rule_id;
    uint64_t uid;
    char sid[256];
};
static_assert(sizeof(cache_request) == 280);

template <class T>
bool number(std::string_view text, T& out) {
    if (text.empty()) return false;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), out);
    return ec == std::errc() && end == text.data() + text.size();
}

}  // namespace

int32_t usermap_cache_channel(sim_store& store, const std::string& bytes, std::string& reply) {
    cache_request r{};
    if (bytes.size() != sizeof r) return SIM_ERR_INVALID;
    std::memcpy(&r, bytes.data(), sizeof r);
    const std::string sid(r.sid, strnlen(r.sid, sizeof r.sid));
    user_mapping_store cache(store.db);
    if (r.selector <= 3) {
        uint32_t dropped = 0;
        int32_t rc = cache.cache_clear(r.tenant_id, r.selector, r.rule_id, r.uid, sid, dropped);
        if (rc == SIM_OK) reply = std::to_string(dropped);
        return rc;
    }
    std::optional<cached_mapping> m;
    if (r.selector == 4) m = cache.cache_by_sid(r.tenant_id, sid);
    else if (r.selector == 5) m = cache.cache_by_uid(r.tenant_id, r.uid);
    else return SIM_ERR_INVALID;
    if (!m) return SIM_ERR_NOT_FOUND;
    reply = fmt::format("rule={}\nwin={}\nsid={}\nunix={}\nuid={}\n", m->rule_id, m->win_name, m->sid, m->unix_name,
                        m->uid);
    return SIM_OK;
}

namespace {

// Splits at unescaped '|' and removes the escapes of '|', ';' and ' '.
std::vector<std::string> split_fields(const std::string& cmd) {
    std::vector<std::string> out(1);
    for (size_t i = 0; i < cmd.size(); ++i) {
        char c = cmd[i];
        if (c == '\\' && i + 1 < cmd.size() && (cmd[i + 1] == '|' || cmd[i + 1] == ';' || cmd[i + 1] == ' ')) {
            out.back() += cmd[++i];
        } else if (c == '|') {
            out.emplace_back();
        } else {
            out.back() += c;
        }
    }
    return out;
}

struct acl_deleter {
    void operator()(void* p) const { acl_free(p); }
};
using acl_ptr = std::unique_ptr<struct __acl_ext, acl_deleter>;

struct acl_line {
    acl_tag_t tag;
    id_t id;
    unsigned perm;  // 4 read, 2 write, 1 execute
};

std::vector<acl_line> read_acl(const std::string& path, acl_type_t type, bool& ok) {
    std::vector<acl_line> out;
    acl_ptr acl(acl_get_file(path.c_str(), type));
    ok = acl != nullptr;
    if (!ok) return out;
    acl_entry_t e;
    for (int which = ACL_FIRST_ENTRY; acl_get_entry(acl.get(), which, &e) == 1; which = ACL_NEXT_ENTRY) {
        acl_line line{};
        acl_get_tag_type(e, &line.tag);
        if (line.tag == ACL_USER || line.tag == ACL_GROUP) {
            void* q = acl_get_qualifier(e);
            if (q != nullptr) {
                line.id = *static_cast<id_t*>(q);
                acl_free(q);
            }
        }
        acl_permset_t ps;
        if (acl_get_permset(e, &ps) == 0)
            line.perm = (acl_get_perm(ps, ACL_READ) == 1 ? 4u : 0u) | (acl_get_perm(ps, ACL_WRITE) == 1 ? 2u : 0u) |
                        (acl_get_perm(ps, ACL_EXECUTE) == 1 ? 1u : 0u);
        out.push_back(line);
    }
    return out;
}

std::string rwx(unsigned p) {
    return std::string(p & 4 ? "r" : "-") + (p & 2 ? "w" : "-") + (p & 1 ? "x" : "-");
}

std::string id_name(sim_store& store, id_t id, bool group, bool names) {
    if (!names) return std::to_string(id);
    auto a = store.dir.account_by_id(id, group, account_scope::local);
    if (!a) a = store.dir.account_by_id(id, group, account_scope::domain);
    return a ? a->full_name() : std::to_string(id);
}

std::string entry_text(sim_store& store, const acl_line& l, bool names) {
    switch (l.tag) {
        case ACL_USER_OBJ: return "user::" + rwx(l.perm);
        case ACL_USER: return "user:" + id_name(store, l.id, false, names) + ":" + rwx(l.perm);
        case ACL_GROUP_OBJ: return "group::" + rwx(l.perm);
        case ACL_GROUP: return "group:" + id_name(store, l.id, true, names) + ":" + rwx(l.perm);
        case ACL_MASK: return "mask::" + rwx(l.perm);
        case ACL_OTHER: return "other::" + rwx(l.perm);
        default: return "?";
    }
}

// Whether a path has a ".." component (it would leave the file system).
bool has_dot_dot(const std::string& path) {
    for (size_t start = 0; start <= path.size();) {
        size_t slash = path.find('/', start);
        if (slash == std::string::npos) slash = path.size();
        if (path.compare(start, slash - start, "..") == 0) return true;
        start = slash + 1;
    }
    return false;
}

// The file a request names: 0 and its path on disk, or a code.
int32_t locate(sim_store& store, const std::string& tenant_text, const std::string& fsid_text,
               const std::string& path, std::string& full, struct stat& st) {
    uint32_t tenant = 0;
    uint64_t fsid = 0;
    if (!number(tenant_text, tenant) || !number(fsid_text, fsid) || path.empty() || path[0] != '/' ||
        has_dot_dot(path))
        return SIM_ERR_INVALID;
    auto fs = store.inv.fs_by_id(fsid);
    if (!fs || fs->tenant_id != tenant) return SIM_ERR_NOT_FOUND;
    full = tvn::sysroot_path("/fs/" + fs->name) + path;
    if (::lstat(full.c_str(), &st) != 0) return SIM_ERR_NOT_FOUND;
    // A link could lead out of the file system; the display never follows one.
    return S_ISLNK(st.st_mode) ? SIM_ERR_INVALID : SIM_OK;
}

// getacl|TENANT|FSID|PATH|OFFSET|COUNT|NAMES|TYPE
int32_t show_acl(sim_store& store, const std::vector<std::string>& f, std::string& text) {
    uint32_t offset = 0, count = 0, names = 0, type = 0;
    if (f.size() != 8 || !number(f[4], offset) || !number(f[5], count) || !number(f[6], names) || !number(f[7], type) ||
        type > 1)
        return SIM_ERR_INVALID;
    std::string full;
    struct stat st {};
    if (int32_t rc = locate(store, f[1], f[2], f[3], full, st)) return rc;
    bool ok = false;
    std::vector<acl_line> lines = read_acl(full, type == 0 ? ACL_TYPE_ACCESS : ACL_TYPE_DEFAULT, ok);
    if (!ok) return SIM_ERR_IO;
    text = fmt::format("path: {}\nowner: {} ({})\ngroup: {} ({})\nmode: {:04o}\nacl: {}, {} entries\n", f[3],
                       id_name(store, st.st_uid, false, true), st.st_uid, id_name(store, st.st_gid, true, true),
                       st.st_gid, st.st_mode & 07777, type == 0 ? "access" : "default", lines.size());
    for (size_t i = offset; i < lines.size() && i - offset < count; ++i)
        text += entry_text(store, lines[i], names != 0) + "\n";
    return SIM_OK;
}

// getperm|TENANT|FSID|USERTYPE|USER|PATH
int32_t show_perm(sim_store& store, const std::vector<std::string>& f, std::string& text) {
    uint32_t user_type = 0, tenant = 0;
    if (f.size() != 6 || !number(f[3], user_type) || user_type > 1 || !number(f[1], tenant)) return SIM_ERR_INVALID;
    std::string full;
    struct stat st {};
    if (int32_t rc = locate(store, f[1], f[2], f[5], full, st)) return rc;

    // The Unix identity the file services would use for the user.
    std::optional<account_rec> who;
    uint64_t rule_id = 0;
    if (user_type == 0) {
        mapping_outcome m = resolve_mapping(store, tenant, f[4], 0, true);
        who = m.unix_account;
        rule_id = m.rule_id;
    } else {
        who = store.dir.account_by_name(f[4], account_scope::local, false);
    }
    if (!who) return SIM_ERR_NOT_FOUND;
    std::set<uint64_t> gids;
    if (auto pg = store.dir.primary_group_of(*who)) gids.insert(pg->iid);
    for (const auto& g : store.dir.groups_of(*who)) gids.insert(g.iid);

    bool ok = false;
    std::vector<acl_line> lines = read_acl(full, ACL_TYPE_ACCESS, ok);
    if (!ok) return SIM_ERR_IO;
    unsigned mask = 7, perm = 0;
    for (const auto& l : lines)
        if (l.tag == ACL_MASK) mask = l.perm;
    std::string via;
    const uint64_t uid = who->iid;
    auto first = [&](acl_tag_t tag, auto pred) -> const acl_line* {
        for (const auto& l : lines)
            if (l.tag == tag && pred(l)) return &l;
        return nullptr;
    };
    auto any = [](const acl_line&) { return true; };
    if (uid == 0) {
        perm = 7;
        via = "root";
    } else if (uid == st.st_uid) {
        if (auto* l = first(ACL_USER_OBJ, any)) perm = l->perm;
        via = "user::";
    } else if (auto* l = first(ACL_USER, [&](const acl_line& x) { return x.id == uid; })) {
        perm = l->perm & mask;
        via = "user:" + id_name(store, l->id, false, true);
    } else {
        // Every group entry that names one of the user's groups counts.
        bool in_group = false;
        for (const auto& l : lines) {
            bool match = (l.tag == ACL_GROUP_OBJ && gids.count(st.st_gid) != 0) ||
                         (l.tag == ACL_GROUP && gids.count(l.id) != 0);
            if (!match) continue;
            in_group = true;
            perm |= l.perm & mask;
            via += (via.empty() ? "" : ",") +
                   (l.tag == ACL_GROUP_OBJ ? std::string("group::") : "group:" + id_name(store, l.id, true, true));
        }
        if (!in_group) {
            if (auto* l = first(ACL_OTHER, any)) perm = l->perm;
            via = "other::";
        }
    }
    std::string groups;
    for (uint64_t g : gids) groups += (groups.empty() ? "" : ",") + std::to_string(g);
    text = fmt::format("path: {}\nuser: {}\nunix: {} (uid {}, gids {})\nrule: {}\nentry: {}\npermission: {}\n", f[5],
                       f[4], who->full_name(), uid, groups, rule_id, via, rwx(perm));
    return SIM_OK;
}

}  // namespace

int32_t security_desc_channel(sim_store& store, const std::string& bytes, std::string& reply) {
    std::vector<std::string> f = split_fields(bytes);
    return f[0] == "getacl" ? show_acl(store, f, reply) : f[0] == "getperm" ? show_perm(store, f, reply) : SIM_ERR_INVALID;
}

}  // namespace tvn::sim
