#include "tvn_omitf_usermapping_handlers.h"

using namespace tvn_usermapping;

int tvn_omitf_user_mapping_show_rule::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    uint64_t id = 0;
    if (int32_t rc = read_tenant(req, tenant)) return rc;
    if (int32_t rc = read_rule_id(req, tenant, id)) return rc;

    auto api = open_store();
    if (!api) return UM_ERR_NOMEM;
    tvn_user_mapping_rule_show_req show;
    tvn_user_mapping_rule_show_rsp reply;
    show.set_rule_id(id);
    show.set_tenant_id(tenant);
    if (int32_t rc = call_store(*api, &tvn_store_user_mapping_api::show_user_mapping_rule, "show_user_mapping_rule",
                                show, reply))
        return rc;
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS, rule_items(reply.user_mapping_info()));
}
