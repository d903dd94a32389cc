#include "sim_user_mapping_store.h"

#include <fmt/format.h>

#include "sim_result.h"
#include "sim_sql.h"

namespace tvn::sim {

namespace {

constexpr const char* kColumns = "rule_id, tenant_id, from_account, to_identity, mapping_type, priority";
constexpr uint32_t kTypeDefault = 3;

mapping_rule rule_of(sim_stmt& st) {
    return {st.u64(0), st.u32(1), st.text(2), st.text(3), st.u32(4), st.u32(5)};
}

void fill(const mapping_rule& r, tvn_user_mapping_rule* out) {
    out->set_rule_id(r.id);
    out->set_tenant_id(r.tenant);
    out->set_from_account(r.from);
    out->set_to_identity(r.to);
    out->set_mapping_type(static_cast<TvnUserMappingType>(r.type));
    out->set_rule_priority(r.priority);
}

// The filters a list and a count share: texts the identities hold (ASCII
// case ignored), and a type unless "any".
template <class Req>
sql_where rule_where(uint32_t tenant, const Req& req, uint32_t type) {
    sql_where w;
    w.add("tenant_id = ?", tenant);
    if (req.has_from_name_like() && !req.from_name_like().empty())
        w.add("instr(lower(from_account), lower(?)) > 0", req.from_name_like());
    if (req.has_to_name_like() && !req.to_name_like().empty())
        w.add("instr(lower(to_identity), lower(?)) > 0", req.to_name_like());
    if (type != kTypeDefault) w.add("mapping_type = ?", type);
    return w;
}

std::optional<mapping_rule> find_rule(sim_db& db, uint64_t id, uint32_t tenant) {
    sim_stmt st = db.prepare(fmt::format("SELECT {} FROM um_rule WHERE rule_id = ? AND tenant_id = ?", kColumns));
    if (!st) return std::nullopt;
    st.bind(1, id).bind(2, tenant);
    if (st.step() != SQLITE_ROW) return std::nullopt;
    return rule_of(st);
}

bool duplicate(sim_db& db, const mapping_rule& r) {
    sim_stmt st = db.prepare(
        "SELECT 1 FROM um_rule WHERE tenant_id = ? AND from_account = ? AND to_identity = ? AND mapping_type = ? "
        "AND rule_id != ?");
    if (!st) return false;
    st.bind(1, r.tenant).bind(2, r.from).bind(3, r.to).bind(4, r.type).bind(5, r.id);
    return st.step() == SQLITE_ROW;
}

std::optional<cached_mapping> cache_row(sim_db& db, const char* where, const sql_value& key, uint32_t tenant) {
    sim_read r(db);
    sim_stmt st = db.prepare(fmt::format(
        "SELECT tenant_id, sid, win_name, uid, unix_name, rule_id FROM um_cache WHERE tenant_id = ? AND {}", where));
    if (!st) return std::nullopt;
    st.bind(1, tenant).bind(2, key);
    if (st.step() != SQLITE_ROW) return std::nullopt;
    return cached_mapping{st.u32(0), st.text(1), st.text(2), st.u64(3), st.text(4), st.u64(5)};
}

}  // namespace

int32_t user_mapping_store::install(sim_db& db, std::string& err) {
    static constexpr const char* kSchema = R"(
CREATE TABLE IF NOT EXISTS um_rule(
  rule_id INTEGER PRIMARY KEY AUTOINCREMENT,
  tenant_id INTEGER NOT NULL,
  from_account TEXT NOT NULL,
  to_identity TEXT NOT NULL,
  mapping_type INTEGER NOT NULL,
  priority INTEGER NOT NULL,
  UNIQUE(tenant_id, from_account, to_identity, mapping_type));
CREATE INDEX IF NOT EXISTS um_rule_order ON um_rule(tenant_id, mapping_type, priority, rule_id);
CREATE TABLE IF NOT EXISTS um_cache(
  tenant_id INTEGER NOT NULL,
  sid TEXT NOT NULL,
  win_name TEXT NOT NULL,
  uid INTEGER NOT NULL,
  unix_name TEXT NOT NULL,
  rule_id INTEGER NOT NULL,
  PRIMARY KEY(tenant_id, sid, uid));
)";
    sim_txn tx(db);
    if (!tx.ok() || db.exec(kSchema) != SQLITE_OK || tx.commit() != SIM_OK) {
        err = "user mapping tables: " + db.errmsg();
        return SIM_ERR_IO;
    }
    return SIM_OK;
}

