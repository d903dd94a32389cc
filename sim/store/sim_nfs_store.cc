#include "sim_nfs_store.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "sim_nfs_options.h"
#include "sim_result.h"
#include "sim_sql.h"

namespace tvn::sim {

namespace {

constexpr const char* kShareCols =
    "s.share_id, s.fsid, s.tenant_id, s.path, s.comment, s.charset_id, s.lock_strategy, "
    "s.version, s.share_status, s.alias, s.charge, s.audit_item, s.snapshot_switch, s.freeze, "
    "s.dtreeid, s.fileblocking_switch, s.fh_alignment, s.flags, fs.name";
constexpr const char* kShareFrom =
    " FROM nfs_share s LEFT JOIN filesystem fs ON fs.fsid = s.fsid";

void read_share(const sim_stmt& st, mul_vstore_nfs_share* out) {
    out->set_share_id(st.u64(0));
    out->set_fsid(st.u64(1));
    out->set_tenant_id(st.u32(2));
    out->set_path(st.text(3));
    out->set_comment(st.text(4));
    out->set_charset_id(st.u32(5));
    out->set_lock_strategy(st.i32(6));
    out->set_version(st.u64(7));
    out->set_share_status(st.u32(8));
    out->set_alias(st.text(9));
    out->set_charge(st.u32(10));
    out->set_audit_item(st.u32(11));
    out->set_snapshot_switch(st.u32(12));
    out->set_freeze(st.u32(13));
    out->set_dtreeid(st.u64(14));
    out->set_fileblocking_switch(st.i64(15) != 0);
    out->set_fhbytealignmentsupport(st.u32(16));
    out->set_flags(st.u32(17));
    out->set_row_key(std::to_string(st.u64(0)));
    out->set_fsname(st.is_null(18) ? std::string() : st.text(18));
}

constexpr const char* kAuthCols =
    "a.auth_id, a.share_id, s.path, a.hostname, a.options, a.opts_flag, s.share_status, "
    "a.version, a.tenant_id, s.fsid, a.show_type, s.alias, a.options_freeze, a.auth_type, "
    "s.charset_id, a.vpcid, a.priority";
constexpr const char* kAuthFrom = " FROM nfs_auth a JOIN nfs_share s ON s.share_id = a.share_id";

void read_auth(const sim_stmt& st, mul_vstore_nfs_share_permission* out) {
    out->set_auth_id(st.u64(0));
    out->set_share_id(st.u64(1));
    out->set_path(st.text(2));
    out->set_hostname(st.text(3));
    out->set_options(st.text(4));
    out->set_opts_flag(st.u32(5));
    out->set_share_status(st.u32(6));
    out->set_version(st.i32(7));
    out->set_tenant_id(st.u32(8));
    out->set_fsid(st.u64(9));
    const int show = st.i32(10);
    out->set_show_type(TvnNfsAuthShowType_IsValid(show) ? static_cast<TvnNfsAuthShowType>(show)
                                                        : TVN_NFS_AUTH_SHOW_NOTVPC);
    out->set_alias(st.text(11));
    out->set_options_freeze(st.text(12));
    out->set_row_key(std::to_string(st.u64(0)));
    out->set_auth_type(st.u32(13));
    out->set_charset_id(st.u32(14));
    out->set_vpcid(st.text(15));
    out->set_priority(st.u32(16));
}

bool parse_u64(std::string_view text, uint64_t& out) {
    if (text.empty()) return false;
    auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), out);
    return ec == std::errc() && p == text.data() + text.size();
}

uint32_t page_size(uint32_t count) {
    if (count == 0) return nfs_store::kDefaultPage;
    return std::min(count, nfs_store::kMaxPage);
}

uint32_t skip_of(uint32_t offset) { return offset == 0 ? 0 : offset - 1; }

// Runs a prepared list statement: the WHERE values, then LIMIT and OFFSET;
// each row goes to `row`. SIM_OK, or SIM_ERR_IO when a step fails.
template <class Row>
int32_t list_rows(sim_db& db, sim_stmt& st, const sql_where& w, int64_t limit, int64_t offset,
                  const char* what, std::string& desc, Row row) {
    const auto& values = w.values();
    st.bind_all(values);
    st.bind(static_cast<int>(values.size() + 1), limit);
    st.bind(static_cast<int>(values.size() + 2), offset);
    int rc;
    while ((rc = st.step()) == SQLITE_ROW) row();
    if (rc != SQLITE_DONE) return io_failure(db, what, desc);
    return success(desc);
}

// The end of a look-up that must find one row (`step` is its first step):
// SIM_OK on a row; SIM_ERR_NOT_FOUND with not_found() in `desc` when there
// is none; else SIM_ERR_IO.
template <class NotFound>
int32_t found_row(sim_db& db, int step, const char* what, std::string& desc, NotFound not_found) {
    if (step == SQLITE_ROW) return SIM_OK;
    if (step != SQLITE_DONE) return io_failure(db, what, desc);
    desc = not_found();
    return SIM_ERR_NOT_FOUND;
}

// The order of a list of `table`: by its identifier column, or by a key
// column with the identifier breaking ties; a cursor resumes after its
// record in that order.
struct list_order {
    const char* table;       // with its alias: "nfs_share s"
    const char* id_col;      // "s.share_id"
    const char* tenant_col;  // "s.tenant_id"
    const char* key_col;     // nullptr: by identifier alone
    bool descending;

