#include "sim_kagent_service.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "sim_kerberos_service.h"
#include "sim_result.h"
#include "sim_usermap_kernel.h"
#include "tvn_kchannel.h"

namespace tvn::sim {

namespace {

template <class T>
bool parse_num(std::string_view text, T& out) {
    if (text.empty()) return false;
    auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), out);
    return ec == std::errc() && p == text.data() + text.size();
}

constexpr uint32_t kAnyPeer = 4294967295u;

// A snapshot is named and belongs to a file system that exists; nothing
// else about it is kept.
int32_t snapshot_result(sim_store& store, const tvn_ka_fs_snapshot_req& req) {
    if (req.snap_name().empty()) return SIM_ERR_INVALID;
    return store.inv.fs_by_id(req.fs_id()) ? SIM_OK : SIM_ERR_NOT_FOUND;
}

// The kernel channels this agent stands in for, by name: each takes the
// request's bytes and answers a result and, on success, bytes.
using kernel_channel = int32_t (*)(sim_store&, const std::string&, std::string&);
constexpr std::pair<std::string_view, kernel_channel> kKernelChannels[] = {
    {"krb_cache", kerberos_cache_channel},
    {"appdata", usermap_cache_channel},
    {"ShowSecurityDescInfo", security_desc_channel},
};

void answer_kernel_channel(sim_store& store, const tvn_ka_pum_req& req, tvn_ka_pum_rsp& rsp) {
    for (const auto& [name, handler] : kKernelChannels) {
        if (name != req.cmdstr()) continue;
        std::string request, reply;
        if (!tvn::kchannel_from_hex(req.value(), request)) {
            rsp.set_result(SIM_ERR_INVALID);
            return;
        }
        const int32_t rc = handler(store, request, reply);
        rsp.set_result(rc);
        if (rc == SIM_OK) rsp.set_value(tvn::kchannel_to_hex(reply));
        return;
    }
    rsp.set_result(SIM_ERR_NOT_SUPPORTED);
    rsp.set_value(fmt::format("unknown kernel channel {}", req.cmdstr()));
}

}  // namespace

uint32_t sim_kagent_service::local_node_id() {
    const char* env = std::getenv("TVN_NODE_ID");
    uint32_t id = 0;
    if (env != nullptr && parse_num(std::string_view(env), id)) return id;
    return 0;
}

SIM_RPC_IMPL(sim_kagent_service, kagent_pum, tvn_ka_pum_req, tvn_ka_pum_rsp) {
    if (req->module() == "kchannel") {
        answer_kernel_channel(store_, *req, *rsp);
        return;
    }
    const std::string& cmd = req->cmdstr();
    if (req->module() == "fs" && cmd == "get_fsid_by_name") {
        uint32_t tenant = 0;
        std::string name = req->value();
        if (auto colon = name.find(':'); colon != std::string::npos) {
            if (!parse_num(std::string_view(name).substr(0, colon), tenant)) {
                rsp->set_result(SIM_ERR_INVALID);
                return;
            }
            name.erase(0, colon + 1);
        }
        auto fs = store_.inv.fs_by_name(tenant, name);
        rsp->set_result(fs ? SIM_OK : SIM_ERR_NOT_FOUND);
        if (fs) rsp->set_value(std::to_string(fs->fsid));
        return;
    }
    if (req->module() == "fs" && cmd == "get_fs_name") {
        uint64_t fsid = 0;
        auto fs = parse_num(std::string_view(req->value()), fsid) ? store_.inv.fs_by_id(fsid)
                                                                  : std::nullopt;
        rsp->set_result(fs ? SIM_OK : SIM_ERR_NOT_FOUND);
        if (fs) rsp->set_value(fs->name);
        return;
    }
    if (req->module() == "fs" && cmd == "list") {
        nlohmann::json list = nlohmann::json::array();
        for (const auto& fs : store_.inv.file_systems())
            list.push_back({{"fsid", fs.fsid},
                            {"name", fs.name},
                            {"tenant", fs.tenant_id},
                            {"controller", fs.controller_id}});
        rsp->set_result(SIM_OK);
        rsp->set_value(list.dump());
        return;
    }
    rsp->set_result(SIM_ERR_NOT_SUPPORTED);
    rsp->set_value(fmt::format("unknown command {} {}", req->module(), cmd));
}

