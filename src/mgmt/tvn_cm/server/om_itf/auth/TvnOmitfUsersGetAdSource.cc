// Look a domain account up in the domain itself: by SID when one is given,
// else by its "DOMAIN\name".
#include "auth/tvn_omitf_auth_ad.h"
#include "talvane_lookup.pb.h"

using namespace tvn_auth;
using tvn_omitf::ITEM_READ_ABSENT;
using tvn_omitf::ITEM_READ_OK;

int TvnOmitfUsersGetAdSource::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;
    uint32_t type = 0;
    auto got = tvn_omitf::read_number(req, vocab::src_type.id, type);
    if (got != ITEM_READ_ABSENT && (got != ITEM_READ_OK || !vocab::src_type.allows(type))) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Account type %u is invalid.", type);
        return AD_ERR_INVALID;
    }
    std::string sid, name;
    auto got_sid = tvn_omitf::read_text(req, vocab::src_sid.id, sid);
    auto got_name = tvn_omitf::read_text(req, vocab::src_name.id, name);
    if ((got_sid != ITEM_READ_ABSENT && got_sid != ITEM_READ_OK) ||
        (got_name != ITEM_READ_ABSENT && got_name != ITEM_READ_OK))
        return AD_ERR_INVALID;
    if (sid.empty() && name.empty()) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Sid_ AND name_ both empty.");
        return AD_ERR_INVALID;
    }
    if (sid.empty() && name.find('\\') == std::string::npos) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, AD_ERR_INVALID, "Ad name format err(%s).", name.c_str());
        return AD_ERR_INVALID;
    }

    tvn_lookup_userinfo_rsp found;
    rc = lookup_account(tenant, sid, name, LOOKUP_ON_AD, type == 1 ? LOOKUP_TYPE_GROUP : LOOKUP_TYPE_USER, found);
    if (rc != 0) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Authapi lookup_userinfo failed for sid=%s or name=%s.",
                sid.c_str(), name.c_str());
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Lookup domain account failed.");
        return rc;
    }
    const auto& u = found.userinfo();
    return answer(rsp, {text_item(vocab::src_sid.id, u.sid()), text_item(vocab::src_name.id, u.name()),
                        {vocab::src_type.id, tvn_omitf::TYPE_ENUM, u.is_group() != 0 ? "1" : "0"},
                        text_item(vocab::src_id.id, std::to_string(u.iid())), tenant_item(tenant)});
}
