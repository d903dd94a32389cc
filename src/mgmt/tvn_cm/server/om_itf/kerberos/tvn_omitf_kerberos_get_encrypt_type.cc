#include "tvn_omitf_kerberos_service.h"

using namespace tvn_krb;

int TvnOmitfKerberosGetEncyptType::deal(void* req, void** rsp) {
    int32_t rc = read_tenant(req);
    if (rc != 0) return rc;
    std::string value = KRB_DEFAULT_ENCRYPT;
    bool found = false;
    if ((rc = get_setting(KRB_KEY_ENCRYPT, value, found)) != 0) return rc;
    if (!normalize_encrypt_list(value)) {
        TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, KRB_ERR_STORED_ENCRYPT, "Stored encrypt type invalid: %s.",
                value.c_str());
        return KRB_ERR_STORED_ENCRYPT;
    }
    return answer(rsp, {{vocab::encrypt_list.id, tvn_omitf::TYPE_STRING, value}, tenant_item()});
}
