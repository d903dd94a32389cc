#pragma once
// The service commands (Kerberos on a LIF), keytab import, the LIFs
// Kerberos may use and the kernel's Kerberos caches.
#include <string>
#include <vector>

#include "tvn_omitf_kerberos_command.h"

TVN_KRB_CHANGING_COMMAND(TvnOmitfKerberosChangeServiceConf, tvn_omitf_kerberos_command, uint32_t m_switch = 0;
                         std::string m_lif, m_spn;)
TVN_KRB_CHANGING_COMMAND(TvnOmitfKerberosImportKeytab, tvn_omitf_kerberos_command, std::string m_spn;)
TVN_KRB_CHANGING_COMMAND(TvnOmitfKerberosClearServiceCache, tvn_omitf_kerberos_command, std::string m_type, m_name;)
TVN_KRB_CHANGING_COMMAND(TvnOmitfKerberosModifyEncryptType, tvn_omitf_kerberos_command, std::string m_list;)
TVN_KRB_CHANGING_COMMAND(tvn_omitf_kerberos_modify_cache_size, tvn_omitf_kerberos_command, uint32_t m_size = 0;)
TVN_KRB_COMMAND(TvnOmitfKerberosGetServiceConf, tvn_omitf_kerberos_command)
TVN_KRB_COMMAND(TvnOmitfKerberosListServiceConf, tvn_omitf_kerberos_command)
TVN_KRB_COMMAND(TvnOmitfKerberosGetLifCount, tvn_omitf_kerberos_command)
TVN_KRB_COMMAND(TvnOmitfKerberosListAvailableLif, tvn_omitf_kerberos_command)
TVN_KRB_COMMAND(TvnOmitfKerberosListAvailableLifCount, tvn_omitf_kerberos_command)
TVN_KRB_COMMAND(TvnOmitfKerberosGetEncyptType, tvn_omitf_kerberos_command)
TVN_KRB_COMMAND(tvn_omitf_kerberos_get_cache_size, tvn_omitf_kerberos_command)

namespace tvn_krb {
// A service's answer items: LIF, SPN, realm and tenant.
std::vector<tvn_omitf::answer_item> service_items(const mul_kerberos_service_config& s);
// Item 22 of a LIF list: {"lifName": TEXT}; any other key is refused.
int32_t read_lif_filter(void* req, std::string& filter);
// The LIFs of a tenant whose name holds `filter` (all of them with limit 0).
int32_t list_available_lifs(uint32_t tenant, const std::string& filter, uint32_t offset, uint32_t limit,
                            KerberosListAvailableLifRsp& reply);
}  // namespace tvn_krb
