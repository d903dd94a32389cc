#include "sim_inventory.h"

#include "sim_result.h"

namespace tvn::sim {

namespace {
constexpr const char* kFsCols = "SELECT fsid, name, tenant_id, controller_id, status FROM filesystem";

fs_rec read_fs(const sim_stmt& st) {
    return fs_rec{st.u64(0), st.text(1), st.u32(2), st.u32(3), st.u32(4)};
}
}  // namespace

std::optional<fs_rec> inventory::fs_by_id(uint64_t fsid) {
    sim_read r(db_);
    sim_stmt st = db_.prepare(std::string(kFsCols) + " WHERE fsid = ?");
    if (!st || st.bind(1, fsid).step() != SQLITE_ROW) return std::nullopt;
    return read_fs(st);
}

std::optional<fs_rec> inventory::fs_by_name(uint32_t tenant_id, const std::string& name) {
    sim_read r(db_);
    sim_stmt st = db_.prepare(std::string(kFsCols) + " WHERE tenant_id = ? AND name = ?");
    if (!st || st.bind(1, tenant_id).bind(2, name).step() != SQLITE_ROW) return std::nullopt;
    return read_fs(st);
}

std::vector<fs_rec> inventory::file_systems(std::optional<uint32_t> tenant_id) {
    std::vector<fs_rec> out;
    sim_read r(db_);
    sim_stmt st = db_.prepare(std::string(kFsCols) +
                              (tenant_id ? " WHERE tenant_id = ? ORDER BY fsid" : " ORDER BY fsid"));
    if (!st) return out;
    if (tenant_id) st.bind(1, *tenant_id);
    while (st.step() == SQLITE_ROW) out.push_back(read_fs(st));
    return out;
}

std::optional<std::string> inventory::tenant_name(uint32_t tenant_id) {
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT name FROM tenant WHERE tenant_id = ?");
    if (!st || st.bind(1, tenant_id).step() != SQLITE_ROW) return std::nullopt;
    return st.text(0);
}

std::optional<std::string> inventory::controller_name(uint32_t node_id) {
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT name FROM controller WHERE node_id = ?");
    if (!st || st.bind(1, node_id).step() != SQLITE_ROW) return std::nullopt;
    return st.text(0);
}

std::vector<std::pair<uint32_t, std::string>> inventory::controllers() {
    std::vector<std::pair<uint32_t, std::string>> out;
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT node_id, name FROM controller ORDER BY node_id");
    if (!st) return out;
    while (st.step() == SQLITE_ROW) out.emplace_back(st.u32(0), st.text(1));
    return out;
}

std::vector<lif_rec> inventory::lifs(std::optional<uint32_t> tenant_id,
                                     std::optional<uint32_t> controller_id) {
    std::vector<lif_rec> out;
    std::string sql =
        "SELECT port_id, ip, mask_len, gateway, controller_id, tenant_id, role, protocol, family, "
        "status, can_failover FROM lif WHERE 1";
    if (tenant_id) sql += " AND tenant_id = ?1";
    if (controller_id) sql += " AND controller_id = ?2";
    sql += " ORDER BY port_id";
    sim_read r(db_);
    sim_stmt st = db_.prepare(sql);
    if (!st) return out;
    if (tenant_id) st.bind(1, *tenant_id);
    if (controller_id) st.bind(2, *controller_id);
    while (st.step() == SQLITE_ROW) {
        lif_rec l;
        l.port_id = st.u64(0);
        l.ip = st.text(1);
        l.mask_len = st.u32(2);
        l.gateway = st.text(3);
        l.controller_id = st.u32(4);
        l.tenant_id = st.u32(5);
        l.role = st.u32(6);
        l.protocol = st.u32(7);
        l.family = st.u32(8);
        l.status = st.u32(9);
        l.can_failover = st.u32(10);
        out.push_back(std::move(l));
    }
    return out;
}

std::vector<mgmt_ip_rec> inventory::mgmt_ips() {
    std::vector<mgmt_ip_rec> out;
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT ip, mask_len, gateway, family FROM mgmt_ip ORDER BY ip");
    if (!st) return out;
    while (st.step() == SQLITE_ROW) out.push_back({st.text(0), st.u32(1), st.text(2), st.u32(3)});
    return out;
}

std::string inventory::meta(const std::string& key, const std::string& fallback) {
    sim_read r(db_);
    sim_stmt st = db_.prepare("SELECT value FROM meta WHERE key = ?");
    if (!st || st.bind(1, key).step() != SQLITE_ROW) return fallback;
    return st.text(0);
}

int32_t inventory::set_meta(const std::string& key, const std::string& value) {
    sim_txn tx(db_);
    sim_stmt st = db_.prepare(
        "INSERT INTO meta(key, value) VALUES(?, ?) ON CONFLICT(key) DO UPDATE SET value = "
        "excluded.value");
    if (!tx.ok() || !st || st.bind(1, key).bind(2, value).run() != SQLITE_DONE) return SIM_ERR_IO;
    return tx.commit();
}

}  // namespace tvn::sim
