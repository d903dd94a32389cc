#pragma once
// The service commands (Kerberos on a LIF), keytab import, the LIFs
// Kerberos may use and the kernel's Kerberos caches.
#include <string>

#include "tvn_omitf_kerberos_command.h"

class TvnOmitfKerberosChangeServiceConf : public tvn_omitf_kerberos_command<TvnOmitfKerberosChangeServiceConf> {
public:
    static constexpr const char* kName = "TvnOmitfKerberosChangeServiceConf";
    using tvn_omitf_kerberos_command::tvn_omitf_kerberos_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;
    uint32_t m_switch = 0;
    std::string m_lif, m_spn;
};

class TvnOmitfKerberosImportKeytab : public tvn_omitf_kerberos_command<TvnOmitfKerberosImportKeytab> {
public:
    static constexpr const char* kName = "TvnOmitfKerberosImportKeytab";
    using tvn_omitf_kerberos_command::tvn_omitf_kerberos_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;
    std::string m_spn;
};

class TvnOmitfKerberosClearServiceCache : public tvn_omitf_kerberos_command<TvnOmitfKerberosClearServiceCache> {
public:
    static constexpr const char* kName = "TvnOmitfKerberosClearServiceCache";
    using tvn_omitf_kerberos_command::tvn_omitf_kerberos_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;
    std::string m_type, m_name;
};

class TvnOmitfKerberosModifyEncryptType : public tvn_omitf_kerberos_command<TvnOmitfKerberosModifyEncryptType> {
public:
    static constexpr const char* kName = "TvnOmitfKerberosModifyEncryptType";
    using tvn_omitf_kerberos_command::tvn_omitf_kerberos_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;
    std::string m_list;
};

class tvn_omitf_kerberos_modify_cache_size : public tvn_omitf_kerberos_command<tvn_omitf_kerberos_modify_cache_size> {
public:
    static constexpr const char* kName = "tvn_omitf_kerberos_modify_cache_size";
    using tvn_omitf_kerberos_command::tvn_omitf_kerberos_command;
    void oplog_send(int result, unsigned int number) override;

private:
    int deal(void* req, void** rsp) override;
    uint32_t m_size = 0;
};

TVN_KRB_COMMAND(TvnOmitfKerberosGetServiceConf, tvn_omitf_kerberos_command, )
TVN_KRB_COMMAND(TvnOmitfKerberosListServiceConf, tvn_omitf_kerberos_command, )
TVN_KRB_COMMAND(TvnOmitfKerberosGetLifCount, tvn_omitf_kerberos_command, )
TVN_KRB_COMMAND(TvnOmitfKerberosListAvailableLif, tvn_omitf_kerberos_command, )
TVN_KRB_COMMAND(TvnOmitfKerberosListAvailableLifCount, tvn_omitf_kerberos_command, )
TVN_KRB_COMMAND(TvnOmitfKerberosGetEncyptType, tvn_omitf_kerberos_command, )
TVN_KRB_COMMAND(tvn_omitf_kerberos_get_cache_size, tvn_omitf_kerberos_command, )

namespace tvn_krb {
// The LIFs of a tenant whose name holds `filter` (all of them with limit 0).
int32_t list_available_lifs(uint32_t tenant, const std::string& filter, uint32_t offset, uint32_t limit,
                            KerberosListAvailableLifRsp& reply);
}  // namespace tvn_krb
