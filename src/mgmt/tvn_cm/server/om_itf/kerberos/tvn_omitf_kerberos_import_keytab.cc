#include "tvn_cm_util.h"
#include "tvn_omitf_kerberos_service.h"

using namespace tvn_krb;

int TvnOmitfKerberosImportKeytab::deal(void* req, void** rsp) {
    tvn_omitf::item_reader in(req);
    std::string lif, path;
    int32_t rc = 0;
    if ((rc = read_tenant(req)) != 0 ||
        (rc = in.need(vocab::keytab_spn, m_spn, TVN_OM_FAIL(KRB_ERR_SPN, "Check name null invalid."),
                      TVN_OM_FAIL(KRB_ERR_SPN, "Spn invalid."))) != 0 ||
        (rc = check_name(m_spn, KRB_ERR_SPN)) != 0 ||
        (rc = in.need(vocab::keytab_lif, lif, TVN_OM_FAIL(KRB_ERR_NAME, "Check name null invalid."),
                      TVN_OM_FAIL(KRB_ERR_NAME, "Lif name invalid."))) != 0 ||
        (rc = check_name(lif, KRB_ERR_NAME)) != 0 ||
        (rc = in.need(vocab::keytab_path, path, TVN_OM_FAIL(KRB_ERR_INVALID, "Keytab path is null."),
                      TVN_OM_FAIL(KRB_ERR_INVALID, "Keytab path invalid."))) != 0)
        return rc;
    KerberosImportKeytabReq import;
    import.mutable_service_info()->set_tenant_id(m_tenant);
    import.mutable_service_info()->set_lif_name(lif);
    import.mutable_service_info()->set_spn(m_spn);
    import.set_keytab_path(path);
    KerberosCommonRsp reply;
    rc = call_store(&TvnStoreKerberosApi::ImportKerberosKeytab, "ImportKerberosKeytab", import, reply,
                    "Import Kerberos keytab failed.");
    if (rc != 0) return rc;
    return answer(rsp, {{vocab::keytab_dir.id, tvn_omitf::TYPE_STRING,
                         std::string(KRB_KEYTAB_DIR) + "/" + std::to_string(m_tenant)},
                        tenant_item()});
}

void TvnOmitfKerberosImportKeytab::oplog_send(int result, unsigned int number) {
    const std::string spn = cut_utf8(m_spn, KRB_OPLOG_SPN_MAX);
    const uint64_t event = result == 0 ? OPLOG_KRB_KEYTAB_OK : OPLOG_KRB_KEYTAB_FAIL;
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, result, "Import kerberos keytab:%s, alarmId:%llu", spn.c_str(),
            static_cast<unsigned long long>(event));
    send_oplog(number, result, OPLOG_KRB_KEYTAB_OK, OPLOG_KRB_KEYTAB_FAIL, m_tenant, spn);
}
