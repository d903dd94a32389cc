#include "sim_windows_user_store.h"

#include <charconv>
#include <chrono>
#include <string_view>

#include "sim_result.h"
#include "sim_sql.h"

namespace tvn::sim {

const win_builtin_group kWinBuiltinGroups[5] = {
    {544, "Administrators", "Administrators have complete and unrestricted access"},
    {545, "Users", "Users are prevented from making accidental or intentional system-wide changes"},
    {546, "Guests", "Guests have the same access as members of the Users group by default"},
    {547, "Power Users", "Power Users are included for backwards compatibility"},
    {551, "Backup Operators", "Backup Operators can override security restrictions to back up or restore files"},
};

namespace {

constexpr uint64_t kFirstRid = 1000;
constexpr size_t kNameMax = 256;
constexpr int32_t kPageDefault = 100;
constexpr const char* kBuiltinPrefix = "S-1-5-32";

constexpr const char* kSchema = R"sql(
CREATE TABLE IF NOT EXISTS win_user (
  tenant INTEGER NOT NULL, rid INTEGER NOT NULL, sid TEXT NOT NULL,
  name TEXT NOT NULL, name_key TEXT NOT NULL, password TEXT NOT NULL,
  descr TEXT NOT NULL DEFAULT '', enabled INTEGER NOT NULL DEFAULT 1,
  privileges INTEGER NOT NULL DEFAULT 0, ctime INTEGER NOT NULL DEFAULT 0,
  mtime INTEGER NOT NULL DEFAULT 0, atime INTEGER NOT NULL DEFAULT 0,
  PRIMARY KEY (tenant, rid));
CREATE UNIQUE INDEX IF NOT EXISTS win_user_name ON win_user (tenant, name_key);
CREATE UNIQUE INDEX IF NOT EXISTS win_user_sid ON win_user (tenant, sid);
CREATE TABLE IF NOT EXISTS win_group (
  tenant INTEGER NOT NULL, rid INTEGER NOT NULL, sid TEXT NOT NULL,
  name TEXT NOT NULL, name_key TEXT NOT NULL, descr TEXT NOT NULL DEFAULT '',
  type INTEGER NOT NULL, privileges INTEGER NOT NULL DEFAULT 0,
  PRIMARY KEY (tenant, sid));
CREATE UNIQUE INDEX IF NOT EXISTS win_group_name ON win_group (tenant, name_key);
CREATE INDEX IF NOT EXISTS win_group_rid ON win_group (tenant, rid);
CREATE TABLE IF NOT EXISTS win_rid (tenant INTEGER NOT NULL, rid INTEGER NOT NULL, PRIMARY KEY (tenant, rid));
CREATE TABLE IF NOT EXISTS win_member (
  tenant INTEGER NOT NULL, group_sid TEXT NOT NULL, member_sid TEXT NOT NULL,
  member_name TEXT NOT NULL, member_key TEXT NOT NULL, type INTEGER NOT NULL,
  PRIMARY KEY (tenant, group_sid, member_sid));
CREATE INDEX IF NOT EXISTS win_member_of ON win_member (tenant, member_sid);
)sql";

constexpr const char* kUserCols = "tenant, rid, sid, name, descr, enabled, privileges, ctime, mtime, atime";
constexpr const char* kGroupCols = "tenant, rid, sid, name, descr, type, privileges";

std::string fold(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return out;
}

int64_t now_s() {
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

bool parse_u64(std::string_view text, uint64_t& out) {
    auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), out);
    return !text.empty() && ec == std::errc() && p == text.data() + text.size();
}

uint64_t rid_of(std::string_view sid) {
    uint64_t rid = 0;
    size_t dash = sid.rfind('-');
    return dash != std::string_view::npos && parse_u64(sid.substr(dash + 1), rid) ? rid : 0;
}

void read_user(const sim_stmt& st, WindowsUserInfo* out) {
    auto* u = out->mutable_user();
    u->set_tenant_id(st.u32(0));
    u->set_name(st.text(3));
    u->set_password("");  // never handed out
    u->set_version(1);
    u->set_sid(st.text(2));
    u->set_desc(st.text(4));
    u->set_flag(st.i64(5) != 0 ? 1 : 0);
    u->set_privileges(st.u64(6));
    u->set_ctime(st.u64(7));
    u->set_mtime(st.u64(8));
    u->set_atime(st.u64(9));
    out->set_rid(st.u64(1));
    out->set_statusenabled(st.i64(5) != 0);
    out->set_pwdexpiredday(0);
}

