// Resolve a host name to its addresses or an address to its names: one
// answer record per result.
#include "auth/tvn_omitf_auth_ad.h"
#include "talvane_lookup.pb.h"

using namespace tvn_auth;
using tvn_omitf::ITEM_READ_ABSENT;
using tvn_omitf::ITEM_READ_OK;

int TvnOmitfAuthLookUpIpInfo::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;
    std::string host, ip;
    auto got_host = tvn_omitf::read_text(req, vocab::host_name.id, host);
    auto got_ip = tvn_omitf::read_text(req, vocab::host_ip.id, ip);
    if ((got_host != ITEM_READ_ABSENT && got_host != ITEM_READ_OK) ||
        (got_ip != ITEM_READ_ABSENT && got_ip != ITEM_READ_OK) ||
        (got_host == ITEM_READ_OK) == (got_ip == ITEM_READ_OK)) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Give either host name or ip address.");
        return AD_ERR_INVALID;
    }
    uint32_t dest = *vocab::host_dest.value_of(vocab::host_dest.fallback);
    auto got = tvn_omitf::read_number(req, vocab::host_dest.id, dest);
    if (got != ITEM_READ_ABSENT && (got != ITEM_READ_OK || !vocab::host_dest.allows(dest))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Lookup dest %u is invalid.", dest);
        return AD_ERR_INVALID;
    }

    tvn_lookup_hostinfo_rsp found;
    if (got_host == ITEM_READ_OK) {
        switch (check_hostname(host)) {
            case HOST_OK: break;
            case HOST_TOO_LONG:
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Check hostname length invalid.");
                return AD_ERR_INVALID;
            case HOST_EMPTY:
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Check hostname null invalid.");
                return AD_ERR_INVALID;
            case HOST_BAD_DOTS:
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Check _. ._ or .. hostname invalid.");
                return AD_ERR_INVALID;
            case HOST_BAD_CHAR:
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Check hostname contain invalid character.");
                return AD_ERR_INVALID;
        }
        tvn_lookup_hostinfo_by_name_req q;
        q.set_tenant_id(tenant);
        q.set_hostname(host);
        q.set_dest(static_cast<TvnLookupDest>(dest));
        rc = ask(auth(), &tvn_auth_api::lookup_hostinfo_by_name, "lookup_hostinfo_by_name", q, found,
                 AD_LOOKUP_TIMEOUT_MS);
    } else {
        if (!valid_ip(ip)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "IpAddr (%s) invalid.", ip.c_str());
            return AD_ERR_INVALID;
        }
        tvn_lookup_hostinfo_by_addr_req q;
        q.set_tenant_id(tenant);
        q.set_ipaddr(ip);
        q.set_dest(static_cast<TvnLookupDest>(dest));
        rc = ask(auth(), &tvn_auth_api::lookup_hostinfo_by_addr, "lookup_hostinfo_by_addr", q, found,
                 AD_LOOKUP_TIMEOUT_MS);
    }
    if (rc != 0) return rc;
    const bool by_name = got_host == ITEM_READ_OK;
    const uint32_t answered_by = found.has_dest() ? static_cast<uint32_t>(found.dest()) : dest;
    return this->answer_page(
        rsp, found.hostinfos(),
        [&](const std::string& result) {
            return std::vector<tvn_omitf::answer_item>{
                text_item(vocab::host_name.id, by_name ? host : result),
                text_item(vocab::host_ip.id, by_name ? result : ip),
                {vocab::host_dest.id, tvn_omitf::TYPE_ENUM, std::to_string(answered_by)}, tenant_item(tenant)};
        },
        "host results");
}
