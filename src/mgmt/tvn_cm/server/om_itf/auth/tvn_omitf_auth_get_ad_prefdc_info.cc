// Show the preferred domain controller of the tenant's domain.
#include "auth/tvn_omitf_auth_ad.h"

using namespace tvn_auth;

int tvn_omitf_auth_get_ad_prefdc_info::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;
    std::map<std::string, std::string> conf;
    const char* const keys[] = {key::pref_dc};
    if ((rc = get_config(tenant, keys, conf)) != 0) return rc;
    std::vector<tvn_omitf::answer_item> items{tenant_item(tenant)};
    if (auto it = conf.find(key::pref_dc); it != conf.end() && !it->second.empty())
        items.push_back(text_item(vocab::pref_dc_name.id, it->second));
    return answer(rsp, items);
}
