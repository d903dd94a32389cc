#pragma once
// System-wide and per-tenant configuration pairs, and the tenant list.
//
// Every per-tenant pair remembers the family of calls that wrote it ("ldap",
// "nis", "dns", ...; "" for the plain set_tenant_config), so that a family's
// get without keys returns that family's pairs. A get with keys returns one
// pair per key that is set, whoever wrote it.
#include <cstdint>
#include <string>
#include <vector>

#include "sim_db.h"
#include "talvane_store_conf.pb.h"

namespace tvn::sim {

class conf_store {
public:
    explicit conf_store(sim_db& db) : db_(db) {}

    int32_t get_global(const std::vector<std::string>& keys, tvn_getglobal_cfg_rsp* rsp);
    int32_t set_global(const tvn_setglobal_cfg_req& req, std::string& desc);

    // family "" with no keys: every pair of the tenant.
    int32_t get_tenant(uint32_t tenant_id, const std::vector<std::string>& keys,
                       const std::string& family, tvn_gettenant_cfg_rsp* rsp);
    // All pairs in one transaction, or none.
    int32_t set_tenant(const tvn_settenant_cfg_req& req, const std::string& family,
                       std::string& desc);
    // Removes the named keys (each pair's tenant and key); no pairs: every
    // pair of `family` of `tenant_id`.
    int32_t del_tenant_keys(uint32_t tenant_id, const tvn_settenant_cfg_req& req,
                            const std::string& family, std::string& desc);
    // Keys matching a LIKE pattern ('%' any run, '_' one character,
    // case-sensitive). `deleted` counts them.
    int32_t del_tenant_like(uint32_t tenant_id, const std::string& pattern, int& deleted,
                            std::string& desc);
    // One value, "" when not set.
    std::string tenant_value(uint32_t tenant_id, const std::string& key);

    bool tenant_exists(uint32_t tenant_id);
    int32_t list_tenants(tvn_tenant_list_rsp* rsp);
    // Creates the tenant when missing and writes its pairs.
    int32_t add_tenant(const tvn_tenant_cfg_mgr_req& req, std::string& desc);
    // Pairs given: removes those keys. None: removes the tenant and all its
    // pairs (the system tenant 0 keeps its row).
    int32_t del_tenant(const tvn_tenant_cfg_mgr_req& req, std::string& desc);

private:
    sim_db& db_;
};

// SQL LIKE without SQLite's case folding.
bool like_match(std::string_view pattern, std::string_view text);

}  // namespace tvn::sim
