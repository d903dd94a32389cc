#include "tvn_omitf_kerberos_service.h"

using namespace tvn_krb;

int TvnOmitfKerberosListAvailableLifCount::deal(void* req, void** rsp) {
    std::string filter;
    int32_t rc = read_tenant(req);
    if (rc != 0) return rc;
    if ((rc = read_lif_filter(req, filter)) != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "The query condition is invalid.");
        return rc;
    }
    KerberosListAvailableLifRsp reply;
    rc = list_available_lifs(m_tenant, filter, 0, 0, reply);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "List available lif failed.");
        return rc;
    }
    return answer(rsp, {{tvn_om_common::kCount.id, tvn_omitf::TYPE_UNSIGNED, std::to_string(reply.lif_info_size())},
                        tenant_item()});
}
