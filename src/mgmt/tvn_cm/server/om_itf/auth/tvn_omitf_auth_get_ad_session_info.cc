// The domain client's RPC sessions: one answer record per session.
#include "auth/tvn_omitf_auth_ad.h"
#include "talvane_diagnose.pb.h"

using namespace tvn_auth;

int tvn_omitf_auth_get_ad_session_info::deal(void* req, void** rsp) {
    uint32_t tenant = 0;
    int32_t rc = read_tenant(req, tenant);
    if (rc != 0) return rc;
    tvn_get_msrpc_session_req q;
    tvn_get_msrpc_session_rsp sessions;
    q.set_tenant_id(tenant);
    if ((rc = ask(auth(), &tvn_auth_api::get_msrpc_session, "get_msrpc_session", q, sessions, AD_READ_TIMEOUT_MS)))
        return rc;
    return this->answer_page(
        rsp, sessions.session_info(),
        [tenant](const tvn_msrpc_session_info& s) {
            return std::vector<tvn_omitf::answer_item>{text_item(vocab::session_ip.id, s.ip()),
                                                       text_item(vocab::session_info.id, s.info()),
                                                       tenant_item(tenant)};
        },
        "sessions");
}
