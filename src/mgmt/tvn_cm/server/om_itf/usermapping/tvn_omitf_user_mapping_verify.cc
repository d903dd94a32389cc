#include "talvane_lookup.pb.h"
#include "tvn_omitf_usermapping_handlers.h"

using namespace tvn_usermapping;

namespace {
constexpr int32_t kNotFound = -2;
}

int tvn_omitf_user_mapping_verify::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    if (int32_t rc = read_tenant(req, tenant)) return rc;
    item_reader in(req);
    uint32_t kind = 0;
    if (int32_t rc = in.need(vocab::verify_kind, kind, TVN_OM_FAIL(UM_ERR_DIRECTION, "mapping type invalid"),
                             TVN_OM_FAIL(UM_ERR_DIRECTION, "mapping type invalid")))
        return rc;
    std::string name;
    if (int32_t rc = in.need(vocab::verify_name, name, TVN_OM_FAIL(UM_ERR_ACCOUNT_NAME, "get verify name err"),
                             TVN_OM_FAIL(UM_ERR_ACCOUNT_NAME, "get verify name err")))
        return rc;
    if (name.empty()) return tvn_omitf::fail(TVN_OM_FAIL(UM_ERR_ACCOUNT_NAME, "verify name null"));

    auto api = open_lookup();
    if (!api) return UM_ERR_NOMEM;
    tvn_lookup_userinfo_by_name_req ask;
    tvn_lookup_userinfo_rsp reply;
    ask.set_tenant_id(tenant);
    ask.set_name(name);
    ask.set_dest(kind == 0 ? LOOKUP_ON_WINDOWS : LOOKUP_ON_UNIX);
    ask.set_type(LOOKUP_TYPE_USER);
    int32_t rc = call_lookup(*api, &tvn_auth_api::lookup_userinfo_by_name, "lookup_userinfo_by_name", ask, reply);
    // An unknown name is an answer, not a failure of the command.
    if (rc == kNotFound)
        return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS,
                                        {{vocab::verify_resolved.id, TYPE_BOOL, "false"}});
    if (rc != 0) return rc;
    const auto& u = reply.userinfo();
    return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS,
                                    {{vocab::verify_resolved.id, TYPE_BOOL, "true"},
                                     {vocab::verify_full_name.id, TYPE_STRING, u.name()},
                                     {vocab::verify_sid.id, TYPE_STRING, u.sid()},
                                     {vocab::verify_id.id, TYPE_UNSIGNED, std::to_string(u.iid())}});
}
