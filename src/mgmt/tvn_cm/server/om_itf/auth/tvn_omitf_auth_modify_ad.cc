// Modify AD: the domain settings of a tenant and, when asked, a join or a
// leave of the domain. Settings go to the configuration store; the join runs
// asynchronously in the authentication daemon and is followed with get AD.
#include <cstring>

#include "auth/tvn_cm_ad_forwarding_util.h"
#include "auth/tvn_omitf_auth_ad.h"
#include "talvane_diagnose.pb.h"
#include "talvane_lookup.pb.h"
#include "tvn_cm_util.h"
#include "tvn_sec_string.h"

using namespace tvn_auth;
using tvn_omitf::ITEM_READ_ABSENT;
using tvn_omitf::ITEM_READ_OK;

tvn_omitf_auth_modify_ad::~tvn_omitf_auth_modify_ad() { wipe_password(); }

void tvn_omitf_auth_modify_ad::wipe_password() {
    // Three passes over the buffer, on purpose: the platform's rule for
    // secrets held in handler memory.
    if (m_password)
        for (int pass = 0; pass < 3; ++pass) tvn::secure_zero(m_password.get(), m_password_len + 1);
}

bool tvn_omitf_auth_modify_ad::need_forwarding(void* msg) {
    uint32_t tenant = 0;
    std::string text;
    if (read_ad_tenant(msg, tenant, text) != 0) return false;
    return tvn_cm_ad_forwarding_util::need_forwarding(tenant);
}

int tvn_omitf_auth_modify_ad::get_forwarding_node(int& node) {
    if (tvn_cm_ad_forwarding_util::get_forwarding_node(m_tenant, node) != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -1, "Get forwarding node id failed.");
        return -1;
    }
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Get forwarding nodeId success, nodeId:%d.", node);
    return 0;
}

int32_t tvn_omitf_auth_modify_ad::check_join_param(void* req) {
    m_account.clear();
    wipe_password();
    m_password.reset();
    m_password_len = 0;
    m_op = AD_OP_NONE;

    std::string text;
    if (tvn_omitf::read_text(req, vocab::ad_account.id, text) == ITEM_READ_OK) {
        if (text.empty()) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Get admin name error.");
            return AD_ERR_INVALID;
        }
        m_account = text;
    }

    SecString pwd;
    int32_t rc = TvnAuthGetPassWord(req, 0, vocab::ad_password.id, pwd);
    if (rc == -22 || rc == -5) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Get admin pwd error.");
        return AD_ERR_INVALID;
    }
    if (rc == 0) {
        m_password_len = pwd.size();
        m_password.reset(new (std::nothrow) char[m_password_len + 1]());
        if (!m_password) return AD_ERR_NOMEM;
        std::memcpy(m_password.get(), pwd.data(), m_password_len);
        pwd.clear();
    }

    uint32_t op = 0;
    auto got = tvn_omitf::read_number(req, vocab::ad_op.id, op);
    if (got != ITEM_READ_ABSENT) {
        if (got != ITEM_READ_OK || op == AD_OP_NONE) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Get join doamin error.");
            return AD_ERR_INVALID;
        }
        m_op = op;
    }

    uint32_t overwrite = 0;
    got = tvn_omitf::read_switch(req, vocab::ad_overwrite.id, overwrite);
    if (got != ITEM_READ_ABSENT) {
        if (got != ITEM_READ_OK) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Get param failed.");
            return AD_ERR_INVALID;
        }
        m_overwrite = overwrite != 0;
    }

    const bool has_account = !m_account.empty(), has_pwd = m_password != nullptr, has_op = m_op != AD_OP_NONE;
    if (!has_account && !has_pwd && !has_op) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "No need join domian.");
        m_need_join = false;
        return 0;
    }
    if (has_account && has_pwd && has_op) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Need join domian.");
        m_need_join = true;
        return 0;
    }
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Input join domain param invalid.");
    return AD_ERR_INVALID;
}

