#include "tvn_omitf_kerberos_realm.h"

using namespace tvn_krb;

int TvnOmitfKerberosListRealmConfig::deal(void* req, void** rsp) {
    uint32_t offset = 0, limit = 0;
    int32_t rc = read_tenant(req);
    if (rc != 0 || (rc = read_range(req, vocab::realm_range.id, offset, limit)) != 0) return rc;
    KerberosListRealmConfigReq list;
    list.set_tenant_id(m_tenant);
    list.set_offset(static_cast<int32_t>(offset));
    list.set_limit(static_cast<int32_t>(limit));
    KerberosListRealmConfigRsp reply;
    rc = call_store(&TvnStoreKerberosApi::ListKerberosRealmConfig, "ListKerberosRealmConfig", list, reply,
                    "List Kerberos realm config failed.");
    if (rc != 0) return rc;
    return answer_list(rsp, reply.realmconfig(), realm_items, "realms");
}