    std::string order_by() const {
        const char* dir = descending ? " DESC" : "";
        return key_col != nullptr ? fmt::format(" ORDER BY {0}{2}, {1}{2}", key_col, id_col, dir)
                                  : fmt::format(" ORDER BY {}{}", id_col, dir);
    }

    // Limits `w` to what comes after the cursor record `after`. SIM_OK,
    // SIM_ERR_NOT_FOUND ("cursor <noun> ... not found") or SIM_ERR_IO.
    int32_t resume_after(sim_db& db, uint64_t after, uint32_t tenant_id, const char* noun,
                         sql_where& w, std::string& desc) const {
        const char* cmp = descending ? "<" : ">";
        if (key_col == nullptr) {
            w.add(fmt::format("{} {} ?", id_col, cmp), after);
            return SIM_OK;
        }
        sim_stmt cur = db.prepare(fmt::format("SELECT {} FROM {} WHERE {} = ? AND {} = ?", key_col,
                                              table, id_col, tenant_col));
        if (!cur) return io_failure(db, "reading the cursor", desc);
        if (cur.bind(1, after).bind(2, tenant_id).step() != SQLITE_ROW) {
            desc = fmt::format("cursor {} {} not found in tenant {}", noun, after, tenant_id);
            return SIM_ERR_NOT_FOUND;
        }
        w.add(fmt::format("({}, {}) {} (?, ?)", key_col, id_col, cmp), cur.text(0), after);
        return SIM_OK;
    }
};

// The filter fields common to the share list and the share count.
struct share_filter {
    uint32_t tenant_id = 0;
    uint64_t fsid = UINT64_MAX;
    std::string path;
    std::string comment;
    bool has_dtree = false;
    uint64_t dtreeid = 0;
    bool has_share_id = false;
    uint64_t share_id = 0;
};

// The share list and count requests name these fields alike.
template <class Req>
share_filter share_filter_of(const Req& req) {
    share_filter f;
    f.tenant_id = req.tenant_id();
    f.fsid = req.fsid();
    f.path = req.path();
    f.comment = req.comment();
    f.has_dtree = req.has_dtreeid();
    f.dtreeid = req.dtreeid();
    f.has_share_id = req.has_share_id();
    f.share_id = req.share_id();
    return f;
}

void apply_share_filter(const share_filter& f, sql_where& w) {
    w.add("s.tenant_id = ?", f.tenant_id);
    if (f.fsid != UINT64_MAX) w.add("s.fsid = ?", f.fsid);
    if (!f.path.empty()) w.add("instr(s.path, ?) > 0", f.path);
    if (!f.comment.empty()) w.add("instr(s.comment, ?) > 0", f.comment);
    if (f.has_dtree && f.dtreeid != UINT64_MAX) w.add("s.dtreeid = ?", f.dtreeid);
    if (f.has_share_id && !is_any_id(f.share_id)) w.add("s.share_id = ?", f.share_id);
}

// Permission filters common to the list and the count.
struct auth_filter {
    uint32_t tenant_id = 0;
    std::string path;
    std::string client;
    uint64_t share_id = 0;
    bool has_show_type = false;
    int show_type = TVN_NFS_AUTH_SHOW_DEFAULT;
    std::string options;
    bool has_auth_type = false;
    uint32_t auth_type = 0;
};

// The fields the permission list and count requests name alike; each sets
// the share its own way.
template <class Req>
auth_filter auth_filter_of(const Req& req) {
    auth_filter f;
    f.tenant_id = req.tenant_id();
    f.path = req.path();
    f.client = req.hostname();
    f.has_show_type = req.has_show_type();
    f.show_type = req.show_type();
    f.options = req.options();
    return f;
}

void apply_auth_filter(const auth_filter& f, sql_where& w) {
    w.add("a.tenant_id = ?", f.tenant_id);
    if (!f.path.empty()) w.add("instr(s.path, ?) > 0", f.path);
    if (!f.client.empty()) w.add("instr(lower(a.hostname), lower(?)) > 0", f.client);
    if (!is_any_id(f.share_id)) w.add("a.share_id = ?", f.share_id);
    if (f.has_show_type && f.show_type != TVN_NFS_AUTH_SHOW_DEFAULT)
        w.add("a.show_type = ?", f.show_type);
    // Every word asked for must be one of the permission's option words.
    for (const auto& word : split_option_words(f.options))
        w.add("instr(',' || a.options || ',', ',' || ? || ',') > 0", word);
    if (f.has_auth_type) w.add("a.auth_type = ?", f.auth_type);
}

int32_t count_rows(sim_db& db, const std::string& from, const sql_where& w, uint32_t& count,
                   std::string& desc) {
    sim_stmt st = db.prepare("SELECT count(*)" + from + w.sql());
    if (!st || st.bind_all(w.values()).step() != SQLITE_ROW)
        return io_failure(db, "counting", desc);
    count = st.u32(0);
    return success(desc);
}

}  // namespace

// ---- shares ---------------------------------------------------------------

