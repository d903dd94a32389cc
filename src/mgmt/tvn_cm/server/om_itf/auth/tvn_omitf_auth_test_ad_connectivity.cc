// Test that the tenant's domain (or the one named) answers.
#include "auth/tvn_omitf_auth_ad.h"

using namespace tvn_auth;
using tvn_omitf::ITEM_READ_ABSENT;
using tvn_omitf::ITEM_READ_OK;

int tvn_omitf_auth_test_ad_connectivity::deal(void* req, void** rsp) {
    tvn_check_connectivity_req q;
    if (int32_t rc = check_request(req, CONNECT_TYPE_AD, q)) return rc;
    std::string fqdn;
    auto got = tvn_omitf::read_text(req, vocab::test_fqdn.id, fqdn);
    if (got != ITEM_READ_ABSENT) {
        if (got != ITEM_READ_OK) return AD_ERR_INVALID;
        if (fqdn.size() > AD_FQDN_MAX) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "AD fqdn is more than %d characters.",
                    static_cast<int>(AD_FQDN_MAX));
            return AD_ERR_INVALID;
        }
        q.set_address(fqdn);
    }
    uint32_t node = 0;
    got = tvn_omitf::read_number(req, vocab::test_node.id, node);
    if (got != ITEM_READ_ABSENT) {
        if (got != ITEM_READ_OK) return AD_ERR_INVALID;
        q.set_node_id(node);
    }
    return check_connectivity(rsp, "check_connectivity", &tvn_auth_api::check_connectivity, q);
}
