#include <fmt/format.h>

#include "tvn_omitf_usermapping_handlers.h"

using namespace tvn_usermapping;

int tvn_omitf_user_mapping_add_rule::deal(void* req, void** rsp) {
    if (int32_t rc = read_tenant(req, m_tenant)) return rc;
    item_reader in(req);
    if (int32_t rc = in.need(vocab::rule_from, m_from, TVN_OM_FAIL(UM_ERR_FROM_IDENTITY, "get from_identity err"),
                             TVN_OM_FAIL(UM_ERR_FROM_IDENTITY, "get from_identity err")))
        return rc;
    if (m_from.empty()) return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_FROM_IDENTITY, "str_from_identity null"));
    if (!identity_ok(m_from)) return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_FROM_IDENTITY, "str_from_identity invalid"));
    if (int32_t rc = in.need(vocab::rule_to, m_to, TVN_OM_FAIL(UM_ERR_TO_IDENTITY, "get str_to_identity err"),
                             TVN_OM_FAIL(UM_ERR_TO_IDENTITY, "get str_to_identity err")))
        return rc;
    if (m_to.empty()) return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_TO_IDENTITY, "str_to_identity null"));
    if (!identity_ok(m_to)) return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_TO_IDENTITY, "str_to_identity invalid"));
    if (int32_t rc = in.need(vocab::rule_type, m_type, TVN_OM_FAIL(UM_ERR_MAP_TYPE, "get maptype err"),
                             TVN_OM_FAIL(UM_ERR_MAP_TYPE, "maptype invalid")))
        return rc;
    if (int32_t rc =
            in.take(vocab::rule_priority, m_priority, TVN_OM_FAIL(UM_ERR_PRIORITY, "User mapping add rule get priority err")))
        return rc;

    auto api = open_store();
    if (!api) return UM_ERR_NOMEM;
    tvn_user_mapping_rule_add_req add;
    tvn_user_mapping_rule_add_rsp reply;
    add.set_from_account(m_from);
    add.set_to_identity(m_to);
    add.set_mapping_type(static_cast<TvnUserMappingType>(m_type));
    add.set_rule_priority(m_priority);
    add.set_tenant_id(m_tenant);
    if (int32_t rc = prepare_notify(get_opcode(), UM_RULE_OBJ_TYPE)) return rc;
    if (int32_t rc = call_store(*api, &tvn_store_user_mapping_api::add_user_mapping_rule, "add_user_mapping_rule",
                                add, reply))
        return rc;
    notify_change(std::to_string(reply.rule_id()));
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS,
                                    {{tvn_omitf::ITEM_ID, TYPE_STRING, std::to_string(reply.rule_id())},
                                     {tvn_om_common::kTenant.id, TYPE_UNSIGNED, std::to_string(m_tenant)}});
}

void tvn_omitf_user_mapping_add_rule::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_ADD_RULE_OK, OPLOG_ADD_RULE_FAIL, m_tenant,
               fmt::format("{},{},{},{}", oplog_identity(m_from), oplog_identity(m_to), m_type, m_priority));
}