void read_group(const sim_stmt& st, WindowsGroupInfo* out) {
    auto* g = out->mutable_group();
    g->set_tenant_id(st.u32(0));
    g->set_sid(st.text(2));
    g->set_name(st.text(3));
    g->set_desc(st.text(4));
    const int type = st.i32(5);
    g->set_grouptype(WindowsGroupType_IsValid(type) ? static_cast<WindowsGroupType>(type) : WINDOWS_GROUP_TYPE_CREATE);
    g->set_privileges(st.u64(6));
    out->set_rid(st.u64(1));
}

// The WHERE clause that names one account.
sql_where account_where(const win_account_ref& ref) {
    sql_where w;
    w.add("tenant = ?", ref.tenant);
    if (ref.by_name) w.add("name_key = ?", fold(ref.name));
    else if (!ref.sid.empty()) w.add("sid = ?", ref.sid);
    else w.add("rid = ?", ref.rid);
    return w;
}

// Prefix, RID and paging shared by the user and group lists.
void add_prefix(sql_where& w, const std::string& prefix, const char* column = "name_key") {
    if (prefix.empty()) return;
    std::string key = fold(prefix);
    w.add(std::string(column) + " >= ? AND " + column + " < ?", key, key + "\xff");
}

void add_rid(sql_where& w, const std::string& rid_text) {
    if (rid_text.empty()) return;
    uint64_t rid = 0;
    if (!parse_u64(rid_text, rid)) {
        w.add("0");
        return;
    }
    w.add("rid = ?", rid);
}

// " ORDER BY ... LIMIT ? OFFSET ?" with the page's values added to `w`;
// a page holds at most 100 records.
std::string order_page(sql_where& w, const char* col, WindowsUserSortType sort, int32_t offset, int32_t limit) {
    if (limit <= 0 || limit > kPageDefault) limit = kPageDefault;
    w.push(limit);
    w.push(std::max(offset, 0));
    return std::string(" ORDER BY ") + col + (sort == WINDOWS_USER_SORT_DESCEND ? " DESC" : " ASC") +
           " LIMIT ? OFFSET ?";
}

int32_t invalid(std::string& desc, const char* why) {
    desc = why;
    return SIM_ERR_INVALID;
}

bool name_ok(const std::string& name) { return !name.empty() && name.size() <= kNameMax; }

// Whether a user or group other than `self_sid` holds the name.
bool name_taken(sim_db& db, uint32_t tenant, const std::string& name, const std::string& self_sid) {
    sim_stmt st = db.prepare(
        "SELECT 1 FROM win_user WHERE tenant = ?1 AND name_key = ?2 AND sid <> ?3 "
        "UNION ALL SELECT 1 FROM win_group WHERE tenant = ?1 AND name_key = ?2 AND sid <> ?3 LIMIT 1");
    return st && st.bind(1, tenant).bind(2, fold(name)).bind(3, self_sid).step() == SQLITE_ROW;
}

// A RID for a new account: the given one when it was never used, else the
// next after every RID the tenant ever had.
int32_t take_rid(sim_db& db, uint32_t tenant, bool given, uint64_t& rid, std::string& desc) {
    if (given) {
        if (rid < kFirstRid) return invalid(desc, "RIDs below 1000 are reserved");
        sim_stmt st = db.prepare("SELECT 1 FROM win_rid WHERE tenant = ? AND rid = ?");
        if (!st) return io_failure(db, desc);
        if (st.bind(1, tenant).bind(2, rid).step() == SQLITE_ROW) {
            desc = "RID is in use or was used before";
            return SIM_ERR_EXIST;
        }
    } else {
        sim_stmt_ref st = db.cached("SELECT MAX(rid) FROM win_rid WHERE tenant = ?");
        if (!st) return io_failure(db, desc);
        rid = kFirstRid;
        if (st->bind(1, tenant).step() == SQLITE_ROW && !st->is_null(0)) rid = std::max(rid, st->u64(0) + 1);
    }
    sim_stmt_ref ins = db.cached("INSERT INTO win_rid (tenant, rid) VALUES (?, ?)");
    if (!ins || ins->bind(1, tenant).bind(2, rid).run() != SQLITE_DONE) return io_failure(db, desc);
    return SIM_OK;
}

// The name, RID and SID of a new user or group (inside its transaction).
int32_t new_account(sim_db& db, uint32_t tenant, const std::string& name, const std::string& prefix, bool rid_given,
                    uint64_t& rid, std::string& sid, std::string& desc) {
    if (name_taken(db, tenant, name, "")) {
        desc = "a user or group of that name exists";
        return SIM_ERR_EXIST;
    }
    if (int32_t rc = take_rid(db, tenant, rid_given, rid, desc)) return rc;
    sid = prefix + "-" + std::to_string(rid);
    return SIM_OK;
}

