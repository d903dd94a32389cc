#include "talvane_lookup.pb.h"
#include "tvn_omitf_usermapping_handlers.h"

using namespace tvn_usermapping;

int tvn_omitf_winuser_mapping_get_cache::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    if (int32_t rc = read_tenant(req, tenant)) return rc;
    item_reader in(req);
    std::optional<std::string> sid, name;
    if (int32_t rc = in.take(vocab::cache_sid, sid, TVN_OM_FAIL(UM_ERR_CACHE_KEY, "Get sid failed."))) return rc;
    if (int32_t rc = in.take(vocab::cache_name, name, TVN_OM_FAIL(UM_ERR_ACCOUNT_NAME, "Get user name failed.")))
        return rc;
    if ((!sid || sid->empty()) && (!name || name->empty()))
        return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_ACCOUNT_NAME, "Sid and name both empty."));

    // A name is looked up for its SID, which keys the kernel's cache.
    if (!sid || sid->empty()) {
        auto api = open_lookup();
        if (!api) return UM_ERR_NOMEM;
        tvn_lookup_userinfo_by_name_req ask;
        tvn_lookup_userinfo_rsp reply;
        ask.set_tenant_id(tenant);
        ask.set_name(*name);
        ask.set_dest(LOOKUP_ON_WINDOWS);
        ask.set_type(LOOKUP_TYPE_USER);
        if (int32_t rc =
                call_lookup(*api, &tvn_auth_api::lookup_userinfo_by_name, "lookup_userinfo_by_name", ask, reply))
            return rc;
        sid = reply.userinfo().sid();
    }
    cache_request request;
    request.tenant_id = tenant;
    request.selector = UM_CACHE_SHOW_SID;
    if (!set_cache_sid(request, *sid)) return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_CACHE_KEY, "Sid(%s) too long."), *sid);
    return answer_cache(rsp, request);
}
