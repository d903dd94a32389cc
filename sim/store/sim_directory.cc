#include "sim_directory.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>

#include "sim_nfs_options.h"
#include "sim_result.h"
#include "tvn_text_crypt.h"

namespace tvn::sim {

namespace {
constexpr std::string_view kEncryptedTag = "enc:";
constexpr std::string_view kHexTag = "hex:";

std::string from_hex(std::string_view stored) {
    auto nibble = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        return -1;
    };
    if (stored.size() % 2 != 0) return std::string(stored);
    std::string out;
    for (size_t i = kHexTag.size(); i + 1 < stored.size(); i += 2) {
        int hi = nibble(stored[i]), lo = nibble(stored[i + 1]);
        if (hi < 0 || lo < 0) return std::string(stored);
        out += static_cast<char>(hi << 4 | lo);
    }
    return out;
}
}  // namespace

int32_t encode_directory_secret(std::string_view plain, std::string& stored) {
    stored.clear();
    if (plain.empty()) return SIM_OK;
    std::string hex;
    if (int32_t rc = tvn::tvn_encrypt_text(plain, hex); rc != 0) return rc;
    stored.assign(kEncryptedTag).append(hex);
    return SIM_OK;
}

std::string decode_directory_secret(std::string_view stored) {
    if (stored.starts_with(kHexTag)) return from_hex(stored);
    if (!stored.starts_with(kEncryptedTag)) return std::string(stored);
    tvn::SecString plain;
    if (tvn::tvn_decrypt_text(stored.substr(kEncryptedTag.size()), plain) != 0) return std::string(stored);
    return std::string(plain.view());
}