struct found_account {
    uint64_t rid = 0;
    std::string sid, name;
    int type = 0;  // groups
};

// The account a reference names in `table` ("win_user" or "win_group").
int32_t find_account(sim_db& db, const char* table, const win_account_ref& ref, found_account& out,
                     std::string& desc) {
    sql_where w = account_where(ref);
    const bool group = std::string_view(table) == "win_group";
    sim_stmt st = db.prepare(std::string("SELECT rid, sid, name") + (group ? ", type" : ", 0") + " FROM " + table +
                             w.sql());
    if (!st) return io_failure(db, desc);
    st.bind_all(w.values());
    if (st.step() != SQLITE_ROW) {
        desc = group ? "no such group" : "no such user";
        return SIM_ERR_NOT_FOUND;
    }
    out.rid = st.u64(0);
    out.sid = st.text(1);
    out.name = st.text(2);
    out.type = st.i32(3);
    return SIM_OK;
}

// One user or group record by reference.
template <class Out>
int32_t query_one(sim_db& db, const char* cols, const char* table, const win_account_ref& ref,
                  void (*read)(const sim_stmt&, Out*), Out* out, std::string& desc) {
    sim_read r(db);
    sql_where w = account_where(ref);
    sim_stmt st = db.prepare(std::string("SELECT ") + cols + " FROM " + table + w.sql());
    if (!st) return io_failure(db, desc);
    st.bind_all(w.values());
    if (st.step() != SQLITE_ROW) {
        desc = std::string_view(table) == "win_group" ? "no such group" : "no such user";
        return SIM_ERR_NOT_FOUND;
    }
    read(st, out);
    return success(desc);
}

// Every row of a statement through `add`.
template <class Add>
int32_t read_rows(sim_db& db, sim_stmt& st, Add add, std::string& desc) {
    int rc = 0;
    while ((rc = st.step()) == SQLITE_ROW) add(st);
    return rc == SQLITE_DONE ? success(desc) : io_failure(db, desc);
}

void set_common(WindowsUserCommonRsp* out, const found_account& a) {
    out->set_rid(a.rid);
    out->set_name(a.name);
}

int32_t commit(sim_txn& txn, std::string& desc) {
    if (txn.commit() != SIM_OK) return io_failure(txn.db(), "commit", desc);
    return success(desc);
}

int32_t rename_members(sim_db& db, uint32_t tenant, const std::string& sid, const std::string& name) {
    sim_stmt st = db.prepare("UPDATE win_member SET member_name = ?, member_key = ? WHERE tenant = ? AND member_sid = ?");
    return st && st.bind(1, name).bind(2, fold(name)).bind(3, tenant).bind(4, sid).run() == SQLITE_DONE ? SIM_OK
                                                                                                            : SIM_ERR_IO;
}

}  // namespace

const char* windows_user_store::schema_sql() { return kSchema; }

int32_t windows_user_store::open(std::string& err) {
    std::lock_guard<std::mutex> lock(db_.mutex());
    if (db_.exec(kSchema) != SQLITE_OK) {
        err = "cannot create the Windows account tables: " + db_.errmsg();
        return SIM_ERR_IO;
    }
    return SIM_OK;
}

std::string windows_user_store::sid_prefix(uint32_t tenant) {
    std::string prefix = conf_.tenant_value(tenant, "cifs.local.domainsid");
    if (!prefix.empty()) return prefix;
    return "S-1-5-21-1000-2000-" + std::to_string(3000 + static_cast<uint64_t>(tenant));
}

int32_t windows_user_store::ensure_tenant(uint32_t tenant, std::string& desc) {
    {
        std::lock_guard<std::mutex> lock(seeded_mutex_);
        if (seeded_.count(tenant) != 0) return SIM_OK;
    }
    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    for (const auto& g : kWinBuiltinGroups) {
        sim_stmt st = db_.prepare(
            "INSERT OR IGNORE INTO win_group (tenant, rid, sid, name, name_key, descr, type) VALUES (?,?,?,?,?,?,?)");
        if (!st || st.bind(1, tenant)
                           .bind(2, g.rid)
                           .bind(3, std::string(kBuiltinPrefix) + "-" + std::to_string(g.rid))
                           .bind(4, g.name)
                           .bind(5, fold(g.name))
                           .bind(6, g.desc)
                           .bind(7, static_cast<int64_t>(WINDOWS_GROUP_TYPE_BUILDIN))
                           .run() != SQLITE_DONE)
            return io_failure(db_, desc);
    }
    if (txn.commit() != SIM_OK) return io_failure(db_, desc);
    std::lock_guard<std::mutex> lock(seeded_mutex_);
    seeded_.insert(tenant);
    return SIM_OK;
}

