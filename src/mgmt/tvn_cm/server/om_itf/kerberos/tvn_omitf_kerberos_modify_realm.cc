#include "tvn_omitf_kerberos_realm.h"

using namespace tvn_krb;

int TvnOmitfKerberosModifyRealmConfig::deal(void* req, void** rsp) {
    int32_t rc = read_realm(req, false);
    if (rc != 0) return rc;

    KerberosModifyRealmConfigReq mod;
    mod.set_tenant_id(m_tenant);
    mod.set_name(m_realm.name);
    if (m_realm.kdc_ip) mod.set_kdcip(*m_realm.kdc_ip);
    if (m_realm.port) mod.set_port(*m_realm.port);
    if (m_realm.vendor) mod.set_vendor(static_cast<KerberosKdcVendor>(*m_realm.vendor));
    if (m_realm.ad_server) mod.set_adservername(*m_realm.ad_server);
    if (m_realm.ad_ip) mod.set_adip(*m_realm.ad_ip);
    KerberosCommonRsp reply;
    rc = call_store(&TvnStoreKerberosApi::ModifyKerberosRealmConfig, "ModifyKerberosRealmConfig", mod, reply,
                    "Modify Kerberos realm config failed.");
    if (rc != 0) return rc;
    return answer(rsp, {{vocab::realm_name.id, tvn_omitf::TYPE_STRING, m_realm.name}, tenant_item()});
}

void TvnOmitfKerberosModifyRealmConfig::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_KRB_REALM_MOD_OK, OPLOG_KRB_REALM_MOD_FAIL, m_tenant, realm_oplog());
}
