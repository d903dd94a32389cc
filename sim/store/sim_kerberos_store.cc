#include "sim_kerberos_store.h"

#include <fstream>
#include <sstream>

#include "sim_result.h"
#include "sim_sql.h"
#include "tvn_sysroot.h"

namespace tvn::sim {

namespace {

constexpr const char* kSchema = R"sql(
CREATE TABLE IF NOT EXISTS krb_realm(
  realm_id INTEGER PRIMARY KEY AUTOINCREMENT,
  tenant_id INTEGER NOT NULL,
  name TEXT NOT NULL COLLATE NOCASE,
  kdc_ip TEXT NOT NULL,
  port INTEGER NOT NULL,
  vendor INTEGER NOT NULL,
  ad_server TEXT NOT NULL DEFAULT '',
  ad_ip TEXT NOT NULL DEFAULT '',
  UNIQUE(tenant_id, name));
CREATE TABLE IF NOT EXISTS krb_service(
  service_id INTEGER PRIMARY KEY AUTOINCREMENT,
  tenant_id INTEGER NOT NULL,
  lif_name TEXT NOT NULL,
  lif_id INTEGER NOT NULL,
  spn TEXT NOT NULL,
  realm_name TEXT NOT NULL,
  account TEXT NOT NULL,
  UNIQUE(tenant_id, lif_name));
CREATE TABLE IF NOT EXISTS krb_keytab(
  keytab_id INTEGER PRIMARY KEY AUTOINCREMENT,
  tenant_id INTEGER NOT NULL,
  lif_name TEXT NOT NULL,
  spn TEXT NOT NULL,
  path TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS krb_keytab_principal(
  keytab_id INTEGER NOT NULL,
  principal TEXT NOT NULL,
  kvno INTEGER NOT NULL,
  enctype INTEGER NOT NULL);
)sql";

// Big-endian reads of a keytab, bounded by the buffer.
class reader {
public:
    explicit reader(std::string_view b) : b_(b) {}
    bool u8(uint32_t& v) { return n(1, v); }
    bool u16(uint32_t& v) { return n(2, v); }
    bool u32(uint32_t& v) { return n(4, v); }
    bool octets(std::string& out) {
        uint32_t len = 0;
        if (!u16(len) || b_.size() - pos_ < len) return false;
        out.assign(b_.substr(pos_, len));
        pos_ += len;
        return true;
    }
    size_t pos() const { return pos_; }
    size_t left() const { return b_.size() - pos_; }
    void skip(size_t k) { pos_ += k; }

private:
    bool n(size_t k, uint32_t& v) {
        if (left() < k) return false;
        v = 0;
        for (size_t i = 0; i < k; ++i) v = (v << 8) | static_cast<unsigned char>(b_[pos_ + i]);
        pos_ += k;
        return true;
    }
    std::string_view b_;
    size_t pos_ = 0;
};

// The realm of an SPN ("nfs/host@REALM"), or "" when it names none.
std::string spn_realm(const std::string& spn) {
    auto at = spn.rfind('@');
    return at == std::string::npos ? std::string() : spn.substr(at + 1);
}

// A principal names the SPN in full, without its realm, or by its host
// ("nfs/host@REALM" holds "host").
bool same_principal(const std::string& principal, const std::string& spn) {
    const std::string bare = principal.substr(0, principal.rfind('@'));
    const auto slash = bare.find('/');
    return principal == spn || bare == spn || (slash != std::string::npos && bare.substr(slash + 1) == spn);
}

}  // namespace

std::optional<std::vector<keytab_entry>> parse_keytab(const std::string& bytes) {
    reader r(bytes);
    uint32_t version = 0;
    if (!r.u16(version) || version != 0x0502) return std::nullopt;
    std::vector<keytab_entry> out;
    while (r.left() > 0) {
        uint32_t raw = 0;
        if (!r.u32(raw)) return std::nullopt;
        const int32_t size = static_cast<int32_t>(raw);
        if (size == 0) break;
        if (size < 0) {  // a hole left by a removed entry
            if (r.left() < static_cast<size_t>(-static_cast<int64_t>(size))) return std::nullopt;
            r.skip(static_cast<size_t>(-static_cast<int64_t>(size)));
            continue;
        }
        if (r.left() < static_cast<size_t>(size)) return std::nullopt;
        reader e(std::string_view(bytes).substr(r.pos(), static_cast<size_t>(size)));
        r.skip(static_cast<size_t>(size));
        uint32_t ncomp = 0, name_type = 0, stamp = 0, vno8 = 0, keytype = 0;
        std::string realm, comp, key;
        if (!e.u16(ncomp) || ncomp == 0 || !e.octets(realm)) return std::nullopt;
        keytab_entry k;
        for (uint32_t i = 0; i < ncomp; ++i) {
            if (!e.octets(comp)) return std::nullopt;
            k.principal += (i == 0 ? "" : "/") + comp;
        }
        k.principal += "@" + realm;
        if (!e.u32(name_type) || !e.u32(stamp) || !e.u8(vno8) || !e.u16(keytype) || !e.octets(key)) return std::nullopt;
        k.kvno = vno8;
        k.enctype = static_cast<uint16_t>(keytype);
        uint32_t vno32 = 0;
        if (e.left() >= 4 && e.u32(vno32) && vno32 != 0) k.kvno = vno32;
        out.push_back(std::move(k));
    }
    if (out.empty()) return std::nullopt;
    return out;
}

int32_t kerberos_store::init(std::string& err) {
    std::lock_guard<std::mutex> lock(db_.mutex());
    if (db_.exec(kSchema) != SQLITE_OK) {
        err = "cannot create the Kerberos tables: " + db_.errmsg();
        return SIM_ERR_IO;
    }
    return SIM_OK;
}

// ---- realms ------------------------------------------------------------------------

int32_t kerberos_store::add_realm(const mul_kerberos_realm_config& realm, std::string& desc) {
    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    sim_stmt st = db_.prepare(
        "INSERT OR IGNORE INTO krb_realm(tenant_id, name, kdc_ip, port, vendor, ad_server, ad_ip) "
        "VALUES(?, ?, ?, ?, ?, ?, ?)");
    if (!st) return io_failure(db_, desc);
    st.bind(1, realm.tenant_id()).bind(2, realm.name()).bind(3, realm.kdcip()).bind(4, realm.port());
    st.bind(5, static_cast<int64_t>(realm.vendor())).bind(6, realm.adservername()).bind(7, realm.adip());
    if (st.run() != SQLITE_DONE) return io_failure(db_, "adding a realm", desc);
    if (db_.changes() == 0) {
        desc = "realm " + realm.name() + " exists";
        return SIM_ERR_EXIST;
    }
    if (txn.commit() != SIM_OK) return io_failure(db_, desc);
    return success(desc);
}

int32_t kerberos_store::modify_realm(const KerberosModifyRealmConfigReq& req, std::string& desc) {
    std::string sets;
    std::vector<sql_value> values;
    auto set = [&](const char* col, sql_value v) {
        sets += std::string(sets.empty() ? "" : ", ") + col + " = ?";
        values.push_back(std::move(v));
    };
    if (req.has_kdcip()) set("kdc_ip", req.kdcip());
    if (req.has_port()) set("port", static_cast<int64_t>(req.port()));
    if (req.has_vendor()) set("vendor", static_cast<int64_t>(req.vendor()));
    if (req.has_adservername()) set("ad_server", req.adservername());
    if (req.has_adip()) set("ad_ip", req.adip());
    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    sim_stmt st = db_.prepare(sets.empty() ? "SELECT 1 FROM krb_realm WHERE tenant_id = ? AND name = ?"
                                           : "UPDATE krb_realm SET " + sets + " WHERE tenant_id = ? AND name = ?");
    if (!st) return io_failure(db_, desc);
    values.emplace_back(static_cast<int64_t>(req.tenant_id()));
    values.emplace_back(req.name());
    st.bind_all(values);
    int step = st.step();
    bool found = sets.empty() ? step == SQLITE_ROW : (step == SQLITE_DONE && db_.changes() > 0);
    if (step != SQLITE_ROW && step != SQLITE_DONE) return io_failure(db_, "changing a realm", desc);
    if (!found) {
        desc = "no realm " + req.name();
        return SIM_ERR_NOT_FOUND;
    }
    if (txn.commit() != SIM_OK) return io_failure(db_, desc);
    return success(desc);
}

int32_t kerberos_store::del_realm(uint32_t tenant_id, const std::string& name, std::string& desc) {
    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    sim_stmt use = db_.prepare("SELECT 1 FROM krb_service WHERE tenant_id = ? AND realm_name = ? COLLATE NOCASE");
    if (!use) return io_failure(db_, desc);
    use.bind(1, tenant_id).bind(2, name);
    if (use.step() == SQLITE_ROW) {
        desc = "realm " + name + " is used by a Kerberos service";
        return SIM_ERR_BUSY;
    }
    sim_stmt st = db_.prepare("DELETE FROM krb_realm WHERE tenant_id = ? AND name = ?");
    if (!st) return io_failure(db_, desc);
    st.bind(1, tenant_id).bind(2, name);
    if (st.run() != SQLITE_DONE) return io_failure(db_, "deleting a realm", desc);
    if (db_.changes() == 0) {
        desc = "no realm " + name;
        return SIM_ERR_NOT_FOUND;
    }
    if (txn.commit() != SIM_OK) return io_failure(db_, desc);
    return success(desc);
}

int32_t kerberos_store::list_realms(const KerberosListRealmConfigReq& req, KerberosListRealmConfigRsp* rsp) {
    if (req.offset() < 0 || req.limit() < 0) return SIM_ERR_INVALID;
    sql_where where;
    where.add("tenant_id = ?", req.tenant_id());
    if (req.has_name() && !req.name().empty()) where.add("name = ?", req.name());
    sim_read r(db_);
    sim_stmt st =
        db_.prepare("SELECT realm_id, tenant_id, name, kdc_ip, port, vendor, ad_server, ad_ip FROM krb_realm" +
                    where.sql() + " ORDER BY realm_id LIMIT ? OFFSET ?");
    if (!st) return SIM_ERR_IO;
    where.push(req.limit());
    where.push(req.offset());
    st.bind_all(where.values());
    while (st.step() == SQLITE_ROW) {
        auto* realm = rsp->add_realmconfig();
        realm->set_realm_id(std::to_string(st.i64(0)));
        realm->set_tenant_id(st.u32(1));
        realm->set_name(st.text(2));
        realm->set_kdcip(st.text(3));
        realm->set_port(st.u32(4));
        realm->set_vendor(static_cast<KerberosKdcVendor>(st.u32(5) == 2 ? 2 : 1));
        realm->set_adservername(st.text(6));
        realm->set_adip(st.text(7));
    }
    return SIM_OK;
}

uint32_t kerberos_store::realm_count(uint32_t tenant_id) {
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT COUNT(*) FROM krb_realm WHERE tenant_id = ?");
    if (!st) return 0;
    st.bind(1, tenant_id);
    return st.step() == SQLITE_ROW ? st.u32(0) : 0;
}

// ---- services ----------------------------------------------------------------------

int32_t kerberos_store::check_account(const std::string& name, const std::string& password, std::string& desc) {
    auto acc = dir_.account_by_name(name, account_scope::domain, false);
    if (!acc || acc->password != password) {
        desc = "unknown account or wrong password";
        return SIM_JOIN_BAD_CREDENTIALS;
    }
    if (!acc->can_join) {
        desc = "the account may not register service principals";
        return SIM_JOIN_NO_RIGHT;
    }
    return SIM_OK;
}

int32_t kerberos_store::enable_service(const KerberosChangeServiceConfigReq& req, std::string& desc) {
    const auto& svc = req.service_info();
    const uint32_t tenant = svc.tenant_id();
    auto found = lifs(tenant, "", "");
    const lif_name_rec* lif = nullptr;
    for (const auto& l : found)
        if (l.name == svc.lif_name()) lif = &l;
    if (lif == nullptr) {
        desc = "no LIF " + svc.lif_name() + " in the tenant";
        return SIM_ERR_NOT_FOUND;
    }
    if (svc.spn().empty()) {
        desc = "no SPN";
        return SIM_ERR_INVALID;
    }
    if (int32_t rc = check_account(req.name(), req.passwd(), desc); rc != SIM_OK) return rc;
    std::string realm = spn_realm(svc.spn());
    if (realm.empty()) realm = svc.realm_name();

    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    if (!realm.empty()) {
        sim_stmt known = db_.prepare("SELECT name FROM krb_realm WHERE tenant_id = ? AND name = ?");
        if (!known) return io_failure(db_, desc);
        known.bind(1, tenant).bind(2, realm);
        if (known.step() != SQLITE_ROW) {
            desc = "no realm " + realm;
            return SIM_ERR_NOT_FOUND;
        }
        realm = known.text(0);
    }
    // The KDC keeps one account per SPN: another LIF's use of it is taken
    // over only when the operator says so.
    sim_stmt same = db_.prepare("SELECT lif_name FROM krb_service WHERE tenant_id = ? AND spn = ? AND lif_name <> ?");
    if (!same) return io_failure(db_, desc);
    same.bind(1, tenant).bind(2, svc.spn()).bind(3, svc.lif_name());
    if (same.step() == SQLITE_ROW) {
        if (!svc.overwrite_same_account()) {
            desc = "SPN " + svc.spn() + " is registered for " + same.text(0);
            return SIM_ERR_EXIST;
        }
        sim_stmt drop = db_.prepare("DELETE FROM krb_service WHERE tenant_id = ? AND spn = ?");
        if (!drop || drop.bind(1, tenant).bind(2, svc.spn()).run() != SQLITE_DONE) return io_failure(db_, desc);
    }
    sim_stmt st = db_.prepare(
        "INSERT INTO krb_service(tenant_id, lif_name, lif_id, spn, realm_name, account) VALUES(?, ?, ?, ?, ?, ?) "
        "ON CONFLICT(tenant_id, lif_name) DO UPDATE SET spn = excluded.spn, realm_name = excluded.realm_name, "
        "account = excluded.account");
    if (!st) return io_failure(db_, desc);
    st.bind(1, tenant).bind(2, svc.lif_name()).bind(3, lif->id).bind(4, svc.spn()).bind(5, realm).bind(6, req.name());
    if (st.run() != SQLITE_DONE) return io_failure(db_, "enabling a service", desc);
    if (txn.commit() != SIM_OK) return io_failure(db_, desc);
    return success(desc);
}

int32_t kerberos_store::disable_service(const KerberosChangeServiceConfigReq& req, std::string& desc) {
    // Credentials, when given, must be right; without them the entry goes
    // from the node only.
    if (!req.name().empty())
        if (int32_t rc = check_account(req.name(), req.passwd(), desc); rc != SIM_OK) return rc;
    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    sim_stmt st = db_.prepare("DELETE FROM krb_service WHERE tenant_id = ? AND lif_name = ?");
    if (!st) return io_failure(db_, desc);
    st.bind(1, req.service_info().tenant_id()).bind(2, req.service_info().lif_name());
    if (st.run() != SQLITE_DONE) return io_failure(db_, "disabling a service", desc);
    if (db_.changes() == 0) {
        desc = "Kerberos is not enabled on " + req.service_info().lif_name();
        return SIM_ERR_NOT_FOUND;
    }
    if (txn.commit() != SIM_OK) return io_failure(db_, desc);
    return success(desc);
}

std::vector<mul_kerberos_service_config> kerberos_store::services(uint32_t tenant_id, const std::string& lif,
                                                                  const std::string& spn, const std::string& realm,
                                                                  uint32_t offset, uint32_t limit) {
    std::vector<mul_kerberos_service_config> out;
    sql_where where;
    where.add("tenant_id = ?", tenant_id);
    if (!lif.empty()) where.add("lif_name = ?", lif);
    if (!spn.empty()) where.add("spn = ?", spn);
    if (!realm.empty()) where.add("realm_name = ? COLLATE NOCASE", realm);
    where.push(static_cast<int64_t>(limit == 0 ? UINT32_MAX : limit));
    where.push(static_cast<int64_t>(offset));
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT service_id, lif_name, lif_id, spn, tenant_id, realm_name FROM krb_service" +
                              where.sql() + " ORDER BY service_id LIMIT ? OFFSET ?");
    if (!st) return out;
    st.bind_all(where.values());
    while (st.step() == SQLITE_ROW) {
        mul_kerberos_service_config s;
        s.set_service_id(std::to_string(st.i64(0)));
        s.set_lif_name(st.text(1));
        s.set_lif_id(st.u64(2));
        s.set_spn(st.text(3));
        s.set_tenant_id(st.u32(4));
        s.set_realm_name(st.text(5));
        out.push_back(std::move(s));
    }
    return out;
}