int32_t windows_user_store::admit(uint32_t tenant, const std::string& name, std::string& prefix, std::string& desc) {
    if (!name_ok(name)) return invalid(desc, "name empty or too long");
    if (int32_t rc = ensure_tenant(tenant, desc)) return rc;
    prefix = sid_prefix(tenant);
    return SIM_OK;
}

// ---- users -------------------------------------------------------------------

int32_t windows_user_store::add_user(const AddWindowsUserReq& req, WindowsUserInfo* out, std::string& desc) {
    if (req.password().empty()) return invalid(desc, "password empty");
    std::string prefix, sid;
    if (int32_t rc = admit(req.tenant_id(), req.name(), prefix, desc)) return rc;
    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    uint64_t rid = req.rid();
    if (int32_t rc = new_account(db_, req.tenant_id(), req.name(), prefix, req.has_rid(), rid, sid, desc)) return rc;
    const int64_t now = now_s();
    sim_stmt_ref st = db_.cached(
        "INSERT INTO win_user (tenant, rid, sid, name, name_key, password, descr, enabled, privileges, ctime, mtime) "
        "VALUES (?,?,?,?,?,?,?,?,?,?,?)");
    if (!st || st->bind(1, req.tenant_id())
                       .bind(2, rid)
                       .bind(3, sid)
                       .bind(4, req.name())
                       .bind(5, fold(req.name()))
                       .bind(6, req.password())
                       .bind(7, req.desc())
                       .bind(8, (!req.has_statusenabled() || req.statusenabled()) ? 1 : 0)
                       .bind(9, req.privileges())
                       .bind(10, now)
                       .bind(11, now)
                       .run() != SQLITE_DONE)
        return io_failure(db_, "adding the user", desc);
    auto* u = out->mutable_user();
    u->set_tenant_id(req.tenant_id());
    u->set_name(req.name());
    u->set_password("");
    u->set_version(1);
    u->set_sid(sid);
    u->set_desc(req.desc());
    u->set_privileges(req.privileges());
    u->set_ctime(static_cast<uint64_t>(now));
    u->set_mtime(static_cast<uint64_t>(now));
    out->set_rid(rid);
    out->set_statusenabled(!req.has_statusenabled() || req.statusenabled());
    return commit(txn, desc);
}

int32_t windows_user_store::del_user(const win_account_ref& ref, WindowsUserCommonRsp* out, std::string& desc) {
    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    found_account a;
    if (int32_t rc = find_account(db_, "win_user", ref, a, desc)) return rc;
    set_common(out, a);
    sim_stmt m = db_.prepare("DELETE FROM win_member WHERE tenant = ? AND member_sid = ?");
    sim_stmt u = db_.prepare("DELETE FROM win_user WHERE tenant = ? AND sid = ?");
    if (!m || !u || m.bind(1, ref.tenant).bind(2, a.sid).run() != SQLITE_DONE ||
        u.bind(1, ref.tenant).bind(2, a.sid).run() != SQLITE_DONE)
        return io_failure(db_, "deleting the user", desc);
    return commit(txn, desc);
}

int32_t windows_user_store::modify_user(const win_account_ref& ref, const ModifyWindowsUserByNameReq& change,
                                        WindowsUserCommonRsp* out, std::string& desc) {
    if (change.has_newname() && !name_ok(change.newname())) return invalid(desc, "new name empty or too long");
    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    found_account a;
    if (int32_t rc = find_account(db_, "win_user", ref, a, desc)) return rc;
    if (change.has_newname() && name_taken(db_, ref.tenant, change.newname(), a.sid)) {
        desc = "a user or group of that name exists";
        return SIM_ERR_EXIST;
    }
    sql_where set;  // used for its value list: "col = ?" pieces joined below
    std::string cols;
    auto put = [&](const char* col, auto value) {
        cols += std::string(cols.empty() ? "" : ", ") + col + " = ?";
        set.push(value);
    };
    if (change.has_newname()) {
        put("name", change.newname());
        put("name_key", fold(change.newname()));
    }
    if (change.has_newpassword() && !change.newpassword().empty()) put("password", change.newpassword());
    if (change.has_newdesc()) put("descr", change.newdesc());
    if (change.has_newstatusenabled()) put("enabled", change.newstatusenabled() ? 1 : 0);
    if (change.has_privileges()) put("privileges", change.privileges());
    if (change.has_atime()) put("atime", change.atime());
    put("mtime", now_s());
    set.push(ref.tenant);
    set.push(a.sid);
    sim_stmt st = db_.prepare("UPDATE win_user SET " + cols + " WHERE tenant = ? AND sid = ?");
    if (!st) return io_failure(db_, desc);
    st.bind_all(set.values());
    if (st.run() != SQLITE_DONE) return io_failure(db_, "modifying the user", desc);
    if (change.has_newname()) {
        if (rename_members(db_, ref.tenant, a.sid, change.newname()) != SIM_OK) return io_failure(db_, desc);
        a.name = change.newname();
    }
    set_common(out, a);
    return commit(txn, desc);
}

