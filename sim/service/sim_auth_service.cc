#include "sim_auth_service.h"
#include "sim_kerberos_service.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <thread>

#include "sim_mapping_resolver.h"
#include "sim_nfs_options.h"
#include "sim_result.h"
#include "tvn_log.h"

namespace tvn::sim {

namespace {

std::string upper(std::string s) {
    for (auto& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

std::vector<std::string> split_list(const std::string& text) { return split_option_words(text); }

// Where a look-up may search. LDAP, NIS and Unix-domain directories are not
// modelled: nothing is found there.
std::optional<account_scope> scope_of(bool has_dest, TvnLookupDest dest,
                                      account_scope fallback = account_scope::any) {
    if (!has_dest) return fallback;
    switch (dest) {
        case LOOKUP_ON_LOCAL:
        case LOOKUP_ON_UNIX: return account_scope::local;
        case LOOKUP_ON_AD:
        case LOOKUP_ON_WINDOWS: return account_scope::domain;
        case LOOKUP_ON_ALL: return account_scope::any;
        default: return std::nullopt;
    }
}

std::optional<bool> group_filter(bool has_type, TvnLookupType type) {
    if (!has_type || type == LOOKUP_TYPE_UNKNOWN) return std::nullopt;
    return type == LOOKUP_TYPE_GROUP;
}

void fill_userinfo(directory& dir, const account_rec& a, bool with_group, tvn_lookup_userinfo* u) {
    u->set_name(a.full_name());
    u->set_is_group(a.is_group ? 1 : 0);
    u->set_sid(a.sid());
    u->set_is_domain(a.is_domain() ? 1 : 0);
    u->set_domain(a.domain.nbname);
    u->set_domsid(a.domain.sid);
    u->set_iid(a.iid);
    if (auto pg = dir.primary_group_of(a)) {
        u->set_pgname(pg->full_name());
        u->set_pgid(pg->iid);
    }
    u->set_desc(a.description);
    u->set_source(a.is_domain() ? LOOKUP_ON_AD : LOOKUP_ON_UNIX);
    if (with_group)
        for (const auto& g : dir.groups_of(a)) {
            auto* gi = u->add_groups();
            gi->set_name(g.full_name());
            gi->set_sid(g.sid());
            gi->set_gid(g.iid);
        }
}

void answer_account(directory& dir, const std::optional<account_rec>& a, bool with_group,
                    const std::string& what, tvn_lookup_userinfo_rsp* rsp) {
    if (!a) {
        rsp->set_status(SIM_ERR_NOT_FOUND);
        rsp->set_desc(fmt::format("no such account: {}", what));
        return;
    }
    rsp->set_status(SIM_OK);
    rsp->set_desc("success");
    fill_userinfo(dir, *a, with_group, rsp->mutable_userinfo());
}

void fill_unix_cred(directory& dir, const account_rec& a, tvn_user_unix_cred* c) {
    c->set_name(a.full_name());
    c->set_uid(a.iid);
    if (auto pg = dir.primary_group_of(a)) c->add_gids(pg->iid);
    for (const auto& g : dir.groups_of(a))
        if (std::find(c->gids().begin(), c->gids().end(), g.iid) == c->gids().end())
            c->add_gids(g.iid);
    c->set_quotaid(a.iid);
}

void fill_win_cred(directory& dir, const account_rec& a, tvn_user_win_cred* c) {
    c->set_name(a.full_name());
    c->set_quotaid(a.iid);
    c->set_usid(a.sid());
    for (const auto& g : dir.groups_of(a)) c->add_gsids(g.sid());
}

// The tenant's domain: its "fqdn" pair, or the directory's first domain.
std::optional<domain_rec> tenant_domain(sim_store& store, uint32_t tenant_id) {
    std::string fqdn = store.conf.tenant_value(tenant_id, "fqdn");
    return fqdn.empty() ? store.dir.first_domain() : store.dir.domain_by_name(fqdn);
}

bool joined(sim_store& store, uint32_t tenant_id, join_status* out = nullptr) {
    join_status s;
    if (store.join->state(tenant_id, s) != SIM_OK) return false;
    if (out != nullptr) *out = s;
    return s.state == JOIN_STATE_JOINED;
}

std::string default_hostname(uint32_t tenant_id) {
    return tenant_id == 0 ? "nas-sim" : fmt::format("nas-sim-{}", tenant_id);
}

}  // namespace

// ---- authentication ---------------------------------------------------------------

SIM_RPC_IMPL(sim_auth_service, auth_notify_lif_change, tvn_auth_notify_lif_change_req,
             tvn_auth_notify_lif_change_rsp) {
    (void)req;
    rsp->set_status(SIM_OK);
}

SIM_RPC_IMPL(sim_auth_service, AuthKerberosJoinRealm, TvnAuthNfsKerberosJoinRealmReq,
             TvnAuthNfsKerberosJoinRealmRsp) {
    if (!store_.dir.reachable(req->kdcip())) {
        rsp->set_status(SIM_ERR_UNREACHABLE);
        return;
    }
    auto acc = store_.dir.account_by_name(req->account(), account_scope::domain, false);
    if (!acc || acc->password != req->passwd()) {
        rsp->set_status(SIM_JOIN_BAD_CREDENTIALS);
        return;
    }
    if (!acc->can_join) {
        rsp->set_status(SIM_JOIN_NO_RIGHT);
        return;
    }
    store_.dir.set_setting(req->tenantid(), "krb_spn", req->spn());
    rsp->set_status(SIM_OK);
    // A readable stand-in for the keytab the real daemon would return.
    rsp->set_filecontent(fmt::format("tvn_sim keytab\nprincipal={}@{}\nkvno=1\nkdc={}\n",
                                     req->spn(), upper(acc->domain.fqdn), req->kdcip()));
}

SIM_RPC_IMPL(sim_auth_service, AuthKerberosUnjoinDomain, TvnAuthNfsKerberosJoinRealmReq,
             TvnAuthNfsKerberosJoinRealmRsp) {
    store_.dir.set_setting(req->tenantid(), "krb_spn", "");
    rsp->set_status(SIM_OK);
}

// ---- look-ups ---------------------------------------------------------------------

SIM_RPC_IMPL(sim_lookup_service, lookup_userinfo_by_sid, tvn_lookup_userinfo_by_sid_req,
             tvn_lookup_userinfo_rsp) {
    auto scope = scope_of(req->has_dest(), req->dest());
    auto a = scope ? store_.dir.account_by_sid(req->sid()) : std::nullopt;
    if (a && *scope != account_scope::any &&
        (*scope == account_scope::domain) != a->is_domain())
        a.reset();
    answer_account(store_.dir, a, req->with_group(), req->sid(), rsp);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_usersinfo_by_sids, tvn_lookup_usersinfo_by_sids_req,
             tvn_lookup_usersinfo_rsp) {
    int found = 0;
    for (const auto& sid : req->sid()) {
        auto* one = rsp->add_usersinfo();
        auto a = store_.dir.account_by_sid(sid);
        one->set_status(a ? SIM_OK : SIM_ERR_NOT_FOUND);
        if (a) {
            ++found;
            fill_userinfo(store_.dir, *a, false, one->mutable_userinfo());
        }
    }
    // The batch succeeds when at least one SID was known (or none was asked).
    rsp->set_status(found > 0 || req->sid_size() == 0 ? SIM_OK : SIM_ERR_NOT_FOUND);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_userinfo_by_name, tvn_lookup_userinfo_by_name_req,
             tvn_lookup_userinfo_rsp) {
    auto scope = scope_of(req->has_dest(), req->dest());
    auto a = scope ? store_.dir.account_by_name(req->name(), *scope,
                                                group_filter(req->has_type(), req->type()))
                   : std::nullopt;
    answer_account(store_.dir, a, req->with_group(), req->name(), rsp);
}

SIM_RPC_IMPL(sim_lookup_service, LookupUnixUserInfoByName, tvn_lookup_unix_userinfo_by_name_req,
             tvn_lookup_userinfo_rsp) {
    auto scope = scope_of(req->has_dest(), req->dest(), account_scope::local);
    auto a = scope ? store_.dir.account_by_name(req->name(), *scope, group_filter(true, req->type()))
                   : std::nullopt;
    answer_account(store_.dir, a, req->with_group(), req->name(), rsp);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_userinfo_by_uid, tvn_lookup_userinfo_by_uid_req,
             tvn_lookup_userinfo_rsp) {
    auto scope = scope_of(req->has_dest(), req->dest());
    auto a = scope ? store_.dir.account_by_id(req->uid(), false, *scope) : std::nullopt;
    answer_account(store_.dir, a, req->with_group(), fmt::format("uid {}", req->uid()), rsp);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_userinfo_by_gid, tvn_lookup_userinfo_by_gid_req,
             tvn_lookup_userinfo_rsp) {
    auto scope = scope_of(req->has_dest(), req->dest());
    auto a = scope ? store_.dir.account_by_id(req->gid(), true, *scope) : std::nullopt;
    answer_account(store_.dir, a, false, fmt::format("gid {}", req->gid()), rsp);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_allcred_by_name, tvn_lookup_allcred_by_name_req,
             tvn_lookup_allcred_rsp) {
    // The tenant's mapping rules, then the directory (sim_mapping_resolver.h).
    mapping_outcome m = resolve_mapping(store_, req->tenant_id(), req->name(),
                                        req->mapping_type() == MAPPING_WIN_TO_UNIX ? 0 : 1, true);
    rsp->set_status(m.status);
    if (m.status != SIM_OK) return;
    auto* r = rsp->mutable_result();
    r->set_rule_id(m.rule_id);
    fill_win_cred(store_.dir, *m.win, r->mutable_win_cred());
    fill_unix_cred(store_.dir, *m.unix_account, r->mutable_unix_cred());
    r->set_ad_elapsed(m.ad_us);
    r->set_ldap_elapsed(0);
    r->set_nis_elapsed(0);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_wincred_by_uid, tvn_lookup_wincred_by_uid_req,
             tvn_lookup_wincred_rsp) {
    auto a = store_.dir.account_by_id(req->uid(), false, account_scope::any);
    if (!a) {
        rsp->set_status(SIM_ERR_NOT_FOUND);
        return;
    }
    rsp->set_status(SIM_OK);
    rsp->mutable_result()->set_rule_id(0);
    fill_win_cred(store_.dir, *a, rsp->mutable_result()->mutable_win_cred());
}

SIM_RPC_IMPL(sim_lookup_service, lookup_unixcred_by_usid, tvn_lookup_unixcred_by_usid_req,
             tvn_lookup_unixcred_by_usid_rsp) {
    auto a = store_.dir.account_by_sid(req->usid());
    if (!a || a->is_group) {
        rsp->set_status(SIM_ERR_NOT_FOUND);
        return;
    }
    rsp->set_status(SIM_OK);
    rsp->mutable_result()->set_rule_id(0);
    fill_unix_cred(store_.dir, *a, rsp->mutable_result()->mutable_unix_cred());
}

namespace {
void answer_domain(const std::optional<domain_rec>& d, tvn_lookup_dominfo_rsp* rsp) {
    if (!d) {
        rsp->set_status(SIM_ERR_NOT_FOUND);
        return;
    }
    rsp->set_status(SIM_OK);
    auto* i = rsp->mutable_dominfo();
    i->set_indom(d->indom);
    i->set_sid(d->sid);
    i->set_nbname(d->nbname);
    i->set_fqname(d->fqdn);
}
}  // namespace

SIM_RPC_IMPL(sim_lookup_service, lookup_dominfo_by_sid, tvn_lookup_dominfo_by_sid_req,
             tvn_lookup_dominfo_rsp) {
    answer_domain(store_.dir.domain_by_sid(req->sid()), rsp);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_dominfo_by_name, tvn_lookup_dominfo_by_name_req,
             tvn_lookup_dominfo_rsp) {
    answer_domain(store_.dir.domain_by_name(req->name()), rsp);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_dominfo_by_indom, tvn_lookup_dominfo_by_indom_req,
             tvn_lookup_dominfo_rsp) {
    answer_domain(store_.dir.domain_by_indom(req->indom()), rsp);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_dcinfo, tvn_lookup_dcinfo_req, tvn_lookup_dcinfo_rsp) {
    auto dom = tenant_domain(store_, req->tenant_id());
    if (!dom) {
        rsp->set_status(SIM_JOIN_NO_DOMAIN);
        return;
    }
    const bool one = req->locate_mode() == MODE_DETECT_ONE_DC;
    if (one && req->dc_ip().empty()) {
        rsp->set_status(SIM_ERR_INVALID);
        return;
    }
    // The preferred controller ("pref_dc", by host name) comes first; a
    // detect-one probe finds only the controller of the given address, and
    // the cached and detected lists are the same table.
    auto dcs = store_.dir.controllers(dom->indom);
    const std::string pref = store_.conf.tenant_value(req->tenant_id(), "pref_dc");
    std::stable_partition(dcs.begin(), dcs.end(), [&](const dc_rec& dc) {
        return !pref.empty() && upper(dc.hostname) == upper(pref);
    });
    for (const auto& dc : dcs) {
        if (one && dc.ip != req->dc_ip()) continue;
        auto* d = rsp->add_dcinfo();
        d->set_hostname(dc.hostname);
        d->set_fqdn(dc.fqdn);
        d->set_site(dc.site);
        d->set_priority(dc.priority);
        d->set_weight(dc.weight);
        d->set_writeable(dc.writeable);
        d->set_primedc(dc.primedc);
        d->set_closest(dc.closest);
        d->set_alived(dc.alived);
        d->set_ip(dc.ip);
        d->set_elapsed(dc.alived ? 1 : 0);
        d->set_dcfaildcount(dc.alived ? 0 : 1);
    }
    rsp->set_status(one && rsp->dcinfo_size() == 0 ? SIM_ERR_NOT_FOUND : SIM_OK);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_sid_type, tvn_lookup_sid_type_req,
             tvn_lookup_sid_type_rsp) {
    auto a = store_.dir.account_by_sid(req->sid());
    rsp->set_status(a ? SIM_OK : SIM_ERR_NOT_FOUND);
    if (a) rsp->set_is_group(a->is_group ? 1 : 0);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_join_state, tvn_lookup_join_state_req,
             tvn_lookup_join_state_rsp) {
    join_status s;
    int32_t rc = store_.join->state(req->tenant_id(), s);
    rsp->set_status(rc);
    rsp->set_join_state(s.state);
    rsp->set_join_errcode(s.errcode);
    rsp->set_join_account(s.account);
    rsp->set_join_fqdn(s.fqdn);
    rsp->set_join_version(s.version);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_machine_principal_name,
             tvn_lookup_machine_principal_name_req, tvn_lookup_machine_principal_name_rsp) {
    std::string nb = store_.conf.tenant_value(req->tenant_id(), "cluster_nbname");
    if (nb.empty()) nb = store_.dir.setting(req->tenant_id(), "hostname", default_hostname(req->tenant_id()));
    join_status s;
    joined(store_, req->tenant_id(), &s);
    std::string realm = s.fqdn;
    if (realm.empty()) {
        auto dom = tenant_domain(store_, req->tenant_id());
        if (dom) realm = dom->fqdn;
    }
    rsp->set_name(realm.empty() ? upper(nb) + "$" : upper(nb) + "$@" + upper(realm));
}

SIM_RPC_IMPL(sim_lookup_service, lookup_hostinfo_by_addr, tvn_lookup_hostinfo_by_addr_req,
             tvn_lookup_hostinfo_rsp) {
    for (const auto& n : store_.dir.reverse(req->ipaddr())) rsp->add_hostinfos(n);
    rsp->set_status(rsp->hostinfos_size() > 0 ? SIM_OK : SIM_ERR_NOT_FOUND);
    rsp->set_dest(req->has_dest() ? req->dest() : LOOKUP_ON_DNS);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_hostinfo_by_name, tvn_lookup_hostinfo_by_name_req,
             tvn_lookup_hostinfo_rsp) {
    for (const auto& ip : store_.dir.resolve(req->hostname())) rsp->add_hostinfos(ip);
    rsp->set_status(rsp->hostinfos_size() > 0 ? SIM_OK : SIM_ERR_NOT_FOUND);
    rsp->set_dest(req->has_dest() ? req->dest() : LOOKUP_ON_DNS);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_netgroup_info, tvn_lookup_netgroup_info_req,
             tvn_lookup_netgroup_info_rsp) {
    auto members = store_.dir.netgroup(req->netgrp_name());
    if (!members) {
        rsp->set_status(SIM_ERR_NOT_FOUND);
        return;
    }
    rsp->set_status(SIM_OK);
    for (const auto& m : *members) {
        rsp->add_hosts(m);
        rsp->add_triple(fmt::format("({},,)", m));
    }
}

SIM_RPC_IMPL(sim_lookup_service, netgroups_check, tvn_netgroups_check_req,
             tvn_netgroups_check_rsp) {
    for (int i = 0; i < req->netgrps_size(); ++i) {
        std::string name = req->netgrps(i);
        if (!name.empty() && name.front() == '@') name.erase(0, 1);
        auto members = store_.dir.netgroup(name);
        if (!members) continue;
        for (const auto& m : *members) {
            auto ips = store_.dir.resolve(m);
            if (std::find(ips.begin(), ips.end(), req->clnt_ip()) != ips.end()) {
                rsp->set_status(SIM_OK);
                rsp->set_matched_index(static_cast<uint32_t>(i));
                return;
            }
        }
    }
    rsp->set_status(SIM_ERR_NOT_FOUND);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_netgroup_verify, tvn_lookup_netgroup_verify_req,
             tvn_lookup_netgroup_verify_rsp) {
    auto members = store_.dir.netgroup(req->netgrp_name());
    if (!members) {
        rsp->set_status(SIM_ERR_NOT_FOUND);
        return;
    }
    for (const auto& m : *members) {
        if (req->has_clnt_info() && !req->clnt_info().empty()) {
            auto ips = store_.dir.resolve(m);
            bool hit = m == req->clnt_info() ||
                       std::find(ips.begin(), ips.end(), req->clnt_info()) != ips.end();
            if (!hit) continue;
        }
        rsp->add_triple(fmt::format("({},,)", m));
    }
    rsp->set_status(rsp->triple_size() > 0 ? SIM_OK : SIM_ERR_NOT_FOUND);
}

SIM_RPC_IMPL(sim_lookup_service, lookup_domain_user, tvn_lookup_domain_user_req,
             tvn_lookup_userinfo_rsp) {
    auto scope = scope_of(true, req->dest());
    std::optional<account_rec> a;
    if (scope && req->has_name() && !req->name().empty())
        a = store_.dir.account_by_name(req->name(), *scope, false);
    else if (scope && req->has_uid())
        a = store_.dir.account_by_id(req->uid(), false, *scope);
    answer_account(store_.dir, a, false, req->has_name() ? req->name() : std::to_string(req->uid()),
                   rsp);
}

SIM_RPC_IMPL(sim_lookup_service, LookupWinQuotaIdByName, TvnLookupWinQuotaIdByNameReq,
             TvnLookupWinQuotaIdByNameRsp) {
    auto a = store_.dir.account_by_name(req->name(), account_scope::any);
    rsp->set_result(a ? SIM_OK : SIM_ERR_NOT_FOUND);
    if (a) rsp->set_cifsquotaid(a->iid);
}

SIM_RPC_IMPL(sim_lookup_service, LookupWinNameByQuotaId, TvnLookupWinNameByQuotaIdReq,
             TvnLookupWinNameByQuotaIdRsp) {
    auto a = store_.dir.account_by_id(req->cifsquotaid(), false, account_scope::any);
    if (!a) a = store_.dir.account_by_id(req->cifsquotaid(), true, account_scope::any);
    rsp->set_result(a ? SIM_OK : SIM_ERR_NOT_FOUND);
    if (a) {
        rsp->set_name(a->name);
        rsp->set_domainname(a->domain.nbname);
        rsp->set_source(a->is_domain() ? LOOKUP_ON_AD : LOOKUP_ON_UNIX);
    }
}

SIM_RPC_IMPL(sim_lookup_service, LookupWinQuotaIdBySid, TvnLookupWinQuotaIdBySidReq,
             TvnLookupWinQuotaIdBySidRsp) {
    auto a = store_.dir.account_by_sid(req->sid());
    rsp->set_result(a ? SIM_OK : SIM_ERR_NOT_FOUND);
    if (a) rsp->set_cifsquotaid(a->iid);
}

SIM_RPC_IMPL(sim_lookup_service, ResetAuthLocalConf, TvnResetAuthLocalConfReq,
             TvnResetAuthLocalConfRsp) {
    (void)req;
    rsp->set_status(SIM_OK);
}

// ---- diagnosis --------------------------------------------------------------------

SIM_RPC_IMPL(sim_diagnose_service, refresh_dc, tvn_refresh_dc_req, tvn_refresh_dc_rsp) {
    rsp->set_status(tenant_domain(store_, req->tenant_id()) ? SIM_OK : SIM_JOIN_NO_DOMAIN);
}

SIM_RPC_IMPL(sim_diagnose_service, update_ddns, tvn_update_ddns_req, tvn_update_ddns_rsp) {
    rsp->set_status(joined(store_, req->tenant_id()) ? SIM_OK : SIM_JOIN_NOT_JOINED);
}

SIM_RPC_IMPL(sim_diagnose_service, set_log_level, tvn_set_log_level_req, tvn_set_log_level_rsp) {
    rsp->set_status(store_.dir.set_setting(0, "log_level", std::to_string(req->level())));
}

SIM_RPC_IMPL(sim_diagnose_service, enable_dom_cache, tvn_enable_dom_cache_req,
             tvn_enable_dom_cache_rsp) {
    rsp->set_status(store_.dir.set_setting(0, "dom_cache", req->value() ? "1" : "0"));
}

SIM_RPC_IMPL(sim_diagnose_service, update_dom_cache, tvn_update_dom_cache_req,
             tvn_update_dom_cache_rsp) {
    (void)req;
    rsp->set_status(SIM_OK);
}

SIM_RPC_IMPL(sim_diagnose_service, set_hostname, tvn_set_hostname_req, tvn_set_hostname_rsp) {
    if (req->name().empty() || req->name().size() > 63) {
        rsp->set_status(SIM_ERR_INVALID);
        return;
    }
    rsp->set_status(store_.dir.set_setting(req->tenant_id(), "hostname", req->name()));
}

SIM_RPC_IMPL(sim_diagnose_service, get_hostname, tvn_get_hostname_req, tvn_get_hostname_rsp) {
    rsp->set_status(SIM_OK);
    rsp->set_name(store_.dir.setting(req->tenant_id(), "hostname", default_hostname(req->tenant_id())));
}

SIM_RPC_IMPL(sim_diagnose_service, set_hostips, tvn_set_hostips_req, tvn_set_hostips_rsp) {
    for (const auto& ip : split_list(req->ip()))
        if (!is_ip_address(ip)) {
            rsp->set_status(SIM_ERR_INVALID);
            return;
        }
    rsp->set_status(store_.dir.set_setting(req->tenant_id(), "hostips", req->ip()));
}

SIM_RPC_IMPL(sim_diagnose_service, get_hostips, tvn_get_hostips_req, tvn_get_hostips_rsp) {
    rsp->set_status(SIM_OK);
    rsp->set_ip(store_.dir.setting(req->tenant_id(), "hostips", "127.0.0.1"));
}

SIM_RPC_IMPL(sim_diagnose_service, get_msrpc_session, tvn_get_msrpc_session_req,
             tvn_get_msrpc_session_rsp) {
    rsp->set_status(SIM_OK);
    join_status s;
    if (!joined(store_, req->tenant_id(), &s)) return;
    auto dom = store_.dir.domain_by_name(s.fqdn);
    if (!dom) return;
    const std::string nb =
        upper(store_.dir.setting(req->tenant_id(), "hostname", default_hostname(req->tenant_id())));
    for (const auto& dc : store_.dir.controllers(dom->indom)) {
        if (!dc.alived) continue;
        auto* si = rsp->add_session_info();
        si->set_ip(dc.ip);
        si->set_info(fmt::format("netlogon to {} as {}$", dc.fqdn, nb));
    }
}

SIM_RPC_IMPL(sim_diagnose_service, GetAuthDiagnoseInfo, TvnAuthGetDiagnoseInfoReq,
             TvnAuthGetDiagnoseInfoRsp) {
    rsp->set_status(SIM_OK);
    for (const auto& ev : store_.dir.events(req->tenant_id(), req->domain_type())) {
        auto* d = rsp->add_diagnose_info();
        d->set_occur_time(ev.occur_time);
        d->set_user_name(ev.user_name);
        d->set_error_code(ev.error_code);
        d->set_error_msg(ev.error_msg);
    }
}

int32_t sim_diagnose_service::run_join(const tvn_join_domain_req& req, bool join) {
    int32_t rc = join ? store_.join->start_join(req.tenant_id(), req.admin_account(),
                                                req.admin_password())
                      : store_.join->start_leave(req.tenant_id(), req.admin_account());
    TVN_LOG(TVN_LOG_MODULE_COMM, TVN_LOG_INFO, rc, "tvn_sim %s of tenant %u by %s: %d.",
            join ? "join" : "leave", req.tenant_id(), req.admin_account().c_str(), rc);
    if (rc != SIM_OK || req.async()) return rc;
    // A synchronous caller waits for the outcome (bounded, on the real clock).
    const auto give_up = std::chrono::steady_clock::now() +
                         std::chrono::milliseconds(store_.join->run_ms() + 5000);
    join_status s;
    while (std::chrono::steady_clock::now() < give_up) {
        if (store_.join->state(req.tenant_id(), s) != SIM_OK) return SIM_ERR_IO;
        if (s.state != JOIN_STATE_JOINING && s.state != JOIN_STATE_LEAVING) return s.errcode;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return SIM_JOIN_IN_PROGRESS;
}

SIM_RPC_IMPL(sim_diagnose_service, join_domain, tvn_join_domain_req, tvn_join_domain_rsp) {
    rsp->set_status(run_join(*req, true));
}

SIM_RPC_IMPL(sim_diagnose_service, unjoin_domain, tvn_join_domain_req, tvn_join_domain_rsp) {
    rsp->set_status(run_join(*req, false));
}

SIM_RPC_IMPL(sim_diagnose_service, set_userlock, tvn_set_userlock_req, tvn_set_userlock_rsp) {
    int32_t rc = store_.dir.set_setting(0, "prelock_check_time", std::to_string(req->prelock_check_time()));
    if (rc == SIM_OK)
        rc = store_.dir.set_setting(0, "postlock_duration_time",
                                    std::to_string(req->postlock_duration_time()));
    if (rc == SIM_OK)
        rc = store_.dir.set_setting(0, "prelock_threshold", std::to_string(req->prelock_threshold()));
    rsp->set_status(rc);
}

SIM_RPC_IMPL(sim_diagnose_service, get_userlock, tvn_get_userlock_req, tvn_get_userlock_rsp) {
    (void)req;
    auto num = [&](const char* key, const char* fallback) {
        return static_cast<uint32_t>(std::stoul(store_.dir.setting(0, key, fallback)));
    };
    rsp->set_status(SIM_OK);
    rsp->set_prelock_check_time(num("prelock_check_time", "60"));
    rsp->set_postlock_duration_time(num("postlock_duration_time", "60"));
    rsp->set_prelock_threshold(num("prelock_threshold", "5"));
}

SIM_RPC_IMPL(sim_diagnose_service, get_auth_state, tvn_get_auth_state_req,
             tvn_get_auth_state_rsp) {
    (void)req;
    rsp->set_status(SIM_OK);
    rsp->set_desc("running");
}

int32_t sim_diagnose_service::probe(uint32_t tenant_id, TvnConnectType type,
                                    const std::string& address, bool has_port, uint32_t port,
                                    uint32_t& elapsed_ms) {
    elapsed_ms = 0;
    if (has_port && (port == 0 || port > 65535)) return SIM_ERR_INVALID;
    if (type == CONNECT_TYPE_AD) {
        // The address is the domain; its controllers answer for it.
        auto dom = address.empty() ? tenant_domain(store_, tenant_id)
                                   : store_.dir.domain_by_name(address);
        if (!dom) return SIM_ERR_UNREACHABLE;
        for (const auto& dc : store_.dir.controllers(dom->indom))
            if (dc.alived) {
                elapsed_ms = 1;
                return SIM_OK;
            }
        return SIM_ERR_UNREACHABLE;
    }
    const auto peers = split_list(address);
    if (peers.empty()) return SIM_ERR_INVALID;
    for (const auto& p : peers)
        if (!store_.dir.reachable(p)) return SIM_ERR_UNREACHABLE;
    elapsed_ms = static_cast<uint32_t>(peers.size());
    return SIM_OK;
}

SIM_RPC_IMPL(sim_diagnose_service, check_connectivity, tvn_check_connectivity_req,
             tvn_check_connectivity_rsp) {
    uint32_t elapsed = 0;
    rsp->set_status(
        probe(req->tenant_id(), req->type(), req->address(), req->has_port(), req->port(), elapsed));
    rsp->set_elapsed(elapsed);
}

SIM_RPC_IMPL(sim_diagnose_service, CheckDnsAvailable, tvn_check_connectivity_req,
             tvn_check_connectivity_rsp) {
    uint32_t elapsed = 0;
    rsp->set_status(
        probe(req->tenant_id(), CONNECT_TYPE_DNS, req->address(), req->has_port(), req->port(), elapsed));
    rsp->set_elapsed(elapsed);
}

SIM_RPC_IMPL(sim_diagnose_service, enable_tenant_netrouter, tvn_enable_tenant_netrouter_req,
             tvn_enable_tenant_netrouter_rsp) {
    rsp->set_status(store_.dir.set_setting(0, "tenant_netrouter", req->value() ? "1" : "0"));
}

SIM_RPC_IMPL(sim_diagnose_service, set_feature_enable, tvn_set_feature_enable_req,
             tvn_set_feature_enable_rsp) {
    if (req->type().empty()) {
        rsp->set_status(SIM_ERR_INVALID);
        return;
    }
    rsp->set_status(store_.dir.set_setting(0, "feature:" + req->type(), req->enable() ? "true" : "false"));
}

SIM_RPC_IMPL(sim_diagnose_service, get_feature_enable, tvn_get_feature_enable_req,
             tvn_get_feature_enable_rsp) {
    rsp->set_status(SIM_OK);
    rsp->set_enable(store_.dir.setting(0, "feature:" + req->type(), "false"));
}

SIM_RPC_IMPL(sim_diagnose_service, update_namesrv_cache, tvn_update_namesrv_cache_req,
             tvn_update_namesrv_cache_rsp) {
    (void)req;
    rsp->set_status(SIM_OK);
}

SIM_RPC_IMPL(sim_diagnose_service, update_krb_keytab, tvn_update_krb_keytab_req,
             tvn_update_krb_keytab_rsp) {
    rsp->set_status(req->path().empty() ? SIM_ERR_INVALID : SIM_OK);
}

SIM_RPC_IMPL(sim_diagnose_service, update_krb_conf, tvn_update_krb_conf_req,
             tvn_update_krb_conf_rsp) {
    rsp->set_status(req->path().empty() ? SIM_ERR_INVALID : SIM_OK);
}

SIM_RPC_IMPL(sim_diagnose_service, handle_conn_view_cache, TvnConnViewCacheHandleReq,
             TvnConnViewCacheHandleRsp) {
    conn_view_rec v{req->tenant_id(), req->controller_id(), req->dns_status(), req->ad_status(),
                    req->ldap_status(), req->nis_status()};
    switch (req->handle_type()) {
        case TVN_CONN_VIEW_CACHE_HANDLE_ADD:
        case TVN_CONN_VIEW_CACHE_HANDLE_MOD: rsp->set_status(store_.dir.put_conn_view(v, false)); break;
        case TVN_CONN_VIEW_CACHE_HANDLE_DEL: rsp->set_status(store_.dir.put_conn_view(v, true)); break;
        default: rsp->set_status(SIM_ERR_INVALID); break;
    }
}

SIM_RPC_IMPL(sim_diagnose_service, list_dc_conn_view, TvnAuthListDcConnViewReq,
             TvnAuthListDcConnViewRsp) {
    rsp->set_status(SIM_OK);
    for (const auto& v : store_.dir.conn_views(req->tenant_id())) {
        auto* o = rsp->add_viewinfo();
        o->set_tenant_id(v.tenant_id);
        o->set_controller_id(std::to_string(v.controller_id));
        o->set_dns_status(v.dns_status);
        o->set_ad_status(v.ad_status);
        o->set_ldap_status(v.ldap_status);
        o->set_nis_status(v.nis_status);
    }
}

SIM_RPC_IMPL(sim_diagnose_service, GetOrClearStatis, TvnOperateStatisReq, TvnOperateStatisRsp) {
    rsp->set_result(sim_call_stats::instance().json_text());
    if (req->operation() == TVN_CLEAR_STATIS) sim_call_stats::instance().clear();
}

SIM_RPC_IMPL(sim_diagnose_service, ClearAllLocalUnixUserGrpCache,
             TvnClearAllLocalUnixUserGrpCacheReq, TvnClearAllLocalUnixUserGrpCacheRsp) {
    (void)req;
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_diagnose_service, ClearLocalUnixUserCache, TvnClearLocalUnixUserCacheReq,
             TvnClearLocalUnixUserCacheRsp) {
    (void)req;
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_diagnose_service, ClearLocalUnixGrpCache, TvnClearLocalUnixGrpCacheReq,
             TvnClearLocalUnixGrpCacheRsp) {
    (void)req;
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_diagnose_service, LdapLogonMgmt, TvnLdapLogonReq, TvnLdapLogonRsp) {
    auto a = store_.dir.account_by_name(req->username(), account_scope::any, false);
    if (!a || a->password.empty() || a->password != req->passwd()) {
        rsp->set_status(SIM_JOIN_BAD_CREDENTIALS);
        return;
    }
    rsp->set_status(SIM_OK);
    for (const auto& g : store_.dir.groups_of(*a)) rsp->add_groups(g.full_name());
}

SIM_RPC_IMPL(sim_diagnose_service, ClearTenantConfCache, TvnClearTenantConfCacheReq,
             TvnClearTenantConfCacheRsp) {
    (void)req;
    rsp->set_result(SIM_OK);
}

SIM_RPC_IMPL(sim_diagnose_service, GetKerberosKoStatus, TvnGetKerberosKoStatusReq,
             TvnGetKerberosKoStatusRsp) {
    (void)req;
    rsp->set_status(kerberos_ko_status());
}

SIM_RPC_IMPL(sim_diagnose_service, GetKoStatus, TvnGetKerberosKoStatusReq,
             TvnGetKerberosKoStatusRsp) {
    (void)req;
    rsp->set_status(SIM_OK);
}

}  // namespace tvn::sim
