// Set the tenant's DNS resolver: up to 3 servers and up to 6 search
// domains. Every key of a list that is given is written, those beyond the
// list empty, so that entries of an older, longer list vanish.
#include "auth/tvn_omitf_auth_ad.h"

using namespace tvn_auth;
using tvn_omitf::ITEM_READ_ABSENT;
using tvn_omitf::ITEM_READ_OK;

int tvn_omitf_auth_modify_domain_dns_conf::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;

    pair_list pairs;
    std::string text;
    auto got = tvn_omitf::read_text(req, vocab::dns_domains.id, text);
    if (got != ITEM_READ_ABSENT) {
        if (got != ITEM_READ_OK) return AD_ERR_INVALID;
        auto domains = split_list(text);
        if (domains.size() > AD_DNS_DOMAINS_MAX) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Dns domains size exceed 6. size = %llu, tenant_id: %u.",
                    static_cast<unsigned long long>(domains.size()), tenant);
            return AD_ERR_INVALID;
        }
        for (const auto& d : domains)
            if (!valid_domain_name(d)) {
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Domain name:%s is not valid.", d.c_str());
                return AD_ERR_INVALID;
            }
        for (size_t i = 0; i < AD_DNS_DOMAINS_MAX; ++i)
            pairs.emplace_back(kDnsDomainKeys[i], i < domains.size() ? domains[i] : "");
    }
    got = tvn_omitf::read_text(req, vocab::dns_servers.id, text);
    if (got != ITEM_READ_ABSENT) {
        if (got != ITEM_READ_OK) return AD_ERR_INVALID;
        auto servers = split_list(text);
        for (const auto& ip : servers)
            if (!valid_ip(ip)) {
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID,
                        "Trans_address_str_to_vector failed, tenant_id: %u.", tenant);
                return AD_ERR_INVALID;
            }
        if (servers.size() > AD_DNS_SERVERS_MAX) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Dns ips size exceed 3. size = %llu, tenant_id: %u.",
                    static_cast<unsigned long long>(servers.size()), tenant);
            return AD_ERR_INVALID;
        }
        for (size_t i = 0; i < AD_DNS_SERVERS_MAX; ++i)
            pairs.emplace_back(kDnsServerKeys[i], i < servers.size() ? servers[i] : "");
    }
    if (pairs.empty()) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Neither dns servers nor domains given.");
        return AD_ERR_INVALID;
    }
    if ((rc = set_config(tenant, pairs)) != 0) return rc;
    return answer(rsp, {tenant_item(tenant)});
}
