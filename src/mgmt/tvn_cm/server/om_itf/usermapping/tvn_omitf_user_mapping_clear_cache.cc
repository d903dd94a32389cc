#include "tvn_omitf_usermapping_handlers.h"

using namespace tvn_usermapping;

int tvn_omitf_user_mapping_clear_cache::deal(void* req, void** rsp) {
    if (int32_t rc = read_tenant(req, m_tenant)) return rc;
    item_reader in(req);
    std::optional<uint64_t> rule;
    std::optional<uint32_t> uid;
    std::optional<std::string> sid;
    if (int32_t rc = in.take_parsed(vocab::cache_rule, rule, TVN_OM_FAIL(UM_ERR_CACHE_KEY, "Rule id(%s) is invalid."),
                                    &parse_rule_id))
        return rc;
    if (int32_t rc = in.take(vocab::cache_uid, uid, TVN_OM_FAIL(UM_ERR_CACHE_KEY, "Get uid failed."))) return rc;
    if (int32_t rc = in.take(vocab::cache_sid, sid, TVN_OM_FAIL(UM_ERR_CACHE_KEY, "Get sid failed."))) return rc;
    if (int(rule.has_value()) + int(uid.has_value()) + int(sid.has_value()) > 1)
        return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_CACHE_KEY, "Give one of rule id, uid and sid."));

    cache_request request;
    request.tenant_id = m_tenant;
    if (rule) {
        request.selector = UM_CACHE_BY_RULE;
        request.rule_id = *rule;
        m_what = "rule " + std::to_string(*rule);
    } else if (uid) {
        request.selector = UM_CACHE_BY_UID;
        request.uid = *uid;
        m_what = "uid " + std::to_string(*uid);
    } else if (sid) {
        if (sid->empty() || !set_cache_sid(request, *sid))
            return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_CACHE_KEY, "Sid(%s) is invalid."), *sid);
        request.selector = UM_CACHE_BY_SID;
        m_what = "sid " + oplog_identity(*sid);
    }
    std::string answer;
    int32_t rc = kernel_appdata_send(&request, sizeof request, answer, UM_KERNEL_TIMEOUT_MS);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Send msg to eds failed(%d), respLen:%u.", rc,
                static_cast<unsigned>(answer.size()));
        return rc;
    }
    TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0, "Clear userMapping cache successed");
    // The kernel answers how many cached mappings it dropped.
    uint32_t dropped = 0;
    tvn_omitf::parse_dec_u32(answer, dropped);
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS,
                                    {{tvn_om_common::kCount.id, TYPE_UNSIGNED, std::to_string(dropped)}});
}

void tvn_omitf_user_mapping_clear_cache::oplog_send(int result, unsigned int number) {
    send_oplog(number, result, OPLOG_CLEAR_CACHE_OK, OPLOG_CLEAR_CACHE_FAIL, m_tenant, m_what);
}
