#pragma once
// The system's text encryption: a secret is turned into hex text that can
// be stored or sent, and back. AES-256-GCM under the node's key, a fresh
// 12-byte nonce per text; the hex text is nonce, cipher text and the
// 16-byte tag. A text that was altered or made under another key does not
// decrypt.
//
// The key lives in KEY_FILE under the system root. The first encryption
// on a node creates it (32 random bytes, mode 0600, never replaced); later
// calls and other processes read the same file.
#include <cstdint>
#include <string>
#include <string_view>

#include "tvn_sec_string.h"

namespace tvn {

inline constexpr const char* TEXT_KEY_FILE = "/KSD/conf/tvn_cm/text_key";

// 0, or -5 when the key cannot be read or made or the cipher fails
// ($TVN_FAIL_AT naming "tvn_encrypt_text" makes it fail).
int32_t tvn_encrypt_text(std::string_view plain, std::string& hex);
// 0, or -22 for text that is not one of ours (bad hex, too short, altered,
// other key), -5 when the key cannot be read.
int32_t tvn_decrypt_text(std::string_view hex, SecString& plain);

}  // namespace tvn
