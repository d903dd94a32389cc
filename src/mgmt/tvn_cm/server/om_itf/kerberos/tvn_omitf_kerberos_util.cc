#include "tvn_omitf_kerberos_util.h"

#include <arpa/inet.h>

#include <array>

#include "tvn_omitf_kerberos_vocab.h"

namespace tvn_krb {

bool is_ip_address(std::string_view text) {
    if (text.empty() || text.size() > 45) return false;
    std::string s(text);
    std::array<unsigned char, 16> buf{};
    return inet_pton(AF_INET, s.c_str(), buf.data()) == 1 || inet_pton(AF_INET6, s.c_str(), buf.data()) == 1;
}

bool host_name_chars(std::string_view text) {
    for (char c : text) {
        bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
                  c == '_';
        if (!ok) return false;
    }
    return true;
}

name_fault check_domain_name(std::string_view name) {
    if (name.size() > KRB_NAME_MAX) return name_fault::too_long;
    if (name.empty()) return name_fault::empty;
    for (std::string_view bad : {"_.", "._", ".."})
        if (name.find(bad) != std::string_view::npos) return name_fault::bad_dots;
    return host_name_chars(name) ? name_fault::none : name_fault::bad_char;
}

std::optional<std::string> normalize_encrypt_list(std::string_view list) {
    if (!list.empty() && list.back() == ',') list.remove_suffix(1);
    if (list.empty()) return std::nullopt;
    size_t start = 0;
    while (true) {
        size_t comma = list.find(',', start);
        std::string_view element = list.substr(start, comma == std::string_view::npos ? list.npos : comma - start);
        if (element != "AES128" && element != "AES256" && element != "DES" && element != "DES3") return std::nullopt;
        if (comma == std::string_view::npos) break;
        start = comma + 1;
    }
    return std::string(list);
}

std::string cut_utf8(std::string_view text, size_t max) {
    if (text.size() <= max) return std::string(text);
    size_t end = max;
    // Step back over continuation bytes so no character is split.
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    return std::string(text.substr(0, end)) + "...";
}

uint8_t cache_type_code(std::string_view word) {
    if (word == "spn") return 1;
    if (word == "user") return 2;
    if (word == "context") return 3;
    return 0;
}

std::string cache_clear_request(uint8_t type, uint32_t tenant, std::string_view name) {
    std::string req(1 + 4 + KRB_CACHE_NAME_MAX, '\0');
    req[0] = static_cast<char>(type);
    for (int i = 0; i < 4; ++i) req[1 + i] = static_cast<char>((tenant >> (8 * i)) & 0xFF);
    name = name.substr(0, KRB_CACHE_NAME_MAX);
    req.replace(5, name.size(), name);
    return req;
}

}  // namespace tvn_krb