namespace {

bool plain_text(const std::string& s) {
    for (char c : s)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return false;
    return true;
}

bool has_dotdot(const std::string& path) {
    size_t pos = 0;
    while (pos <= path.size()) {
        size_t next = path.find('/', pos);
        if (next == std::string::npos) next = path.size();
        if (path.compare(pos, next - pos, "..") == 0 && next - pos == 2) return true;
        pos = next + 1;
    }
    return false;
}

// For the reply's text: control characters shown as \xHH.
std::string printable(const std::string& s) {
    std::string out;
    for (char c : s) {
        unsigned char u = static_cast<unsigned char>(c);
        if (u < 0x20 || u == 0x7f)
            out += fmt::format("\\x{:02x}", u);
        else
            out += c;
    }
    return out;
}

}  // namespace

int32_t nfs_store::add_share(const tvn_nfs_add_share_req& req, uint64_t& share_id,
                             std::string& desc) {
    if (req.path().empty() || req.path().front() != '/') {
        desc = fmt::format("share path \"{}\" must begin with '/'", printable(req.path()));
        return SIM_ERR_INVALID;
    }
    // A real store keeps paths as C strings inside a real file system: a
    // NUL would cut the path (two shares that look the same), control
    // characters forge log lines, and ".." leaves the file system.
    if (!plain_text(req.path()) || !plain_text(req.alias()) || has_dotdot(req.path())) {
        desc = fmt::format("share path \"{}\" or name holds \"..\", NUL or control characters",
                           printable(req.path()));
        return SIM_ERR_INVALID;
    }
    const std::string alias = req.alias().empty() ? req.path() : req.alias();
    sim_txn tx(db_);
    if (!tx.ok()) return io_failure(db_, "beginning", desc);
    sim_stmt fs = db_.prepare("SELECT tenant_id FROM filesystem WHERE fsid = ?");
    if (!fs) return io_failure(db_, "looking the file system up", desc);
    fs.bind(1, req.fsid());
    if (fs.step() != SQLITE_ROW) {
        desc = fmt::format("file system {} does not exist", req.fsid());
        return SIM_ERR_NOT_FOUND;
    }
    // A tenant's shares live on its own file systems only; anything else
    // would hand one tenant's data to another's clients.
    if (fs.u64(0) != req.tenant_id()) {
        desc = fmt::format("file system {} does not belong to tenant {}", req.fsid(), req.tenant_id());
        return SIM_ERR_ACCESS;
    }
    sim_stmt dup = db_.prepare(
        "SELECT share_id, path = ?2 FROM nfs_share WHERE tenant_id = ?1 AND (path = ?2 OR alias = ?3)");
    if (!dup) return io_failure(db_, "checking for duplicates", desc);
    dup.bind(1, req.tenant_id()).bind(2, req.path()).bind(3, alias);
    if (dup.step() == SQLITE_ROW) {
        desc = dup.i64(1) != 0
                   ? fmt::format("share path {} already exists in tenant {} (share {})",
                                 req.path(), req.tenant_id(), dup.u64(0))
                   : fmt::format("share name {} already exists in tenant {} (share {})", alias,
                                 req.tenant_id(), dup.u64(0));
        return SIM_ERR_EXIST;
    }
    sim_stmt ins = db_.prepare(
        "INSERT INTO nfs_share(tenant_id, fsid, dtreeid, path, alias, comment, charset_id, "
        "lock_strategy, version, charge, audit_item, snapshot_switch, freeze, "
        "fileblocking_switch, fh_alignment) VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
    if (!ins) return io_failure(db_, "adding a share", desc);
    ins.bind(1, req.tenant_id())
        .bind(2, req.fsid())
        .bind(3, req.dtreeid())
        .bind(4, req.path())
        .bind(5, alias)
        .bind(6, req.comment())
        .bind(7, req.charset_id())
        .bind(8, req.lock_strategy())
        .bind(9, req.version())
        .bind(10, req.charge())
        .bind(11, req.audit_item())
        .bind(12, req.snapshot_switch())
        .bind(13, req.freeze())
        .bind(14, req.fileblocking_switch())
        .bind(15, req.fhbytealignmentsupport());
    if (ins.run() != SQLITE_DONE) return io_failure(db_, "adding a share", desc);
    const uint64_t id = static_cast<uint64_t>(db_.last_insert_rowid());
    if (tx.commit() != SIM_OK) return io_failure(db_, "committing a new share", desc);
    share_id = id;
    return success(desc);
}

int32_t nfs_store::del_share(uint64_t share_id, uint32_t tenant_id, std::string& desc) {
    sim_txn tx(db_);
    sim_stmt del = db_.prepare("DELETE FROM nfs_share WHERE share_id = ? AND tenant_id = ?");
    sim_stmt del_auth = db_.prepare("DELETE FROM nfs_auth WHERE share_id = ?");
    if (!tx.ok() || !del || !del_auth) return io_failure(db_, "deleting a share", desc);
    if (del.bind(1, share_id).bind(2, tenant_id).run() != SQLITE_DONE)
        return io_failure(db_, "deleting a share", desc);
    if (db_.changes() == 0) {
        desc = fmt::format("share {} not found in tenant {}", share_id, tenant_id);
        return SIM_ERR_NOT_FOUND;
    }
    // Permissions go with their share, in the same transaction.
    if (del_auth.bind(1, share_id).run() != SQLITE_DONE || tx.commit() != SIM_OK)
        return io_failure(db_, "deleting a share's permissions", desc);
    return success(desc);
}

int32_t nfs_store::mod_share(const tvn_nfs_mod_share_req& req, std::string& desc) {
    sql_where set;  // used only for its value list; SET items are joined by ','
    std::string assignments;
    auto assign = [&](const char* col, int64_t v) {
        if (!assignments.empty()) assignments += ", ";
        assignments += fmt::format("{} = ?", col);
        set.push(v);
    };
    if (req.has_comment()) {
        assignments += "comment = ?";
        set.push(req.comment());
    }
    if (req.has_charset_id()) assign("charset_id", req.charset_id());
    if (req.has_lock_strategy()) assign("lock_strategy", req.lock_strategy());
    if (req.has_charge()) assign("charge", req.charge());
    if (req.has_audit_item()) assign("audit_item", req.audit_item());
    if (req.has_snapshot_switch()) assign("snapshot_switch", req.snapshot_switch());
    if (req.has_freeze()) assign("freeze", req.freeze());
    if (req.has_fileblocking_switch()) assign("fileblocking_switch", req.fileblocking_switch());
    if (req.has_fhbytealignmentsupport()) assign("fh_alignment", req.fhbytealignmentsupport());
    // Every change moves the version on, unless the caller names one.
    if (req.has_version())
        assign("version", static_cast<int64_t>(req.version()));
    else {
        if (!assignments.empty()) assignments += ", ";
        assignments += "version = version + 1";
    }
    sim_txn tx(db_);
    sim_stmt st = db_.prepare(fmt::format(
        "UPDATE nfs_share SET {} WHERE share_id = ? AND tenant_id = ?", assignments));
    if (!tx.ok() || !st) return io_failure(db_, "modifying a share", desc);
    auto& values = set.values();
    st.bind_all(values);
    st.bind(static_cast<int>(values.size() + 1), req.share_id());
    st.bind(static_cast<int>(values.size() + 2), req.tenant_id());
    if (st.run() != SQLITE_DONE) return io_failure(db_, "modifying a share", desc);
    if (db_.changes() == 0) {
        desc = fmt::format("share {} not found in tenant {}", req.share_id(), req.tenant_id());
        return SIM_ERR_NOT_FOUND;
    }
    if (tx.commit() != SIM_OK) return io_failure(db_, "committing a share change", desc);
    return success(desc);
}

int32_t nfs_store::get_share(uint64_t share_id, uint32_t tenant_id, mul_vstore_nfs_share* out,
                             std::string& desc) {
    static const std::string sql = fmt::format(
        "SELECT {}{} WHERE s.share_id = ? AND s.tenant_id = ?", kShareCols, kShareFrom);
    sim_read r(db_);
    sim_stmt_ref st = db_.cached(sql);
    if (!st) return io_failure(db_, "reading a share", desc);
    int32_t rc = found_row(
        db_, st->bind(1, share_id).bind(2, tenant_id).step(), "reading a share", desc,
        [&] { return fmt::format("share {} not found in tenant {}", share_id, tenant_id); });
    if (rc != SIM_OK) return rc;
    read_share(*st, out);
    return success(desc);
}

int32_t nfs_store::show_share(const tvn_nfs_show_share_req& req, tvn_nfs_show_share_rsp* rsp,
                              std::string& desc) {
    sql_where w;
    apply_share_filter(share_filter_of(req), w);
    if (req.has_charset_id()) w.add("s.charset_id = ?", req.charset_id());
    if (req.has_version()) w.add("s.version = ?", req.version());
    if (req.has_fileblocking_switch())
        w.add("s.fileblocking_switch = ?", req.fileblocking_switch());
    if (req.has_fhbytealignmentsupport())
        w.add("s.fh_alignment = ?", req.fhbytealignmentsupport());
    if (req.filter_param_type() != NO_FILTER_PARAM) {
        std::string in;
        for (const auto& p : req.filter_params()) {
            if (req.filter_param_type() == FILTER_PARAM_BY_ID) {
                uint64_t id = 0;
                if (!parse_u64(p, id)) continue;  // an unreadable id names no share
                w.push(id);
            } else {
                w.push(p);
            }
            in += in.empty() ? "?" : ",?";
        }
        if (in.empty())
            w.add("0");
        else if (req.filter_param_type() == FILTER_PARAM_BY_ID)
            w.add("s.share_id IN (" + in + ")");
        else
            w.add("s.alias IN (" + in + ")");
    }

    const bool by_path = req.has_list_type() && req.list_type() == TVN_NFSBYSHAREPATH;
    const list_order order{"nfs_share s", "s.share_id", "s.tenant_id", by_path ? "s.path" : nullptr,
                           req.sort_type() == TVN_NFS_SHARE_SORT_DESCEND};

    sim_read r(db_);
    uint32_t skip = skip_of(req.offset());
    if (req.next_share_id().flag() == TVN_NFS_SHARE_ID_FIELD_VALID) {
        skip = 0;
        int32_t rc = order.resume_after(db_, req.next_share_id().shareid(), req.tenant_id(),
                                        "share", w, desc);
        if (rc != SIM_OK) return rc;
    }
    // The page is chosen on the share table alone, so the rows an offset
    // skips cost an index step each, not a whole joined row.
    sim_stmt st = db_.prepare(fmt::format(
        "SELECT {0}{1} WHERE s.share_id IN (SELECT s.share_id FROM nfs_share s{2}{3} LIMIT ? "
        "OFFSET ?){3}",
        kShareCols, kShareFrom, w.sql(), order.order_by()));
    if (!st) return io_failure(db_, "listing shares", desc);
    int32_t rc = list_rows(db_, st, w, page_size(req.count()), skip, "listing shares", desc,
                           [&] { read_share(st, rsp->add_share_info()); });
    if (rc != SIM_OK) rsp->clear_share_info();
    return rc;
}

int32_t nfs_store::count_shares(const tvn_nfs_get_share_count_req& req, uint32_t& count,
                                std::string& desc) {
    sql_where w;
    apply_share_filter(share_filter_of(req), w);
    sim_read r(db_);
    return count_rows(db_, " FROM nfs_share s", w, count, desc);
}

int32_t nfs_store::count_shares_under(uint64_t fsid, const std::string& path, uint32_t tenant_id,
                                      uint32_t& count, std::string& desc) {
    std::string base = path;
    while (base.size() > 1 && base.back() == '/') base.pop_back();
    sql_where w;
    w.add("s.tenant_id = ?", tenant_id);
    w.add("s.fsid = ?", fsid);
    if (base != "/") w.add("s.path = ? OR substr(s.path, 1, ?) = ?", base, base.size() + 1, base + "/");
    sim_read r(db_);
    return count_rows(db_, " FROM nfs_share s", w, count, desc);
}

int32_t nfs_store::count_shares_of_fs(uint64_t fsid, uint64_t dtreeid, uint32_t tenant_id,
                                      uint32_t& count, std::string& desc) {
    sql_where w;
    w.add("s.tenant_id = ?", tenant_id);
    w.add("s.fsid = ?", fsid);
    if (dtreeid != 0) w.add("s.dtreeid = ?", dtreeid);
    sim_read r(db_);
    return count_rows(db_, " FROM nfs_share s", w, count, desc);
}

int32_t nfs_store::share_id_by_name(uint32_t tenant_id, const std::string& name,
                                    uint64_t& share_id, std::string& desc) {
    sim_read r(db_);
    // The name is the alias; a share made without one is named by its path.
    sim_stmt st = db_.prepare(
        "SELECT share_id FROM nfs_share WHERE tenant_id = ?1 AND (alias = ?2 OR path = ?2) "
        "ORDER BY alias = ?2 DESC LIMIT 1");
    if (!st) return io_failure(db_, "looking a share up", desc);
    int32_t rc =
        found_row(db_, st.bind(1, tenant_id).bind(2, name).step(), "looking a share up", desc,
                  [&] { return fmt::format("no share named {} in tenant {}", name, tenant_id); });
    if (rc != SIM_OK) return rc;
    share_id = st.u64(0);
    return success(desc);
}

// ---- permissions ----------------------------------------------------------

int32_t nfs_store::create_auth(const tvn_nfs_create_auth_req& req, uint64_t& auth_id,
                               std::string& desc) {
    const std::string& client = req.hostname();
    if (client.empty() || client.size() > 255) {
        desc = fmt::format("client name must have 1 to 255 characters, not {}", client.size());
        return SIM_ERR_INVALID;
    }
    const std::string options = normalise_export_options(req.options());
    const std::string options_freeze = normalise_export_options(req.options_freeze());
    if (options.empty()) {
        desc = "empty option list";
        return SIM_ERR_INVALID;
    }
    sim_txn tx(db_);
    sim_stmt share = db_.prepare("SELECT 1 FROM nfs_share WHERE share_id = ? AND tenant_id = ?");
    sim_stmt dup = db_.prepare("SELECT auth_id FROM nfs_auth WHERE share_id = ? AND hostname = ?");
    sim_stmt ins = db_.prepare(
        "INSERT INTO nfs_auth(share_id, tenant_id, hostname, options, options_freeze, opts_flag, "
        "show_type, auth_type, priority) VALUES(?,?,?,?,?,0,?,?,?)");
    if (!tx.ok() || !share || !dup || !ins) return io_failure(db_, "adding a permission", desc);
    if (share.bind(1, req.share_id()).bind(2, req.tenant_id()).step() != SQLITE_ROW) {
        desc = fmt::format("share {} not found in tenant {}", req.share_id(), req.tenant_id());
        return SIM_ERR_NOT_FOUND;
    }
    if (dup.bind(1, req.share_id()).bind(2, client).step() == SQLITE_ROW) {
        desc = fmt::format("client {} already has a permission on share {} (permission {})",
                           client, req.share_id(), dup.u64(0));
        return SIM_ERR_EXIST;
    }
    const nfs_client_class cls = classify_nfs_client(client);
    ins.bind(1, req.share_id())
        .bind(2, req.tenant_id())
        .bind(3, client)
        .bind(4, options)
        .bind(5, options_freeze)
        .bind(6, static_cast<int>(TVN_NFS_AUTH_SHOW_NOTVPC))
        .bind(7, static_cast<uint32_t>(cls.kind))
        .bind(8, cls.priority);
    if (ins.run() != SQLITE_DONE) return io_failure(db_, "adding a permission", desc);
    const uint64_t id = static_cast<uint64_t>(db_.last_insert_rowid());
    if (tx.commit() != SIM_OK) return io_failure(db_, "committing a permission", desc);
    auth_id = id;
    return success(desc);
}

int32_t nfs_store::delete_auth(uint64_t auth_id, uint32_t tenant_id, std::string& desc) {
    sim_txn tx(db_);
    sim_stmt st = db_.prepare("DELETE FROM nfs_auth WHERE auth_id = ? AND tenant_id = ?");
    if (!tx.ok() || !st || st.bind(1, auth_id).bind(2, tenant_id).run() != SQLITE_DONE)
        return io_failure(db_, "deleting a permission", desc);
    if (db_.changes() == 0) {
        desc = fmt::format("permission {} not found in tenant {}", auth_id, tenant_id);
        return SIM_ERR_NOT_FOUND;
    }
    if (tx.commit() != SIM_OK) return io_failure(db_, "committing a permission removal", desc);
    return success(desc);
}

int32_t nfs_store::modify_auth(const tvn_nfs_modify_auth_req& req, std::string& desc) {
    if (split_option_words(req.options()).empty()) {
        desc = "empty option list";
        return SIM_ERR_INVALID;
    }
    sim_txn tx(db_);
    sim_stmt cur = db_.prepare("SELECT options FROM nfs_auth WHERE auth_id = ? AND tenant_id = ?");
    sim_stmt upd = db_.prepare(
        "UPDATE nfs_auth SET options = ?, opts_flag = ?, version = version + 1 WHERE auth_id = ?");
    if (!tx.ok() || !cur || !upd) return io_failure(db_, "modifying a permission", desc);
    if (cur.bind(1, req.auth_id()).bind(2, req.tenant_id()).step() != SQLITE_ROW) {
        desc = fmt::format("permission {} not found in tenant {}", req.auth_id(), req.tenant_id());
        return SIM_ERR_NOT_FOUND;
    }
    // The request may name only the words that change; the rest stay.
    const std::string merged = merge_export_options(cur.text(0), req.options());
    if (upd.bind(1, merged).bind(2, req.opts_flag()).bind(3, req.auth_id()).run() != SQLITE_DONE ||
        tx.commit() != SIM_OK)
        return io_failure(db_, "modifying a permission", desc);
    return success(desc);
}

int32_t nfs_store::get_auth(uint64_t auth_id, uint32_t tenant_id,
                            mul_vstore_nfs_share_permission* out, std::string& desc) {
    sim_read r(db_);
    sim_stmt st = db_.prepare(fmt::format("SELECT {}{} WHERE a.auth_id = ? AND a.tenant_id = ?",
                                          kAuthCols, kAuthFrom));
    if (!st) return io_failure(db_, "reading a permission", desc);
    int32_t rc = found_row(
        db_, st.bind(1, auth_id).bind(2, tenant_id).step(), "reading a permission", desc,
        [&] { return fmt::format("permission {} not found in tenant {}", auth_id, tenant_id); });
    if (rc != SIM_OK) return rc;
    read_auth(st, out);
    return success(desc);
}

int32_t nfs_store::show_auth(const tvn_nfs_show_auth_req& req, tvn_nfs_show_auth_rsp* rsp,
                             std::string& desc) {
    auth_filter f = auth_filter_of(req);
    f.share_id = req.has_share_id() ? req.share_id() : 0;
    f.has_auth_type = req.has_authtype();
    f.auth_type = req.authtype();
    sql_where w;
    apply_auth_filter(f, w);

    const char* key = nullptr;  // nullptr: by identifier
    bool descending = false;
    switch (req.sort_type()) {
        case TVN_NFS_AUTH_NAME_SORT_ASCEND: key = "a.hostname"; break;
        case TVN_NFS_AUTH_NAME_SORT_DESCEND: key = "a.hostname"; descending = true; break;
        case TVN_NFS_AUTH_VALUE_SORT_ASCEND: key = "a.options"; break;
        case TVN_NFS_AUTH_VALUE_SORT_DESCEND: key = "a.options"; descending = true; break;
        default: break;
    }
    const list_order order{"nfs_auth a", "a.auth_id", "a.tenant_id", key, descending};

    sim_read r(db_);
    uint32_t skip = skip_of(req.offset());
    if (req.next_auth_id().flag() == TVN_NFS_AUTH_ID_FIELD_VALID) {
        skip = 0;
        int32_t rc = order.resume_after(db_, req.next_auth_id().authid(), req.tenant_id(),
                                        "permission", w, desc);
        if (rc != SIM_OK) return rc;
    }
    sim_stmt st = db_.prepare(fmt::format("SELECT {}{}{}{} LIMIT ? OFFSET ?", kAuthCols, kAuthFrom,
                                          w.sql(), order.order_by()));
    if (!st) return io_failure(db_, "listing permissions", desc);
    int32_t rc = list_rows(db_, st, w, page_size(req.count()), skip, "listing permissions", desc,
                           [&] { read_auth(st, rsp->add_auth_info()); });
    if (rc != SIM_OK) rsp->clear_auth_info();
    return rc;
}

int32_t nfs_store::count_auths(const tvn_nfs_get_auth_count_req& req, uint32_t& count,
                               std::string& desc) {
    auth_filter f = auth_filter_of(req);
    f.share_id = req.share_id();
    sql_where w;
    apply_auth_filter(f, w);
    sim_read r(db_);
    return count_rows(db_, kAuthFrom, w, count, desc);
}

int32_t nfs_store::auth_id_by_client(uint32_t tenant_id, uint64_t share_id,
                                     const std::string& client, uint64_t& auth_id,
                                     std::string& desc) {
    sim_read r(db_);
    sim_stmt st = db_.prepare(
        "SELECT auth_id FROM nfs_auth WHERE tenant_id = ? AND share_id = ? AND hostname = ?");
    if (!st) return io_failure(db_, "looking a permission up", desc);
    int32_t rc = found_row(
        db_, st.bind(1, tenant_id).bind(2, share_id).bind(3, client).step(),
        "looking a permission up", desc,
        [&] { return fmt::format("client {} has no permission on share {}", client, share_id); });
    if (rc != SIM_OK) return rc;
    auth_id = st.u64(0);
    return success(desc);
}

// ---- VPC marker map ---------------------------------------------------------

int32_t nfs_store::add_vpc(const AddVpcMapReq& req, std::string& desc) {
    sim_txn tx(db_);
    sim_stmt dup = db_.prepare("SELECT 1 FROM nfs_vpc WHERE tenant_id = ? AND marker_id = ?");
    sim_stmt ins = db_.prepare(
        "INSERT INTO nfs_vpc(tenant_id, marker_id, vpc_id, project_id) VALUES(?,?,?,?)");
    if (!tx.ok() || !dup || !ins) return io_failure(db_, "adding a VPC marker", desc);
    if (dup.bind(1, req.tenant_id()).bind(2, req.marker_id()).step() == SQLITE_ROW) {
        desc = fmt::format("marker {} already exists in tenant {}", req.marker_id(),
                           req.tenant_id());
        return SIM_ERR_EXIST;
    }
    if (ins.bind(1, req.tenant_id())
                .bind(2, req.marker_id())
                .bind(3, req.vpc_id())
                .bind(4, req.project_id())
                .run() != SQLITE_DONE ||
        tx.commit() != SIM_OK)
        return io_failure(db_, "adding a VPC marker", desc);
    return success(desc);
}

int32_t nfs_store::del_vpc(uint64_t marker_id, uint32_t tenant_id, std::string& desc) {
    sim_txn tx(db_);
    sim_stmt st = db_.prepare("DELETE FROM nfs_vpc WHERE tenant_id = ? AND marker_id = ?");
    if (!tx.ok() || !st || st.bind(1, tenant_id).bind(2, marker_id).run() != SQLITE_DONE)
        return io_failure(db_, "deleting a VPC marker", desc);
    if (db_.changes() == 0) {
        desc = fmt::format("marker {} not found in tenant {}", marker_id, tenant_id);
        return SIM_ERR_NOT_FOUND;
    }
    if (tx.commit() != SIM_OK) return io_failure(db_, "deleting a VPC marker", desc);
    return success(desc);
}

namespace {
void read_vpc(const sim_stmt& st, mul_vstore_nfs_vpc* out) {
    out->set_marker_id(st.u32(0));
    out->set_vpc_id(st.text(1));
    out->set_project_id(st.text(2));
    out->set_tenant_id(st.u32(3));
}
}  // namespace

int32_t nfs_store::show_vpc(const ShowVpcMapReq& req, ShowVpcMapRsp* rsp, std::string& desc) {
    sql_where w;
    w.add("tenant_id = ?", req.tenant_id());
    if (req.marker_id() != 0) w.add("marker_id = ?", req.marker_id());
    if (!req.vpc_id().empty()) w.add("vpc_id = ?", req.vpc_id());
    if (!req.project_id().empty()) w.add("project_id = ?", req.project_id());
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT marker_id, vpc_id, project_id, tenant_id FROM nfs_vpc" +
                              w.sql() + " ORDER BY marker_id LIMIT ? OFFSET ?");
    if (!st) return io_failure(db_, "listing VPC markers", desc);
    int32_t rc = list_rows(db_, st, w, page_size(req.count()), skip_of(req.offset()),
                           "listing VPC markers", desc, [&] { read_vpc(st, rsp->add_vpc_info()); });
    if (rc != SIM_OK) rsp->clear_vpc_info();
    return rc;
}

