#include "talvane_store_conf.pb.h"
#include "tvn_omitf_windows_users_commands.h"
#include "tvn_store_conf_api.h"

using namespace tvn_win;
using U = TvnOmitfWindowsUserUtil;

int TvnOmitfSetWindowsUserSecurityPolicy::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = U::DecodeTenant(TVN_HERE, req, tenant);
    if (rc != 0) return rc;
    tvn_settenant_cfg_req set;
    auto add_pair = [&](const char* key, const std::string& value) {
        auto* pair = set.add_config();
        pair->set_tenant_id(tenant);
        pair->set_key(key);
        pair->set_value(value);
    };
    tvn_omitf::item_reader in(req);
    for (const auto& p : vocab::kPolicyKeys) {
        std::optional<uint32_t> value;
        if ((rc = in.take(*p.item, value, TVN_OM_FAIL(WIN_ERR_INVALID, "Get param failed(%s)."))) != 0) return rc;
        if (value) add_pair(p.key, std::to_string(*value));
    }

    std::optional<std::string> prefix;
    if ((rc = in.take(vocab::pol_sid_prefix, prefix, TVN_OM_FAIL(WIN_ERR_INVALID, "Get sid prefix failed."))) != 0)
        return rc;
    if (prefix) {
        // The SIDs of existing local accounts are made from the prefix:
        // changing it under them would orphan every ACL that names them.
        CountWindowsUserReq users;
        users.set_tenant_id(tenant);
        CountWindowsUserRsp user_count;
        GetWindowsGroupCountReq groups;
        groups.set_tenant_id(tenant);
        groups.set_group_type(WINDOWS_GROUP_TYPE_CREATE);
        GetWindowsGroupCountRsp group_count;
        if ((rc = call_store(&TvnStoreWindowsUserApi::Api_QueryWindowsGroupCount, "QueryWindowsGroupCount", groups,
                             group_count)) != 0 ||
            (rc = call_store(&TvnStoreWindowsUserApi::Api_QueryWindowsUserCount, "QueryWindowsUserCount", users,
                             user_count)) != 0)
            return rc;
        if (user_count.count() != 0 || group_count.count() != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, WIN_ERR_SID_IN_USE,
                    "Can't set sid prefix ,user count:%u. group count:%u", user_count.count(),
                    static_cast<unsigned>(group_count.count()));
            return WIN_ERR_SID_IN_USE;
        }
        if (prefix->size() > kSidPrefixMax)
            return tvn_omitf::fail(TVN_OM_FAIL(WIN_ERR_TOO_LONG, "strSidPrefix is length than 184."));
        if (isSidPrefixInvalid(*prefix))
            return tvn_omitf::fail(TVN_OM_FAIL(WIN_ERR_TOO_LONG, "strSidPrefix is invalid:%s."), prefix->substr(0, 64));
        add_pair(vocab::kSidPrefixKey, *prefix);
    }
    if (set.config_size() == 0) return tvn_omitf::fail(TVN_OM_FAIL(WIN_ERR_INVALID, "No policy item given."));

    auto api = open_conf();
    if (!api) return WIN_ERR_NOMEM;
    tvn_conf_common_rsp reply;
    rc = call(*api, &tvn_store_conf_api::set_tenant_config, "set_tenant_config", set, reply, kStoreTimeoutMs);
    if (rc != 0) return rc;
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS, {});
}
