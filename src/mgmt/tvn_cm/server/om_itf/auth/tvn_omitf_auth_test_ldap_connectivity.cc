// Test LDAP servers: a comma-separated address list and a port.
#include "auth/tvn_omitf_auth_ad.h"

using namespace tvn_auth;
using tvn_omitf::ITEM_READ_ABSENT;
using tvn_omitf::ITEM_READ_OK;

int tvn_omitf_auth_test_ldap_connectivity::deal(void* req, void** rsp) {
    tvn_check_connectivity_req q;
    if (int32_t rc = check_request(req, CONNECT_TYPE_LDAP, q)) return rc;
    std::string address;
    if (tvn_omitf::read_text(req, vocab::test_address.id, address) != ITEM_READ_OK || address.empty()) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Ldap_address is null.");
        return AD_ERR_INVALID;
    }
    if (address.size() > AD_LDAP_ADDRESS_MAX) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Ldap_address too long");
        return AD_ERR_INVALID;
    }
    if (address.back() == ',') {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Ldap_address can not end with comma.");
        return AD_ERR_INVALID;
    }
    q.set_address(address);
    uint32_t port = 0;
    auto got = tvn_omitf::read_number(req, vocab::test_port.id, port);
    if (got != ITEM_READ_ABSENT) {
        if (got != ITEM_READ_OK || !vocab::test_port.allows(port)) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Port: %d is invalid.", static_cast<int>(port));
            return AD_ERR_INVALID;
        }
        q.set_port(port);
    }
    return check_connectivity(rsp, "check_connectivity", &tvn_auth_api::check_connectivity, q);
}