// Each setting item that is present becomes a pair, in the store's order.
int32_t tvn_omitf_auth_modify_ad::add_settings(void* req, pair_list& pairs) {
    // A text setting: present but empty is -5, of another type -22.
    auto text_setting = [&](const item_def& item, const char* key, std::string& kept) -> int32_t {
        std::string v;
        auto got = tvn_omitf::read_text(req, item.id, v);
        if (got == ITEM_READ_ABSENT) return 0;
        if (got != ITEM_READ_OK) return AD_ERR_INVALID;
        if (v.empty()) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_NULL, "The value is null.");
            return AD_ERR_NULL;
        }
        pairs.emplace_back(key, v);
        kept = v;
        return 0;
    };
    // A number setting; `check` refuses a value, `ignore` drops it silently.
    auto number_setting = [&](const item_def& item, const char* key, std::string* kept, auto check,
                              auto ignore) -> int32_t {
        uint32_t v = 0;
        auto got = tvn_omitf::read_number(req, item.id, v);
        if (got == ITEM_READ_ABSENT) return 0;
        if (got != ITEM_READ_OK) return AD_ERR_INVALID;
        if (int32_t rc = check(v)) return rc;
        if (ignore(v)) return 0;
        pairs.emplace_back(key, std::to_string(v));
        if (kept != nullptr) *kept = std::to_string(v);
        return 0;
    };
    // A switch setting, stored as on_text / off_text.
    auto switch_setting = [&](const item_def& item, const char* key, std::string& kept, const char* on_text,
                              const char* off_text) -> int32_t {
        uint32_t v = 0;
        auto got = tvn_omitf::read_switch(req, item.id, v);
        if (got == ITEM_READ_ABSENT) return 0;
        if (got != ITEM_READ_OK) return AD_ERR_INVALID;
        pairs.emplace_back(key, v != 0 ? on_text : off_text);
        kept = pairs.back().second;
        return 0;
    };
    auto no_check = [](uint32_t) { return 0; };
    auto keep_all = [](uint32_t) { return false; };

    int32_t rc = 0;
    if ((rc = text_setting(vocab::ad_fqdn, key::fqdn, m_fqdn))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Run set_modify_fqdn_req_conf failed.");
        return rc;
    }
    if ((rc = text_setting(vocab::ad_ou, key::ou, m_ou))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Run set_modify_ou_req_conf failed.");
        return rc;
    }
    if ((rc = text_setting(vocab::ad_nbname, key::nbname, m_nbname))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Run set_modify_nbname_req_conf failed.");
        return rc;
    }
    if ((rc = text_setting(vocab::ad_site, key::site, m_site))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Run set_modify_site_req_conf failed.");
        return rc;
    }
    // Levels above the highest are ignored rather than refused: older
    // management planes send 7 for "leave as it is".
    if ((rc = number_setting(vocab::ad_ntlm, key::ntlm, &m_ntlm, no_check,
                             [](uint32_t v) { return v > AD_NTLM_LEVEL_MAX; }))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Run set_modify_ntlm_req_conf failed.");
        return rc;
    }
    if ((rc = switch_setting(vocab::ad_ddns, key::ddns_enable, m_ddns_enable, "true", "false")) ||
        (rc = number_setting(
             vocab::ad_ddns_ttl, key::ddns_ttl, &m_ddns_ttl,
             [](uint32_t v) {
                 if (v <= AD_DDNS_TTL_MAX) return 0;
                 TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "The ddns_ttl param is invalid.");
                 return static_cast<int>(AD_ERR_INVALID);
             },
             keep_all))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Set set_modify_ddns_req_conf error.");
        return rc;
    }
    if ((rc = switch_setting(vocab::ad_forwarding, key::forwarding, m_forwarding, "1", "0"))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Set set_modify_forwarding_req_conf error.");
        return rc;
    }
    if ((rc = switch_setting(vocab::ad_dom_cache, key::dom_cache, m_dom_cache, "1", "0"))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Set set_modify_dom_cache_req_conf error.");
        return rc;
    }
    if ((rc = switch_setting(vocab::ad_sid_history, key::sid_history, m_sid_history, "1", "0"))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Set set_modify_sid_history_req_conf error.");
        return rc;
    }
    if ((rc = number_setting(vocab::ad_consistent, key::consistent, nullptr, no_check, keep_all))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Set set_modify_consistent_req_conf error.");
        return rc;
    }
    if ((rc = number_setting(
             vocab::ad_session_threshold, key::session_threshold, nullptr,
             [](uint32_t v) {
                 if (v >= AD_SESSION_THRESHOLD_MIN && v <= AD_SESSION_THRESHOLD_MAX) return 0;
                 TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID,
                         "OMAgent session with threshold is %u, not in [1, 10000].", v);
                 return static_cast<int>(AD_ERR_INVALID);
             },
             keep_all))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Set set_modify_session_threshold_req_conf error.");
        return rc;
    }
    return 0;
}

