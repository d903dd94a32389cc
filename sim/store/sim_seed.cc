#include "sim_seed.h"

#include <fmt/format.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "sim_directory.h"

#include "sim_result.h"

namespace tvn::sim {

namespace {

using json = nlohmann::json;

// Addresses are from the documentation ranges (192.0.2.0/24): nothing on a
// real network answers to them, and the stand-ins never try.
const char* const kDefaultSeed = R"json({
  "product": {"vendor": "Example Storage", "model": "NAS-SIM 1000"},
  "controllers": [
    {"id": 0, "name": "CTE0.A"},
    {"id": 1, "name": "CTE0.B"}
  ],
  "tenants": [
    {"id": 0, "name": "System_vStore", "status": "normal"},
    {"id": 1, "name": "vstore1", "status": "normal"}
  ],
  "file_systems": [
    {"id": 1, "name": "fs1", "tenant": 0, "controller": 0},
    {"id": 2, "name": "fs2", "tenant": 0, "controller": 1},
    {"id": 3, "name": "fs3", "tenant": 0, "controller": 0},
    {"id": 101, "name": "vs1_fs1", "tenant": 1, "controller": 1}
  ],
  "lifs": [
    {"id": 1, "ip": "192.0.2.100", "mask_len": 24, "gateway": "192.0.2.1", "controller": 0, "tenant": 0},
    {"id": 2, "ip": "192.0.2.101", "mask_len": 24, "gateway": "192.0.2.1", "controller": 1, "tenant": 0},
    {"id": 3, "ip": "192.0.2.110", "mask_len": 24, "gateway": "192.0.2.1", "controller": 1, "tenant": 1}
  ],
  "mgmt_ips": [
    {"ip": "192.0.2.200", "mask_len": 24, "gateway": "192.0.2.1"}
  ],
  "domains": [
    {"indom": 1, "nbname": "CORP", "fqdn": "corp.example.com",
     "sid": "S-1-5-21-1111111111-2222222222-3333333333"}
  ],
  "accounts": [
    {"domain": "CORP", "name": "Domain Admins", "group": true, "rid": 512, "id": 100512},
    {"domain": "CORP", "name": "Domain Users", "group": true, "rid": 513, "id": 100513},
    {"domain": "CORP", "name": "nas_users", "group": true, "rid": 1201, "id": 101201},
    {"domain": "CORP", "name": "Administrator", "rid": 500, "id": 100500,
     "primary_group": "Domain Users", "groups": ["Domain Admins", "Domain Users"],
     "password": "Admin@123", "can_join": true, "description": "domain administrator"},
    {"domain": "CORP", "name": "joiner", "rid": 1100, "id": 101100,
     "primary_group": "Domain Users", "groups": ["Domain Users"],
     "password": "Join@123", "can_join": true, "description": "may join computers"},
    {"domain": "CORP", "name": "alice", "rid": 1101, "id": 101101,
     "primary_group": "Domain Users", "groups": ["Domain Users", "nas_users"],
     "password": "Alice@123"},
    {"domain": "CORP", "name": "bob", "rid": 1102, "id": 101102,
     "primary_group": "Domain Users", "groups": ["Domain Users", "nas_users"],
     "password": "Bob@123"},
    {"domain": "CORP", "name": "carol", "rid": 1103, "id": 101103,
     "primary_group": "Domain Users", "groups": ["Domain Users"], "password": "Carol@123"},
    {"name": "root", "group": true, "id": 0},
    {"name": "nogroup", "group": true, "id": 65534},
    {"name": "nfsgrp", "group": true, "id": 1000},
    {"name": "root", "id": 0, "primary_group": "root"},
    {"name": "nobody", "id": 65534, "primary_group": "nogroup"},
    {"name": "nfsuser", "id": 1000, "primary_group": "nfsgrp", "groups": ["nfsgrp"]}
  ],
  "domain_controllers": [
    {"domain": "CORP", "hostname": "DC1", "fqdn": "dc1.corp.example.com", "ip": "192.0.2.10",
     "site": "Default-First-Site-Name", "priority": 0, "weight": 100,
     "writeable": true, "primedc": true, "closest": true, "alive": true},
    {"domain": "CORP", "hostname": "DC2", "fqdn": "dc2.corp.example.com", "ip": "192.0.2.11",
     "site": "Default-First-Site-Name", "priority": 10, "weight": 100,
     "writeable": true, "primedc": false, "closest": false, "alive": true}
  ],
  "hosts": [
    {"name": "client1", "ip": "192.0.2.21"},
    {"name": "client1.corp.example.com", "ip": "192.0.2.21"},
    {"name": "client2", "ip": "192.0.2.22"},
    {"name": "client3", "ip": "192.0.2.23"},
    {"name": "dns1", "ip": "192.0.2.53"},
    {"name": "ldap1", "ip": "192.0.2.54"},
    {"name": "nis1", "ip": "192.0.2.55"}
  ],
  "netgroups": [
    {"name": "ng_clients", "members": ["client1", "client2"]},
    {"name": "ng_all", "members": ["client1", "client2", "client3"]}
  ]
})json";

