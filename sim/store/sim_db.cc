#include "sim_db.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include "sim_result.h"
#include "tvn_sysroot.h"

namespace tvn::sim {

namespace {

// Each step moves the layout from version (index) to version (index + 1).
// Steps are appended, never edited: a database in the field has run the old
// ones already.
const char* const kMigrations[] = {
    // 1: shares, permissions, configuration, inventory, directory, join state.
    R"sql(
CREATE TABLE meta(key TEXT PRIMARY KEY, value TEXT NOT NULL);
CREATE TABLE nfs_share(
  share_id INTEGER PRIMARY KEY AUTOINCREMENT,
  tenant_id INTEGER NOT NULL,
  fsid INTEGER NOT NULL,
  dtreeid INTEGER NOT NULL DEFAULT 0,
  path TEXT NOT NULL,
  alias TEXT NOT NULL,
  comment TEXT NOT NULL DEFAULT '',
  charset_id INTEGER NOT NULL DEFAULT 0,
  lock_strategy INTEGER NOT NULL DEFAULT 0,
  version INTEGER NOT NULL DEFAULT 0,
  share_status INTEGER NOT NULL DEFAULT 0,
  charge INTEGER NOT NULL DEFAULT 0,
  audit_item INTEGER NOT NULL DEFAULT 0,
  snapshot_switch INTEGER NOT NULL DEFAULT 0,
  freeze INTEGER NOT NULL DEFAULT 0,
  fileblocking_switch INTEGER NOT NULL DEFAULT 0,
  fh_alignment INTEGER NOT NULL DEFAULT 0,
  flags INTEGER NOT NULL DEFAULT 0,
  UNIQUE(tenant_id, path));
CREATE UNIQUE INDEX nfs_share_alias ON nfs_share(tenant_id, alias);
CREATE TABLE nfs_auth(
  auth_id INTEGER PRIMARY KEY AUTOINCREMENT,
  share_id INTEGER NOT NULL,
  tenant_id INTEGER NOT NULL,
  hostname TEXT NOT NULL COLLATE NOCASE,
  options TEXT NOT NULL,
  options_freeze TEXT NOT NULL,
  opts_flag INTEGER NOT NULL DEFAULT 0,
  show_type INTEGER NOT NULL DEFAULT 1,
  auth_type INTEGER NOT NULL,
  priority INTEGER NOT NULL,
  version INTEGER NOT NULL DEFAULT 0,
  vpcid TEXT NOT NULL DEFAULT '',
  UNIQUE(share_id, hostname));
CREATE INDEX nfs_auth_tenant ON nfs_auth(tenant_id, auth_id);
CREATE TABLE nfs_vpc(
  tenant_id INTEGER NOT NULL,
  marker_id INTEGER NOT NULL,
  vpc_id TEXT NOT NULL,
  project_id TEXT NOT NULL,
  PRIMARY KEY(tenant_id, marker_id));
CREATE TABLE global_config(key TEXT PRIMARY KEY, value TEXT NOT NULL);
CREATE TABLE tenant_config(
  tenant_id INTEGER NOT NULL,
  key TEXT NOT NULL,
  value TEXT NOT NULL,
  family TEXT NOT NULL DEFAULT '',
  PRIMARY KEY(tenant_id, key));
CREATE TABLE tenant(tenant_id INTEGER PRIMARY KEY, name TEXT NOT NULL, status TEXT NOT NULL);
CREATE TABLE controller(node_id INTEGER PRIMARY KEY, name TEXT NOT NULL);
CREATE TABLE filesystem(
  fsid INTEGER PRIMARY KEY,
  name TEXT NOT NULL,
  tenant_id INTEGER NOT NULL,
  controller_id INTEGER NOT NULL,
  status INTEGER NOT NULL DEFAULT 1,
  UNIQUE(tenant_id, name));
CREATE TABLE lif(
  port_id INTEGER PRIMARY KEY,
  ip TEXT NOT NULL,
  mask_len INTEGER NOT NULL,
  gateway TEXT NOT NULL,
  controller_id INTEGER NOT NULL,
  tenant_id INTEGER NOT NULL,
  role INTEGER NOT NULL,
  protocol INTEGER NOT NULL,
  family INTEGER NOT NULL,
  status INTEGER NOT NULL,
  can_failover INTEGER NOT NULL);
CREATE TABLE mgmt_ip(ip TEXT PRIMARY KEY, mask_len INTEGER NOT NULL, gateway TEXT NOT NULL,
  family INTEGER NOT NULL);
CREATE TABLE ad_domain(
  indom INTEGER PRIMARY KEY,
  nbname TEXT NOT NULL UNIQUE COLLATE NOCASE,
  fqdn TEXT NOT NULL UNIQUE COLLATE NOCASE,
  sid TEXT NOT NULL UNIQUE);
CREATE TABLE account(
  account_id INTEGER PRIMARY KEY AUTOINCREMENT,
  indom INTEGER NOT NULL,
  name TEXT NOT NULL COLLATE NOCASE,
  is_group INTEGER NOT NULL,
  rid INTEGER NOT NULL,
  iid INTEGER NOT NULL,
  primary_group TEXT NOT NULL DEFAULT '',
  description TEXT NOT NULL DEFAULT '',
  password TEXT NOT NULL DEFAULT '',
  can_join INTEGER NOT NULL DEFAULT 0,
  UNIQUE(indom, is_group, name),
  UNIQUE(indom, is_group, iid));
CREATE TABLE account_member(group_id INTEGER NOT NULL, member_id INTEGER NOT NULL,
  PRIMARY KEY(group_id, member_id));
CREATE TABLE domain_controller(
  dc_id INTEGER PRIMARY KEY AUTOINCREMENT,
  indom INTEGER NOT NULL,
  hostname TEXT NOT NULL COLLATE NOCASE,
  fqdn TEXT NOT NULL COLLATE NOCASE,
  site TEXT NOT NULL,
  priority INTEGER NOT NULL,
  weight INTEGER NOT NULL,
  writeable INTEGER NOT NULL,
  primedc INTEGER NOT NULL,
  closest INTEGER NOT NULL,
  alived INTEGER NOT NULL,
  ip TEXT NOT NULL);
CREATE TABLE host(name TEXT NOT NULL COLLATE NOCASE, ip TEXT NOT NULL, PRIMARY KEY(name, ip));
CREATE TABLE netgroup(name TEXT NOT NULL, member TEXT NOT NULL, PRIMARY KEY(name, member));
CREATE TABLE join_state(
  tenant_id INTEGER PRIMARY KEY,
  state INTEGER NOT NULL,
  errcode INTEGER NOT NULL,
  account TEXT NOT NULL,
  fqdn TEXT NOT NULL,
  version INTEGER NOT NULL,
  target_state INTEGER NOT NULL,
  target_errcode INTEGER NOT NULL,
  due_ms INTEGER NOT NULL);
CREATE TABLE auth_setting(tenant_id INTEGER NOT NULL, key TEXT NOT NULL, value TEXT NOT NULL,
  PRIMARY KEY(tenant_id, key));
)sql",
    // 2: authentication events for the diagnose service, connection views.
    R"sql(
CREATE TABLE auth_event(
  event_id INTEGER PRIMARY KEY AUTOINCREMENT,
  tenant_id INTEGER NOT NULL,
  domain_type INTEGER NOT NULL,
  occur_time TEXT NOT NULL,
  user_name TEXT NOT NULL,
  error_code INTEGER NOT NULL,
  error_msg TEXT NOT NULL);
CREATE TABLE conn_view(
  tenant_id INTEGER NOT NULL,
  controller_id INTEGER NOT NULL,
  dns_status INTEGER NOT NULL DEFAULT 0,
  ad_status INTEGER NOT NULL DEFAULT 0,
  ldap_status INTEGER NOT NULL DEFAULT 0,
  nis_status INTEGER NOT NULL DEFAULT 0,
  PRIMARY KEY(tenant_id, controller_id));
)sql",
    // 3: lists in identifier order walk an index instead of sorting the
    // tenant's shares for every page.
    R"sql(
CREATE INDEX nfs_share_tenant ON nfs_share(tenant_id, share_id);
)sql",
};

}  // namespace

