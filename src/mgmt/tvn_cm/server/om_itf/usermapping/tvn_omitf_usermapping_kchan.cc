#include "tvn_omitf_usermapping_kchan.h"

#include "common/tvn_omitf_items.h"
#include "tvn_kchannel.h"

namespace tvn_usermapping {

int32_t kernel_appdata_send(const void* data, size_t len, std::string& out, unsigned timeout_ms) {
    return tvn::tvn_kchannel_request(UM_APPDATA_CHANNEL, std::string(static_cast<const char*>(data), len), out,
                                     static_cast<int>(tvn_omitf::rpc_timeout_ms(timeout_ms)));
}

int32_t ShowSecurityDescInfo(const std::string& cmdstr, std::string& out, unsigned timeout_ms) {
    return tvn::tvn_kchannel_request(UM_SECDESC_CHANNEL, cmdstr, out,
                                     static_cast<int>(tvn_omitf::rpc_timeout_ms(timeout_ms)));
}

}  // namespace tvn_usermapping