int32_t user_mapping_store::add(const tvn_user_mapping_rule_add_req& req, uint64_t& id, std::string& desc) {
    mapping_rule r{0, req.tenant_id(), req.from_account(), req.to_identity(),
                   static_cast<uint32_t>(req.mapping_type()), req.rule_priority()};
    if (r.from.empty() || r.to.empty() || r.type >= kTypeDefault) {
        desc = "from, to and a mapping type below 3 are needed";
        return SIM_ERR_INVALID;
    }
    sim_txn tx(db_);
    if (!tx.ok()) return io_failure(db_, "adding a rule", desc);
    if (duplicate(db_, r)) {
        desc = "the tenant has this rule already";
        return SIM_ERR_EXIST;
    }
    sim_stmt st = db_.prepare(
        "INSERT INTO um_rule(tenant_id, from_account, to_identity, mapping_type, priority) VALUES(?, ?, ?, ?, ?)");
    if (!st || st.bind(1, r.tenant).bind(2, r.from).bind(3, r.to).bind(4, r.type).bind(5, r.priority).run() !=
                   SQLITE_DONE)
        return io_failure(db_, "adding a rule", desc);
    id = static_cast<uint64_t>(db_.last_insert_rowid());
    if (tx.commit() != SIM_OK) return io_failure(db_, "adding a rule", desc);
    return success(desc);
}

int32_t user_mapping_store::modify(const tvn_user_mapping_rule_modify_req& req, std::string& desc) {
    sim_txn tx(db_);
    if (!tx.ok()) return io_failure(db_, "changing a rule", desc);
    auto r = find_rule(db_, req.rule_id(), req.tenant_id());
    if (!r) {
        desc = fmt::format("no rule {} in tenant {}", req.rule_id(), req.tenant_id());
        return SIM_ERR_NOT_FOUND;
    }
    if (req.has_from_account() && !req.from_account().empty()) r->from = req.from_account();
    if (req.has_to_identity() && !req.to_identity().empty()) r->to = req.to_identity();
    if (req.mapping_type() != TVN_TYPE_DEFAULT) r->type = static_cast<uint32_t>(req.mapping_type());
    if (req.rule_priority() != 0) r->priority = req.rule_priority();
    if (duplicate(db_, *r)) {
        desc = "the tenant has this rule already";
        return SIM_ERR_EXIST;
    }
    sim_stmt st = db_.prepare(
        "UPDATE um_rule SET from_account = ?, to_identity = ?, mapping_type = ?, priority = ? WHERE rule_id = ?");
    if (!st || st.bind(1, r->from).bind(2, r->to).bind(3, r->type).bind(4, r->priority).bind(5, r->id).run() !=
                   SQLITE_DONE ||
        tx.commit() != SIM_OK)
        return io_failure(db_, "changing a rule", desc);
    return success(desc);
}

int32_t user_mapping_store::remove(uint64_t id, uint32_t tenant, std::string& desc) {
    sim_txn tx(db_);
    sim_stmt st = db_.prepare("DELETE FROM um_rule WHERE rule_id = ? AND tenant_id = ?");
    if (!tx.ok() || !st || st.bind(1, id).bind(2, tenant).run() != SQLITE_DONE)
        return io_failure(db_, "deleting a rule", desc);
    if (db_.changes() == 0) {
        desc = fmt::format("no rule {} in tenant {}", id, tenant);
        return SIM_ERR_NOT_FOUND;
    }
    if (tx.commit() != SIM_OK) return io_failure(db_, "deleting a rule", desc);
    return success(desc);
}

int32_t user_mapping_store::show(uint64_t id, uint32_t tenant, tvn_user_mapping_rule* out, std::string& desc) {
    sim_read lock(db_);
    auto r = find_rule(db_, id, tenant);
    if (!r) {
        desc = fmt::format("no rule {} in tenant {}", id, tenant);
        return SIM_ERR_NOT_FOUND;
    }
    fill(*r, out);
    return success(desc);
}