// ---- statements -----------------------------------------------------------

sim_stmt::~sim_stmt() {
    if (stmt_ != nullptr) sqlite3_finalize(stmt_);
}

sim_stmt& sim_stmt::operator=(sim_stmt&& other) noexcept {
    if (this != &other) {
        if (stmt_ != nullptr) sqlite3_finalize(stmt_);
        stmt_ = other.stmt_;
        other.stmt_ = nullptr;
    }
    return *this;
}

sim_stmt& sim_stmt::bind(int index, int64_t value) {
    if (stmt_ != nullptr) sqlite3_bind_int64(stmt_, index, value);
    return *this;
}

sim_stmt& sim_stmt::bind(int index, std::string_view value) {
    if (stmt_ != nullptr)
        sqlite3_bind_text(stmt_, index, value.data(), static_cast<int>(value.size()),
                          SQLITE_TRANSIENT);
    return *this;
}

sim_stmt& sim_stmt::bind(int index, const sql_value& value) {
    if (const auto* i = std::get_if<int64_t>(&value)) return bind(index, *i);
    return bind(index, std::string_view(std::get<std::string>(value)));
}

sim_stmt& sim_stmt::bind_null(int index) {
    if (stmt_ != nullptr) sqlite3_bind_null(stmt_, index);
    return *this;
}

