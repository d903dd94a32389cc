// Maintenance of the domain client: refresh the domain controllers or the
// domain cache, update dynamic DNS, or clear the configuration cache.
#include "auth/tvn_omitf_auth_ad.h"
#include "talvane_diagnose.pb.h"

using namespace tvn_auth;

int tvn_omitf_auth_update_related_ad_info::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;
    uint32_t what = 0;
    if (tvn_omitf::read_number(req, vocab::update_what.id, what) != tvn_omitf::ITEM_READ_OK ||
        !vocab::update_what.allows(what)) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Get update_ad_info error, updateAdInfo: %d",
                static_cast<int>(what));
        return AD_ERR_INVALID;
    }
    switch (what) {
        case 1: {
            tvn_refresh_dc_req q;
            tvn_refresh_dc_rsp r;
            q.set_tenant_id(tenant);
            rc = ask(auth(), &tvn_auth_api::refresh_dc, "refresh_dc", q, r, AD_READ_TIMEOUT_MS);
            break;
        }
        case 2: {
            tvn_update_dom_cache_req q;
            tvn_update_dom_cache_rsp r;
            rc = ask(auth(), &tvn_auth_api::update_dom_cache, "update_dom_cache", q, r, AD_READ_TIMEOUT_MS);
            break;
        }
        case 3: {
            tvn_update_ddns_req q;
            tvn_update_ddns_rsp r;
            q.set_tenant_id(tenant);
            rc = ask(auth(), &tvn_auth_api::update_ddns, "update_ddns", q, r, AD_READ_TIMEOUT_MS);
            break;
        }
        default: {
            TvnClearTenantConfCacheReq q;
            TvnClearTenantConfCacheRsp r;
            q.set_tenant_id(tenant);
            rc = ask(auth(), &tvn_auth_api::ClearTenantConfCache, "ClearTenantConfCache", q, r, AD_READ_TIMEOUT_MS);
            break;
        }
    }
    if (rc != 0) return rc;
    return answer(rsp, {tenant_item(tenant)});
}
