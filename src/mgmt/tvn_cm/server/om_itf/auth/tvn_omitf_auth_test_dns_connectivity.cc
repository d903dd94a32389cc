// Test a DNS server: the address array holds at most one address; an empty
// one asks the daemon to try the tenant's own servers.
#include "auth/tvn_omitf_auth_ad.h"

using namespace tvn_auth;
using tvn_omitf::ITEM_READ_ABSENT;
using tvn_omitf::ITEM_READ_OK;

int tvn_omitf_auth_test_dns_connectivity::deal(void* req, void** rsp) {
    tvn_check_connectivity_req q;
    if (int32_t rc = check_request(req, CONNECT_TYPE_DNS, q)) return rc;
    std::string text;
    auto got = tvn_omitf::read_text(req, vocab::test_address.id, text);
    if (got != ITEM_READ_ABSENT && got != ITEM_READ_OK) return AD_ERR_INVALID;
    auto addresses = split_array(text);
    if (addresses.size() > AD_TEST_DNS_ADDRESSES_MAX) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "At most %d addresses is allowed.",
                static_cast<int>(AD_TEST_DNS_ADDRESSES_MAX));
        return AD_ERR_INVALID;
    }
    if (!addresses.empty()) {
        if (!valid_ip(addresses[0])) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "IpAddr (%s) invalid.", addresses[0].c_str());
            return AD_ERR_INVALID;
        }
        q.set_address(addresses[0]);
    }
    return check_connectivity(rsp, "CheckDnsAvailable", &tvn_auth_api::CheckDnsAvailable, q);
}