uint32_t kerberos_store::service_count(uint32_t tenant_id, const std::string& realm) {
    return static_cast<uint32_t>(services(tenant_id, "", "", realm, 0, 0).size());
}

// ---- keytabs -----------------------------------------------------------------------

int32_t kerberos_store::import_keytab(const KerberosImportKeytabReq& req, std::string& desc) {
    const auto& svc = req.service_info();
    if (req.keytab_path().empty() || req.keytab_path().front() != '/' ||
        req.keytab_path().find("/../") != std::string::npos) {
        desc = "the keytab path must be absolute";
        return SIM_ERR_INVALID;
    }
    std::ifstream in(tvn::sysroot_path(req.keytab_path()), std::ios::binary);
    if (!in) {
        desc = "cannot read " + req.keytab_path();
        return SIM_ERR_NOT_FOUND;
    }
    std::ostringstream bytes;
    bytes << in.rdbuf();
    auto entries = parse_keytab(bytes.str());
    if (!entries) {
        desc = req.keytab_path() + " is not a keytab file";
        return SIM_ERR_INVALID;
    }
    bool holds = false;
    for (const auto& e : *entries) holds = holds || same_principal(e.principal, svc.spn());
    if (!holds) {
        desc = "the keytab holds no key of " + svc.spn();
        return SIM_ERR_NOT_FOUND;
    }
    sim_txn txn(db_);
    if (!txn.ok()) return io_failure(db_, desc);
    sim_stmt old = db_.prepare(
        "DELETE FROM krb_keytab_principal WHERE keytab_id IN (SELECT keytab_id FROM krb_keytab WHERE tenant_id = ?1 "
        "AND spn = ?2)");
    if (!old || old.bind(1, svc.tenant_id()).bind(2, svc.spn()).run() != SQLITE_DONE) return io_failure(db_, desc);
    sim_stmt drop = db_.prepare("DELETE FROM krb_keytab WHERE tenant_id = ? AND spn = ?");
    if (!drop || drop.bind(1, svc.tenant_id()).bind(2, svc.spn()).run() != SQLITE_DONE) return io_failure(db_, desc);
    sim_stmt add = db_.prepare("INSERT INTO krb_keytab(tenant_id, lif_name, spn, path) VALUES(?, ?, ?, ?)");
    if (!add ||
        add.bind(1, svc.tenant_id()).bind(2, svc.lif_name()).bind(3, svc.spn()).bind(4, req.keytab_path()).run() !=
            SQLITE_DONE)
        return io_failure(db_, "importing a keytab", desc);
    const int64_t id = db_.last_insert_rowid();
    sim_stmt p =
        db_.prepare("INSERT INTO krb_keytab_principal(keytab_id, principal, kvno, enctype) VALUES(?, ?, ?, ?)");
    if (!p || !run_each(p, *entries, [&](sim_stmt& s, const keytab_entry& e) -> sim_stmt& {
            return s.bind(1, id).bind(2, e.principal).bind(3, e.kvno).bind(4, e.enctype);
        }))
        return io_failure(db_, "importing a keytab", desc);
    if (txn.commit() != SIM_OK) return io_failure(db_, desc);
    return success(desc);
}

