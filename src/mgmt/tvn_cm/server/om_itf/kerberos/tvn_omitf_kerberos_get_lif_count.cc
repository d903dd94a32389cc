#include "tvn_omitf_kerberos_service.h"

using namespace tvn_krb;

int TvnOmitfKerberosGetLifCount::deal(void* req, void** rsp) {
    std::optional<std::string> realm;
    int32_t rc = read_tenant(req);
    if (rc != 0 || (rc = tvn_omitf::item_reader(req).take(vocab::service_realm, realm,
                                                          TVN_OM_FAIL(KRB_ERR_NAME, "Realm name invalid."))) != 0)
        return rc;
    KerberosGetLifCountReq count;
    count.set_tenant_id(m_tenant);
    if (realm) count.set_realm_name(*realm);
    KerberosGetLifCountRsp reply;
    rc = call_store(&TvnStoreKerberosApi::GetKerberosLifCount, "GetKerberosLifCount", count, reply,
                    "Get Kerberos lif count failed.");
    if (rc != 0) return rc;
    return answer(rsp,
                  {{tvn_om_common::kCount.id, tvn_omitf::TYPE_UNSIGNED, std::to_string(reply.count())}, tenant_item()});
}
