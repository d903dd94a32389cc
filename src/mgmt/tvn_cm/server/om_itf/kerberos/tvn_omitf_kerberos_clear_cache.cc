#include "tvn_kchannel.h"
#include "tvn_omitf_kerberos_service.h"

using namespace tvn_krb;

int TvnOmitfKerberosClearServiceCache::deal(void* req, void** rsp) {
    tvn_omitf::item_reader in(req);
    int32_t rc = 0;
    if ((rc = read_tenant(req)) != 0 ||
        (rc = in.need(vocab::cache_type, m_type, TVN_OM_FAIL(KRB_ERR_INVALID, "Cache type is null."),
                      TVN_OM_FAIL(KRB_ERR_INVALID, "Cache type invalid."))) != 0 ||
        (rc = in.take(vocab::cache_name, m_name, TVN_OM_FAIL(KRB_ERR_INVALID, "Cache name invalid."))) != 0)
        return rc;
    const uint8_t type = cache_type_code(m_type);
    if (type == 0) return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_INVALID, "Cache type invalid: %s."), m_type);
    if (m_name.size() > KRB_CACHE_NAME_MAX)
        return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_INVALID, "Cache name too long: %s."), m_name);

    std::string answer_bytes;
    rc = tvn::tvn_kchannel_request(KRB_KERNEL_CHANNEL, cache_clear_request(type, m_tenant, m_name), answer_bytes,
                                   static_cast<int>(tvn_omitf::rpc_timeout_ms(KRB_KERNEL_TIMEOUT_MS)));
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Clear kerberos %s cache failed.", m_type.c_str());
        return rc;
    }
    uint32_t dropped = 0;
    for (size_t i = answer_bytes.size() < 4 ? answer_bytes.size() : 4; i > 0; --i)
        dropped = (dropped << 8) | static_cast<unsigned char>(answer_bytes[i - 1]);
    return answer(rsp, {{tvn_om_common::kCount.id, tvn_omitf::TYPE_UNSIGNED, std::to_string(dropped)}, tenant_item()});
}

void TvnOmitfKerberosClearServiceCache::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_KRB_CACHE_CLEAR_OK, OPLOG_KRB_CACHE_CLEAR_FAIL, m_tenant,
               m_type + (m_name.empty() ? "" : "," + cut_utf8(m_name, KRB_CACHE_NAME_MAX)));
}