std::vector<keytab_entry> kerberos_store::keytab_principals(uint32_t tenant_id, const std::string& spn) {
    std::vector<keytab_entry> out;
    sim_read r(db_);
    sim_stmt st = db_.prepare(
        "SELECT p.principal, p.kvno, p.enctype FROM krb_keytab_principal p JOIN krb_keytab k USING(keytab_id) "
        "WHERE k.tenant_id = ? AND k.spn = ? ORDER BY p.rowid");
    if (!st) return out;
    st.bind(1, tenant_id).bind(2, spn);
    while (st.step() == SQLITE_ROW) out.push_back({st.text(0), st.u32(1), static_cast<uint16_t>(st.u32(2))});
    return out;
}

// ---- LIFs --------------------------------------------------------------------------

std::vector<lif_name_rec> kerberos_store::lifs(uint32_t tenant_id, const std::string& filter, const std::string& ip) {
    std::vector<lif_name_rec> out;
    for (const auto& l : inv_.lifs(tenant_id, std::nullopt)) {
        lif_name_rec rec{"lif" + std::to_string(l.port_id), l.port_id, l.ip};
        if (!filter.empty() && rec.name.find(filter) == std::string::npos) continue;
        if (!ip.empty() && rec.ip != ip) continue;
        out.push_back(std::move(rec));
    }
    return out;
}

}  // namespace tvn::sim