// ---- read-back for the kernel side ----------------------------------------------

namespace {
// count 0 = everything: SQLite takes a negative LIMIT as none.
int64_t limit_of(uint32_t count) { return count == 0 ? -1 : static_cast<int64_t>(count); }

// A row of the export list's statement.
void read_export(const sim_stmt& st, nfs_get_auths_rsp::nfs_share* e) {
    e->set_shr_path(st.text(0));
    e->set_shr_client(st.text(1));
    e->set_shr_opts(st.text(2));
    e->set_pathid(fmt::format("{}:{}", st.u64(3), st.u64(4)));
    e->set_fsid(st.u64(3));
    e->set_shareid(st.u64(4));
    e->set_tenant_id(st.u32(5));
    e->set_status(st.u32(6));
    e->set_version(st.i32(7));
    e->set_auth_id(st.u64(8));
}

void read_shareinfo(const mul_vstore_nfs_share& share, tvn_shareinfo* i) {
    i->set_shareid(share.share_id());
    i->set_fsid(share.fsid());
    i->set_share_status(share.share_status());
    i->set_charset_id(share.charset_id());
    i->set_lock_enable(share.lock_strategy());
    i->set_version(share.version());
    i->set_path(share.path());
    i->set_alias(share.alias());
    i->set_audit_item(share.audit_item());
    i->set_snapshot_switch(share.snapshot_switch());
    i->set_dtreeid(share.dtreeid());
    i->set_tenant_id(share.tenant_id());
    i->set_fhbytealignmentsupport(share.fhbytealignmentsupport());
    i->set_flags(share.flags());
}
}  // namespace

