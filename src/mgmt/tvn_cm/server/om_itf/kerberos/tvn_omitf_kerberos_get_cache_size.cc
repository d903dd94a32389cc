#include "tvn_omitf_kerberos_service.h"

using namespace tvn_krb;

int tvn_omitf_kerberos_get_cache_size::deal(void* req, void** rsp) {
    int32_t rc = read_tenant(req);
    if (rc != 0) return rc;
    std::string value = std::to_string(KRB_CACHE_SIZE_DEFAULT);
    bool found = false;
    if ((rc = get_setting(KRB_KEY_CACHE_SIZE, value, found)) != 0) return rc;
    uint32_t size = 0;
    if (!tvn_omitf::parse_dec_u32(value, size)) size = KRB_CACHE_SIZE_DEFAULT;
    return answer(rsp, {{vocab::cache_size.id, tvn_omitf::TYPE_UNSIGNED, std::to_string(size)}, tenant_item()});
}