// Reads a member with a type check; a missing optional member keeps `out`.
template <class T>
bool get(const json& obj, const char* key, T& out, bool required, std::string& err,
         const std::string& where) {
    auto it = obj.find(key);
    if (it == obj.end()) {
        if (required) err = fmt::format("{}: member \"{}\" is missing", where, key);
        return !required;
    }
    try {
        out = it->get<T>();
        return true;
    } catch (const json::exception&) {
        err = fmt::format("{}: member \"{}\" has the wrong type", where, key);
        return false;
    }
}

bool run(sim_db& db, const char* sql, std::string& err) {
    if (db.exec(sql) == SQLITE_OK) return true;
    err = db.errmsg();
    return false;
}

// Rows of one table from an array member; `row` binds one element.
template <class Fn>
bool load_array(sim_db& db, const json& seed, const char* member, const char* insert,
                std::string& err, Fn&& row) {
    auto it = seed.find(member);
    if (it == seed.end()) return true;
    if (!it->is_array()) {
        err = fmt::format("\"{}\" must be an array", member);
        return false;
    }
    sim_stmt st = db.prepare(insert);
    if (!st) {
        err = db.errmsg();
        return false;
    }
    size_t i = 0;
    for (const auto& el : *it) {
        const std::string where = fmt::format("{}[{}]", member, i++);
        if (!el.is_object()) {
            err = where + ": must be an object";
            return false;
        }
        st.reset();
        if (!row(el, st, where)) return false;
        if (st.run() != SQLITE_DONE) {
            err = fmt::format("{}: {}", where, db.errmsg());
            return false;
        }
    }
    return true;
}

bool domain_known(sim_db& db, const std::string& nbname) {
    sim_stmt st = db.prepare("SELECT 1 FROM ad_domain WHERE nbname = ?");
    return st && st.bind(1, nbname).step() == SQLITE_ROW;
}

