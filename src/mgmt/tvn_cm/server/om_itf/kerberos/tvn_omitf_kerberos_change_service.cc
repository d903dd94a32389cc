#include "tvn_cm_util.h"
#include "tvn_omitf_kerberos_service.h"
#include "tvn_sec_string.h"

using namespace tvn_krb;

int TvnOmitfKerberosChangeServiceConf::deal(void* req, void** rsp) {
    tvn_omitf::item_reader in(req);
    std::string account;
    std::optional<uint32_t> overwrite;
    int32_t rc = 0;
    if ((rc = read_tenant(req)) != 0 ||
        (rc = in.need(vocab::service_switch, m_switch, TVN_OM_FAIL(KRB_ERR_INVALID, "Switch is null."),
                      TVN_OM_FAIL(KRB_ERR_INVALID, "Switch invalid: %s."))) != 0 ||
        (rc = in.need(vocab::service_lif, m_lif, TVN_OM_FAIL(KRB_ERR_LIF_NAME, "Lif name is null."),
                      TVN_OM_FAIL(KRB_ERR_LIF_NAME, "Lif name invalid."))) != 0 ||
        (rc = in.take(vocab::service_spn, m_spn, TVN_OM_FAIL(KRB_ERR_SPN, "Spn invalid."))) != 0 ||
        (rc = in.take(vocab::service_account, account, TVN_OM_FAIL(KRB_ERR_ACCOUNT, "Account invalid."))) != 0 ||
        (rc = in.take(vocab::service_overwrite, overwrite, TVN_OM_FAIL(KRB_ERR_INVALID, "Overwrite invalid."))) != 0)
        return rc;
    if (m_lif.empty() || m_lif.size() > KRB_LIF_NAME_MAX)
        return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_LIF_NAME, "Lif name length invalid: %s."), m_lif);
    if (m_spn.size() > KRB_SPN_MAX) return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_SPN, "Spn length invalid."));
    if (account.size() > KRB_ACCOUNT_MAX)
        return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_ACCOUNT, "Account name length invalid."));

    KerberosChangeServiceConfigReq change;
    SecString password;
    int32_t pw = TvnAuthGetPassWord(req, 0, vocab::service_password.id, password);
    if (pw == -22 || pw == -5 || password.size() > KRB_PASSWORD_MAX ||
        (m_switch == 1 && (pw != 0 || account.empty() || m_spn.empty()))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, KRB_ERR_ACCOUNT, "Account name or password invalid.");
        return KRB_ERR_ACCOUNT;
    }
    auto* svc = change.mutable_service_info();
    svc->set_tenant_id(m_tenant);
    svc->set_lif_name(m_lif);
    svc->set_spn(m_spn);
    svc->set_overwrite_same_account(overwrite.value_or(0) != 0);
    change.set_name(account);
    change.set_passwd(password.c_str(), password.size());
    password.clear();

    KerberosCommonRsp reply;
    rc = m_switch == 1 ? call_store(&TvnStoreKerberosApi::EnableKerberosServiceConfig, "EnableKerberosServiceConfig",
                                    change, reply, "Enable Kerberos service config failed.")
                       : call_store(&TvnStoreKerberosApi::DisableKerberosServiceConfig, "DisableKerberosServiceConfig",
                                    change, reply, "Disable Kerberos service config failed.");
    // The request's copy of the password goes before anything else runs.
    tvn::secure_zero(change.mutable_passwd()->data(), change.passwd().size());
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Call API SetServiceConfig failed. switch:%d",
                static_cast<int>(m_switch));
        return rc;
    }
    return answer(rsp, {{vocab::service_lif.id, tvn_omitf::TYPE_STRING, m_lif}, tenant_item()});
}

void TvnOmitfKerberosChangeServiceConf::oplog_send(int result, unsigned int number) {
    send_oplog(
        number, result, OPLOG_KRB_SERVICE_OK, OPLOG_KRB_SERVICE_FAIL, m_tenant,
        std::string(m_switch == 1 ? "enable" : "disable") + "," + m_lif + "," + cut_utf8(m_spn, KRB_OPLOG_SPN_MAX));
}
