// Show the tenant's DNS resolver: the servers and the search domains, each
// list joined into one comma-separated text.
#include "auth/tvn_omitf_auth_ad.h"

using namespace tvn_auth;

int tvn_omitf_auth_get_domain_dns_conf::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;
    std::vector<const char*> keys(std::begin(kDnsServerKeys), std::end(kDnsServerKeys));
    keys.insert(keys.end(), std::begin(kDnsDomainKeys), std::end(kDnsDomainKeys));
    std::map<std::string, std::string> conf;
    if ((rc = get_config(tenant, keys, conf)) != 0) return rc;
    auto collect = [&conf](std::span<const char* const> list) {
        std::vector<std::string> out;
        for (const char* k : list)
            if (auto it = conf.find(k); it != conf.end() && !it->second.empty()) out.push_back(it->second);
        return join_list(out);
    };
    return answer(rsp, {tenant_item(tenant), text_item(vocab::dns_servers.id, collect(kDnsServerKeys)),
                        text_item(vocab::dns_domains.id, collect(kDnsDomainKeys))});
}
