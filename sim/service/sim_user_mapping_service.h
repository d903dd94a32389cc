#pragma once
// The store daemon's user-mapping rule service over the stand-ins'
// database; query_user_mapping_name applies the rules as the lookup
// service does (sim_mapping_resolver.h).
#include <string>

#include "sim_service_base.h"
#include "sim_store.h"
#include "talvane_store_user_mapping.pb.h"

namespace tvn::sim {

class sim_user_mapping_store_service : public sim_service<tvn_store_user_mapping_service> {
public:
    explicit sim_user_mapping_store_service(sim_store& store) : store_(store) {}

    // The rule and cache tables, and the folder of every file system under
    // the system root (/fs/<name>), made when missing. 0, or a code with
    // `err`.
    static int32_t prepare(sim_store& store, std::string& err);

    SIM_RPC(add_user_mapping_rule, tvn_user_mapping_rule_add_req, tvn_user_mapping_rule_add_rsp);
    SIM_RPC(modify_user_mapping_rule, tvn_user_mapping_rule_modify_req, tvn_user_mapping_rule_common_rsp);
    SIM_RPC(delete_user_mapping_rule, tvn_user_mapping_rule_delete_req, tvn_user_mapping_rule_common_rsp);
    SIM_RPC(show_user_mapping_rule, tvn_user_mapping_rule_show_req, tvn_user_mapping_rule_show_rsp);
    SIM_RPC(list_user_mapping_rule, tvn_user_mapping_rule_list_req, tvn_user_mapping_rule_list_rsp);
    SIM_RPC(count_user_mapping_rule, tvn_user_mapping_rule_count_req, tvn_user_mapping_rule_count_rsp);
    SIM_RPC(query_user_mapping_name, tvn_query_user_mapping_name_req, tvn_query_user_mapping_name_rsp);

private:
    sim_store& store_;
};

}  // namespace tvn::sim
