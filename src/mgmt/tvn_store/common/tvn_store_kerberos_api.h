#pragma once
// Client of the three Kerberos stores of the store daemon (realms,
// services and keytabs, encryption types) over one connection. Each method
// returns 0 when the call completed (the store's verdict is then in the
// reply) or the transport error.
#include <cstdint>
#include <string>

#include "talvane_store_kerberos.pb.h"
#include "tvn_msg_rpc_api.h"

class TvnStoreKerberosApi
    : public tvn_msg_rpc_api<TvnStoreKerberosRealmService_Stub, TvnStoreKerberosService_Stub,
                             TvnStoreKerberosEncryptService_Stub> {
public:
    static constexpr int32_t STORE_PORT = 6102;
    static constexpr unsigned STORE_WORKER_NUM = 3;

    explicit TvnStoreKerberosApi(const std::string& host, bool multi_channel = false,
                                 int32_t port = STORE_PORT)
        : tvn_msg_rpc_api(host, port, multi_channel, STORE_WORKER_NUM) {}

    int32_t AddKerberosRealmConfig(const KerberosAddRealmConfigReq& req, KerberosCommonRsp& rsp,
                                   int timeout_ms) {
        return call(&TvnStoreKerberosRealmService_Stub::AddKerberosRealmConfig, req, rsp,
                    timeout_ms);
    }
    int32_t DelKerberosRealmConfig(const KerberosDelRealmConfigReq& req, KerberosCommonRsp& rsp,
                                   int timeout_ms) {
        return call(&TvnStoreKerberosRealmService_Stub::DelKerberosRealmConfig, req, rsp,
                    timeout_ms);
    }
    int32_t ModifyKerberosRealmConfig(const KerberosModifyRealmConfigReq& req,
                                      KerberosCommonRsp& rsp, int timeout_ms) {
        return call(&TvnStoreKerberosRealmService_Stub::ModifyKerberosRealmConfig, req, rsp,
                    timeout_ms);
    }
    int32_t ListKerberosRealmConfig(const KerberosListRealmConfigReq& req,
                                    KerberosListRealmConfigRsp& rsp, int timeout_ms) {
        return call(&TvnStoreKerberosRealmService_Stub::ListKerberosRealmConfig, req, rsp,
                    timeout_ms);
    }
    int32_t GetKerberosRealmConfigCount(const KerberosGetRealmConfigCountReq& req,
                                        KerberosGetRealmConfigCountRsp& rsp, int timeout_ms) {
        return call(&TvnStoreKerberosRealmService_Stub::GetKerberosRealmConfigCount, req, rsp,
                    timeout_ms);
    }

    int32_t EnableKerberosServiceConfig(const KerberosChangeServiceConfigReq& req,
                                        KerberosCommonRsp& rsp, int timeout_ms) {
        return call(&TvnStoreKerberosService_Stub::EnableKerberosServiceConfig, req, rsp,
                    timeout_ms);
    }
    int32_t DisableKerberosServiceConfig(const KerberosChangeServiceConfigReq& req,
                                         KerberosCommonRsp& rsp, int timeout_ms) {
        return call(&TvnStoreKerberosService_Stub::DisableKerberosServiceConfig, req, rsp,
                    timeout_ms);
    }
    int32_t ListKerberosServiceConfig(const KerberosListServiceConfigReq& req,
                                      KerberosListServiceConfigRsp& rsp, int timeout_ms) {
        return call(&TvnStoreKerberosService_Stub::ListKerberosServiceConfig, req, rsp, timeout_ms);
    }
    int32_t GetKerberosServiceConfig(const KerberosGetServiceConfigReq& req,
                                     KerberosGetServiceConfigRsp& rsp, int timeout_ms) {
        return call(&TvnStoreKerberosService_Stub::GetKerberosServiceConfig, req, rsp, timeout_ms);
    }
    int32_t GetKerberosLifCount(const KerberosGetLifCountReq& req, KerberosGetLifCountRsp& rsp,
                                int timeout_ms) {
        return call(&TvnStoreKerberosService_Stub::GetKerberosLifCount, req, rsp, timeout_ms);
    }
    int32_t ImportKerberosKeytab(const KerberosImportKeytabReq& req, KerberosCommonRsp& rsp,
                                 int timeout_ms) {
        return call(&TvnStoreKerberosService_Stub::ImportKerberosKeytab, req, rsp, timeout_ms);
    }
    int32_t KerberosListAvailableLif(const KerberosListAvailableLifReq& req,
                                     KerberosListAvailableLifRsp& rsp, int timeout_ms) {
        return call(&TvnStoreKerberosService_Stub::KerberosListAvailableLif, req, rsp, timeout_ms);
    }

    int32_t ModifyKerberosEncryptType(const KerberosModifyEncryptTypeReq& req,
                                      KerberosCommonRsp& rsp, int timeout_ms) {
        return call(&TvnStoreKerberosEncryptService_Stub::ModifyKerberosEncryptType, req, rsp,
                    timeout_ms);
    }
    int32_t GetKerberosEncryptType(const KerberosAskEncyptTypeReq& req,
                                   KerberosAskEncyptTypeRsp& rsp, int timeout_ms) {
        return call(&TvnStoreKerberosEncryptService_Stub::GetKerberosEncryptType, req, rsp,
                    timeout_ms);
    }
};
