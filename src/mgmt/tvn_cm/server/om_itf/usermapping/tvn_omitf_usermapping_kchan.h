#pragma once
// The kernel channels of the user-mapping commands: the application-data
// channel that takes the fixed-size cache request, and the
// security-descriptor display. Both go to the node's kernel agent as a
// `kagent_pum` call (module "usermap_cache", command "appdata", the request
// bytes as hexadecimal text; module "secdesc", command
// "ShowSecurityDescInfo", the command string as value); the agent's result
// and value come back as the kernel's.
//
// $TVN_FAIL_AT naming "tvn_kernel_appdata" or "ShowSecurityDescInfo" makes
// the kernel refuse the request without sending it.
#include <cstddef>
#include <cstdint>
#include <string>

namespace tvn_usermapping {

inline constexpr int32_t UM_KERNEL_REFUSED = -5;
inline constexpr unsigned UM_KERNEL_TIMEOUT_MS = 10000;

// Sends `len` bytes; 0 and the kernel's answer bytes in `out`, or the
// kernel's or the transport's code.
int32_t kernel_appdata_send(const void* data, size_t len, std::string& out, unsigned timeout_ms);

// The display of a command string (ACL or effective permission): 0 and the
// text, or the display's code.
int32_t ShowSecurityDescInfo(const std::string& cmdstr, std::string& out, unsigned timeout_ms);

}  // namespace tvn_usermapping
