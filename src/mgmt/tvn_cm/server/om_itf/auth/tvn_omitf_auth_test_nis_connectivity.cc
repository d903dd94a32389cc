// Test NIS servers: a comma-separated address list, as for LDAP.
#include "auth/tvn_omitf_auth_ad.h"

using namespace tvn_auth;

int tvn_omitf_auth_test_nis_connectivity::deal(void* req, void** rsp) {
    tvn_check_connectivity_req q;
    if (int32_t rc = check_request(req, CONNECT_TYPE_NIS, q)) return rc;
    std::string address;
    if (tvn_omitf::read_text(req, vocab::test_address.id, address) != tvn_omitf::ITEM_READ_OK ||
        split_list(address).empty() || address.size() > AD_LDAP_ADDRESS_MAX || address.back() == ',') {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Nis_address(%s) is invalid.", address.c_str());
        return AD_ERR_INVALID;
    }
    q.set_address(address);
    return check_connectivity(rsp, "check_connectivity", &tvn_auth_api::check_connectivity, q);
}
