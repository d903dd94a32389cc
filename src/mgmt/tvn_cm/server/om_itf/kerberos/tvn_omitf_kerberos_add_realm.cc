#include "talvane_auth.pb.h"
#include "tvn_auth_api.h"
#include "tvn_cm_util.h"
#include "tvn_omitf_kerberos_realm.h"

using namespace tvn_krb;

int TvnOmitfKerberosAddRealmConfig::deal(void* req, void** rsp) {
    int32_t rc = read_realm(req, true);
    if (rc != 0) return rc;

    // A realm is of no use until the kernel's Kerberos module runs.
    tvn_auth_api auth("127.0.0.1", false, 1);
    TvnGetKerberosKoStatusReq ko_req;
    TvnGetKerberosKoStatusRsp ko_rsp;
    rc =
        auth.GetKerberosKoStatus(ko_req, ko_rsp, static_cast<int>(tvn_omitf::rpc_timeout_ms(KRB_KO_STATUS_TIMEOUT_MS)));
    if (rc == 0) rc = ko_rsp.status();
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "KO not ready, rc is %d", rc);
        return rc;
    }

    KerberosAddRealmConfigReq add;
    auto* realm = add.mutable_realmconfig();
    realm->set_tenant_id(m_tenant);
    realm->set_name(m_realm.name);
    realm->set_kdcip(*m_realm.kdc_ip);
    realm->set_port(m_realm.port.value_or(88));
    realm->set_vendor(static_cast<KerberosKdcVendor>(*m_realm.vendor));
    if (m_realm.ad_server) realm->set_adservername(*m_realm.ad_server);
    if (m_realm.ad_ip) realm->set_adip(*m_realm.ad_ip);
    KerberosCommonRsp reply;
    rc = call_store(&TvnStoreKerberosApi::AddKerberosRealmConfig, "AddKerberosRealmConfig", add, reply,
                    "Add Kerberos realm config failed.");
    if (rc != 0) return rc;
    return answer(rsp, {{vocab::realm_name.id, tvn_omitf::TYPE_STRING, m_realm.name}, tenant_item()});
}

void TvnOmitfKerberosAddRealmConfig::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_KRB_REALM_ADD_OK, OPLOG_KRB_REALM_ADD_FAIL, m_tenant, realm_oplog());
}
