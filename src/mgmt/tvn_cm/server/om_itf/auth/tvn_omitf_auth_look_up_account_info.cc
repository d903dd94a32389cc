// Look an account up by name or by SID, where the operator says (every
// source by default).
#include "auth/tvn_omitf_auth_ad.h"
#include "talvane_lookup.pb.h"

using namespace tvn_auth;
using tvn_omitf::ITEM_READ_ABSENT;
using tvn_omitf::ITEM_READ_OK;

int tvn_omitf_auth_look_up_account_info::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;
    std::string name, sid;
    auto got_name = tvn_omitf::read_text(req, vocab::acct_name.id, name);
    auto got_sid = tvn_omitf::read_text(req, vocab::acct_sid.id, sid);
    if ((got_name != ITEM_READ_ABSENT && got_name != ITEM_READ_OK) ||
        (got_sid != ITEM_READ_ABSENT && got_sid != ITEM_READ_OK) || (name.empty() == sid.empty())) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Give either account name or sid.");
        return AD_ERR_INVALID;
    }
    uint32_t dest = *vocab::acct_dest.value_of(vocab::acct_dest.fallback);
    auto got = tvn_omitf::read_number(req, vocab::acct_dest.id, dest);
    if (got != ITEM_READ_ABSENT && (got != ITEM_READ_OK || !vocab::acct_dest.allows(dest))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Lookup dest %u is invalid.", dest);
        return AD_ERR_INVALID;
    }

    tvn_lookup_userinfo_rsp found;
    if ((rc = lookup_account(tenant, sid, name, static_cast<TvnLookupDest>(dest), std::nullopt, found)) != 0)
        return rc;
    const auto& u = found.userinfo();
    return answer(rsp, {bool_item(vocab::acct_is_group.id, u.is_group() != 0),
                        text_item(vocab::acct_id.id, std::to_string(u.iid())), text_item(vocab::acct_sid.id, u.sid()),
                        text_item(vocab::acct_domain.id, u.domain()), text_item(vocab::acct_domain_sid.id, u.domsid()),
                        text_item(vocab::acct_name.id, u.name()), tenant_item(tenant)});
}
