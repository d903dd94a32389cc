#include "tvn_omitf_kerberos_command.h"

#include "tvn_fault.h"

namespace tvn_krb {

std::unique_ptr<TvnStoreKerberosApi> new_kerberos_api() {
    // Lets tests take the road of a failed allocation.
    if (tvn::fail_at("new_kerberos_api")) return nullptr;
    return std::make_unique<TvnStoreKerberosApi>("127.0.0.1");
}

std::unique_ptr<tvn_store_conf_api> new_conf_api() {
    if (tvn::fail_at("new_conf_api")) return nullptr;
    return std::make_unique<tvn_store_conf_api>("127.0.0.1");
}

}  // namespace tvn_krb