int32_t apply_locked(sim_db& db, const json& seed, std::string& err) {
    if (!seed.is_object()) {
        err = "the seed must be a JSON object";
        return SIM_ERR_INVALID;
    }
    for (const char* t : {"DELETE FROM controller;", "DELETE FROM tenant;",
                          "DELETE FROM filesystem;", "DELETE FROM lif;", "DELETE FROM mgmt_ip;",
                          "DELETE FROM ad_domain;", "DELETE FROM account_member;",
                          "DELETE FROM account;", "DELETE FROM domain_controller;",
                          "DELETE FROM host;", "DELETE FROM netgroup;"})
        if (!run(db, t, err)) return SIM_ERR_IO;

    bool ok =
        load_array(db, seed, "controllers", "INSERT INTO controller(node_id, name) VALUES(?, ?)",
                   err,
                   [&](const json& e, sim_stmt& st, const std::string& w) {
                       uint32_t id = 0;
                       std::string name;
                       if (!get(e, "id", id, true, err, w) || !get(e, "name", name, true, err, w))
                           return false;
                       st.bind(1, id).bind(2, name);
                       return true;
                   }) &&
        load_array(db, seed, "tenants",
                   "INSERT INTO tenant(tenant_id, name, status) VALUES(?, ?, ?)", err,
                   [&](const json& e, sim_stmt& st, const std::string& w) {
                       uint32_t id = 0;
                       std::string name, status = "normal";
                       if (!get(e, "id", id, true, err, w) || !get(e, "name", name, true, err, w) ||
                           !get(e, "status", status, false, err, w))
                           return false;
                       st.bind(1, id).bind(2, name).bind(3, status);
                       return true;
                   }) &&
        load_array(db, seed, "file_systems",
                   "INSERT INTO filesystem(fsid, name, tenant_id, controller_id, status) "
                   "VALUES(?, ?, ?, ?, ?)",
                   err,
                   [&](const json& e, sim_stmt& st, const std::string& w) {
                       uint64_t id = 0;
                       std::string name;
                       uint32_t tenant = 0, controller = 0, status = 1;
                       if (!get(e, "id", id, true, err, w) || !get(e, "name", name, true, err, w) ||
                           !get(e, "tenant", tenant, false, err, w) ||
                           !get(e, "controller", controller, false, err, w) ||
                           !get(e, "status", status, false, err, w))
                           return false;
                       st.bind(1, id).bind(2, name).bind(3, tenant).bind(4, controller).bind(5,
                                                                                           status);
                       return true;
                   }) &&
        load_array(db, seed, "lifs",
                   "INSERT INTO lif(port_id, ip, mask_len, gateway, controller_id, tenant_id, "
                   "role, protocol, family, status, can_failover) VALUES(?,?,?,?,?,?,?,?,?,?,?)",
                   err,
                   [&](const json& e, sim_stmt& st, const std::string& w) {
                       uint64_t id = 0;
                       std::string ip, gw;
                       uint32_t mask = 24, ctrl = 0, tenant = 0, role = 1, proto = 3, fam = 0,
                                status = 1, failover = 1;
                       if (!get(e, "id", id, true, err, w) || !get(e, "ip", ip, true, err, w) ||
                           !get(e, "mask_len", mask, false, err, w) ||
                           !get(e, "gateway", gw, false, err, w) ||
                           !get(e, "controller", ctrl, false, err, w) ||
                           !get(e, "tenant", tenant, false, err, w) ||
                           !get(e, "role", role, false, err, w) ||
                           !get(e, "protocol", proto, false, err, w) ||
                           !get(e, "family", fam, false, err, w) ||
                           !get(e, "status", status, false, err, w) ||
                           !get(e, "can_failover", failover, false, err, w))
                           return false;
                       st.bind(1, id).bind(2, ip).bind(3, mask).bind(4, gw).bind(5, ctrl);
                       st.bind(6, tenant).bind(7, role).bind(8, proto).bind(9, fam);
                       st.bind(10, status).bind(11, failover);
                       return true;
                   }) &&
        load_array(db, seed, "mgmt_ips",
                   "INSERT INTO mgmt_ip(ip, mask_len, gateway, family) VALUES(?, ?, ?, ?)", err,
                   [&](const json& e, sim_stmt& st, const std::string& w) {
                       std::string ip, gw;
                       uint32_t mask = 24, fam = 0;
                       if (!get(e, "ip", ip, true, err, w) ||
                           !get(e, "mask_len", mask, false, err, w) ||
                           !get(e, "gateway", gw, false, err, w) ||
                           !get(e, "family", fam, false, err, w))
                           return false;
                       st.bind(1, ip).bind(2, mask).bind(3, gw).bind(4, fam);
                       return true;
                   }) &&
        load_array(db, seed, "domains",
                   "INSERT INTO ad_domain(indom, nbname, fqdn, sid) VALUES(?, ?, ?, ?)", err,
                   [&](const json& e, sim_stmt& st, const std::string& w) {
                       uint32_t indom = 0;
                       std::string nb, fqdn, sid;
                       if (!get(e, "indom", indom, true, err, w) ||
                           !get(e, "nbname", nb, true, err, w) ||
                           !get(e, "fqdn", fqdn, true, err, w) || !get(e, "sid", sid, true, err, w))
                           return false;
                       if (indom == 0) {
                           err = w + ": indom 0 is kept for local accounts";
                           return false;
                       }
                       st.bind(1, indom).bind(2, nb).bind(3, fqdn).bind(4, sid);
                       return true;
                   }) &&
        load_array(db, seed, "accounts",
                   "INSERT INTO account(indom, name, is_group, rid, iid, primary_group, "
                   "description, password, can_join) VALUES((SELECT CASE WHEN ?1 = '' THEN 0 "
                   "ELSE (SELECT indom FROM ad_domain WHERE nbname = ?1) END), ?2, ?3, ?4, ?5, "
                   "?6, ?7, ?8, ?9)",
                   err,
                   [&](const json& e, sim_stmt& st, const std::string& w) {
                       std::string domain, name, pg, descr, pw;
                       bool group = false, can_join = false;
                       uint32_t rid = 0;
                       uint64_t id = 0;
                       if (!get(e, "domain", domain, false, err, w) ||
                           !get(e, "name", name, true, err, w) ||
                           !get(e, "group", group, false, err, w) ||
                           !get(e, "rid", rid, false, err, w) || !get(e, "id", id, true, err, w) ||
                           !get(e, "primary_group", pg, false, err, w) ||
                           !get(e, "description", descr, false, err, w) ||
                           !get(e, "password", pw, false, err, w) ||
                           !get(e, "can_join", can_join, false, err, w))
                           return false;
                       if (!domain.empty() && !domain_known(db, domain)) {
                           err = fmt::format("{}: domain \"{}\" is not in \"domains\"", w, domain);
                           return false;
                       }
                       std::string stored_pw;
                       if (encode_directory_secret(pw, stored_pw) != 0) {
                           err = w + ": cannot encrypt the password";
                           return false;
                       }
                       st.bind(1, domain).bind(2, name).bind(3, group ? 1 : 0).bind(4, rid);
                       st.bind(5, id).bind(6, pg).bind(7, descr).bind(8, stored_pw).bind(9, can_join ? 1 : 0);
                       return true;
                   }) &&
        load_array(db, seed, "domain_controllers",
                   "INSERT INTO domain_controller(indom, hostname, fqdn, site, priority, weight, "
                   "writeable, primedc, closest, alived, ip) VALUES((SELECT indom FROM ad_domain "
                   "WHERE nbname = ?1), ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11)",
                   err,
                   [&](const json& e, sim_stmt& st, const std::string& w) {
                       std::string domain, host, fqdn, site, ip;
                       uint32_t prio = 0, weight = 100;
                       bool wr = true, prime = false, closest = false, alive = true;
                       if (!get(e, "domain", domain, true, err, w) ||
                           !get(e, "hostname", host, true, err, w) ||
                           !get(e, "fqdn", fqdn, true, err, w) || !get(e, "ip", ip, true, err, w) ||
                           !get(e, "site", site, false, err, w) ||
                           !get(e, "priority", prio, false, err, w) ||
                           !get(e, "weight", weight, false, err, w) ||
                           !get(e, "writeable", wr, false, err, w) ||
                           !get(e, "primedc", prime, false, err, w) ||
                           !get(e, "closest", closest, false, err, w) ||
                           !get(e, "alive", alive, false, err, w))
                           return false;
                       if (!domain_known(db, domain)) {
                           err = fmt::format("{}: domain \"{}\" is not in \"domains\"", w, domain);
                           return false;
                       }
                       st.bind(1, domain).bind(2, host).bind(3, fqdn).bind(4, site).bind(5, prio);
                       st.bind(6, weight).bind(7, wr ? 1 : 0).bind(8, prime ? 1 : 0);
                       st.bind(9, closest ? 1 : 0).bind(10, alive ? 1 : 0).bind(11, ip);
                       return true;
                   }) &&
        load_array(db, seed, "hosts", "INSERT INTO host(name, ip) VALUES(?, ?)", err,
                   [&](const json& e, sim_stmt& st, const std::string& w) {
                       std::string name, ip;
                       if (!get(e, "name", name, true, err, w) || !get(e, "ip", ip, true, err, w))
                           return false;
                       st.bind(1, name).bind(2, ip);
                       return true;
                   });
    // A seed that breaks a rule of the tables (a duplicate name, an unknown
    // domain) is the seed's fault; the transaction throws all of it away.
    if (!ok) return SIM_ERR_INVALID;

    // Group memberships and netgroup members: arrays inside the elements.
    if (auto it = seed.find("accounts"); it != seed.end()) {
        sim_stmt mem = db.prepare(
            "INSERT OR IGNORE INTO account_member(group_id, member_id) SELECT g.account_id, "
            "m.account_id FROM account g, account m WHERE g.is_group = 1 AND g.name = ?1 AND "
            "m.indom = g.indom AND m.name = ?2 AND m.is_group = ?3");
        if (!mem) {
            err = db.errmsg();
            return SIM_ERR_IO;
        }
        size_t i = 0;
        for (const auto& e : *it) {
            const std::string w = fmt::format("accounts[{}]", i++);
            std::vector<std::string> groups;
            std::string name;
            bool group = false;
            if (!get(e, "groups", groups, false, err, w) || !get(e, "name", name, true, err, w) ||
                !get(e, "group", group, false, err, w))
                return SIM_ERR_INVALID;
            for (const auto& g : groups) {
                mem.reset();
                if (mem.bind(1, g).bind(2, name).bind(3, group ? 1 : 0).run() != SQLITE_DONE) {
                    err = db.errmsg();
                    return SIM_ERR_IO;
                }
                if (db.changes() == 0) {
                    err = fmt::format("{}: group \"{}\" is not in its domain", w, g);
                    return SIM_ERR_INVALID;
                }
            }
        }
    }
    if (auto it = seed.find("netgroups"); it != seed.end()) {
        sim_stmt ng = db.prepare("INSERT OR IGNORE INTO netgroup(name, member) VALUES(?, ?)");
        if (!ng || !it->is_array()) {
            err = ng ? "\"netgroups\" must be an array" : db.errmsg();
            return ng ? SIM_ERR_INVALID : SIM_ERR_IO;
        }
        size_t i = 0;
        for (const auto& e : *it) {
            const std::string w = fmt::format("netgroups[{}]", i++);
            std::string name;
            std::vector<std::string> members;
            if (!e.is_object() || !get(e, "name", name, true, err, w) ||
                !get(e, "members", members, true, err, w)) {
                if (err.empty()) err = w + ": must be an object";
                return SIM_ERR_INVALID;
            }
            for (const auto& m : members) {
                ng.reset();
                if (ng.bind(1, name).bind(2, m).run() != SQLITE_DONE) {
                    err = db.errmsg();
                    return SIM_ERR_IO;
                }
            }
        }
    }
    if (auto it = seed.find("product"); it != seed.end()) {
        std::string vendor = "Example Storage", model = "NAS-SIM 1000";
        if (!get(*it, "vendor", vendor, false, err, "product") ||
            !get(*it, "model", model, false, err, "product"))
            return SIM_ERR_INVALID;
        sim_stmt m = db.prepare(
            "INSERT INTO meta(key, value) VALUES(?, ?) ON CONFLICT(key) DO UPDATE SET value = "
            "excluded.value");
        for (auto [k, v] : {std::pair<const char*, std::string>{"vendor", vendor},
                            std::pair<const char*, std::string>{"model", model}}) {
            if (!m) break;
            m.reset();
            if (m.bind(1, k).bind(2, v).run() != SQLITE_DONE) {
                err = db.errmsg();
                return SIM_ERR_IO;
            }
        }
    }
    sim_stmt mark = db.prepare(
        "INSERT INTO meta(key, value) VALUES('seeded', '1') ON CONFLICT(key) DO UPDATE SET value "
        "= '1'");
    if (!mark || mark.run() != SQLITE_DONE) {
        err = db.errmsg();
        return SIM_ERR_IO;
    }
    return SIM_OK;
}

}  // namespace

