#include "tvn_omitf_kerberos_realm.h"

using namespace tvn_krb;

namespace tvn_krb {
std::vector<tvn_omitf::answer_item> realm_items(const mul_kerberos_realm_config& realm) {
    using tvn_omitf::TYPE_STRING;
    using tvn_omitf::TYPE_UNSIGNED;
    return {
        {vocab::realm_name.id, TYPE_STRING, realm.name()},
        {vocab::realm_kdc_ip.id, TYPE_STRING, realm.kdcip()},
        {vocab::realm_port.id, TYPE_UNSIGNED, std::to_string(realm.port())},
        {vocab::realm_vendor.id, TYPE_UNSIGNED, std::to_string(static_cast<uint32_t>(realm.vendor()))},
        {vocab::realm_ad_server.id, TYPE_STRING, realm.adservername()},
        {vocab::realm_ad_ip.id, TYPE_STRING, realm.adip()},
        {TVN_OM_ITEM_VSTORE_ID, TYPE_STRING, std::to_string(realm.tenant_id())},
    };
}
}  // namespace tvn_krb

int TvnOmitfKerberosGetRealmConfig::deal(void* req, void** rsp) {
    int32_t rc = read_tenant(req);
    if (rc != 0) return rc;
    KerberosListRealmConfigReq list;
    list.set_tenant_id(m_tenant);
    list.set_offset(0);
    list.set_limit(static_cast<int32_t>(KRB_PAGE_MAX));
    std::optional<std::string> name;
    rc = tvn_omitf::item_reader(req).take(vocab::realm_name, name, TVN_OM_FAIL(KRB_ERR_NAME, "Name invalid."));
    if (rc != 0) return rc;
    if (name) list.set_name(*name);

    KerberosListRealmConfigRsp reply;
    rc = call_store(&TvnStoreKerberosApi::ListKerberosRealmConfig, "ListKerberosRealmConfig", list, reply,
                    "Get Kerberos realm config failed.");
    if (rc != 0) return rc;
    if (reply.realmconfig_size() > 1) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, KRB_ERR_NAME, "Kerberos get realm config size > 1.");
        return KRB_ERR_NAME;
    }
    if (reply.realmconfig_size() == 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, KRB_ERR_NAME, "Kerberos realm config not found.");
        return KRB_ERR_NAME;
    }
    return answer(rsp, realm_items(reply.realmconfig(0)));
}
