// Clear the tenant's DNS resolver: every server and search-domain key
// written empty.
#include "auth/tvn_omitf_auth_ad.h"

using namespace tvn_auth;

int tvn_omitf_auth_delete_domain_dns_conf::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;
    pair_list pairs;
    for (const char* k : kDnsServerKeys) pairs.emplace_back(k, "");
    for (const char* k : kDnsDomainKeys) pairs.emplace_back(k, "");
    if ((rc = set_config(tenant, pairs)) != 0) return rc;
    return answer(rsp, {tenant_item(tenant)});
}