int32_t windows_user_store::query_user(const win_account_ref& ref, WindowsUserInfo* out, std::string& desc) {
    return query_one(db_, kUserCols, "win_user", ref, read_user, out, desc);
}

namespace {

sql_where user_filter(uint32_t tenant, const std::string& prefix, bool exact, const std::string& rid,
                      const std::string& status) {
    sql_where w;
    w.add("tenant = ?", tenant);
    if (exact && !prefix.empty()) w.add("name_key = ?", fold(prefix));
    else add_prefix(w, prefix);
    add_rid(w, rid);
    if (!status.empty()) w.add("enabled = ?", status == "0" || status == "false" ? 0 : 1);
    return w;
}

template <class Out>
int32_t count_where(sim_db& db, const char* table, const sql_where& w, Out& count, std::string& desc) {
    sim_read r(db);
    sim_stmt st = db.prepare(std::string("SELECT COUNT(*) FROM ") + table + w.sql());
    if (!st) return io_failure(db, desc);
    st.bind_all(w.values());
    if (st.step() != SQLITE_ROW) return io_failure(db, desc);
    count = static_cast<Out>(st.i64(0));
    return success(desc);
}

}  // namespace

int32_t windows_user_store::list_users(const ListWindowsUserReq& req, ListWindowsUserRsp* out, std::string& desc) {
    sql_where w = user_filter(req.tenant_id(), req.prefixname(), req.isexact(), req.rid(), req.status());
    sim_read r(db_);
    const std::string where = w.sql();
    sim_stmt_ref st = db_.cached(std::string("SELECT ") + kUserCols + " FROM win_user" + where +
                                 order_page(w, req.listtype() == WINDOWS_USER_LIST_BY_SID ? "rid" : "name_key",
                                            req.sorttype(), req.offset(), req.limit()));
    if (!st) return io_failure(db_, desc);
    st->bind_all(w.values());
    return read_rows(db_, *st, [out](const sim_stmt& row) { read_user(row, out->add_usersinfo()); }, desc);
}

int32_t windows_user_store::count_users(const CountWindowsUserReq& req, uint32_t& count, std::string& desc) {
    return count_where(db_, "win_user", user_filter(req.tenant_id(), req.nameprifix(), false, req.rid(), req.status()),
                       count, desc);
}

// ---- groups ------------------------------------------------------------------

int32_t windows_user_store::add_group(const AddWindowsGroupReq& req, WindowsGroupInfo* out, std::string& desc) {
    std::string prefix, sid;
    if (int32_t rc = admit(req.tenant_id(), req.name(), prefix, desc)) return rc;
    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    uint64_t rid = req.rid();
    if (int32_t rc = new_account(db_, req.tenant_id(), req.name(), prefix, req.has_rid(), rid, sid, desc)) return rc;
    sim_stmt st = db_.prepare(
        "INSERT INTO win_group (tenant, rid, sid, name, name_key, descr, type, privileges) VALUES (?,?,?,?,?,?,?,?)");
    if (!st || st.bind(1, req.tenant_id())
                       .bind(2, rid)
                       .bind(3, sid)
                       .bind(4, req.name())
                       .bind(5, fold(req.name()))
                       .bind(6, req.desc())
                       .bind(7, static_cast<int64_t>(WINDOWS_GROUP_TYPE_CREATE))
                       .bind(8, req.privileges())
                       .run() != SQLITE_DONE)
        return io_failure(db_, "adding the group", desc);
    auto* g = out->mutable_group();
    g->set_tenant_id(req.tenant_id());
    g->set_sid(sid);
    g->set_name(req.name());
    g->set_desc(req.desc());
    g->set_grouptype(WINDOWS_GROUP_TYPE_CREATE);
    g->set_privileges(req.privileges());
    out->set_rid(rid);
    return commit(txn, desc);
}

