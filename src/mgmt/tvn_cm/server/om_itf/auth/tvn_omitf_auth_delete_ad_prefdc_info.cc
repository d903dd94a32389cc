// Forget the preferred domain controller: the pair is written empty.
#include "auth/tvn_omitf_auth_ad.h"

using namespace tvn_auth;

int tvn_omitf_auth_delete_ad_prefdc_info::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;
    if ((rc = set_config(tenant, {{key::pref_dc, ""}})) != 0) return rc;
    return answer(rsp, {tenant_item(tenant)});
}