sim_stmt& sim_stmt::bind_all(const std::vector<sql_value>& values) {
    for (size_t i = 0; i < values.size(); ++i) bind(static_cast<int>(i + 1), values[i]);
    return *this;
}

int sim_stmt::step() { return stmt_ != nullptr ? sqlite3_step(stmt_) : SQLITE_MISUSE; }

int sim_stmt::run() {
    int rc = step();
    while (rc == SQLITE_ROW) rc = step();
    return rc;
}

void sim_stmt::reset() {
    if (stmt_ != nullptr) {
        sqlite3_reset(stmt_);
        sqlite3_clear_bindings(stmt_);
    }
}

int64_t sim_stmt::i64(int col) const { return sqlite3_column_int64(stmt_, col); }

std::string sim_stmt::text(int col) const {
    const auto* p = sqlite3_column_text(stmt_, col);
    if (p == nullptr) return {};
    return std::string(reinterpret_cast<const char*>(p),
                       static_cast<size_t>(sqlite3_column_bytes(stmt_, col)));
}

bool sim_stmt::is_null(int col) const { return sqlite3_column_type(stmt_, col) == SQLITE_NULL; }

// ---- database -------------------------------------------------------------

int sim_db::schema_version_latest() {
    return static_cast<int>(sizeof(kMigrations) / sizeof(kMigrations[0]));
}

sim_db::~sim_db() { close(); }

int32_t sim_db::open(const std::string& path, bool durable, std::string& err,
                     int stop_at_version) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (db_ != nullptr) return SIM_OK;
    if (int rc = tvn::make_parent_dirs(path); rc != 0) {
        err = fmt::format("cannot create the folder of {} ({})", path, rc);
        return SIM_ERR_IO;
    }
    auto fail = [this]() {
        if (db_ != nullptr) sqlite3_close_v2(db_);
        db_ = nullptr;
        return SIM_ERR_IO;
    };
    // The stand-in directory's passwords live here: the file (and so the
    // WAL and shared-memory files, which SQLite gives the same mode) is the
    // owner's alone, and never reached through a link.
    int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    struct stat st {};
    if (fd < 0 || ::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || ::fchmod(fd, 0600) != 0) {
        err = fmt::format("cannot open {}: not a plain file of ours ({})", path, errno);
        if (fd >= 0) ::close(fd);
        return SIM_ERR_IO;
    }
    ::close(fd);
    for (const char* tail : {"-wal", "-shm"}) (void)::chmod((path + tail).c_str(), 0600);
    int rc = sqlite3_open_v2(path.c_str(), &db_,
                             SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX |
                                 SQLITE_OPEN_NOFOLLOW,
                             nullptr);
    if (rc != SQLITE_OK) {
        err = fmt::format("cannot open {}: {}", path,
                          db_ != nullptr ? sqlite3_errmsg(db_) : sqlite3_errstr(rc));
        return fail();
    }
    path_ = path;
    // A second process on the same file (a test peeking in) waits instead of
    // failing at once.
    sqlite3_busy_timeout(db_, 5000);
    const char* pragmas = durable ? "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
                                  : "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;";
    if (exec(pragmas) != SQLITE_OK || exec("PRAGMA foreign_keys=ON;") != SQLITE_OK) {
        err = fmt::format("cannot set up {}: {}", path, sqlite3_errmsg(db_));
        return fail();
    }
    if (migrate(err, stop_at_version > 0 ? stop_at_version : schema_version_latest()) != SIM_OK)
        return fail();
    return SIM_OK;
}

