#include "talvane_lookup.pb.h"
#include "tvn_omitf_usermapping_handlers.h"

using namespace tvn_usermapping;

int tvn_omitf_unixuser_mapping_get_cache::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    if (int32_t rc = read_tenant(req, tenant)) return rc;
    item_reader in(req);
    std::optional<uint32_t> uid;
    std::optional<std::string> name;
    if (int32_t rc = in.take(vocab::cache_uid, uid, TVN_OM_FAIL(UM_ERR_CACHE_KEY, "Get uid failed."))) return rc;
    if (int32_t rc = in.take(vocab::cache_name, name, TVN_OM_FAIL(UM_ERR_ACCOUNT_NAME, "Get user name failed.")))
        return rc;
    if (!uid && (!name || name->empty()))
        return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_ACCOUNT_NAME, "Uid and name both empty."));

    // A name is looked up for its uid, which keys the kernel's cache.
    if (!uid) {
        auto api = open_lookup();
        if (!api) return UM_ERR_NOMEM;
        tvn_lookup_unix_userinfo_by_name_req ask;
        tvn_lookup_userinfo_rsp reply;
        ask.set_tenant_id(tenant);
        ask.set_name(*name);
        ask.set_type(LOOKUP_TYPE_USER);
        if (int32_t rc =
                call_lookup(*api, &tvn_auth_api::LookupUnixUserInfoByName, "LookupUnixUserInfoByName", ask, reply))
            return rc;
        uid = static_cast<uint32_t>(reply.userinfo().iid());
    }
    cache_request request;
    request.tenant_id = tenant;
    request.selector = UM_CACHE_SHOW_UID;
    request.uid = *uid;
    return answer_cache(rsp, request);
}