int32_t windows_user_store::del_group(const win_account_ref& ref, WindowsUserCommonRsp* out, std::string& desc) {
    if (int32_t rc = ensure_tenant(ref.tenant, desc)) return rc;
    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    found_account a;
    if (int32_t rc = find_account(db_, "win_group", ref, a, desc)) return rc;
    set_common(out, a);
    if (a.type == WINDOWS_GROUP_TYPE_BUILDIN) {
        desc = "a built-in group cannot be deleted";
        return SIM_ERR_ACCESS;
    }
    sim_stmt m = db_.prepare("DELETE FROM win_member WHERE tenant = ?1 AND (group_sid = ?2 OR member_sid = ?2)");
    sim_stmt g = db_.prepare("DELETE FROM win_group WHERE tenant = ? AND sid = ?");
    if (!m || !g || m.bind(1, ref.tenant).bind(2, a.sid).run() != SQLITE_DONE ||
        g.bind(1, ref.tenant).bind(2, a.sid).run() != SQLITE_DONE)
        return io_failure(db_, "deleting the group", desc);
    return commit(txn, desc);
}

int32_t windows_user_store::modify_group(const win_account_ref& ref, const ModifyWindowsGroupByNameReq& change,
                                         WindowsUserCommonRsp* out, std::string& desc) {
    if (change.has_newname() && !name_ok(change.newname())) return invalid(desc, "new name empty or too long");
    if (int32_t rc = ensure_tenant(ref.tenant, desc)) return rc;
    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    found_account a;
    if (int32_t rc = find_account(db_, "win_group", ref, a, desc)) return rc;
    if (change.has_newname() && a.type == WINDOWS_GROUP_TYPE_BUILDIN && change.newname() != a.name) {
        desc = "a built-in group cannot be renamed";
        return SIM_ERR_ACCESS;
    }
    if (change.has_newname() && name_taken(db_, ref.tenant, change.newname(), a.sid)) {
        desc = "a user or group of that name exists";
        return SIM_ERR_EXIST;
    }
    sim_stmt st = db_.prepare(
        "UPDATE win_group SET name = COALESCE(?1, name), name_key = COALESCE(?2, name_key), descr = COALESCE(?3, descr), "
        "privileges = COALESCE(?4, privileges) WHERE tenant = ?5 AND sid = ?6");
    if (!st) return io_failure(db_, desc);
    if (change.has_newname()) st.bind(1, change.newname()).bind(2, fold(change.newname()));
    else st.bind_null(1).bind_null(2);
    if (change.has_newdesc()) st.bind(3, change.newdesc());
    else st.bind_null(3);
    if (change.has_newprivileges()) st.bind(4, change.newprivileges());
    else st.bind_null(4);
    if (st.bind(5, ref.tenant).bind(6, a.sid).run() != SQLITE_DONE) return io_failure(db_, "modifying the group", desc);
    if (change.has_newname()) {
        if (rename_members(db_, ref.tenant, a.sid, change.newname()) != SIM_OK) return io_failure(db_, desc);
        a.name = change.newname();
    }
    set_common(out, a);
    return commit(txn, desc);
}

int32_t windows_user_store::query_group(const win_account_ref& ref, WindowsGroupInfo* out, std::string& desc) {
    if (int32_t rc = ensure_tenant(ref.tenant, desc)) return rc;
    return query_one(db_, kGroupCols, "win_group", ref, read_group, out, desc);
}

namespace {

sql_where group_filter(uint32_t tenant, const std::string& prefix, const std::string& rid, bool typed,
                       WindowsGroupType type) {
    sql_where w;
    w.add("tenant = ?", tenant);
    add_prefix(w, prefix);
    add_rid(w, rid);
    if (typed && (type == WINDOWS_GROUP_TYPE_BUILDIN || type == WINDOWS_GROUP_TYPE_CREATE))
        w.add("type = ?", static_cast<int64_t>(type));
    return w;
}

}  // namespace

int32_t windows_user_store::list_groups(const ListWindowsGroupReq& req, ListWindowsGroupRsp* out, std::string& desc) {
    if (int32_t rc = ensure_tenant(req.tenant_id(), desc)) return rc;
    sql_where w = group_filter(req.tenant_id(), req.prefix_name(), req.rid(), req.has_group_type(), req.group_type());
    sim_read r(db_);
    const std::string where = w.sql();
    sim_stmt st = db_.prepare(std::string("SELECT ") + kGroupCols + " FROM win_group" + where +
                              order_page(w, req.list_type() == WINDOWS_USER_LIST_BY_SID ? "rid" : "name_key",
                                         req.sort_type(), req.offset(), req.limit()));
    if (!st) return io_failure(db_, desc);
    st.bind_all(w.values());
    return read_rows(db_, st, [out](const sim_stmt& row) { read_group(row, out->add_groupinfo()); }, desc);
}