void sim_db::close() {
    cache_.clear();
    if (db_ != nullptr) {
        sqlite3_close_v2(db_);
        db_ = nullptr;
    }
}

sim_stmt sim_db::prepare(std::string_view sql) {
    sqlite3_stmt* stmt = nullptr;
    if (db_ == nullptr) return sim_stmt();
    if (sqlite3_prepare_v2(db_, sql.data(), static_cast<int>(sql.size()), &stmt, nullptr) !=
        SQLITE_OK)
        return sim_stmt();
    return sim_stmt(stmt);
}

sim_stmt_ref sim_db::cached(const std::string& sql) {
    auto it = cache_.find(sql);
    if (it == cache_.end()) {
        sim_stmt st = prepare(sql);
        if (!st) return sim_stmt_ref(nullptr);
        it = cache_.emplace(sql, std::move(st)).first;
    }
    return sim_stmt_ref(&it->second);
}

int sim_db::exec(const char* sql) {
    if (db_ == nullptr) return SQLITE_MISUSE;
    return sqlite3_exec(db_, sql, nullptr, nullptr, nullptr);
}

std::string sim_db::errmsg() const { return db_ != nullptr ? sqlite3_errmsg(db_) : "not open"; }

int64_t sim_db::last_insert_rowid() const { return sqlite3_last_insert_rowid(db_); }

int sim_db::changes() const { return sqlite3_changes(db_); }

int sim_db::schema_version() {
    sim_stmt st = prepare("SELECT version FROM schema_version");
    if (!st || st.step() != SQLITE_ROW) return 0;
    return st.i32(0);
}

int32_t sim_db::migrate(std::string& err, int target) {
    if (exec("CREATE TABLE IF NOT EXISTS schema_version(version INTEGER NOT NULL);") !=
        SQLITE_OK) {
        err = fmt::format("cannot create the version table: {}", errmsg());
        return SIM_ERR_IO;
    }
    int have = schema_version();
    const int latest = schema_version_latest();
    if (have > latest) {
        err = fmt::format("{} has layout version {}, newer than this build's {}", path_, have,
                          latest);
        return SIM_ERR_IO;
    }
    for (int v = have; v < target && v < latest; ++v) {
        // Each step commits together with its version number, so a kill
        // during a migration re-runs exactly that step on the next start.
        if (exec("BEGIN IMMEDIATE") != SQLITE_OK) {
            err = fmt::format("cannot begin migration {}: {}", v + 1, errmsg());
            return SIM_ERR_IO;
        }
        bool ok = exec(kMigrations[v]) == SQLITE_OK;
        if (ok) {
            sim_stmt st = prepare(v == 0 ? "INSERT INTO schema_version(version) VALUES(?1)"
                                         : "UPDATE schema_version SET version = ?1");
            ok = st && st.bind(1, v + 1).run() == SQLITE_DONE;
        }
        if (!ok || exec("COMMIT") != SQLITE_OK) {
            err = fmt::format("migration to version {} failed: {}", v + 1, errmsg());
            exec("ROLLBACK");
            return SIM_ERR_IO;
        }
    }
    return SIM_OK;
}

// ---- transactions ---------------------------------------------------------

sim_txn::sim_txn(sim_db& db) : db_(db), lock_(db.mutex()) {
    begun_ = db_.exec("BEGIN IMMEDIATE") == SQLITE_OK;
}

sim_txn::~sim_txn() {
    if (begun_ && !done_) db_.exec("ROLLBACK");
}

int32_t sim_txn::commit() {
    if (!begun_ || done_) return SIM_ERR_IO;
    if (db_.exec("COMMIT") != SQLITE_OK) return SIM_ERR_IO;
    done_ = true;
    return SIM_OK;
}

}  // namespace tvn::sim
