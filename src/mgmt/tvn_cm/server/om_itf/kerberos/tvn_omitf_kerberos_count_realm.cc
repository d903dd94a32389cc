#include "tvn_omitf_kerberos_realm.h"

using namespace tvn_krb;

int TvnOmitfKerberosGetRealmConfigCount::deal(void* req, void** rsp) {
    int32_t rc = read_tenant(req);
    if (rc != 0) return rc;
    KerberosGetRealmConfigCountReq count;
    count.set_tenant_id(m_tenant);
    KerberosGetRealmConfigCountRsp reply;
    rc = call_store(&TvnStoreKerberosApi::GetKerberosRealmConfigCount, "GetKerberosRealmConfigCount", count, reply,
                    "Get Kerberos realm config count failed.");
    if (rc != 0) return rc;
    return answer(rsp,
                  {{tvn_om_common::kCount.id, tvn_omitf::TYPE_UNSIGNED, std::to_string(reply.count())}, tenant_item()});
}
