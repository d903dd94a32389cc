#pragma once
// The Kerberos stores of the store daemon (realms; services, keytabs and
// LIFs; encryption types), the Kerberos module status of the diagnose
// service and the kernel's Kerberos caches behind the kernel agent.
#include <string>

#include "sim_kerberos_store.h"
#include "sim_service_base.h"
#include "sim_store.h"
#include "talvane_kagent.pb.h"
#include "talvane_store_kerberos.pb.h"

namespace tvn::sim {

class sim_kerberos_realm_store_service : public sim_service<TvnStoreKerberosRealmService> {
public:
    explicit sim_kerberos_realm_store_service(sim_store& store);

    SIM_RPC(AddKerberosRealmConfig, KerberosAddRealmConfigReq, KerberosCommonRsp);
    SIM_RPC(DelKerberosRealmConfig, KerberosDelRealmConfigReq, KerberosCommonRsp);
    SIM_RPC(ModifyKerberosRealmConfig, KerberosModifyRealmConfigReq, KerberosCommonRsp);
    SIM_RPC(ListKerberosRealmConfig, KerberosListRealmConfigReq, KerberosListRealmConfigRsp);
    SIM_RPC(GetKerberosRealmConfigCount, KerberosGetRealmConfigCountReq, KerberosGetRealmConfigCountRsp);

private:
    kerberos_store krb_;
};

class sim_kerberos_store_service : public sim_service<TvnStoreKerberosService> {
public:
    explicit sim_kerberos_store_service(sim_store& store);

    SIM_RPC(EnableKerberosServiceConfig, KerberosChangeServiceConfigReq, KerberosCommonRsp);
    SIM_RPC(DisableKerberosServiceConfig, KerberosChangeServiceConfigReq, KerberosCommonRsp);
    SIM_RPC(ListKerberosServiceConfig, KerberosListServiceConfigReq, KerberosListServiceConfigRsp);
    SIM_RPC(GetKerberosServiceConfig, KerberosGetServiceConfigReq, KerberosGetServiceConfigRsp);
    SIM_RPC(GetKerberosLifCount, KerberosGetLifCountReq, KerberosGetLifCountRsp);
    SIM_RPC(ImportKerberosKeytab, KerberosImportKeytabReq, KerberosCommonRsp);
    SIM_RPC(KerberosListAvailableLif, KerberosListAvailableLifReq, KerberosListAvailableLifRsp);

private:
    kerberos_store krb_;
};

// Encryption types live in the configuration store's tenant setting
// "kerberos_encrypt_type", so both ways of reaching them agree.
class sim_kerberos_encrypt_store_service : public sim_service<TvnStoreKerberosEncryptService> {
public:
    explicit sim_kerberos_encrypt_store_service(sim_store& store) : store_(store) {}

    SIM_RPC(ModifyKerberosEncryptType, KerberosModifyEncryptTypeReq, KerberosCommonRsp);
    SIM_RPC(GetKerberosEncryptType, KerberosAskEncyptTypeReq, KerberosAskEncyptTypeRsp);

private:
    sim_store& store_;
};

// The Kerberos module's status: 0 (ready) unless the file
// $TVN_SYSROOT/var/lib/tvn_sim/krb_ko_status holds another number.
int32_t kerberos_ko_status();

// The kernel channel "krb_cache" of the Kerberos caches: a clear request's
// bytes in, the number of entries dropped out.
int32_t kerberos_cache_channel(sim_store& store, const std::string& request, std::string& reply);

}  // namespace tvn::sim