int32_t windows_user_store::count_groups(const GetWindowsGroupCountReq& req, int32_t& count, std::string& desc) {
    if (int32_t rc = ensure_tenant(req.tenant_id(), desc)) return rc;
    return count_where(db_, "win_group",
                       group_filter(req.tenant_id(), req.prefixname(), req.rid(), req.has_group_type(), req.group_type()),
                       count, desc);
}

// ---- memberships -------------------------------------------------------------

template <class Req>
int32_t windows_user_store::change_member(const Req& req, bool add, std::string& desc) {
    if (int32_t rc = ensure_tenant(req.tenant_id(), desc)) return rc;
    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    found_account group;
    win_account_ref gref{req.tenant_id(), true, req.groupname(), 0, {}};
    if (int32_t rc = find_account(db_, "win_group", gref, group, desc)) return rc;

    std::string sid = req.membersid(), name = req.membername();
    switch (req.type()) {
        case WINDOWS_MEMBER_TYPE_WINDOWS_USER:
        case WINDOWS_MEMBER_TYPE_WINDOWS_GROUP: {
            found_account m;
            win_account_ref mref{req.tenant_id(), true, req.membername(), 0, {}};
            const bool user = req.type() == WINDOWS_MEMBER_TYPE_WINDOWS_USER;
            if (int32_t rc = find_account(db_, user ? "win_user" : "win_group", mref, m, desc)) return rc;
            if (m.sid == group.sid) return invalid(desc, "a group cannot be a member of itself");
            sid = m.sid;
            name = m.name;
            break;
        }
        case WINDOWS_MEMBER_TYPE_AD_USER:
        case WINDOWS_MEMBER_TYPE_AD_GROUP:
            if (sid.empty() && !add) {
                // A domain member is removed by the name it was added under.
                sim_stmt st = db_.prepare(
                    "SELECT member_sid FROM win_member WHERE tenant = ? AND group_sid = ? AND member_key = ? AND type = ?");
                if (st && st.bind(1, req.tenant_id())
                                  .bind(2, group.sid)
                                  .bind(3, fold(name))
                                  .bind(4, static_cast<int64_t>(req.type()))
                                  .step() == SQLITE_ROW)
                    sid = st.text(0);
            }
            if (sid.rfind("S-1-", 0) != 0) return invalid(desc, "a domain member needs its SID");
            break;
        default:
            return invalid(desc, "unknown member type");
    }

    if (add) {
        sim_stmt st = db_.prepare(
            "INSERT OR IGNORE INTO win_member (tenant, group_sid, member_sid, member_name, member_key, type) "
            "VALUES (?,?,?,?,?,?)");
        if (!st || st.bind(1, req.tenant_id())
                           .bind(2, group.sid)
                           .bind(3, sid)
                           .bind(4, name)
                           .bind(5, fold(name))
                           .bind(6, static_cast<int64_t>(req.type()))
                           .run() != SQLITE_DONE)
            return io_failure(db_, "adding the member", desc);
        if (db_.changes() == 0) {
            desc = "already a member";
            return SIM_ERR_EXIST;
        }
    } else {
        sim_stmt st = db_.prepare("DELETE FROM win_member WHERE tenant = ? AND group_sid = ? AND member_sid = ?");
        if (!st || st.bind(1, req.tenant_id()).bind(2, group.sid).bind(3, sid).run() != SQLITE_DONE)
            return io_failure(db_, "removing the member", desc);
        if (db_.changes() == 0) {
            desc = "not a member";
            return SIM_ERR_NOT_FOUND;
        }
    }
    return commit(txn, desc);
}

int32_t windows_user_store::add_member(const AddWindowsMemberShipReq& req, std::string& desc) {
    return change_member(req, true, desc);
}

int32_t windows_user_store::del_member(const DelWindowsMemberShipReq& req, std::string& desc) {
    return change_member(req, false, desc);
}

int32_t windows_user_store::groups_of_user(const QueryWindowsMemberShipByUserReq& req,
                                           QueryWindowsMemberShipByUserRsp* out, std::string& desc) {
    if (int32_t rc = ensure_tenant(req.tenant_id(), desc)) return rc;
    sim_read r(db_);
    found_account user;
    win_account_ref ref{req.tenant_id(), !req.has_usersid(), req.username(), 0, req.usersid()};
    if (int32_t rc = find_account(db_, "win_user", ref, user, desc)) return rc;
    out->set_username(user.name);
    sql_where w;
    w.add("m.tenant = ?", req.tenant_id()).add("m.member_sid = ?", user.sid);
    const std::string where = w.sql();
    sim_stmt st = db_.prepare(
        "SELECT g.tenant, g.rid, g.sid, g.name, g.descr, g.type, g.privileges FROM win_member m "
        "JOIN win_group g ON g.tenant = m.tenant AND g.sid = m.group_sid" +
        where + order_page(w, "g.name_key", WINDOWS_USER_SORT_ASCEND, req.offset(), req.limit()));
    if (!st) return io_failure(db_, desc);
    st.bind_all(w.values());
    return read_rows(db_, st, [out](const sim_stmt& row) { read_group(row, out->add_groupinfo()); }, desc);
}

