// List the domain controllers of the tenant's domain: from the cache, by
// asking one controller, or by detecting them all.
#include "auth/tvn_omitf_auth_ad.h"
#include "talvane_lookup.pb.h"

using namespace tvn_auth;
using tvn_omitf::ITEM_READ_ABSENT;
using tvn_omitf::ITEM_READ_OK;

int tvn_omitf_auth_list_ad_dc_info::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;

    uint32_t mode = MODE_CACHE;
    auto got = tvn_omitf::read_number(req, vocab::dc_mode.id, mode);
    if (got != ITEM_READ_ABSENT && (got != ITEM_READ_OK || mode > MODE_DETECT_ALL)) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "ModeType:%u is not valid.", mode);
        return AD_ERR_INVALID;
    }
    std::string ip;
    got = tvn_omitf::read_text(req, vocab::dc_ip.id, ip);
    if (got == ITEM_READ_OK && !ip.empty() && !valid_ip(ip)) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "IpAddr (%s) invalid.", ip.c_str());
        return AD_ERR_INVALID;
    }
    if (got != ITEM_READ_ABSENT && got != ITEM_READ_OK) return AD_ERR_INVALID;
    if (mode == MODE_DETECT_ONE_DC && ip.empty()) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Require param ip_addr.");
        return AD_ERR_INVALID;
    }

    tvn_lookup_dcinfo_req q;
    tvn_lookup_dcinfo_rsp dcs;
    q.set_tenant_id(tenant);
    q.set_locate_mode(static_cast<TvnLocateMode>(mode));
    if (!ip.empty()) q.set_dc_ip(ip);
    if ((rc = ask(auth(), &tvn_auth_api::lookup_dcinfo_list, "lookup_dcinfo", q, dcs, AD_READ_TIMEOUT_MS)) != 0)
        return rc;
    return this->answer_page(
        rsp, dcs.dcinfo(),
        [tenant](const tvn_lookup_dcinfo& dc) {
            return std::vector<tvn_omitf::answer_item>{
                text_item(vocab::dc_name.id, dc.hostname()), text_item(vocab::dc_fqdn.id, dc.fqdn()),
                u32_item(vocab::dc_priority.id, dc.priority()), u32_item(vocab::dc_weight.id, dc.weight()),
                bool_item(vocab::dc_writeable.id, dc.writeable()), bool_item(vocab::dc_primedc.id, dc.primedc()),
                bool_item(vocab::dc_alived.id, dc.alived()), text_item(vocab::dc_ip.id, dc.ip()),
                text_item(vocab::dc_site.id, dc.site()), tenant_item(tenant)};
        },
        "domain controllers");
}