int32_t nfs_store::list_fsids(uint32_t from_index, uint32_t count, nfs_get_fsids_rsp* rsp,
                              std::string& desc) {
    sim_read r(db_);
    sim_stmt st =
        db_.prepare("SELECT DISTINCT fsid FROM nfs_share ORDER BY fsid LIMIT ? OFFSET ?");
    if (!st) return io_failure(db_, "listing file systems", desc);
    int32_t rc = list_rows(db_, st, sql_where(), limit_of(count), from_index,
                           "listing file systems", desc, [&] { rsp->add_fsid(st.u64(0)); });
    if (rc != SIM_OK) rsp->clear_fsid();
    return rc;
}

int32_t nfs_store::list_share_ids(const nfs_get_shareids_arg& req, nfs_get_shareids_rsp* rsp,
                                  std::string& desc) {
    sql_where w;
    if (req.has_fsid()) w.add("fsid = ?", req.fsid());
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT share_id FROM nfs_share" + w.sql() +
                              " ORDER BY share_id LIMIT ? OFFSET ?");
    if (!st) return io_failure(db_, "listing share ids", desc);
    int32_t rc = list_rows(db_, st, w, limit_of(req.count()), req.from_index(),
                           "listing share ids", desc, [&] { rsp->add_shareid(st.u64(0)); });
    if (rc != SIM_OK) rsp->clear_shareid();
    return rc;
}

