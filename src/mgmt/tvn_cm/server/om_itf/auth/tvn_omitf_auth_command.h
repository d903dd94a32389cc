#pragma once
// Base of the AD domain command classes: the common command base, plus the
// tenant read every command of the family makes the same way, the two
// clients it calls (configuration store, authentication daemon) and the
// settings-pair reads and writes. Every helper logs at the command class's
// own sites.
#include <cstdint>
#include <map>
#include <optional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "auth/tvn_omitf_auth_util.h"
#include "auth/tvn_omitf_auth_vocab.h"
#include "common/tvn_omitf_command.h"
#include "tvn_log.h"

template <class Derived>
class tvn_omitf_auth_command : public tvn_omitf_command<Derived> {
public:
    using tvn_omitf_command<Derived>::tvn_omitf_command;

protected:
    using pair_list = std::vector<std::pair<std::string, std::string>>;

    // Item 4090 (absent: tenant 0; unreadable or empty -1; not a tenant id
    // -22) and the tenant's existence.
    int32_t read_tenant(void* req, uint32_t& tenant) {
        std::string text;
        int32_t rc = tvn_auth::read_ad_tenant(req, tenant, text);
        if (rc == tvn_auth::AD_ERR_ITEM) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "%s:get tenant id error.", tag());
            return rc;
        }
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "%s:tenantId is invalid, TenantId:%s.", tag(), text.c_str());
            return tvn_auth::AD_ERR_INVALID;
        }
        rc = tvn_omitf::tvn_cm_check_tenant_exist(tenant);
        if (rc != 0) TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "%s:tenant %u does not exist.", tag(), tenant);
        return rc;
    }

    tvn_store_conf_api* conf() {
        if (!m_conf) {
            m_conf = tvn_auth::new_conf_api();
            if (!m_conf) TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -6, "New tvn_store_conf_api failed.");
        }
        return m_conf.get();
    }
    tvn_auth_api* auth() {
        if (!m_auth) {
            m_auth = tvn_auth::new_auth_api();
            if (!m_auth) TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, -6, "New tvn_auth_api failed.");
        }
        return m_auth.get();
    }

    // One call: the transport's code (logged), else 0 with the daemon's
    // verdict left in the reply.
    template <class Api, class Req, class Rsp>
    int32_t rpc(Api* api, int32_t (Api::*method)(const Req&, Rsp&, int), const char* name, const Req& request,
                Rsp& reply, unsigned timeout_ms) {
        if (api == nullptr) return tvn_auth::AD_ERR_NOMEM;
        int32_t rc = (api->*method)(request, reply, static_cast<int>(tvn_omitf::rpc_timeout_ms(timeout_ms)));
        if (rc != 0) TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent %s rpc call is failed.", name);
        return rc;
    }
    // One call and the daemon's verdict: 0 only when both succeeded.
    template <class Api, class Req, class Rsp>
    int32_t ask(Api* api, int32_t (Api::*method)(const Req&, Rsp&, int), const char* name, const Req& request,
                Rsp& reply, unsigned timeout_ms) {
        int32_t rc = rpc(api, method, name, request, reply, timeout_ms);
        if (rc != 0) return rc;
        rc = tvn_auth::reply_status(reply);
        if (rc != 0) TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "OMAgent %s is failed, rc =%d.", name, rc);
        return rc;
    }

    // The tenant's pairs of these keys (a key not set has no entry).
    int32_t get_config(uint32_t tenant, std::span<const char* const> keys, std::map<std::string, std::string>& out) {
        tvn_gettenant_cfg_req req;
        tvn_gettenant_cfg_rsp rsp;
        req.set_tenant_id(tenant);
        for (const char* k : keys) req.add_key(k);
        int32_t rc = ask(conf(), &tvn_store_conf_api::get_tenant_config, "get_tenant_config", req, rsp,
                         tvn_auth::AD_READ_TIMEOUT_MS);
        if (rc == 0) out = tvn_auth::pairs_by_key(rsp);
        return rc;
    }
    // Writes the pairs in one request.
    int32_t set_config(uint32_t tenant, const pair_list& pairs) {
        tvn_settenant_cfg_req req;
        tvn_conf_common_rsp rsp;
        for (const auto& [k, v] : pairs) {
            auto* p = req.add_config();
            p->set_tenant_id(tenant);
            p->set_key(k);
            p->set_value(v);
        }
        return ask(conf(), &tvn_store_conf_api::set_tenant_config, "set_tenant_config", req, rsp,
                   tvn_auth::AD_WRITE_TIMEOUT_MS);
    }

    // An answer of one record.
    int32_t answer(void** rsp, const std::vector<tvn_omitf::answer_item>& items) {
        int32_t rc = tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS, items);
        if (rc != 0) TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "%s answer could not be written.", tag());
        return rc;
    }

    // An account by SID when one is given, else by name, where `dest`
    // says (the type narrows a look-up by name).
    int32_t lookup_account(uint32_t tenant, const std::string& sid, const std::string& name, TvnLookupDest dest,
                           std::optional<TvnLookupType> type, tvn_lookup_userinfo_rsp& found) {
        if (!sid.empty()) {
            tvn_lookup_userinfo_by_sid_req q;
            q.set_tenant_id(tenant);
            q.set_sid(sid);
            q.set_dest(dest);
            return ask(auth(), &tvn_auth_api::lookup_userinfo_by_sid, "lookup_userinfo_by_sid", q, found,
                       tvn_auth::AD_LOOKUP_TIMEOUT_MS);
        }
        tvn_lookup_userinfo_by_name_req q;
        q.set_tenant_id(tenant);
        q.set_name(name);
        q.set_dest(dest);
        if (type) q.set_type(*type);
        return ask(auth(), &tvn_auth_api::lookup_userinfo_by_name, "lookup_userinfo_by_name", q, found,
                   tvn_auth::AD_LOOKUP_TIMEOUT_MS);
    }

    // The request of a connectivity check: the tenant and the check's type.
    int32_t check_request(void* req, TvnConnectType type, tvn_check_connectivity_req& q) {
        uint32_t tenant = 0;
        int32_t rc = read_tenant(req, tenant);
        q.set_tenant_id(tenant);
        q.set_type(type);
        return rc;
    }

    // A connectivity check: the daemon's verdict is the command's result;
    // the answer carries the time the check took.
    int32_t check_connectivity(void** rsp, const char* name,
                               int32_t (tvn_auth_api::*method)(const tvn_check_connectivity_req&,
                                                               tvn_check_connectivity_rsp&, int),
                               const tvn_check_connectivity_req& request) {
        tvn_check_connectivity_rsp reply;
        int32_t rc = ask(auth(), method, name, request, reply, tvn_auth::AD_READ_TIMEOUT_MS);
        if (rc != 0) return rc;
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "%s took %u ms.", name, reply.elapsed());
        return answer(rsp, {tvn_omitf::answer_item{TVN_OM_ITEM_VSTORE_ID, tvn_omitf::TYPE_STRING,
                                                   std::to_string(request.tenant_id())},
                            tvn_omitf::answer_item{tvn_auth::vocab::test_elapsed.id, tvn_omitf::TYPE_UNSIGNED,
                                                   std::to_string(reply.elapsed())}});
    }

    static const char* tag() {
        if constexpr (requires { Derived::kTag; })
            return Derived::kTag;
        else
            return Derived::kName;
    }

private:
    std::unique_ptr<tvn_store_conf_api> m_conf;
    std::unique_ptr<tvn_auth_api> m_auth;
};

namespace tvn_auth {
using tvn_om_vocab::item_def;

// Answer items.
inline tvn_omitf::answer_item text_item(uint32_t id, std::string v) { return {id, tvn_omitf::TYPE_STRING, std::move(v)}; }
inline tvn_omitf::answer_item u32_item(uint32_t id, uint64_t v) {
    return {id, tvn_omitf::TYPE_UNSIGNED, std::to_string(v)};
}
inline tvn_omitf::answer_item bool_item(uint32_t id, bool v) {
    return {id, tvn_omitf::TYPE_BOOL, v ? "true" : "false"};
}
inline tvn_omitf::answer_item tenant_item(uint32_t tenant) { return text_item(TVN_OM_ITEM_VSTORE_ID, std::to_string(tenant)); }
}  // namespace tvn_auth
