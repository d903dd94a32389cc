#include "tvn_omitf_kerberos_realm.h"

using namespace tvn_krb;

int TvnOmitfKerberosDelRealmConfig::deal(void* req, void** rsp) {
    int32_t rc = read_tenant(req);
    if (rc != 0 || (rc = read_realm_name(req, m_realm.name)) != 0) return rc;

    KerberosDelRealmConfigReq del;
    del.set_tenant_id(m_tenant);
    del.set_name(m_realm.name);
    KerberosCommonRsp reply;
    rc = call_store(&TvnStoreKerberosApi::DelKerberosRealmConfig, "DelKerberosRealmConfig", del, reply,
                    "Delete Kerberos realm config failed.");
    if (rc != 0) return rc;
    return answer(rsp, {{vocab::realm_name.id, tvn_omitf::TYPE_STRING, m_realm.name}, tenant_item()});
}

void TvnOmitfKerberosDelRealmConfig::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_KRB_REALM_DEL_OK, OPLOG_KRB_REALM_DEL_FAIL, m_tenant, m_realm.name);
}