SIM_RPC_IMPL(sim_kagent_service, kagent_shr_info, tvn_ka_shr_info_req, tvn_ka_shr_info_rsq) {
    (void)req;
    // The SMB server takes every share definition pushed to it.
    rsp->set_result(SIM_OK);
    rsp->set_opret(SIM_OK);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_mkdir, tvn_mkdir_req, tvn_mkdir_rsp) {
    if (req->path().empty() || req->path().front() != '/')
        rsp->set_result(SIM_ERR_INVALID);
    else
        rsp->set_result(store_.inv.fs_by_id(req->fsid()) ? SIM_OK : SIM_ERR_NOT_FOUND);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_notify_del_user, tvn_ka_deluser_req, tvn_ka_deluser_rsp) {
    (void)req;
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_tenant, tvn_ka_get_tenant_req, tvn_ka_get_tenant_rsp) {
    for (const auto& l : store_.inv.lifs(std::nullopt, std::nullopt))
        if (l.ip == req->ip()) {
            rsp->set_result(SIM_OK);
            rsp->set_tenant_id(l.tenant_id);
            return;
        }
    rsp->set_result(SIM_ERR_NOT_FOUND);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_controller, tvn_ka_get_controller_req,
             tvn_ka_get_controller_rsp) {
    // No result field: an unknown node has an empty name.
    rsp->set_node_name(store_.inv.controller_name(req->node_id()).value_or(""));
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_ip, tvn_ka_get_ip_req, tvn_ka_get_ip_rsp) {
    std::optional<uint32_t> ctrl;
    if (req->peer_id() != kAnyPeer) ctrl = req->peer_id();
    for (const auto& l : store_.inv.lifs(req->tenant_id(), ctrl)) rsp->add_ip(l.ip);
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_peer_id, tvn_ka_get_peer_id_req,
             tvn_ka_get_peer_id_rsp) {
    (void)req;
    const uint32_t self = local_node_id();
    for (const auto& [id, name] : store_.inv.controllers())
        if (id != self) {
            rsp->set_result(SIM_OK);
            rsp->set_peer_id(id);
            return;
        }
    rsp->set_result(SIM_ERR_NOT_FOUND);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_fs_controller_id, tvn_ka_get_fs_controller_id_req,
             tvn_ka_get_fs_controller_id_rsp) {
    auto fs = store_.inv.fs_by_id(req->fs_id());
    rsp->set_result(fs ? SIM_OK : SIM_ERR_NOT_FOUND);
    rsp->set_controller_id(fs ? fs->controller_id : 0);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_vendor, tvn_ka_get_vendor_req, tvn_ka_get_vendor_rsp) {
    (void)req;
    rsp->set_result(SIM_OK);
    rsp->set_vendor(store_.inv.meta("vendor", "Example Storage"));
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_model, tvn_ka_get_model_req, tvn_ka_get_model_rsp) {
    (void)req;
    rsp->set_result(SIM_OK);
    rsp->set_model(store_.inv.meta("model", "NAS-SIM 1000"));
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_group_id, tvn_ka_get_group_id_req,
             tvn_ka_get_group_id_rsp) {
    (void)req;
    rsp->set_result(SIM_OK);
    rsp->set_nid(local_node_id());
    rsp->set_gid(0);
    rsp->set_location("local");
}

SIM_RPC_IMPL(sim_kagent_service, kagent_nfs_update_fsids, tvn_ka_nfs_fsids_req,
             tvn_ka_nfs_fsids_rsp) {
    rsp->set_result(SIM_OK);
    rsp->set_count(static_cast<uint64_t>(req->fsids_size()));
    for (auto id : req->fsids()) rsp->add_fsids(id);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_create_snap, tvn_ka_fs_snapshot_req,
             tvn_ka_fs_snapshot_rsp) {
    rsp->set_result(snapshot_result(store_, *req));
}

