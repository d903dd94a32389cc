#pragma once
// Stand-in of the kernel channels: a request of bytes goes to a named
// channel of the kernel-side protocol services and comes back as a result
// code and the answer's bytes. On this platform the kernel side is the
// kernel agent (127.0.0.1:6105): the request travels as its "kchannel"
// command (kagent_pum, module "kchannel", command the channel's name,
// value the bytes in hexadecimal).
//
// $TVN_FAIL_AT naming "tvn_kchannel_request" makes the kernel refuse every
// request (-1), so that the "kernel did not take it" paths can be run.
#include <cstdint>
#include <string>
#include <string_view>

namespace tvn {

int32_t tvn_kchannel_request(const std::string& channel, const std::string& request, std::string& reply,
                             int timeout_ms);

// The hexadecimal form the bytes travel in (lower case, two digits a byte).
std::string kchannel_to_hex(std::string_view bytes);
// False for text that is not an even run of hexadecimal digits.
bool kchannel_from_hex(std::string_view hex, std::string& bytes);

}  // namespace tvn
