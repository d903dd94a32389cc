// Set the preferred domain controller of the tenant's domain, then have the
// domain client pick its controllers again.
#include "auth/tvn_omitf_auth_ad.h"
#include "talvane_diagnose.pb.h"

using namespace tvn_auth;

int tvn_omitf_auth_modify_ad_prefdc_info::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;
    std::string name;
    auto got = tvn_omitf::read_text(req, vocab::pref_dc_name.id, name);
    if (got == tvn_omitf::ITEM_READ_FAILED) return AD_ERR_INVALID;
    if (got == tvn_omitf::ITEM_READ_ABSENT || name.empty()) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "OMAgent strValue of  pref-dc info is null.");
        return AD_ERR_INVALID;
    }
    if (name.size() > AD_PREF_DC_MAX) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID,
                "OMAgent strValue of pref-dc length is more than 15 characters.");
        return AD_ERR_INVALID;
    }
    if ((rc = set_config(tenant, {{key::pref_dc, name}})) != 0) return rc;

    tvn_refresh_dc_req refresh;
    tvn_refresh_dc_rsp refreshed;
    refresh.set_tenant_id(tenant);
    rc = ask(auth(), &tvn_auth_api::refresh_dc, "refresh_dc", refresh, refreshed, AD_READ_TIMEOUT_MS);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Reflesh_dc fail.");
        return rc;
    }
    return answer(rsp, {tenant_item(tenant)});
}
