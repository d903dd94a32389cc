#include "talvane_store_conf.pb.h"
#include "tvn_omitf_windows_users_commands.h"
#include "tvn_store_conf_api.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

int TvnOmitfGetWindowsUserSecurityPolicy::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = U::DecodeTenant(TVN_HERE, req, tenant);
    if (rc != 0) return rc;
    tvn_gettenant_cfg_req get;
    get.set_tenant_id(tenant);
    for (const auto& p : vocab::kPolicyKeys) get.add_key(p.key);
    auto api = open_conf();
    if (!api) return WIN_ERR_NOMEM;
    tvn_gettenant_cfg_rsp got;
    rc = call(*api, &tvn_store_conf_api::get_tenant_config, "get_tenant_config", get, got, kStoreTimeoutMs);
    if (rc != 0) return rc;

    std::vector<tvn_omitf::answer_item> items;
    for (const auto& p : vocab::kPolicyKeys)
        for (const auto& pair : got.config()) {
            if (pair.key() != p.key) continue;
            uint32_t value = 0;
            if (!tvn_omitf::parse_dec_u32(pair.value(), value)) {
                TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, WIN_ERR_INVALID, "Get param(%u) failed.", p.item->id);
                continue;
            }
            items.push_back({p.item->id, tvn_omitf::TYPE_UNSIGNED, std::to_string(value)});
        }
    // The prefix in force: the configured one, or the store's own default.
    QueryUserSidPrefixReq q;
    q.set_tenant_id(tenant);
    QueryUserSidPrefixRsp prefix;
    rc = call_store(&TvnStoreWindowsUserApi::Api_QueryWindowsUserSidPrefix, "QueryWindowsUserSidPrefix", q, prefix);
    if (rc != 0) return rc;
    items.push_back({vocab::pol_sid_prefix.id, tvn_omitf::TYPE_STRING, prefix.sid_prefix()});
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS, items);
}
