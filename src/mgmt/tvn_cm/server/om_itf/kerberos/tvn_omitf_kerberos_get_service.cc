#include "tvn_omitf_kerberos_service.h"

using namespace tvn_krb;

int TvnOmitfKerberosGetServiceConf::deal(void* req, void** rsp) {
    std::string lif;
    int32_t rc = read_tenant(req);
    if (rc != 0 || (rc = tvn_omitf::item_reader(req).need(vocab::service_lif, lif,
                                                          TVN_OM_FAIL(KRB_ERR_LIF_NAME, "Lif name is null."),
                                                          TVN_OM_FAIL(KRB_ERR_LIF_NAME, "Lif name invalid."))) != 0)
        return rc;
    if (lif.empty() || lif.size() > KRB_LIF_NAME_MAX)
        return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_LIF_NAME, "Lif name length invalid: %s."), lif);
    KerberosGetServiceConfigReq get;
    get.mutable_service_info()->set_tenant_id(m_tenant);
    get.mutable_service_info()->set_lif_name(lif);
    get.set_offset(0);
    get.set_limit(1);
    KerberosGetServiceConfigRsp reply;
    rc = call_store(&TvnStoreKerberosApi::GetKerberosServiceConfig, "GetKerberosServiceConfig", get, reply,
                    "Get Kerberos service config failed.");
    if (rc != 0) return rc;
    if (reply.service_info_size() == 0) return answer(rsp, {{vocab::service_lif.id, tvn_omitf::TYPE_STRING, lif}});
    return answer(rsp, service_items(reply.service_info(0)));
}