int32_t user_mapping_store::list(const tvn_user_mapping_rule_list_req& req, tvn_user_mapping_rule_list_rsp* rsp,
                                 std::string& desc) {
    static constexpr const char* kOrder[] = {"rule_id", "from_account", "to_identity", "mapping_type", "priority"};
    const auto key = static_cast<size_t>(req.list_type());
    const char* dir = req.sort_type() == TVN_USER_MAPPING_DESCEND ? "DESC" : "ASC";
    sql_where w = rule_where(req.tenant_id(), req, static_cast<uint32_t>(req.mappingtype()));
    std::string sql = fmt::format("SELECT {} FROM um_rule{} ORDER BY {} {}, rule_id {} LIMIT ? OFFSET ?", kColumns,
                                  w.sql(), kOrder[key < 5 ? key : 0], dir, dir);
    sim_read lock(db_);
    sim_stmt st = db_.prepare(sql);
    if (!st) return io_failure(db_, "listing rules", desc);
    st.bind_all(w.values());
    const int n = static_cast<int>(w.values().size());
    st.bind(n + 1, req.list_num() == 0 ? 100 : req.list_num()).bind(n + 2, req.offset());
    while (st.step() == SQLITE_ROW) fill(rule_of(st), rsp->add_user_mapping_info());
    return success(desc);
}

int32_t user_mapping_store::count(const tvn_user_mapping_rule_count_req& req, uint32_t& n, std::string& desc) {
    sql_where w = rule_where(req.tenant_id(), req, static_cast<uint32_t>(req.mapping_type()));
    sim_read lock(db_);
    sim_stmt st = db_.prepare("SELECT count(*) FROM um_rule" + w.sql());
    if (!st) return io_failure(db_, "counting rules", desc);
    st.bind_all(w.values());
    if (st.step() != SQLITE_ROW) return io_failure(db_, "counting rules", desc);
    n = st.u32(0);
    return success(desc);
}

std::vector<mapping_rule> user_mapping_store::rules_in_order(uint32_t tenant, uint32_t type) {
    std::vector<mapping_rule> out;
    sim_read lock(db_);
    sim_stmt_ref st = db_.cached(fmt::format(
        "SELECT {} FROM um_rule WHERE tenant_id = ? AND mapping_type = ? ORDER BY priority, rule_id", kColumns));
    if (!st) return out;
    st->bind(1, tenant).bind(2, type);
    while (st->step() == SQLITE_ROW) out.push_back(rule_of(*st));
    return out;
}

void user_mapping_store::cache_put(const cached_mapping& m) {
    sim_txn tx(db_);
    sim_stmt st = db_.prepare(
        "INSERT OR REPLACE INTO um_cache(tenant_id, sid, win_name, uid, unix_name, rule_id) VALUES(?, ?, ?, ?, ?, ?)");
    if (!tx.ok() || !st) return;
    if (st.bind(1, m.tenant).bind(2, m.sid).bind(3, m.win_name).bind(4, m.uid).bind(5, m.unix_name).bind(6, m.rule_id)
            .run() == SQLITE_DONE)
        tx.commit();
}

int32_t user_mapping_store::cache_clear(uint32_t tenant, uint32_t selector, uint64_t rule_id, uint64_t uid,
                                        const std::string& sid, uint32_t& dropped) {
    sql_where w;
    w.add("tenant_id = ?", tenant);
    switch (selector) {
        case 0: break;
        case 1: w.add("rule_id = ?", rule_id); break;
        case 2: w.add("uid = ?", uid); break;
        case 3: w.add("sid = ?", sid); break;
        default: return SIM_ERR_INVALID;
    }
    sim_txn tx(db_);
    sim_stmt st = db_.prepare("DELETE FROM um_cache" + w.sql());
    if (!tx.ok() || !st) return SIM_ERR_IO;
    st.bind_all(w.values());
    if (st.run() != SQLITE_DONE) return SIM_ERR_IO;
    dropped = static_cast<uint32_t>(db_.changes());
    return tx.commit();
}

std::optional<cached_mapping> user_mapping_store::cache_by_sid(uint32_t tenant, const std::string& sid) {
    return cache_row(db_, "sid = ?", sid, tenant);
}

std::optional<cached_mapping> user_mapping_store::cache_by_uid(uint32_t tenant, uint64_t uid) {
    return cache_row(db_, "uid = ?", static_cast<int64_t>(uid), tenant);
}

}  // namespace tvn::sim
