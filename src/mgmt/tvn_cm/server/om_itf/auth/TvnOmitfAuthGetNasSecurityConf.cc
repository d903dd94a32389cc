// Show the NTLM security settings of a tenant, as stored (a setting never
// made is left out).
#include "auth/tvn_omitf_auth_ad.h"

using namespace tvn_auth;

int TvnOmitfAuthGetNasSecurityConf::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;
    const char* const keys[] = {key::ntlm, key::session_key_cache};
    std::map<std::string, std::string> conf;
    if ((rc = get_config(tenant, keys, conf)) != 0) return rc;
    std::vector<tvn_omitf::answer_item> items{tenant_item(tenant)};
    if (auto it = conf.find(key::ntlm); it != conf.end()) items.push_back(text_item(vocab::sec_ntlm.id, it->second));
    if (auto it = conf.find(key::session_key_cache); it != conf.end())
        items.push_back(text_item(vocab::sec_session_key_cache.id, it->second));
    return answer(rsp, items);
}
