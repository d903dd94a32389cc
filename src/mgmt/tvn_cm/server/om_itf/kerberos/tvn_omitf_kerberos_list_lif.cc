#include "common/tvn_query_cond.h"
#include "tvn_omitf_kerberos_service.h"

using namespace tvn_krb;

namespace tvn_krb {
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
}  // namespace tvn_krb

namespace {
// Item 22: {"lifName": TEXT}; any other key is refused.
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
}  // namespace

int TvnOmitfKerberosListAvailableLif::deal(void* req, void** rsp) {
    std::string filter;
    uint32_t offset = 0, limit = 0;
    int32_t rc = read_tenant(req);
    if (rc != 0 || (rc = read_range(req, tvn_om_common::kRange.id, offset, limit)) != 0) return rc;
    if ((rc = read_lif_filter(req, filter)) != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "The query condition is invalid.");
        return rc;
    }
    KerberosListAvailableLifRsp reply;
    rc = list_available_lifs(m_tenant, filter, offset, limit, reply);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "List available lif failed.");
        return rc;
    }
    return answer_list(
        rsp, reply.lif_info(),
        [](const kerberos_lifinfo& lif) -> std::vector<tvn_omitf::answer_item> {
            return {{vocab::service_lif.id, tvn_omitf::TYPE_STRING, lif.lif_name()},
                    {tvn_omitf::ITEM_ID, tvn_omitf::TYPE_STRING, lif.lifid()}};
        },
        "lifs");
}

int TvnOmitfKerberosListAvailableLifCount::deal(void* req, void** rsp) {
    std::string filter;
    int32_t rc = read_tenant(req);
    if (rc != 0) return rc;
    if ((rc = read_lif_filter(req, filter)) != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "The query condition is invalid.");
        return rc;
    }
    KerberosListAvailableLifRsp reply;
    rc = list_available_lifs(m_tenant, filter, 0, 0, reply);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "List available lif failed.");
        return rc;
    }
    return answer(rsp, {{tvn_om_common::kCount.id, tvn_omitf::TYPE_UNSIGNED, std::to_string(reply.lif_info_size())},
                        tenant_item()});
}
