#pragma once
// What the kernel agent knows of its node: file systems, tenants,
// controllers, logical interfaces, management addresses, vendor and model.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim_db.h"

namespace tvn::sim {

struct fs_rec {
    uint64_t fsid = 0;
    std::string name;
    uint32_t tenant_id = 0;
    uint32_t controller_id = 0;
    uint32_t status = 1;
};

struct lif_rec {
    uint64_t port_id = 0;
    std::string ip;
    uint32_t mask_len = 0;
    std::string gateway;
    uint32_t controller_id = 0;
    uint32_t tenant_id = 0;
    uint32_t role = 0;
    uint32_t protocol = 0;
    uint32_t family = 0;
    uint32_t status = 0;
    uint32_t can_failover = 0;
};

struct mgmt_ip_rec {
    std::string ip;
    uint32_t mask_len = 0;
    std::string gateway;
    uint32_t family = 0;
};

class inventory {
public:
    explicit inventory(sim_db& db) : db_(db) {}

    std::optional<fs_rec> fs_by_id(uint64_t fsid);
    std::optional<fs_rec> fs_by_name(uint32_t tenant_id, const std::string& name);
    // Every file system, or those of one tenant.
    std::vector<fs_rec> file_systems(std::optional<uint32_t> tenant_id = std::nullopt);

    std::optional<std::string> tenant_name(uint32_t tenant_id);
    std::optional<std::string> controller_name(uint32_t node_id);
    std::vector<std::pair<uint32_t, std::string>> controllers();

    std::vector<lif_rec> lifs(std::optional<uint32_t> tenant_id,
                              std::optional<uint32_t> controller_id);
    std::vector<mgmt_ip_rec> mgmt_ips();

    // Product facts and other single values kept in the meta table.
    std::string meta(const std::string& key, const std::string& fallback);
    int32_t set_meta(const std::string& key, const std::string& value);

private:
    sim_db& db_;
};

}  // namespace tvn::sim
