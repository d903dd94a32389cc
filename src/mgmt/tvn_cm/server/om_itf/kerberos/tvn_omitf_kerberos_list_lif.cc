#include "tvn_omitf_kerberos_service.h"

using namespace tvn_krb;

int TvnOmitfKerberosListAvailableLif::deal(void* req, void** rsp) {
    std::string filter;
    uint32_t offset = 0, limit = 0;
    int32_t rc = read_tenant(req);
    if (rc != 0 || (rc = read_range(req, tvn_om_common::kRange.id, offset, limit)) != 0) return rc;
    if ((rc = read_lif_filter(req, filter)) != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "The query condition is invalid.");
        return rc;
    }
    KerberosListAvailableLifRsp reply;
    rc = list_available_lifs(m_tenant, filter, offset, limit, reply);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "List available lif failed.");
        return rc;
    }
    return answer_list(
        rsp, reply.lif_info(),
        [](const kerberos_lifinfo& lif) -> std::vector<tvn_omitf::answer_item> {
            return {{vocab::service_lif.id, tvn_omitf::TYPE_STRING, lif.lif_name()},
                    {tvn_omitf::ITEM_ID, tvn_omitf::TYPE_STRING, lif.lifid()}};
        },
        "lifs");
}
