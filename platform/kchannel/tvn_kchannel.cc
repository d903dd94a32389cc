#include "tvn_kchannel.h"

#include "talvane_kagent.pb.h"
#include "tvn_fault.h"
#include "tvn_kagent_api.h"

namespace tvn {

std::string kchannel_to_hex(std::string_view bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    out.reserve(bytes.size() * 2);
    for (unsigned char c : bytes) {
        out += kDigits[c >> 4];
        out += kDigits[c & 0x0F];
    }
    return out;
}

bool kchannel_from_hex(std::string_view hex, std::string& bytes) {
    auto digit = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return -1;
    };
    if (hex.size() % 2 != 0) return false;
    bytes.clear();
    for (size_t i = 0; i < hex.size(); i += 2) {
        int hi = digit(hex[i]), lo = digit(hex[i + 1]);
        if (hi < 0 || lo < 0) return false;
        bytes += static_cast<char>(hi * 16 + lo);
    }
    return true;
}

int32_t tvn_kchannel_request(const std::string& channel, const std::string& request, std::string& reply,
                             int timeout_ms) {
    reply.clear();
    if (fail_at("tvn_kchannel_request")) return -1;
    tvn_kagent_api api("127.0.0.1", false, 1);
    tvn_ka_pum_req req;
    req.set_module("kchannel");
    req.set_cmdstr(channel);
    req.set_value(kchannel_to_hex(request));
    tvn_ka_pum_rsp rsp;
    int32_t rc = api.kagent_pum(req, rsp, timeout_ms);
    if (rc != 0) return rc;
    if (rsp.result() != 0) return rsp.result();
    if (!kchannel_from_hex(rsp.value(), reply)) return -5;
    return 0;
}

}  // namespace tvn
