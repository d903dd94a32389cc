#include "tvn_auth_api.h"

#include "tvn_log.h"

// The authentication wrapper logs under its own module name.
#define AUTH_LOG_ERR(err, ...) TVN_LOG("proto_tvn_auth", TVN_LOG_ERROR, err, __VA_ARGS__)

namespace {
// The Kerberos calls deliberately share the NTLM wording.
template <class Call>
int32_t logged_call(tvn_msg_rpc_api_base& api, Call&& call) {
    int32_t rc = api.open_client();
    if (rc != 0) {
        AUTH_LOG_ERR(rc, "Open RPC client for auth failed.");
        return rc;
    }
    rc = call();
    if (rc != 0) AUTH_LOG_ERR(rc, "RPC call for raw ntlm auth failed.");
    return rc;
}
}  // namespace

int32_t tvn_auth_api::auth_via_raw_ntlm(const tvn_auth_raw_ntlm_req& req,
                                        tvn_auth_raw_ntlm_rsp& rsp, int timeout_ms) {
    return logged_call(*this, [&] {
        return call(&tvn_auth_service_Stub::auth_via_raw_ntlm, req, rsp, timeout_ms);
    });
}

int32_t tvn_auth_api::AuthKerberosJoinRealm(const TvnAuthNfsKerberosJoinRealmReq& req,
                                            TvnAuthNfsKerberosJoinRealmRsp& rsp, int timeout_ms) {
    return logged_call(*this, [&] {
        return call(&tvn_auth_service_Stub::AuthKerberosJoinRealm, req, rsp, timeout_ms);
    });
}

int32_t tvn_auth_api::AuthKerberosUnjoinDomain(const TvnAuthNfsKerberosJoinRealmReq& req,
                                               TvnAuthNfsKerberosJoinRealmRsp& rsp,
                                               int timeout_ms) {
    return logged_call(*this, [&] {
        return call(&tvn_auth_service_Stub::AuthKerberosUnjoinDomain, req, rsp, timeout_ms);
    });
}