const std::string& default_seed_json() {
    static const std::string text = kDefaultSeed;
    return text;
}

int32_t apply_seed(sim_db& db, const std::string& json_text, std::string& err) {
    json seed = json::parse(json_text, nullptr, false);
    if (seed.is_discarded()) {
        err = "the seed is not valid JSON";
        return SIM_ERR_INVALID;
    }
    sim_txn tx(db);
    if (!tx.ok()) {
        err = db.errmsg();
        return SIM_ERR_IO;
    }
    err.clear();
    int32_t rc = apply_locked(db, seed, err);
    if (rc != SIM_OK) return rc;  // rolled back by the transaction
    if (tx.commit() != SIM_OK) {
        err = db.errmsg();
        return SIM_ERR_IO;
    }
    return SIM_OK;
}

int32_t ensure_seed(sim_db& db, const std::string& seed_file, bool& applied, std::string& err) {
    applied = false;
    if (!seed_file.empty()) {
        std::ifstream in(seed_file);
        if (!in) {
            err = fmt::format("cannot read the seed file {}", seed_file);
            return SIM_ERR_INVALID;
        }
        std::stringstream text;
        text << in.rdbuf();
        int32_t rc = apply_seed(db, text.str(), err);
        if (rc != SIM_OK) {
            err = fmt::format("seed file {}: {}", seed_file, err);
            return rc;
        }
        applied = true;
        return SIM_OK;
    }
    {
        sim_read r(db);
        sim_stmt st = db.prepare("SELECT 1 FROM meta WHERE key = 'seeded'");
        if (st && st.step() == SQLITE_ROW) return SIM_OK;
    }
    int32_t rc = apply_seed(db, default_seed_json(), err);
    applied = rc == SIM_OK;
    return rc;
}

}  // namespace tvn::sim
