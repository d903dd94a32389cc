#include <string>

#include "talvane_lookup.pb.h"
#include "tvn_msgobj.h"
#include "tvn_omitf_usermapping_handlers.h"

using namespace tvn_usermapping;

int tvn_omitf_user_mapping_do_mapping::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    if (int32_t rc = read_tenant(req, tenant)) return rc;
    item_reader in(req);
    std::string name;
    if (int32_t rc = in.need(vocab::try_name, name, TVN_OM_FAIL(UM_ERR_ACCOUNT_NAME, "get account name err"),
                             TVN_OM_FAIL(UM_ERR_ACCOUNT_NAME, "get account name err")))
        return rc;
    if (name.empty()) return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_ACCOUNT_NAME, "account name null"));
    uint32_t direction = 0;
    if (int32_t rc = in.need(vocab::try_direction, direction, TVN_OM_FAIL(UM_ERR_DIRECTION, "mapping type invalid"),
                             TVN_OM_FAIL(UM_ERR_DIRECTION, "mapping type invalid")))
        return rc;
    std::optional<uint32_t> provider;
    if (int32_t rc = in.take(vocab::try_provider, provider, TVN_OM_FAIL(UM_ERR_DIRECTION, "mapping provider invalid")))
        return rc;

    auto api = open_lookup();
    if (!api) return UM_ERR_NOMEM;
    tvn_lookup_allcred_by_name_req ask;
    tvn_lookup_allcred_rsp reply;
    ask.set_tenant_id(tenant);
    ask.set_name(name);
    ask.set_mapping_type(static_cast<TvnMappingType>(direction));
    if (provider) ask.set_provider_type(static_cast<TvnMappingProvider>(*provider));
    if (int32_t rc = call_lookup(*api, &tvn_auth_api::lookup_allcred_by_name, "lookup_allcred_by_name", ask, reply))
        return rc;

    const auto& r = reply.result();
    std::string gids;
    for (uint64_t g : r.unix_cred().gids()) gids += (gids.empty() ? "" : ",") + std::to_string(g);
    if (int32_t rc = tvn_omitf::answer_record(
            rsp, tvn_omitf::TVN_OM_MSG_ITEMS,
            {{vocab::answer_rule_id.id, TYPE_STRING, std::to_string(r.rule_id())},
             {vocab::answer_win_name.id, TYPE_STRING, r.win_cred().name()},
             {vocab::answer_sid.id, TYPE_STRING, r.win_cred().usid()},
             {vocab::answer_unix_name.id, TYPE_STRING, r.unix_cred().name()},
             {vocab::answer_uid.id, TYPE_UNSIGNED, std::to_string(r.unix_cred().uid())},
             {vocab::answer_gids.id, TYPE_STRING, gids},
             {vocab::answer_ad_elapsed.id, TYPE_UNSIGNED, std::to_string(r.ad_elapsed())}}))
        return rc;
    // The look-up times of directories the tenant may not use are only
    // logged when they cannot be written.
    for (auto [id, value] : {std::pair{vocab::answer_ldap_elapsed.id, r.ldap_elapsed()},
                             std::pair{vocab::answer_nis_elapsed.id, r.nis_elapsed()}})
        if (tvn_omitf::write_items(*rsp, 0, {{id, TYPE_UNSIGNED, std::to_string(value)}}) != 0)
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, UM_ERR_ITEM, "set ldap_elapsed error");
    return 0;
}
