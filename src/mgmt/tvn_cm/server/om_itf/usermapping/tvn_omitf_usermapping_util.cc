#include "tvn_omitf_usermapping_util.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "common/tvn_omitf_items.h"
#include "tvn_omitf_usermapping_vocab.h"

namespace tvn_usermapping {

namespace {

bool is_continuation(unsigned char c) { return (c & 0xC0) == 0x80; }

// Length of the UTF-8 sequence a lead byte starts, 0 for a bad lead byte.
size_t utf8_len(unsigned char c) {
    if (c < 0x80) return 1;
    if ((c & 0xE0) == 0xC0) return c >= 0xC2 ? 2 : 0;
    if ((c & 0xF0) == 0xE0) return 3;
    if ((c & 0xF8) == 0xF0) return c <= 0xF4 ? 4 : 0;
    return 0;
}

bool valid_utf8(std::string_view s) {
    for (size_t i = 0; i < s.size();) {
        size_t n = utf8_len(static_cast<unsigned char>(s[i]));
        if (n == 0 || i + n > s.size()) return false;
        for (size_t k = 1; k < n; ++k)
            if (!is_continuation(static_cast<unsigned char>(s[i + k]))) return false;
        i += n;
    }
    return true;
}

bool is_ctrl(unsigned char c) { return c < 0x20 || c == 0x7F; }

}  // namespace

bool parse_rule_id(std::string_view text, uint64_t& out) { return tvn_omitf::parse_dec_u64(text, out); }

std::optional<std::string> trim_utf8(std::string_view text, size_t limit) {
    if (text.size() <= limit) return std::string(text);
    if (limit < 3) return std::nullopt;
    size_t cut = limit - 3;
    // Step back over at most three continuation bytes to the lead byte of
    // the character the cut would split.
    size_t back = 0;
    while (cut > 0 && is_continuation(static_cast<unsigned char>(text[cut]))) {
        if (++back > 3) return std::nullopt;
        --cut;
    }
    if (!valid_utf8(text.substr(0, cut))) return std::nullopt;
    std::string out(text.substr(0, cut));
    out += "...";
    return out;
}

bool identity_ok(std::string_view text) {
    if (text.empty() || text.size() > UM_IDENTITY_MAX || !valid_utf8(text)) return false;
    return std::none_of(text.begin(), text.end(), [](char c) { return is_ctrl(static_cast<unsigned char>(c)); });
}

name_problem check_windows_name(std::string_view name) {
    const auto slashes = std::count(name.begin(), name.end(), '\\');
    if (slashes > 1) return {UM_ERR_INVALID, fmt::format("Delimiter count:{} greater than 1.", slashes)};
    if (name.empty() || name.size() > UM_WIN_NAME_MAX)
        return {UM_ERR_WIN_NAME_LEN,
                fmt::format("Win username is invalid, need shorter {} and longer than 0.", UM_WIN_NAME_MAX)};
    constexpr std::string_view kBad = "\"/[]<>+:;,?*|=@";
    if (name.find_first_of(kBad) != std::string_view::npos)
        return {UM_ERR_INVALID, "Win username includes invalid charcter(\"/[]<>+:;,?*|=@)"};
    if (std::any_of(name.begin(), name.end(), [](char c) { return is_ctrl(static_cast<unsigned char>(c)); }))
        return {UM_ERR_INVALID, "Win username includes ctrl char."};
    return {};
}

name_problem check_unix_name(std::string_view name) {
    if (name.size() > 64) return {UM_ERR_INVALID, "The unix user name is too long."};
    if (!name.empty() && (name[0] == '-' || name[0] == '$'))
        return {UM_ERR_INVALID, "The unix user name can't begin with - or $"};
    auto alnum = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); };
    bool ok = !name.empty() && (alnum(name[0]) || name[0] == '.' || name[0] == '_');
    for (size_t i = 1; ok && i < name.size(); ++i)
        ok = alnum(name[i]) || name[i] == '-' || name[i] == '_' || name[i] == '.' || name[i] == '$';
    if (!ok) return {UM_ERR_INVALID, "Check unix user name contain invalid character."};
    return {};
}

std::string check_path(std::string_view path) {
    if (path.empty() || path.size() > UM_MAX_PATH) return "(path.empty() || (path.length() > TVN_MAX_PATH))";
    if (path.at(0) != '/') return "(path.at(0) != TVN_RODS_CHA)";
    if (path.find("//") != std::string_view::npos) return "(std::string::npos != path.find(\"//\"))";
    // The first character is '/', so every separator has one before it.
    for (size_t i = 1; i < path.size(); ++i)
        if ((path[i] == ';' || path[i] == ' ' || path[i] == '|') && path[i - 1] != '\\')
            return "(((path[i] == TVN_SEMICOLON_CHA) || (path[i] == TVN_SPACE_CHA) || (path[i] == '|')) && "
                   "(path[i - 1] != TVN_BIAS_CHA))";
    return "";
}

std::string acl_cmdstr(uint32_t tenant, const acl_request& r) {
    const char s = UM_CMD_SEP;
    return fmt::format("getacl{}{}{}{}{}{}{}{}{}{}{}{}{}{}", s, tenant, s, r.fsid, s, r.path, s, r.offset, s, r.count,
                       s, r.names ? 1 : 0, s, r.acl_type);
}

std::string perm_cmdstr(uint32_t tenant, const perm_request& r) {
    const char s = UM_CMD_SEP;
    return fmt::format("getperm{}{}{}{}{}{}{}{}{}{}", s, tenant, s, r.fsid, s, r.user_type, s, r.user, s, r.path);
}

bool set_cache_sid(cache_request& r, std::string_view sid) {
    if (sid.size() >= UM_CACHE_SID_LEN) return false;
    std::memset(r.sid, 0, sizeof r.sid);
    std::memcpy(r.sid, sid.data(), sid.size());
    return true;
}

std::vector<tvn_omitf::answer_item> cache_answer_items(std::string_view text) {
    static const std::pair<std::string_view, const tvn_om_vocab::item_def*> kKeys[] = {
        {"rule", &vocab::answer_rule_id}, {"win", &vocab::answer_win_name}, {"sid", &vocab::answer_sid},
        {"unix", &vocab::answer_unix_name}, {"uid", &vocab::answer_uid},
    };
    std::vector<tvn_omitf::answer_item> out;
    while (!text.empty()) {
        size_t eol = text.find('\n');
        std::string_view line = text.substr(0, eol);
        text = eol == std::string_view::npos ? std::string_view{} : text.substr(eol + 1);
        size_t eq = line.find('=');
        if (eq == std::string_view::npos) continue;
        for (const auto& [key, item] : kKeys)
            if (line.substr(0, eq) == key)
                out.push_back({item->id, static_cast<uint32_t>(item->type), std::string(line.substr(eq + 1))});
    }
    return out;
}

}  // namespace tvn_usermapping