SIM_RPC_IMPL(sim_kagent_service, kagent_delete_snap, tvn_ka_fs_snapshot_req,
             tvn_ka_fs_snapshot_rsp) {
    rsp->set_result(snapshot_result(store_, *req));
}

SIM_RPC_IMPL(sim_kagent_service, kagent_set_log_level, tvn_ka_log_level_req,
             tvn_ka_log_level_resp) {
    if (req->level() < 0 || req->level() > 3) {
        rsp->set_result(SIM_ERR_INVALID);
        rsp->set_desc(fmt::format("level {} is not one of 0 to 3", req->level()));
        return;
    }
    rsp->set_result(store_.inv.set_meta("kagent_log_level", std::to_string(req->level())));
    rsp->set_desc("success");
}

SIM_RPC_IMPL(sim_kagent_service, kagent_heartbeat_call, tvn_ka_heart_test_req,
             tvn_ka_heart_test_resp) {
    (void)req;
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_upgrade_flag, tvn_get_node_upgrade_flag_req,
             tvn_get_node_upgrade_flag_resp) {
    (void)req;
    rsp->set_result(SIM_OK);
    rsp->set_status(0);  // not upgrading
}

SIM_RPC_IMPL(sim_kagent_service, kagent_kernel_acl_cfg_u2k, tvn_ka_kernel_acl_cfg_req,
             tvn_ka_kernel_acl_cfg_rsp) {
    (void)req;
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_delete_usermap_cache, tvn_ka_delete_usermap_cache_req,
             tvn_ka_delete_usermap_cache_rsp) {
    (void)req;
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_mps_get_usermap_cache_hit,
             tvn_mps_usermap_get_cache_hit_req, tvn_mps_usermap_get_cache_hit_rsp) {
    (void)req;
    // The stand-in keeps no mapping cache: nothing in it, nothing hit.
    rsp->set_result(SIM_OK);
    rsp->set_hits_num(0);
    rsp->set_total_num(0);
    rsp->set_cache_size(0);
    rsp->set_cache_num(0);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_mps_get_usermap_cache, tvn_mps_usermap_get_cache_req,
             tvn_mps_usermap_get_cache_rsp) {
    (void)req;
    rsp->set_result(SIM_ERR_NOT_FOUND);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_mps_get_unix_usermap_cache,
             tvn_mps_usermap_get_unix_cache_req, tvn_mps_usermap_get_unix_cache_rsp) {
    (void)req;
    rsp->set_result(SIM_ERR_NOT_FOUND);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_mps_get_win_usermap_cache,
             tvn_mps_usermap_get_win_cache_req, tvn_mps_usermap_get_win_cache_rsp) {
    (void)req;
    rsp->set_result(SIM_ERR_NOT_FOUND);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_fsid, tvn_ka_get_fsid_req, tvn_ka_get_fsid_rsp) {
    (void)req;
    auto all = store_.inv.file_systems();
    rsp->set_result(SIM_OK);
    rsp->set_count(static_cast<uint32_t>(all.size()));
    for (const auto& fs : all) rsp->add_fsids(static_cast<uint32_t>(fs.fsid));
}

