#include "tvn_omitf_kerberos_service.h"

using namespace tvn_krb;

namespace {
std::vector<tvn_omitf::answer_item> service_items(const mul_kerberos_service_config& s) {
    return {
        {vocab::service_lif.id, tvn_omitf::TYPE_STRING, s.lif_name()},
        {vocab::service_spn.id, tvn_omitf::TYPE_STRING, s.spn()},
        {vocab::service_realm.id, tvn_omitf::TYPE_STRING, s.realm_name()},
        {TVN_OM_ITEM_VSTORE_ID, tvn_omitf::TYPE_STRING, std::to_string(s.tenant_id())},
    };
}
}  // namespace

int TvnOmitfKerberosGetServiceConf::deal(void* req, void** rsp) {
    std::string lif;
    int32_t rc = read_tenant(req);
    if (rc != 0 || (rc = tvn_omitf::item_reader(req).need(vocab::service_lif, lif,
                                                          TVN_OM_FAIL(KRB_ERR_LIF_NAME, "Lif name is null."),
                                                          TVN_OM_FAIL(KRB_ERR_LIF_NAME, "Lif name invalid."))) != 0)
        return rc;
    if (lif.empty() || lif.size() > KRB_LIF_NAME_MAX)
        return tvn_omitf::fail(TVN_OM_FAIL(KRB_ERR_LIF_NAME, "Lif name length invalid: %s."), lif);
    KerberosGetServiceConfigReq get;
    get.mutable_service_info()->set_tenant_id(m_tenant);
    get.mutable_service_info()->set_lif_name(lif);
    get.set_offset(0);
    get.set_limit(1);
    KerberosGetServiceConfigRsp reply;
    rc = call_store(&TvnStoreKerberosApi::GetKerberosServiceConfig, "GetKerberosServiceConfig", get, reply,
                    "Get Kerberos service config failed.");
    if (rc != 0) return rc;
    if (reply.service_info_size() == 0) return answer(rsp, {{vocab::service_lif.id, tvn_omitf::TYPE_STRING, lif}});
    return answer(rsp, service_items(reply.service_info(0)));
}

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

int TvnOmitfKerberosGetLifCount::deal(void* req, void** rsp) {
    std::optional<std::string> realm;
    int32_t rc = read_tenant(req);
    if (rc != 0 || (rc = tvn_omitf::item_reader(req).take(vocab::service_realm, realm,
                                                          TVN_OM_FAIL(KRB_ERR_NAME, "Realm name invalid."))) != 0)
        return rc;
    KerberosGetLifCountReq count;
    count.set_tenant_id(m_tenant);
    if (realm) count.set_realm_name(*realm);
    KerberosGetLifCountRsp reply;
    rc = call_store(&TvnStoreKerberosApi::GetKerberosLifCount, "GetKerberosLifCount", count, reply,
                    "Get Kerberos lif count failed.");
    if (rc != 0) return rc;
    return answer(rsp,
                  {{tvn_om_common::kCount.id, tvn_omitf::TYPE_UNSIGNED, std::to_string(reply.count())}, tenant_item()});
}