int32_t tvn_omitf_auth_modify_ad::check_domain_modifiable(const pair_list& pairs) {
    tvn_lookup_join_state_req req;
    tvn_lookup_join_state_rsp rsp;
    req.set_tenant_id(m_tenant);
    int32_t rc = rpc(auth(), &tvn_auth_api::join_state, "lookup_join_state", req, rsp, AD_READ_TIMEOUT_MS);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Auth api:modify ad get join state error.");
        return rc;
    }
    if (rsp.status() != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rsp.status(), "Auth api:modify ad get join state response error.");
        return rsp.status();
    }
    const uint32_t state = rsp.join_state();
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Join state value: %u.", state);
    if (state == 2 || state == 3 || state == 6 || state == 7) return AD_ERR_JOIN_RUNNING;
    if (state == AD_STATE_NOT_JOINED && m_op == AD_OP_LEAVE) return AD_ERR_NOT_JOINED;
    if (state == AD_STATE_JOINED && m_op == AD_OP_JOIN) return AD_ERR_ALREADY_JOINED;
    if (state == AD_STATE_JOINED && m_op == AD_OP_NONE)
        for (const auto& [k, v] : pairs)
            for (const char* protected_key : kProtectedKeys)
                if (same_key(k, protected_key)) return AD_ERR_ALREADY_JOINED;
    return 0;
}

int32_t tvn_omitf_auth_modify_ad::check_lengths() {
    struct limit {
        size_t size, max;
        const char* text;
    };
    const limit limits[] = {
        {m_ou.size(), AD_OU_MAX, "Input join domain ou is more than 255 characters."},
        {m_account.size(), AD_ACCOUNT_MAX, "Input join domain username is more than 63 characters."},
        {m_password_len, AD_PASSWORD_MAX, "Input join domain user password is more than 127 characters."},
        {m_site.size(), AD_SITE_MAX, "Input join domain user site name is more than 255 characters."},
        {m_nbname.size(), AD_NBNAME_MAX, "Input join domain cluster name is more than 15 characters."},
        {m_fqdn.size(), AD_FQDN_MAX, "Input join domain fqdn is more than 127 characters."},
    };
    for (const auto& l : limits)
        if (l.size > l.max) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "%s", l.text);
            return AD_ERR_INVALID;
        }
    if (!m_nbname.empty() && !valid_nbname(m_nbname)) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_NBNAME, "Cluster name(%s) holds an invalid character.",
                m_nbname.c_str());
        return AD_ERR_NBNAME;
    }
    return 0;
}

int32_t tvn_omitf_auth_modify_ad::set_modify_ad_req(void* req) {
    int32_t rc = read_tenant(req, m_tenant);
    if (rc != 0) return rc;
    pair_list pairs;
    if ((rc = add_settings(req, pairs))) return rc;

    tvn_settenant_cfg_req check;
    tvn_conf_common_rsp check_rsp;
    auto* probe = check.add_config();
    probe->set_tenant_id(m_tenant);
    probe->set_key(key::fqdn);
    probe->set_value("");
    rc = rpc(conf(), &tvn_store_conf_api::check_multi_dc_slave, "check_multi_dc_slave", check, check_rsp,
             AD_WRITE_TIMEOUT_MS);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "check multi dc slave fail.");
        return rc;
    }
    m_multi_dc = check_rsp.flag();

    if ((rc = check_domain_modifiable(pairs))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Domain is not allow to modify.");
        return rc;
    }
    if (pairs.empty()) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "No conf to change.");
        return 0;
    }
    if ((rc = check_lengths())) return rc;

    tvn_settenant_cfg_req set;
    tvn_conf_common_rsp set_rsp;
    for (const auto& [k, v] : pairs) {
        auto* p = set.add_config();
        p->set_tenant_id(m_tenant);
        p->set_key(k);
        p->set_value(v);
    }
    rc = rpc(conf(), &tvn_store_conf_api::set_tenant_config, "set_tenant_config", set, set_rsp, AD_WRITE_TIMEOUT_MS);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent set_tenant_config fail.");
        return rc;
    }
    return set_rsp.result();
}