namespace {

sql_where member_filter(uint32_t tenant, const std::string& group_sid, const std::string& prefix, bool typed,
                        WindowsMemberType type) {
    sql_where w;
    w.add("tenant = ?", tenant);
    w.add("group_sid = ?", group_sid);
    add_prefix(w, prefix, "member_key");
    if (typed && type <= WINDOWS_MEMBER_TYPE_AD_GROUP) w.add("type = ?", static_cast<int64_t>(type));
    return w;
}

}  // namespace

int32_t windows_user_store::members_of_group(const QueryWindowsMemberShipByGroupReq& req,
                                             QueryWindowsMemberShipByGroupRsp* out, std::string& desc) {
    if (int32_t rc = ensure_tenant(req.tenant_id(), desc)) return rc;
    sim_read r(db_);
    found_account group;
    if (int32_t rc = find_account(db_, "win_group", {req.tenant_id(), true, req.groupname(), 0, {}}, group, desc))
        return rc;
    out->set_groupname(group.name);
    sql_where w = member_filter(req.tenant_id(), group.sid, req.prefixname(), req.has_type(), req.type());
    const std::string where = w.sql();
    sim_stmt st = db_.prepare("SELECT member_sid, member_name, type FROM win_member" + where +
                              order_page(w, "member_key", WINDOWS_USER_SORT_ASCEND, req.offset(),
                                         req.has_limit() ? req.limit() : kPageDefault));
    if (!st) return io_failure(db_, desc);
    st.bind_all(w.values());
    int rc = 0;
    while ((rc = st.step()) == SQLITE_ROW) {
        auto* m = out->add_memberinfo();
        m->set_membersid(st.text(0));
        m->set_membername(st.text(1));
        const int type = st.i32(2);
        // Domain accounts have no RID of this tenant.
        m->set_memberrid(type == WINDOWS_MEMBER_TYPE_WINDOWS_USER || type == WINDOWS_MEMBER_TYPE_WINDOWS_GROUP
                             ? rid_of(st.text(0))
                             : 0);
    }
    if (rc != SQLITE_DONE) return io_failure(db_, desc);
    return success(desc);
}

int32_t windows_user_store::count_members(const CountWindowsGroupMemberReq& req, uint32_t& count, std::string& desc) {
    if (int32_t rc = ensure_tenant(req.tenant_id(), desc)) return rc;
    found_account group;
    {
        sim_read r(db_);
        if (int32_t rc = find_account(db_, "win_group", {req.tenant_id(), true, req.groupname(), 0, {}}, group, desc))
            return rc;
    }
    return count_where(db_, "win_member",
                       member_filter(req.tenant_id(), group.sid, req.nameprifix(), req.has_type(), req.type()), count,
                       desc);
}

int32_t windows_user_store::member_counts(uint32_t tenant, GetWindowsMemberCountRsp* out, std::string& desc) {
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT type, COUNT(DISTINCT member_sid) FROM win_member WHERE tenant = ? GROUP BY type");
    if (!st) return io_failure(db_, desc);
    st.bind(1, tenant);
    out->set_ad_user_count(0);
    out->set_ad_group_count(0);
    out->set_local_user_count(0);
    int rc = 0;
    while ((rc = st.step()) == SQLITE_ROW) {
        if (st.i32(0) == WINDOWS_MEMBER_TYPE_AD_USER) out->set_ad_user_count(st.u32(1));
        if (st.i32(0) == WINDOWS_MEMBER_TYPE_AD_GROUP) out->set_ad_group_count(st.u32(1));
        if (st.i32(0) == WINDOWS_MEMBER_TYPE_WINDOWS_USER) out->set_local_user_count(st.u32(1));
    }
    if (rc != SQLITE_DONE) return io_failure(db_, desc);
    return success(desc);
}

int32_t windows_user_store::user_sid_by_rid(uint32_t tenant, uint64_t rid, std::string& sid, std::string& desc) {
    sim_read r(db_);
    found_account a;
    if (int32_t rc = find_account(db_, "win_user", {tenant, false, {}, rid, {}}, a, desc)) return rc;
    sid = a.sid;
    return success(desc);
}

}  // namespace tvn::sim
