#include "tvn_omitf_usermapping_handlers.h"

using namespace tvn_usermapping;

int tvn_omitf_user_mapping_delete_rule::deal(void* req, void** rsp) {
    if (int32_t rc = read_tenant(req, m_tenant)) return rc;
    if (int32_t rc = read_rule_id(req, m_tenant, m_id)) return rc;
    m_id_read = true;

    auto api = open_store();
    if (!api) return UM_ERR_NOMEM;
    tvn_user_mapping_rule_delete_req del;
    tvn_user_mapping_rule_common_rsp reply;
    del.set_rule_id(m_id);
    del.set_tenant_id(m_tenant);
    if (int32_t rc = prepare_notify(get_opcode(), UM_RULE_OBJ_TYPE)) return rc;
    if (int32_t rc = call_store(*api, &tvn_store_user_mapping_api::delete_user_mapping_rule,
                                "delete_user_mapping_rule", del, reply))
        return rc;
    notify_change(std::to_string(m_id));
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS,
                                    {{tvn_omitf::ITEM_ID, TYPE_STRING, std::to_string(m_id)}});
}

void tvn_omitf_user_mapping_delete_rule::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_DELETE_RULE_OK, OPLOG_DELETE_RULE_FAIL, m_tenant,
               m_id_read ? std::to_string(m_id) : "");
}
