#include "tvn_omitf_kerberos_service.h"

using namespace tvn_krb;

int tvn_omitf_kerberos_modify_cache_size::deal(void* req, void** rsp) {
    int32_t rc = read_tenant(req);
    if (rc != 0) return rc;
    // Read as a plain number so that an out-of-range size gets its own line.
    if (tvn_omitf::read_number(req, vocab::cache_size.id, m_size) != tvn_omitf::ITEM_READ_OK ||
        m_size < KRB_CACHE_SIZE_MIN || m_size > KRB_CACHE_SIZE_MAX) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, KRB_ERR_CACHE_SIZE,
                "kerberos cache size check parameter is invalid: %d.", static_cast<int>(m_size));
        return KRB_ERR_CACHE_SIZE;
    }
    rc = set_setting(KRB_KEY_CACHE_SIZE, std::to_string(m_size), KRB_STORE_TIMEOUT_MS);
    if (rc != 0) return rc;
    return answer(rsp, {{vocab::cache_size.id, tvn_omitf::TYPE_UNSIGNED, std::to_string(m_size)}, tenant_item()});
}

void tvn_omitf_kerberos_modify_cache_size::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_KRB_CACHE_SIZE_OK, OPLOG_KRB_CACHE_SIZE_FAIL, m_tenant, std::to_string(m_size));
}
