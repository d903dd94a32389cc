#pragma once
// The user-mapping commands' two kernel channels, typed over the kernel
// channels' stand-in (tvn_kchannel_request): the application-data channel
// that takes the fixed-size cache request, and the security-descriptor
// display, which takes a command string and answers text.
#include <cstddef>
#include <cstdint>
#include <string>

namespace tvn_usermapping {

inline constexpr const char* UM_APPDATA_CHANNEL = "appdata";
inline constexpr const char* UM_SECDESC_CHANNEL = "ShowSecurityDescInfo";
inline constexpr unsigned UM_KERNEL_TIMEOUT_MS = 10000;

// Sends `len` bytes; 0 and the kernel's answer bytes in `out`, or the
// kernel's or the transport's code.
int32_t kernel_appdata_send(const void* data, size_t len, std::string& out, unsigned timeout_ms);

// The display of a command string (ACL or effective permission): 0 and the
// text, or the display's code.
int32_t ShowSecurityDescInfo(const std::string& cmdstr, std::string& out, unsigned timeout_ms);

}  // namespace tvn_usermapping
