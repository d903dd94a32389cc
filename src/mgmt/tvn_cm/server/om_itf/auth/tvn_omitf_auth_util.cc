#include "tvn_omitf_auth_util.h"

#include <arpa/inet.h>
#include <sys/random.h>

#include <cctype>
#include <new>

#include "common/tvn_omitf_items.h"
#include "tvn_cm_util.h"
#include "tvn_fault.h"

namespace tvn_auth {

namespace {
constexpr const char* kHost = "127.0.0.1";
constexpr unsigned kAuthWorkers = 1;
}  // namespace

bool valid_nbname(std::string_view name) {
    static constexpr std::string_view kRefused = "@#*()=+[]|;:,<>\\/?\"";
    for (char c : name) {
        auto u = static_cast<unsigned char>(c);
        if (u >= 0x80 || std::iscntrl(u) || kRefused.find(c) != std::string_view::npos) return false;
    }
    return true;
}

bool valid_ip(std::string_view text) {
    if (text.empty() || text.size() >= INET6_ADDRSTRLEN) return false;
    std::string s(text);
    unsigned char buf[sizeof(struct in6_addr)];
    return inet_pton(AF_INET, s.c_str(), buf) == 1 || inet_pton(AF_INET6, s.c_str(), buf) == 1;
}

bool valid_domain_name(std::string_view name) {
    if (name.empty() || name.size() > 255) return false;
    size_t start = 0;
    while (start <= name.size()) {
        size_t dot = name.find('.', start);
        if (dot == std::string_view::npos) dot = name.size();
        std::string_view label = name.substr(start, dot - start);
        if (label.empty() || label.size() > 63 || label.front() == '-' || label.back() == '-') return false;
        for (char c : label)
            if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-') return false;
        start = dot + 1;
    }
    return true;
}

host_check check_hostname(std::string_view name) {
    if (name.size() > 255) return HOST_TOO_LONG;
    if (name.find_first_not_of(" \t") == std::string_view::npos) return HOST_EMPTY;
    for (std::string_view bad : {"_.", "._", ".."})
        if (name.find(bad) != std::string_view::npos) return HOST_BAD_DOTS;
    for (char c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '.' && c != '_') return HOST_BAD_CHAR;
    return HOST_OK;
}

std::vector<std::string> split_list(std::string_view text) {
    std::vector<std::string> out;
    size_t start = 0;
    while (start <= text.size()) {
        size_t comma = text.find(',', start);
        if (comma == std::string_view::npos) comma = text.size();
        std::string_view word = text.substr(start, comma - start);
        size_t a = word.find_first_not_of(" \t"), b = word.find_last_not_of(" \t");
        if (a != std::string_view::npos) out.emplace_back(word.substr(a, b - a + 1));
        start = comma + 1;
    }
    return out;
}

std::vector<std::string> split_array(std::string_view text) {
    size_t a = text.find_first_not_of(" \t"), b = text.find_last_not_of(" \t");
    if (a == std::string_view::npos) return {};
    text = text.substr(a, b - a + 1);
    if (text.size() >= 2 && text.front() == '[' && text.back() == ']') text = text.substr(1, text.size() - 2);
    std::vector<std::string> out;
    for (auto& w : split_list(text)) {
        if (w.size() >= 2 && w.front() == '"' && w.back() == '"') w = w.substr(1, w.size() - 2);
        if (!w.empty()) out.push_back(w);
    }
    return out;
}

std::string join_list(const std::vector<std::string>& words) {
    std::string out;
    for (const auto& w : words) out += (out.empty() ? "" : ",") + w;
    return out;
}

bool same_key(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

std::map<std::string, std::string> pairs_by_key(const tvn_gettenant_cfg_rsp& rsp) {
    std::map<std::string, std::string> out;
    for (const auto& p : rsp.config()) out[p.key()] = p.value();
    return out;
}

int32_t read_ad_tenant(void* msg, uint32_t& tenant, std::string& text) {
    tenant = 0;
    text.clear();
    switch (tvn_omitf::read_text(msg, TVN_OM_ITEM_VSTORE_ID, text)) {
        case tvn_omitf::ITEM_READ_ABSENT: return 0;
        case tvn_omitf::ITEM_READ_FAILED: return -1;
        case tvn_omitf::ITEM_READ_OK: break;
    }
    if (text.empty()) return -1;
    return tvn_omitf::parse_dec_u32(text, tenant) ? 0 : -22;
}

std::string random_credential() {
    static constexpr std::string_view kChars =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    unsigned char bytes[8] = {};
    if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) {
        // Never a fixed text: fall back to the address-space layout and the clock.
        uint64_t seed = reinterpret_cast<uintptr_t>(&bytes) ^ static_cast<uint64_t>(time(nullptr));
        for (auto& b : bytes) b = static_cast<unsigned char>(seed >>= 3);
    }
    std::string out;
    for (unsigned char b : bytes) out += kChars[b % kChars.size()];
    return out;
}

std::unique_ptr<tvn_store_conf_api> new_conf_api() {
    if (tvn::fail_at("tvn_store_conf_api")) return nullptr;
    return std::unique_ptr<tvn_store_conf_api>(new (std::nothrow) tvn_store_conf_api(kHost, false));
}

std::unique_ptr<tvn_auth_api> new_auth_api() {
    if (tvn::fail_at("tvn_auth_api")) return nullptr;
    return std::unique_ptr<tvn_auth_api>(new (std::nothrow) tvn_auth_api(kHost, false, kAuthWorkers));
}

}  // namespace tvn_auth
