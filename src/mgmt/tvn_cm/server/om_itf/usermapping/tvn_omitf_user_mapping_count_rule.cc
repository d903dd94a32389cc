#include "tvn_omitf_usermapping_handlers.h"

using namespace tvn_usermapping;

int tvn_omitf_user_mapping_count_rule::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    if (int32_t rc = read_tenant(req, tenant)) return rc;
    rule_filter filter;
    if (int32_t rc = read_rule_filter(req, filter)) return rc;

    tvn_user_mapping_rule_count_req count;
    apply_rule_filter(filter, tenant, count);

    auto api = open_store();
    if (!api) return UM_ERR_NOMEM;
    tvn_user_mapping_rule_count_rsp reply;
    if (int32_t rc = call_store(*api, &tvn_store_user_mapping_api::count_user_mapping_rule, "count_user_mapping_rule",
                                count, reply))
        return rc;
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS,
                                    {{tvn_om_common::kCount.id, TYPE_UNSIGNED, std::to_string(reply.count())}});
}