namespace {

constexpr const char* kAccountCols =
    "a.account_id, a.indom, a.name, a.is_group, a.rid, a.iid, a.primary_group, a.description, "
    "a.password, a.can_join, d.nbname, d.fqdn, d.sid";
constexpr const char* kAccountFrom = " FROM account a LEFT JOIN ad_domain d ON d.indom = a.indom";

account_rec read_account(const sim_stmt& st) {
    account_rec a;
    a.account_id = st.i64(0);
    a.indom = st.u32(1);
    a.name = st.text(2);
    a.is_group = st.i64(3) != 0;
    a.rid = st.u32(4);
    a.iid = st.u64(5);
    a.primary_group = st.text(6);
    a.description = st.text(7);
    a.password = decode_directory_secret(st.text(8));
    a.can_join = st.i64(9) != 0;
    if (a.indom != 0) {
        a.domain.indom = a.indom;
        a.domain.nbname = st.text(10);
        a.domain.fqdn = st.text(11);
        a.domain.sid = st.text(12);
    }
    return a;
}

domain_rec read_domain(const sim_stmt& st) {
    return domain_rec{st.u32(0), st.text(1), st.text(2), st.text(3)};
}

std::string lower(std::string s) {
    for (auto& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

}  // namespace

std::string account_rec::sid() const {
    if (is_domain()) return fmt::format("{}-{}", domain.sid, rid);
    return fmt::format("S-1-22-{}-{}", is_group ? 2 : 1, iid);
}

std::string account_rec::full_name() const {
    return is_domain() ? domain.nbname + "\\" + name : name;
}

// ---- domains --------------------------------------------------------------

std::optional<domain_rec> directory::domain_by_name(const std::string& name) {
    sim_read r(db_);
    sim_stmt st = db_.prepare(
        "SELECT indom, nbname, fqdn, sid FROM ad_domain WHERE nbname = ?1 OR fqdn = ?1");
    if (!st || st.bind(1, name).step() != SQLITE_ROW) return std::nullopt;
    return read_domain(st);
}

std::optional<domain_rec> directory::domain_by_sid(const std::string& sid) {
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT indom, nbname, fqdn, sid FROM ad_domain WHERE sid = ?");
    if (!st || st.bind(1, sid).step() != SQLITE_ROW) return std::nullopt;
    return read_domain(st);
}

std::optional<domain_rec> directory::domain_by_indom(uint32_t indom) {
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT indom, nbname, fqdn, sid FROM ad_domain WHERE indom = ?");
    if (!st || st.bind(1, indom).step() != SQLITE_ROW) return std::nullopt;
    return read_domain(st);
}

std::optional<domain_rec> directory::first_domain() {
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT indom, nbname, fqdn, sid FROM ad_domain ORDER BY indom LIMIT 1");
    if (!st || st.step() != SQLITE_ROW) return std::nullopt;
    return read_domain(st);
}

// ---- accounts -------------------------------------------------------------

std::optional<account_rec> directory::account_by_name(const std::string& name,
                                                      account_scope scope,
                                                      std::optional<bool> want_group) {
    std::string domain, bare = name;
    if (auto bs = name.find('\\'); bs != std::string::npos) {
        domain = name.substr(0, bs);
        bare = name.substr(bs + 1);
    } else if (auto at = name.rfind('@'); at != std::string::npos && at > 0) {
        domain = name.substr(at + 1);
        bare = name.substr(0, at);
    }
    if (bare.empty()) return std::nullopt;
    std::string sql = fmt::format("SELECT {}{} WHERE a.name = ?1", kAccountCols, kAccountFrom);
    std::optional<domain_rec> dom;
    if (!domain.empty()) {
        dom = domain_by_name(domain);
        if (!dom) return std::nullopt;
        if (scope == account_scope::local) return std::nullopt;
        sql += " AND a.indom = ?2";
    } else if (scope == account_scope::domain) {
        sql += " AND a.indom <> 0";
    } else if (scope == account_scope::local) {
        sql += " AND a.indom = 0";
    }
    if (want_group) sql += *want_group ? " AND a.is_group = 1" : " AND a.is_group = 0";
    // A bare name prefers a domain account over a local one, then users over
    // groups, then the lower domain number.
    sql += " ORDER BY a.indom = 0, a.is_group, a.indom LIMIT 1";
    sim_read r(db_);
    sim_stmt st = db_.prepare(sql);
    if (!st) return std::nullopt;
    st.bind(1, bare);
    if (dom) st.bind(2, dom->indom);
    if (st.step() != SQLITE_ROW) return std::nullopt;
    return read_account(st);
}

std::optional<account_rec> directory::account_by_sid(const std::string& sid) {
    // Unix-id SIDs name a local account by its number.
    for (bool group : {false, true}) {
        const std::string prefix = group ? "S-1-22-2-" : "S-1-22-1-";
        if (sid.compare(0, prefix.size(), prefix) != 0) continue;
        uint64_t id = 0;
        const char* b = sid.c_str() + prefix.size();
        const char* e = sid.c_str() + sid.size();
        auto [p, ec] = std::from_chars(b, e, id);
        if (ec != std::errc() || p != e || b == e) return std::nullopt;
        return account_by_id(id, group, account_scope::local);
    }
    auto dash = sid.rfind('-');
    if (dash == std::string::npos) return std::nullopt;
    auto dom = domain_by_sid(sid.substr(0, dash));
    if (!dom) return std::nullopt;
    char* end = nullptr;
    unsigned long rid = std::strtoul(sid.c_str() + dash + 1, &end, 10);
    if (end == nullptr || *end != '\0') return std::nullopt;
    sim_read r(db_);
    sim_stmt st = db_.prepare(
        fmt::format("SELECT {}{} WHERE a.indom = ? AND a.rid = ?", kAccountCols, kAccountFrom));
    if (!st || st.bind(1, dom->indom).bind(2, static_cast<int64_t>(rid)).step() != SQLITE_ROW)
        return std::nullopt;
    return read_account(st);
}

std::optional<account_rec> directory::account_by_id(uint64_t iid, bool is_group,
                                                    account_scope scope) {
    std::string sql = fmt::format("SELECT {}{} WHERE a.iid = ? AND a.is_group = ?", kAccountCols,
                                  kAccountFrom);
    if (scope == account_scope::domain) sql += " AND a.indom <> 0";
    if (scope == account_scope::local) sql += " AND a.indom = 0";
    sql += " ORDER BY a.indom = 0, a.indom LIMIT 1";
    sim_read r(db_);
    sim_stmt st = db_.prepare(sql);
    if (!st || st.bind(1, iid).bind(2, is_group ? 1 : 0).step() != SQLITE_ROW)
        return std::nullopt;
    return read_account(st);
}

std::vector<account_rec> directory::groups_of(const account_rec& account) {
    std::vector<account_rec> out;
    sim_read r(db_);
    sim_stmt st = db_.prepare(fmt::format(
        "SELECT {}{} JOIN account_member m ON m.group_id = a.account_id WHERE m.member_id = ? "
        "ORDER BY a.name",
        kAccountCols, kAccountFrom));
    if (!st) return out;
    st.bind(1, account.account_id);
    while (st.step() == SQLITE_ROW) out.push_back(read_account(st));
    return out;
}

std::optional<account_rec> directory::primary_group_of(const account_rec& account) {
    if (account.primary_group.empty()) return std::nullopt;
    sim_read r(db_);
    sim_stmt st = db_.prepare(fmt::format(
        "SELECT {}{} WHERE a.indom = ? AND a.name = ? AND a.is_group = 1", kAccountCols,
        kAccountFrom));
    if (!st || st.bind(1, account.indom).bind(2, account.primary_group).step() != SQLITE_ROW)
        return std::nullopt;
    return read_account(st);
}

// ---- domain controllers, hosts, netgroups -----------------------------------

std::vector<dc_rec> directory::controllers(uint32_t indom) {
    std::vector<dc_rec> out;
    sim_read r(db_);
    sim_stmt st = db_.prepare(
        "SELECT hostname, fqdn, site, priority, weight, writeable, primedc, closest, alived, ip "
        "FROM domain_controller WHERE indom = ? ORDER BY priority, dc_id");
    if (!st) return out;
    st.bind(1, indom);
    while (st.step() == SQLITE_ROW) {
        dc_rec d;
        d.hostname = st.text(0);
        d.fqdn = st.text(1);
        d.site = st.text(2);
        d.priority = st.u32(3);
        d.weight = st.u32(4);
        d.writeable = st.i64(5) != 0;
        d.primedc = st.i64(6) != 0;
        d.closest = st.i64(7) != 0;
        d.alived = st.i64(8) != 0;
        d.ip = st.text(9);
        out.push_back(std::move(d));
    }
    return out;
}

std::vector<std::string> directory::resolve(const std::string& name) {
    std::vector<std::string> out;
    if (name.empty()) return out;
    if (is_ip_address(name)) return {name};
    if (lower(name) == "localhost") return {"127.0.0.1"};
    sim_read r(db_);
    sim_stmt st = db_.prepare(
        "SELECT ip FROM host WHERE name = ?1 "
        "UNION SELECT ip FROM domain_controller WHERE hostname = ?1 OR fqdn = ?1 ORDER BY 1");
    if (!st) return out;
    st.bind(1, name);
    while (st.step() == SQLITE_ROW) out.push_back(st.text(0));
    return out;
}

std::vector<std::string> directory::reverse(const std::string& ip) {
    std::vector<std::string> out;
    if (ip == "127.0.0.1" || ip == "::1") out.emplace_back("localhost");
    sim_read r(db_);
    sim_stmt st = db_.prepare(
        "SELECT name FROM host WHERE ip = ?1 UNION SELECT fqdn FROM domain_controller WHERE ip = ?1 "
        "ORDER BY 1");
    if (!st) return out;
    st.bind(1, ip);
    while (st.step() == SQLITE_ROW) out.push_back(st.text(0));
    return out;
}

bool directory::reachable(const std::string& address) {
    if (address.empty()) return false;
    if (address == "127.0.0.1" || address == "::1" || lower(address) == "localhost") return true;
    if (!is_ip_address(address)) return !resolve(address).empty();
    sim_read r(db_);
    sim_stmt st = db_.prepare(
        "SELECT 1 FROM host WHERE ip = ?1 UNION SELECT 1 FROM domain_controller WHERE ip = ?1 AND "
        "alived <> 0");
    return st && st.bind(1, address).step() == SQLITE_ROW;
}

std::optional<std::vector<std::string>> directory::netgroup(const std::string& name) {
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT member FROM netgroup WHERE name = ? ORDER BY member");
    if (!st) return std::nullopt;
    st.bind(1, name);
    std::vector<std::string> out;
    while (st.step() == SQLITE_ROW) out.push_back(st.text(0));
    if (out.empty()) return std::nullopt;
    return out;
}

// ---- settings, events, connection views -------------------------------------

std::string directory::setting(uint32_t tenant_id, const std::string& key,
                               const std::string& fallback) {
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT value FROM auth_setting WHERE tenant_id = ? AND key = ?");
    if (!st || st.bind(1, tenant_id).bind(2, key).step() != SQLITE_ROW) return fallback;
    return st.text(0);
}

int32_t directory::set_setting(uint32_t tenant_id, const std::string& key,
                               const std::string& value) {
    sim_txn tx(db_);
    sim_stmt st = db_.prepare(
        "INSERT INTO auth_setting(tenant_id, key, value) VALUES(?, ?, ?) "
        "ON CONFLICT(tenant_id, key) DO UPDATE SET value = excluded.value");
    if (!tx.ok() || !st || st.bind(1, tenant_id).bind(2, key).bind(3, value).run() != SQLITE_DONE)
        return SIM_ERR_IO;
    return tx.commit();
}

int32_t directory::add_event(uint32_t tenant_id, uint32_t domain_type, const auth_event_rec& ev) {
    sim_txn tx(db_);
    sim_stmt st = db_.prepare(
        "INSERT INTO auth_event(tenant_id, domain_type, occur_time, user_name, error_code, "
        "error_msg) VALUES(?,?,?,?,?,?)");
    if (!tx.ok() || !st ||
        st.bind(1, tenant_id)
                .bind(2, domain_type)
                .bind(3, ev.occur_time)
                .bind(4, ev.user_name)
                .bind(5, ev.error_code)
                .bind(6, ev.error_msg)
                .run() != SQLITE_DONE)
        return SIM_ERR_IO;
    return tx.commit();
}

std::vector<auth_event_rec> directory::events(uint32_t tenant_id, uint32_t domain_type) {
    std::vector<auth_event_rec> out;
    sim_read r(db_);
    sim_stmt st = db_.prepare(
        "SELECT occur_time, user_name, error_code, error_msg FROM auth_event "
        "WHERE tenant_id = ? AND domain_type = ? ORDER BY event_id DESC LIMIT 100");
    if (!st) return out;
    st.bind(1, tenant_id).bind(2, domain_type);
    while (st.step() == SQLITE_ROW)
        out.push_back({st.text(0), st.text(1), st.i32(2), st.text(3)});
    return out;
}

int32_t directory::put_conn_view(const conn_view_rec& v, bool remove) {
    sim_txn tx(db_);
    sim_stmt st = db_.prepare(
        remove ? "DELETE FROM conn_view WHERE tenant_id = ? AND controller_id = ?"
               : "INSERT INTO conn_view(tenant_id, controller_id, dns_status, ad_status, "
                 "ldap_status, nis_status) VALUES(?,?,?,?,?,?) ON CONFLICT(tenant_id, "
                 "controller_id) DO UPDATE SET dns_status = excluded.dns_status, ad_status = "
                 "excluded.ad_status, ldap_status = excluded.ldap_status, nis_status = "
                 "excluded.nis_status");
    if (!tx.ok() || !st) return SIM_ERR_IO;
    st.bind(1, v.tenant_id).bind(2, v.controller_id);
    if (!remove)
        st.bind(3, v.dns_status).bind(4, v.ad_status).bind(5, v.ldap_status).bind(6, v.nis_status);
    if (st.run() != SQLITE_DONE) return SIM_ERR_IO;
    if (remove && db_.changes() == 0) return SIM_ERR_NOT_FOUND;
    return tx.commit();
}

std::vector<conn_view_rec> directory::conn_views(uint32_t tenant_id) {
    std::vector<conn_view_rec> out;
    sim_read r(db_);
    sim_stmt st = db_.prepare(
        "SELECT tenant_id, controller_id, dns_status, ad_status, ldap_status, nis_status "
        "FROM conn_view WHERE tenant_id = ? ORDER BY controller_id");
    if (!st) return out;
    st.bind(1, tenant_id);
    while (st.step() == SQLITE_ROW)
        out.push_back({st.u32(0), st.u32(1), st.u32(2), st.u32(3), st.u32(4), st.u32(5)});
    return out;
}

}  // namespace tvn::sim