int32_t tvn_omitf_auth_modify_ad::join_or_unjoin_domain() {
    if (m_multi_dc == AD_MULTI_DC_SLAVE && m_op == AD_OP_LEAVE) {
        // The primary side holds the domain's computer account; this side
        // only drops its copy and must not need administrator credentials.
        m_account = random_credential();
        std::string pwd = random_credential();
        wipe_password();
        m_password_len = pwd.size();
        m_password.reset(new (std::nothrow) char[m_password_len + 1]());
        if (!m_password) return AD_ERR_NOMEM;
        std::memcpy(m_password.get(), pwd.data(), m_password_len);
        tvn::secure_zero(pwd.data(), pwd.size());
    }
    if (m_account.empty() || !m_password) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Name or pwd is NULL.");
        return AD_ERR_INVALID;
    }

    tvn_join_domain_req req;
    tvn_join_domain_rsp rsp;
    req.set_tenant_id(m_tenant);
    req.set_admin_account(m_account);
    req.set_admin_password(m_password.get(), m_password_len);
    req.set_async(true);
    req.set_overwrite_same_account(m_overwrite);
    wipe_password();
    m_account.clear();

    int32_t rc = 0;
    if (m_op == AD_OP_LEAVE) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Begin unjoin domain.");
        rc = rpc(auth(), &tvn_auth_api::unjoin_domain, "unjoin_domain", req, rsp, AD_JOIN_TIMEOUT_MS);
    } else if (m_op == AD_OP_JOIN) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Begin join domain.");
        rc = rpc(auth(), &tvn_auth_api::join_domain, "join_domain", req, rsp, AD_JOIN_TIMEOUT_MS);
    } else {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Input join domain status invalid.");
        rc = AD_ERR_INVALID;
    }
    // The request's copy of the password goes too.
    tvn::secure_zero(req.mutable_admin_password()->data(), req.admin_password().size());
    req.clear_admin_password();
    if (rc != 0) {
        if (rc != AD_ERR_INVALID) TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Auth api error.");
        return rc;
    }
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, rsp.status(), "End join_or_unjoin_domain_op, %d.", rsp.status());
    return rsp.status();
}

int tvn_omitf_auth_modify_ad::deal(void* req, void** rsp) {
    int32_t rc = check_join_param(req);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Check_join_domain_param error.");
    } else if ((rc = set_modify_ad_req(req)) != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Set modify ad req info fail.");
    } else if (m_need_join && (rc = join_or_unjoin_domain()) != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Set join domain operator error.");
    }
    wipe_password();
    if (rc != 0) {
        tvn_cm_ad_forwarding_util::reset_forwarding_node(m_tenant);
        return rc;
    }
    return answer(rsp, {tenant_item(m_tenant)});
}

// The domain a join record names: the request's, else the one stored.
std::string tvn_omitf_auth_modify_ad::oplog_fqdn() {
    if (!m_fqdn.empty()) return m_fqdn;
    tvn_gettenant_cfg_req req;
    tvn_gettenant_cfg_rsp rsp;
    req.set_tenant_id(m_tenant);
    req.add_key(key::fqdn);
    if (rpc(conf(), &tvn_store_conf_api::get_tenant_config, "get_tenant_config", req, rsp, AD_READ_TIMEOUT_MS) == 0 &&
        rsp.status().result() == 0 && rsp.config_size() == 1)
        return rsp.config(0).value();
    return "";
}

void tvn_omitf_auth_modify_ad::oplog_send(int result, unsigned int number) {
    std::string ou = m_ou;
    for (char& c : ou)
        if (c == ',') c = ';';
    const std::pair<const std::string*, oplog_events> records[] = {
        {&ou, EV_OU},
        {&m_site, EV_SITE},
        {&m_fqdn, EV_FQDN},
        {&m_nbname, EV_NBNAME},
        {&m_ntlm, EV_NTLM},
        {&m_ddns_enable, EV_DDNS_ENABLE},
        {&m_ddns_ttl, EV_DDNS_TTL},
        {&m_forwarding, EV_FORWARDING},
        {&m_dom_cache, EV_DOM_CACHE},
        {&m_sid_history, EV_SID_HISTORY},
    };
    auto send = [&](const std::string& value, const oplog_events& ev) {
        std::string params = result == 0 ? value : tvn_omitf::oplog_with_result(value, result);
        const uint64_t id = result == 0 ? ev.ok : ev.fail;
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_DEBUG, 0, "Cifs_create_auth:%s, errcode:%llu.", params.c_str(),
                static_cast<unsigned long long>(id));
        tvn_send_operation(number, id, m_tenant, params);
    };
    for (const auto& [value, ev] : records)
        if (!value->empty()) send(*value, ev);
    if (m_need_join) send(std::string(m_op == AD_OP_JOIN ? "yes" : "no") + "," + oplog_fqdn(), EV_JOIN);
}
