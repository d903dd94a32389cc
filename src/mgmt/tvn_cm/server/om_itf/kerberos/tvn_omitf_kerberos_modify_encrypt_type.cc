#include "tvn_omitf_kerberos_service.h"

using namespace tvn_krb;

int TvnOmitfKerberosModifyEncryptType::deal(void* req, void** rsp) {
    int32_t rc = read_tenant(req);
    if (rc != 0 || (rc = tvn_omitf::item_reader(req).need(
                        vocab::encrypt_list, m_list, TVN_OM_FAIL(KRB_ERR_ENCRYPT_TYPE, "Encrypt type is null."),
                        TVN_OM_FAIL(KRB_ERR_ENCRYPT_TYPE, "Encrypt type invalid."))) != 0)
        return rc;
    auto list = normalize_encrypt_list(m_list);
    if (!list) return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_ENCRYPT_TYPE, "Encrypt type invalid: %s."), m_list);
    m_list = *list;
    rc = set_setting(KRB_KEY_ENCRYPT, m_list, KRB_ENCRYPT_SET_TIMEOUT_MS);
    if (rc != 0) return rc;
    return answer(rsp, {{vocab::encrypt_list.id, tvn_omitf::TYPE_STRING, m_list}, tenant_item()});
}

void TvnOmitfKerberosModifyEncryptType::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_KRB_ENCRYPT_OK, OPLOG_KRB_ENCRYPT_FAIL, m_tenant, m_list);
}
