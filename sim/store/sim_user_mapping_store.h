#pragma once
// The user-mapping rules of every tenant and the kernel's cache of the
// mappings it made. Rule ids are assigned from 1 and never reused, also
// after a delete. A rule is unique by (tenant, from, to, type).
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim_db.h"
#include "talvane_store_user_mapping.pb.h"

namespace tvn::sim {

struct mapping_rule {
    uint64_t id = 0;
    uint32_t tenant = 0;
    std::string from;
    std::string to;
    uint32_t type = 0;
    uint32_t priority = 0;
};

// One mapping the kernel remembers: the Windows side, the Unix side and the
// rule that made it (0: the directory).
struct cached_mapping {
    uint32_t tenant = 0;
    std::string sid;
    std::string win_name;
    uint64_t uid = 0;
    std::string unix_name;
    uint64_t rule_id = 0;
};

class user_mapping_store {
public:
    explicit user_mapping_store(sim_db& db) : db_(db) {}

    // Creates the tables when missing. 0, or SIM_ERR_IO with `err`.
    static int32_t install(sim_db& db, std::string& err);

    int32_t add(const tvn_user_mapping_rule_add_req& req, uint64_t& id, std::string& desc);
    int32_t modify(const tvn_user_mapping_rule_modify_req& req, std::string& desc);
    int32_t remove(uint64_t id, uint32_t tenant, std::string& desc);
    int32_t show(uint64_t id, uint32_t tenant, tvn_user_mapping_rule* out, std::string& desc);
    int32_t list(const tvn_user_mapping_rule_list_req& req, tvn_user_mapping_rule_list_rsp* rsp, std::string& desc);
    int32_t count(const tvn_user_mapping_rule_count_req& req, uint32_t& n, std::string& desc);

    // The rules of a tenant and type in the order they are tried: priority
    // ascending, then id ascending.
    std::vector<mapping_rule> rules_in_order(uint32_t tenant, uint32_t type);

    void cache_put(const cached_mapping& m);
    // Drops the tenant's entries a selector names (0 all, 1 by rule, 2 by
    // uid, 3 by SID); `dropped` counts them.
    int32_t cache_clear(uint32_t tenant, uint32_t selector, uint64_t rule_id, uint64_t uid, const std::string& sid,
                        uint32_t& dropped);
    std::optional<cached_mapping> cache_by_sid(uint32_t tenant, const std::string& sid);
    std::optional<cached_mapping> cache_by_uid(uint32_t tenant, uint64_t uid);

private:
    sim_db& db_;
};

}  // namespace tvn::sim
