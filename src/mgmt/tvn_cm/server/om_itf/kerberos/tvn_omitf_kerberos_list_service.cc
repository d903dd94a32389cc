#include "tvn_omitf_kerberos_service.h"

using namespace tvn_krb;

int TvnOmitfKerberosListServiceConf::deal(void* req, void** rsp) {
    tvn_omitf::item_reader in(req);
    std::optional<std::string> lif, spn, realm;
    uint32_t offset = 0, limit = 0;
    int32_t rc = 0;
    if ((rc = read_tenant(req)) != 0 ||
        (rc = in.take(vocab::service_lif, lif, TVN_OM_FAIL(KRB_ERR_LIF_NAME, "Lif name invalid."))) != 0 ||
        (rc = in.take(vocab::service_spn, spn, TVN_OM_FAIL(KRB_ERR_SPN, "Spn invalid."))) != 0 ||
        (rc = in.take(vocab::service_realm, realm, TVN_OM_FAIL(KRB_ERR_NAME, "Realm name invalid."))) != 0 ||
        (rc = read_range(req, tvn_om_common::kRange.id, offset, limit)) != 0)
        return rc;
    if (lif && spn) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, KRB_ERR_INVALID, "Only one of lifName and spn can be delivered.");
        return KRB_ERR_INVALID;
    }
    if (lif && lif->size() > KRB_LIF_NAME_MAX)
        return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_LIF_NAME, "Lif name length invalid: %s."), *lif);
    if (spn && spn->size() > KRB_SPN_MAX) return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_SPN, "Spn length invalid."));
    if (realm && realm->size() > KRB_NAME_MAX)
        return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_NAME, "Realm name length invalid."));
    KerberosListServiceConfigReq list;
    list.mutable_service_info()->set_tenant_id(m_tenant);
    if (lif) list.mutable_service_info()->set_lif_name(*lif);
    if (spn) list.mutable_service_info()->set_spn(*spn);
    if (realm) list.set_realm_name(*realm);
    list.set_offset(offset);
    list.set_limit(limit);
    KerberosListServiceConfigRsp reply;
    rc = call_store(&TvnStoreKerberosApi::ListKerberosServiceConfig, "ListKerberosServiceConfig", list, reply,
                    "List Kerberos service config failed.");
    if (rc != 0) return rc;
    return answer_list(rsp, reply.service_info(), service_items, "services");
}
