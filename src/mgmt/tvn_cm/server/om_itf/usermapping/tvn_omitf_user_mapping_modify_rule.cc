#include <fmt/format.h>

#include "tvn_omitf_usermapping_handlers.h"

using namespace tvn_usermapping;

int tvn_omitf_user_mapping_modify_rule::deal(void* req, void** rsp) {
    if (int32_t rc = read_tenant(req, m_tenant)) return rc;
    if (int32_t rc = read_rule_id(req, m_tenant, m_id)) return rc;
    item_reader in(req);
    if (int32_t rc = in.take(vocab::rule_from, m_from, TVN_OM_FAIL(UM_ERR_FROM_IDENTITY, "get from_identity err")))
        return rc;
    if (m_from && m_from->empty()) return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_FROM_IDENTITY, "str_from_identity null"));
    if (m_from && !identity_ok(*m_from))
        return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_FROM_IDENTITY, "str_from_identity invalid"));
    if (int32_t rc = in.take(vocab::rule_to, m_to, TVN_OM_FAIL(UM_ERR_TO_IDENTITY, "get str_to_identity err")))
        return rc;
    if (m_to && m_to->empty()) return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_TO_IDENTITY, "str_to_identity null"));
    if (m_to && !identity_ok(*m_to)) return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_TO_IDENTITY, "str_to_identity invalid"));
    if (int32_t rc = in.take(vocab::rule_type, m_type, TVN_OM_FAIL(UM_ERR_MAP_TYPE, "maptype invalid"))) return rc;
    if (int32_t rc = in.take(vocab::rule_priority, m_priority,
                             TVN_OM_FAIL(UM_ERR_PRIORITY, "User mapping add rule get priority err")))
        return rc;

    auto api = open_store();
    if (!api) return UM_ERR_NOMEM;
    // What is not given stays: no text, type TVN_TYPE_DEFAULT, priority 0.
    tvn_user_mapping_rule_modify_req mod;
    tvn_user_mapping_rule_common_rsp reply;
    mod.set_rule_id(m_id);
    mod.set_tenant_id(m_tenant);
    if (m_from) mod.set_from_account(*m_from);
    if (m_to) mod.set_to_identity(*m_to);
    mod.set_mapping_type(static_cast<TvnUserMappingType>(m_type.value_or(UM_TYPE_DEFAULT)));
    mod.set_rule_priority(m_priority.value_or(0));
    if (int32_t rc = prepare_notify(get_opcode(), UM_RULE_OBJ_TYPE)) return rc;
    if (int32_t rc = call_store(*api, &tvn_store_user_mapping_api::modify_user_mapping_rule,
                                "modify_user_mapping_rule", mod, reply))
        return rc;
    notify_change(std::to_string(m_id));
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS,
                                    {{tvn_omitf::ITEM_ID, TYPE_STRING, std::to_string(m_id)}});
}

void tvn_omitf_user_mapping_modify_rule::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_MODIFY_RULE_OK, OPLOG_MODIFY_RULE_FAIL, m_tenant,
               fmt::format("{},{},{},{},{}", m_id, m_from ? oplog_identity(*m_from) : "",
                           m_to ? oplog_identity(*m_to) : "", m_type ? std::to_string(*m_type) : "",
                           m_priority ? std::to_string(*m_priority) : ""));
}
