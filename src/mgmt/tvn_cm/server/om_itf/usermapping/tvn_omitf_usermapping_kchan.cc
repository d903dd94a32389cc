#include "tvn_omitf_usermapping_kchan.h"

#include <memory>
#include <new>

#include "common/tvn_omitf_items.h"
#include "talvane_kagent.pb.h"
#include "tvn_fault.h"
#include "tvn_kagent_api.h"

namespace tvn_usermapping {

namespace {

int32_t pum(const char* module, const char* cmd, const std::string& value, std::string& out, unsigned timeout_ms) {
    std::unique_ptr<tvn_kagent_api> api(new (std::nothrow) tvn_kagent_api("127.0.0.1", false, 1));
    if (!api) return -6;
    tvn_ka_pum_req req;
    tvn_ka_pum_rsp rsp;
    req.set_module(module);
    req.set_cmdstr(cmd);
    req.set_value(value);
    int32_t rc = api->kagent_pum(req, rsp, static_cast<int>(tvn_omitf::rpc_timeout_ms(timeout_ms)));
    if (rc != 0) return rc;
    out = rsp.value();
    return rsp.result();
}

}  // namespace

int32_t kernel_appdata_send(const void* data, size_t len, std::string& out, unsigned timeout_ms) {
    if (tvn::fail_at("tvn_kernel_appdata")) return UM_KERNEL_REFUSED;
    static constexpr char kHex[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(len * 2);
    const auto* p = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < len; ++i) {
        hex += kHex[p[i] >> 4];
        hex += kHex[p[i] & 15];
    }
    return pum("usermap_cache", "appdata", hex, out, timeout_ms);
}

int32_t ShowSecurityDescInfo(const std::string& cmdstr, std::string& out, unsigned timeout_ms) {
    if (tvn::fail_at("ShowSecurityDescInfo")) return UM_KERNEL_REFUSED;
    return pum("secdesc", "ShowSecurityDescInfo", cmdstr, out, timeout_ms);
}

}  // namespace tvn_usermapping
