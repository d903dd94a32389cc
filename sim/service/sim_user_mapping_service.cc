#include "sim_user_mapping_service.h"

#include <sys/stat.h>

#include <cerrno>

#include "sim_mapping_resolver.h"
#include "sim_result.h"
#include "sim_user_mapping_store.h"
#include "tvn_sysroot.h"

namespace tvn::sim {

int32_t sim_user_mapping_store_service::prepare(sim_store& store, std::string& err) {
    if (int32_t rc = user_mapping_store::install(store.db, err); rc != SIM_OK) return rc;
    const std::string root = tvn::sysroot_path("/fs");
    if (::mkdir(root.c_str(), 0755) != 0 && errno != EEXIST) {
        err = "cannot make " + root;
        return SIM_ERR_IO;
    }
    for (const auto& fs : store.inv.file_systems()) {
        const std::string dir = root + "/" + fs.name;
        if (fs.name.empty() || fs.name.find('/') != std::string::npos || fs.name == "." || fs.name == "..") continue;
        if (::mkdir(dir.c_str(), 0755) != 0 && errno != EEXIST) {
            err = "cannot make " + dir;
            return SIM_ERR_IO;
        }
    }
    return SIM_OK;
}

SIM_RPC_IMPL(sim_user_mapping_store_service, add_user_mapping_rule, tvn_user_mapping_rule_add_req,
             tvn_user_mapping_rule_add_rsp) {
    user_mapping_store rules(store_.db);
    std::string desc;
    uint64_t id = 0;
    rsp->set_result(rules.add(*req, id, desc));
    rsp->set_desc(desc);
    rsp->set_rule_id(id);
}

SIM_RPC_IMPL(sim_user_mapping_store_service, modify_user_mapping_rule, tvn_user_mapping_rule_modify_req,
             tvn_user_mapping_rule_common_rsp) {
    user_mapping_store rules(store_.db);
    sim_answer(rsp, rules, &user_mapping_store::modify, *req);
}

SIM_RPC_IMPL(sim_user_mapping_store_service, delete_user_mapping_rule, tvn_user_mapping_rule_delete_req,
             tvn_user_mapping_rule_common_rsp) {
    user_mapping_store rules(store_.db);
    sim_answer(rsp, rules, &user_mapping_store::remove, req->rule_id(), req->tenant_id());
}

SIM_RPC_IMPL(sim_user_mapping_store_service, show_user_mapping_rule, tvn_user_mapping_rule_show_req,
             tvn_user_mapping_rule_show_rsp) {
    user_mapping_store rules(store_.db);
    std::string desc;
    rsp->set_result(rules.show(req->rule_id(), req->tenant_id(), rsp->mutable_user_mapping_info(), desc));
    rsp->set_desc(desc);
    if (rsp->result() != SIM_OK) rsp->clear_user_mapping_info();
}

SIM_RPC_IMPL(sim_user_mapping_store_service, list_user_mapping_rule, tvn_user_mapping_rule_list_req,
             tvn_user_mapping_rule_list_rsp) {
    user_mapping_store rules(store_.db);
    std::string desc;
    rsp->set_result(rules.list(*req, rsp, desc));
    rsp->set_desc(desc);
}

SIM_RPC_IMPL(sim_user_mapping_store_service, count_user_mapping_rule, tvn_user_mapping_rule_count_req,
             tvn_user_mapping_rule_count_rsp) {
    user_mapping_store rules(store_.db);
    std::string desc;
    uint32_t n = 0;
    rsp->set_result(rules.count(*req, n, desc));
    rsp->set_desc(desc);
    rsp->set_count(n);
}

SIM_RPC_IMPL(sim_user_mapping_store_service, query_user_mapping_name, tvn_query_user_mapping_name_req,
             tvn_query_user_mapping_name_rsp) {
    mapping_outcome m = resolve_mapping(store_, req->tenant_id(), req->from_mapping_name(),
                                        static_cast<uint32_t>(req->mapping_type()), false);
    rsp->set_result(m.status);
    rsp->set_desc(m.status == SIM_OK ? "success" : "no mapping for " + req->from_mapping_name());
    if (m.status != SIM_OK) return;
    rsp->set_mapped_name(m.mapped_name);
    rsp->set_rule_id(m.rule_id);
}

}  // namespace tvn::sim
