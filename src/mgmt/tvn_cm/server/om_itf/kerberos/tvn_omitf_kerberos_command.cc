#include "tvn_omitf_kerberos_command.h"

#include "common/tvn_query_cond.h"
#include "tvn_fault.h"
#include "tvn_omitf_kerberos_service.h"

namespace tvn_krb {

std::unique_ptr<TvnStoreKerberosApi> new_kerberos_api() {
    // Lets tests take the road of a failed allocation.
    if (tvn::fail_at("new_kerberos_api")) return nullptr;
    return std::make_unique<TvnStoreKerberosApi>("127.0.0.1");
}

std::unique_ptr<tvn_store_conf_api> new_conf_api() {
    if (tvn::fail_at("new_conf_api")) return nullptr;
    return std::make_unique<tvn_store_conf_api>("127.0.0.1");
}

std::vector<tvn_omitf::answer_item> service_items(const mul_kerberos_service_config& s) {
    return {
        {vocab::service_lif.id, tvn_omitf::TYPE_STRING, s.lif_name()},
        {vocab::service_spn.id, tvn_omitf::TYPE_STRING, s.spn()},
        {vocab::service_realm.id, tvn_omitf::TYPE_STRING, s.realm_name()},
        {TVN_OM_ITEM_VSTORE_ID, tvn_omitf::TYPE_STRING, std::to_string(s.tenant_id())},
    };
}

int32_t list_available_lifs(uint32_t tenant, const std::string& filter, uint32_t offset, uint32_t limit,
                            KerberosListAvailableLifRsp& reply) {
    auto api = new_kerberos_api();
    if (!api) return KRB_ERR_NOMEM;
    KerberosListAvailableLifReq list;
    list.set_tenant_id(tenant);
    list.set_offset(offset);
    list.set_limit(limit);
    list.set_filter(filter);
    int32_t rc =
        api->KerberosListAvailableLif(list, reply, static_cast<int>(tvn_omitf::rpc_timeout_ms(KRB_STORE_TIMEOUT_MS)));
    return rc != 0 ? rc : reply.status();
}

int32_t read_lif_filter(void* req, std::string& filter) {
    std::string text;
    auto got = tvn_omitf::read_text(req, tvn_om_common::kQuery.id, text);
    if (got == tvn_omitf::ITEM_READ_ABSENT) return 0;
    tvn::query_filter conditions;
    if (got != tvn_omitf::ITEM_READ_OK || tvn::parse_query_filter(text, conditions) != tvn::QUERY_COND_OK)
        return KRB_ERR_INVALID;
    for (const auto& [key, value] : conditions) {
        if (key != "lifName") return KRB_ERR_INVALID;
        filter = value;
    }
    return 0;
}

}  // namespace tvn_krb