int32_t nfs_store::list_exports(const nfs_get_auths_arg& req, nfs_get_auths_rsp* rsp,
                                std::string& desc) {
    sql_where w;
    if (req.has_shareid() && !is_any_id(req.shareid())) w.add("a.share_id = ?", req.shareid());
    if (req.has_auth_id()) w.add("a.auth_id > ?", req.auth_id());
    sim_read r(db_);
    sim_stmt st = db_.prepare(
        "SELECT s.path, a.hostname, a.options, s.fsid, s.share_id, a.tenant_id, s.share_status, "
        "a.version, a.auth_id" +
        std::string(kAuthFrom) + w.sql() + " ORDER BY a.auth_id LIMIT ? OFFSET ?");
    if (!st) return io_failure(db_, "listing exports", desc);
    int32_t rc = list_rows(db_, st, w, limit_of(req.count()), req.from_index(), "listing exports",
                           desc, [&] { read_export(st, rsp->add_shares()); });
    if (rc != SIM_OK) rsp->clear_shares();
    return rc;
}

int32_t nfs_store::list_shareinfo(const nfs_get_shareinfo_arg& req, nfs_get_shareinfo_rsp* rsp,
                                  std::string& desc) {
    sql_where w;
    w.add("s.tenant_id = ?", req.tenant_id());
    if (req.has_shareid() && !is_any_id(req.shareid())) w.add("s.share_id = ?", req.shareid());
    sim_read r(db_);
    sim_stmt st = db_.prepare(fmt::format("SELECT {}{}{} ORDER BY s.share_id LIMIT ? OFFSET ?",
                                          kShareCols, kShareFrom, w.sql()));
    if (!st) return io_failure(db_, "listing shares", desc);
    mul_vstore_nfs_share share;
    int32_t rc =
        list_rows(db_, st, w, limit_of(req.count()), req.from_index(), "listing shares", desc, [&] {
            read_share(st, &share);
            read_shareinfo(share, rsp->add_shareinfo());
        });
    if (rc != SIM_OK) rsp->clear_shareinfo();
    return rc;
}

int32_t nfs_store::delete_tenant(uint32_t tenant_id, std::string& desc) {
    sim_txn tx(db_);
    if (!tx.ok()) return io_failure(db_, "beginning", desc);
    for (const char* sql : {"DELETE FROM nfs_auth WHERE tenant_id = ?",
                            "DELETE FROM nfs_share WHERE tenant_id = ?",
                            "DELETE FROM nfs_vpc WHERE tenant_id = ?"}) {
        sim_stmt st = db_.prepare(sql);
        if (!st || st.bind(1, tenant_id).run() != SQLITE_DONE)
            return io_failure(db_, "deleting a tenant's NFS records", desc);
    }
    if (tx.commit() != SIM_OK) return io_failure(db_, "deleting a tenant's NFS records", desc);
    return success(desc);
}

}  // namespace tvn::sim
