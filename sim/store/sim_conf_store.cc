#include "sim_conf_store.h"

#include <fmt/format.h>

#include "sim_result.h"
#include "sim_sql.h"

namespace tvn::sim {

bool like_match(std::string_view pattern, std::string_view text) {
    // Iterative wildcard match with one backtrack point for the last '%'.
    size_t p = 0, t = 0, star = std::string_view::npos, mark = 0;
    while (t < text.size()) {
        if (p < pattern.size() && (pattern[p] == '_' || pattern[p] == text[t])) {
            ++p;
            ++t;
        } else if (p < pattern.size() && pattern[p] == '%') {
            star = p++;
            mark = t;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            t = ++mark;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '%') ++p;
    return p == pattern.size();
}

namespace {

std::string in_list(size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s += i == 0 ? "?" : ",?";
    return s;
}

// Writes a call's code and text into its reply's status record.
int32_t report(tvn_conf_common_rsp* status, int32_t rc, const std::string& desc) {
    status->set_result(rc);
    status->set_desc(desc);
    return rc;
}

// Writes every pair of a request with `sql` in one transaction, `bind`
// binding one pair; a pair without a key refuses the whole request.
template <class Pairs, class Bind>
int32_t write_pairs(sim_db& db, const char* sql, const Pairs& pairs, std::string& desc, Bind bind) {
    for (const auto& p : pairs)
        if (p.key().empty()) {
            desc = "empty key";
            return SIM_ERR_INVALID;
        }
    sim_txn tx(db);
    sim_stmt st = db.prepare(sql);
    if (!tx.ok() || !st || !run_each(st, pairs, bind) || tx.commit() != SIM_OK)
        return io_failure(db, desc);
    return success(desc);
}

}  // namespace

int32_t conf_store::get_global(const std::vector<std::string>& keys, tvn_getglobal_cfg_rsp* rsp) {
    sql_where w;
    if (!keys.empty()) {
        w.add("key IN (" + in_list(keys.size()) + ")");
        for (const auto& k : keys) w.push(k);
    }
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT key, value FROM global_config" + w.sql() + " ORDER BY key");
    auto* status = rsp->mutable_status();
    if (!st) return report(status, SIM_ERR_IO, db_.errmsg());
    st.bind_all(w.values());
    while (st.step() == SQLITE_ROW) {
        auto* p = rsp->add_config();
        p->set_key(st.text(0));
        p->set_value(st.text(1));
    }
    return report(status, SIM_OK, "success");
}

int32_t conf_store::set_global(const tvn_setglobal_cfg_req& req, std::string& desc) {
    return write_pairs(db_,
                       "INSERT INTO global_config(key, value) VALUES(?, ?) "
                       "ON CONFLICT(key) DO UPDATE SET value = excluded.value",
                       req.config(), desc, [](sim_stmt& st, const auto& p) -> sim_stmt& {
                           return st.bind(1, p.key()).bind(2, p.value());
                       });
}

int32_t conf_store::get_tenant(uint32_t tenant_id, const std::vector<std::string>& keys,
                               const std::string& family, tvn_gettenant_cfg_rsp* rsp) {
    sql_where w;
    w.add("tenant_id = ?", tenant_id);
    if (!keys.empty()) {
        w.add("key IN (" + in_list(keys.size()) + ")");
        for (const auto& k : keys) w.push(k);
    } else if (!family.empty()) {
        w.add("family = ?", family);
    }
    sim_read r(db_);
    sim_stmt st =
        db_.prepare("SELECT tenant_id, key, value FROM tenant_config" + w.sql() + " ORDER BY key");
    auto* status = rsp->mutable_status();
    if (!st) return report(status, SIM_ERR_IO, db_.errmsg());
    st.bind_all(w.values());
    // Pairs come back in the order the keys were asked for.
    std::vector<vstore_config_pair> found;
    while (st.step() == SQLITE_ROW) {
        vstore_config_pair p;
        p.set_tenant_id(st.u32(0));
        p.set_key(st.text(1));
        p.set_value(st.text(2));
        found.push_back(std::move(p));
    }
    if (keys.empty()) {
        for (auto& p : found) *rsp->add_config() = std::move(p);
    } else {
        for (const auto& k : keys)
            for (auto& p : found)
                if (p.key() == k && !p.key().empty()) {
                    *rsp->add_config() = p;
                    break;
                }
    }
    return report(status, SIM_OK, "success");
}

int32_t conf_store::set_tenant(const tvn_settenant_cfg_req& req, const std::string& family,
                               std::string& desc) {
    return write_pairs(
        db_,
        "INSERT INTO tenant_config(tenant_id, key, value, family) VALUES(?, ?, ?, ?) "
        "ON CONFLICT(tenant_id, key) DO UPDATE SET value = excluded.value, family = "
        "excluded.family",
        req.config(), desc, [&family](sim_stmt& st, const auto& p) -> sim_stmt& {
            return st.bind(1, p.tenant_id()).bind(2, p.key()).bind(3, p.value()).bind(4, family);
        });
}

int32_t conf_store::del_tenant_keys(uint32_t tenant_id, const tvn_settenant_cfg_req& req,
                                    const std::string& family, std::string& desc) {
    sim_txn tx(db_);
    if (!tx.ok()) return io_failure(db_, desc);
    if (req.config_size() == 0) {
        sim_stmt st = db_.prepare("DELETE FROM tenant_config WHERE tenant_id = ? AND family = ?");
        if (!st || st.bind(1, tenant_id).bind(2, family).run() != SQLITE_DONE)
            return io_failure(db_, desc);
    } else {
        sim_stmt st = db_.prepare("DELETE FROM tenant_config WHERE tenant_id = ? AND key = ?");
        if (!st || !run_each(st, req.config(), [](sim_stmt& s, const auto& p) -> sim_stmt& {
                return s.bind(1, p.tenant_id()).bind(2, p.key());
            }))
            return io_failure(db_, desc);
    }
    if (tx.commit() != SIM_OK) return io_failure(db_, desc);
    return success(desc);
}

int32_t conf_store::del_tenant_like(uint32_t tenant_id, const std::string& pattern, int& deleted,
                                    std::string& desc) {
    if (pattern.empty()) {
        desc = "empty key";
        return SIM_ERR_INVALID;
    }
    sim_txn tx(db_);
    sim_stmt sel = db_.prepare("SELECT key FROM tenant_config WHERE tenant_id = ?");
    sim_stmt del = db_.prepare("DELETE FROM tenant_config WHERE tenant_id = ? AND key = ?");
    if (!tx.ok() || !sel || !del) return io_failure(db_, desc);
    std::vector<std::string> victims;
    sel.bind(1, tenant_id);
    while (sel.step() == SQLITE_ROW) {
        std::string k = sel.text(0);
        if (like_match(pattern, k)) victims.push_back(std::move(k));
    }
    if (!run_each(del, victims,
                  [tenant_id](sim_stmt& st, const std::string& k) -> sim_stmt& {
                      return st.bind(1, tenant_id).bind(2, k);
                  }) ||
        tx.commit() != SIM_OK)
        return io_failure(db_, desc);
    deleted = static_cast<int>(victims.size());
    desc = fmt::format("{} key(s) deleted", deleted);
    return SIM_OK;
}

std::string conf_store::tenant_value(uint32_t tenant_id, const std::string& key) {
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT value FROM tenant_config WHERE tenant_id = ? AND key = ?");
    if (!st || st.bind(1, tenant_id).bind(2, key).step() != SQLITE_ROW) return {};
    return st.text(0);
}

bool conf_store::tenant_exists(uint32_t tenant_id) {
    if (tenant_id == 0) return true;  // the system tenant always exists
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT 1 FROM tenant WHERE tenant_id = ?");
    return st && st.bind(1, tenant_id).step() == SQLITE_ROW;
}

int32_t conf_store::list_tenants(tvn_tenant_list_rsp* rsp) {
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT tenant_id, status FROM tenant ORDER BY tenant_id");
    if (!st) {
        rsp->set_result(SIM_ERR_IO);
        return SIM_ERR_IO;
    }
    while (st.step() == SQLITE_ROW) {
        auto* t = rsp->add_tenant_info();
        t->set_tenant_id(st.u32(0));
        t->set_status(st.text(1));
    }
    rsp->set_enable_tenant_size(static_cast<uint32_t>(rsp->tenant_info_size()));
    rsp->set_result(SIM_OK);
    return SIM_OK;
}

int32_t conf_store::add_tenant(const tvn_tenant_cfg_mgr_req& req, std::string& desc) {
    sim_txn tx(db_);
    sim_stmt t = db_.prepare(
        "INSERT INTO tenant(tenant_id, name, status) VALUES(?, ?, 'normal') "
        "ON CONFLICT(tenant_id) DO NOTHING");
    sim_stmt p = db_.prepare(
        "INSERT INTO tenant_config(tenant_id, key, value) VALUES(?, ?, ?) "
        "ON CONFLICT(tenant_id, key) DO UPDATE SET value = excluded.value");
    if (!tx.ok() || !t || !p ||
        t.bind(1, req.tenant_id()).bind(2, fmt::format("vstore{}", req.tenant_id())).run() !=
            SQLITE_DONE)
        return io_failure(db_, desc);
    for (const auto& pair : req.config()) {
        if (pair.key().empty()) continue;
        p.reset();
        if (p.bind(1, req.tenant_id()).bind(2, pair.key()).bind(3, pair.value()).run() !=
            SQLITE_DONE)
            return io_failure(db_, desc);
    }
    if (tx.commit() != SIM_OK) return io_failure(db_, desc);
    return success(desc);
}

int32_t conf_store::del_tenant(const tvn_tenant_cfg_mgr_req& req, std::string& desc) {
    sim_txn tx(db_);
    if (!tx.ok()) return io_failure(db_, desc);
    auto run = [&](const char* sql, const std::string* key) {
        sim_stmt st = db_.prepare(sql);
        if (!st) return false;
        st.bind(1, req.tenant_id());
        if (key != nullptr) st.bind(2, *key);
        return st.run() == SQLITE_DONE;
    };
    bool ok = true;
    if (req.config_size() > 0) {
        for (const auto& pair : req.config())
            ok = ok && run("DELETE FROM tenant_config WHERE tenant_id = ? AND key = ?", &pair.key());
    } else {
        ok = run("DELETE FROM tenant_config WHERE tenant_id = ?", nullptr) &&
             (req.tenant_id() == 0 || run("DELETE FROM tenant WHERE tenant_id = ?", nullptr));
    }
    if (!ok || tx.commit() != SIM_OK) return io_failure(db_, desc);
    return success(desc);
}

}  // namespace tvn::sim
