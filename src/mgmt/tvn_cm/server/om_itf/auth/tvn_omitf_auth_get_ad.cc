// Get AD: the tenant's domain settings and the live join state with the
// last join error, as the management plane knows them.
#include "auth/tvn_omitf_auth_ad.h"
#include "talvane_lookup.pb.h"

using namespace tvn_auth;

int tvn_omitf_auth_get_ad::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;
    std::map<std::string, std::string> conf;
    if ((rc = get_config(tenant, kGetAdKeys, conf)) != 0) return rc;

    std::vector<tvn_omitf::answer_item> items{tenant_item(tenant)};
    auto text = [&](const item_def& item, const char* k) {
        if (auto it = conf.find(k); it != conf.end()) items.push_back(text_item(item.id, it->second));
    };
    auto number = [&](const item_def& item, const char* k) {
        uint32_t v = 0;
        if (auto it = conf.find(k); it != conf.end() && tvn_omitf::parse_dec_u32(it->second, v))
            items.push_back(u32_item(item.id, v));
    };
    auto flag = [&](const item_def& item, const char* k) {
        if (auto it = conf.find(k); it != conf.end()) {
            // Stored as "true"/"false" (DDNS) or "1"/"0" (the switches).
            int on = 0;
            vstore_config_pair p;
            p.set_key(k);
            p.set_value(it->second == "0" ? "off" : it->second);
            parse_bool_cfg_value(k, p, on);
            items.push_back(bool_item(item.id, on != 0));
        }
    };
    text(vocab::ad_fqdn, key::fqdn);
    text(vocab::ad_ou, key::ou);
    text(vocab::ad_nbname, key::nbname);
    text(vocab::ad_site, key::site);
    number(vocab::ad_ntlm, key::ntlm);
    flag(vocab::ad_ddns, key::ddns_enable);
    number(vocab::ad_ddns_ttl, key::ddns_ttl);
    flag(vocab::ad_forwarding, key::forwarding);
    flag(vocab::ad_dom_cache, key::dom_cache);
    flag(vocab::ad_sid_history, key::sid_history);
    number(vocab::ad_consistent, key::consistent);
    number(vocab::ad_session_threshold, key::session_threshold);

    tvn_lookup_join_state_req state_req;
    tvn_lookup_join_state_rsp state;
    state_req.set_tenant_id(tenant);
    // Without the state the settings are still worth showing.
    if (ask(auth(), &tvn_auth_api::join_state, "lookup_join_state", state_req, state, AD_READ_TIMEOUT_MS) == 0) {
        items.push_back(u32_item(vocab::ad_op.id, fold_join_state(state.join_state())));
        items.push_back(u32_item(vocab::ad_join_error.id, translate_join_error(state.join_errcode())));
    }
    return answer(rsp, items);
}