SIM_RPC_IMPL(sim_kagent_service, kagent_update_dom_idmap, tvn_ka_update_dom_idmap_req,
             tvn_ka_update_dom_idmap_rsp) {
    (void)req;
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_tenantid_by_fsid, tvn_ka_get_tenantid_by_fsid_req,
             tvn_ka_get_tenantid_by_fsid_rsp) {
    auto fs = store_.inv.fs_by_id(req->fsid());
    rsp->set_result(fs ? SIM_OK : SIM_ERR_NOT_FOUND);
    rsp->set_tenantid(fs ? fs->tenant_id : 0);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_tenant_name_by_tenantid,
             tvn_ka_get_tenant_name_by_tenantid_req, tvn_ka_get_tenant_name_by_tenantid_rsp) {
    auto name = store_.inv.tenant_name(req->tenantid());
    rsp->set_result(name ? SIM_OK : SIM_ERR_NOT_FOUND);
    rsp->set_tenant_name(name.value_or(""));
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_lif_info, tvn_ka_get_lif_info_req,
             tvn_ka_get_lif_info_rsp) {
    std::optional<uint32_t> ctrl;
    if (req->peer_id() != kAnyPeer) ctrl = req->peer_id();
    for (const auto& l : store_.inv.lifs(req->tenant_id(), ctrl)) {
        auto* i = rsp->add_info();
        i->set_portid(l.port_id);
        i->set_controllerid(l.controller_id);
        i->set_tenancyid(l.tenant_id);
        i->set_supportprotocol(l.protocol);
        i->set_role(l.role);
        i->set_canfailover(l.can_failover);
        i->set_addressfamily(l.family);
        i->set_status(l.status);
        i->set_masklen(l.mask_len);
        i->set_ipaddress(l.ip);
        i->set_gateway(l.gateway);
    }
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_mgmt_ip, tvn_ka_get_mgmt_ip_req,
             tvn_ka_get_mgmt_ip_rsp) {
    (void)req;
    for (const auto& m : store_.inv.mgmt_ips()) {
        auto* o = rsp->add_ips();
        o->set_addressfamily(m.family);
        o->set_masklen(m.mask_len);
        o->set_ipaddress(m.ip);
        o->set_gateway(m.gateway);
    }
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_fsids_by_tenantid, tvn_ka_get_fsids_by_tenantid_req,
             tvn_ka_get_fsids_by_tenantid_rsp) {
    auto list = store_.inv.file_systems(req->tenantid());
    rsp->set_result(SIM_OK);
    rsp->set_fsid_num(static_cast<uint32_t>(list.size()));
    for (const auto& fs : list) rsp->add_fsids(static_cast<uint32_t>(fs.fsid));
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_controller_info, tvn_ka_get_controller_info_req,
             tvn_ka_get_controller_info_rsp) {
    uint32_t bitmap = 0;
    uint32_t n = 0;
    for (const auto& [id, name] : store_.inv.controllers()) {
        if (req->has_node_id() && req->node_id() != id) continue;
        rsp->add_node_id(id);
        rsp->add_node_name(name);
        if (id < 32) bitmap |= 1u << id;
        ++n;
    }
    rsp->add_bitmap(bitmap);
    rsp->set_node_num(n);
    rsp->set_result(req->has_node_id() && n == 0 ? SIM_ERR_NOT_FOUND : SIM_OK);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_common_cfg_info, tvn_ka_get_common_cfg_info_req,
             tvn_ka_get_common_cfg_info_rsp) {
    const std::string v = store_.dir.setting(
        req->tenant_id(), fmt::format("nfsv3_io_switch:{}", req->proto_type()), "0");
    uint32_t value = 0;
    parse_num(std::string_view(v), value);
    rsp->set_result(SIM_OK);
    rsp->set_tenant_id(req->tenant_id());
    rsp->set_proto_type(req->proto_type());
    rsp->set_nfsv3_io_switch(value);
}

SIM_RPC_IMPL(sim_kagent_service, kagent_modify_common_cfg_info,
             tvn_ka_modify_common_cfg_info_req, tvn_ka_modify_common_cfg_info_rsp) {
    rsp->set_result(store_.dir.set_setting(req->tenant_id(),
                                           fmt::format("nfsv3_io_switch:{}", req->proto_type()),
                                           std::to_string(req->nfsv3_io_switch())));
}

SIM_RPC_IMPL(sim_kagent_service, kagent_get_state, tvn_get_kagent_state_req,
             tvn_get_kagent_state_rsp) {
    (void)req;
    rsp->set_result(SIM_OK);
}

}  // namespace tvn::sim
