#pragma once
// The Kerberos family's checks that need no daemon: addresses, host and
// domain names, the encryption-type list, the operation log's SPN cut and
// the kernel request of a cache clear. Pure functions, so each is tested
// on its own.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tvn_krb {

// An IPv4 or IPv6 address in its usual text form.
bool is_ip_address(std::string_view text);

// Only letters, digits, '-', '.' and '_' (the host-name set).
bool host_name_chars(std::string_view text);

// Why a name fails the domain-name rule.
enum class name_fault { none, too_long, empty, bad_dots, bad_char };
// At most 255 characters, not empty, no "_.", "._" or "..", and only the
// host-name set.
name_fault check_domain_name(std::string_view name);

// The encryption-type list with a trailing comma dropped, when every
// element is one of AES128, AES256, DES, DES3 (case matters); nullopt
// otherwise.
std::optional<std::string> normalize_encrypt_list(std::string_view list);

// At most `max` bytes of `text`, cut at a UTF-8 character boundary with
// "..." appended when anything was cut.
std::string cut_utf8(std::string_view text, size_t max);

// The cache type word of a clear ("spn", "user", "context") as the kernel
// numbers it; 0 for another word.
uint8_t cache_type_code(std::string_view word);
// The kernel request of a cache clear (see KRB_KERNEL_CHANNEL).
std::string cache_clear_request(uint8_t type, uint32_t tenant, std::string_view name);

}  // namespace tvn_krb
