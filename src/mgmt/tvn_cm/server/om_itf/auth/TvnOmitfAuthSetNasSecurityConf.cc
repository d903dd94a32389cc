// Set the NTLM security settings of a tenant: the NTLM level and the logon
// session-key cache.
#include "auth/tvn_omitf_auth_ad.h"

using namespace tvn_auth;
using tvn_omitf::ITEM_READ_ABSENT;
using tvn_omitf::ITEM_READ_OK;

int TvnOmitfAuthSetNasSecurityConf::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;
    pair_list pairs;
    uint32_t level = 0;
    auto got = tvn_omitf::read_number(req, vocab::sec_ntlm.id, level);
    if (got != ITEM_READ_ABSENT) {
        if (got != ITEM_READ_OK || !vocab::sec_ntlm.allows(level)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Lmauth level %u is invalid.", level);
            return AD_ERR_INVALID;
        }
        pairs.emplace_back(key::ntlm, std::to_string(level));
    }
    uint32_t cache = 0;
    got = tvn_omitf::read_switch(req, vocab::sec_session_key_cache.id, cache);
    if (got != ITEM_READ_ABSENT) {
        if (got != ITEM_READ_OK) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Session key cache switch is invalid.");
            return AD_ERR_INVALID;
        }
        pairs.emplace_back(key::session_key_cache, cache != 0 ? "1" : "0");
    }
    if (pairs.empty()) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "No security setting given.");
        return AD_ERR_INVALID;
    }
    if ((rc = set_config(tenant, pairs)) != 0) return rc;
    return answer(rsp, {tenant_item(tenant)});
}
