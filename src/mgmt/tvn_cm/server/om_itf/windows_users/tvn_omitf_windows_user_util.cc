#include "tvn_omitf_windows_user_util.h"

#include <cctype>
#include <string>

#include "tvn_cm_util.h"
#include "tvn_text_crypt.h"

using namespace tvn_omitf;
using tvn_om_vocab::item_def;

namespace tvn_win {

namespace {

void skip_blanks(std::string_view text, size_t& at) {
    while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) ++at;
}

}  // namespace

bool is_valid_privileges(std::string_view text, uint64_t* bits) {
    size_t at = 0;
    skip_blanks(text, at);
    if (at >= text.size() || text[at] != '[') return false;
    ++at;
    uint64_t value = 0;
    bool first = true;
    for (;;) {
        skip_blanks(text, at);
        if (at < text.size() && text[at] == ']' && first) {
            ++at;
            break;
        }
        size_t start = at;
        uint32_t index = 0;
        while (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])) && at - start < 3)
            index = index * 10 + static_cast<uint32_t>(text[at++] - '0');
        if (at == start || index >= kPrivilegeCount || (value & (1ULL << index)) != 0) return false;
        value |= 1ULL << index;
        first = false;
        skip_blanks(text, at);
        if (at < text.size() && text[at] == ',') {
            ++at;
            continue;
        }
        if (at < text.size() && text[at] == ']') {
            ++at;
            break;
        }
        return false;
    }
    skip_blanks(text, at);
    if (at != text.size()) return false;
    if (bits != nullptr) *bits = value;
    return true;
}

std::string privileges_text(uint64_t bits) {
    std::string out = "[";
    for (uint32_t i = 0; i < 64; ++i)
        if ((bits & (1ULL << i)) != 0) out += (out.size() > 1 ? "," : "") + std::to_string(i);
    return out + "]";
}

uint64_t rid_of_sid(std::string_view sid) {
    size_t dash = sid.rfind('-');
    uint64_t rid = 0;
    if (dash == std::string_view::npos || !parse_dec_u64(sid.substr(dash + 1), rid)) return 0;
    return rid;
}

bool isSidPrefixInvalid(std::string_view prefix) {
    constexpr std::string_view head = "S-1-5-21";
    if (prefix.substr(0, head.size()) != head) return true;
    std::string_view rest = prefix.substr(head.size());
    int parts = 0;
    while (!rest.empty()) {
        if (rest[0] != '-') return true;
        rest.remove_prefix(1);
        size_t n = 0;
        while (n < rest.size() && std::isdigit(static_cast<unsigned char>(rest[n]))) ++n;
        if (n == 0 || n > 10) return true;
        uint64_t v = 0;
        if (!parse_dec_u64(rest.substr(0, n), v) || v > 0xffffffffULL) return true;
        rest.remove_prefix(n);
        ++parts;
    }
    return parts < 1 || parts > 3;
}

std::vector<answer_item> user_items(const WindowsUserInfo& info) {
    const auto& u = info.user();
    uint64_t rid = info.has_rid() ? info.rid() : rid_of_sid(u.sid());
    std::vector<answer_item> items{
        {vocab::user_name.id, TYPE_STRING, u.name()},
        {vocab::user_rid.id, TYPE_STRING, std::to_string(rid)},
        {vocab::user_sid.id, TYPE_STRING, u.sid()},
        {vocab::user_desc.id, TYPE_STRING, u.desc()},
        {vocab::user_enabled.id, TYPE_BOOL, info.statusenabled() ? "true" : "false"},
        {vocab::user_privileges.id, TYPE_STRING, privileges_text(u.privileges())},
        {vocab::user_pwd_days.id, TYPE_UNSIGNED, std::to_string(info.pwdexpiredday())},
    };
    return items;
}

std::vector<answer_item> group_items(const WindowsGroupInfo& info) {
    const auto& g = info.group();
    uint64_t rid = info.has_rid() ? info.rid() : rid_of_sid(g.sid());
    return {
        {vocab::group_name.id, TYPE_STRING, g.name()},
        {vocab::group_rid.id, TYPE_STRING, std::to_string(rid)},
        {vocab::group_sid.id, TYPE_STRING, g.sid()},
        {vocab::group_desc.id, TYPE_STRING, g.desc()},
        {vocab::group_type.id, TYPE_ENUM, std::to_string(static_cast<uint32_t>(g.grouptype()))},
        {vocab::group_privileges.id, TYPE_STRING, privileges_text(g.privileges())},
    };
}

std::vector<answer_item> member_items(const MemberInfo& info) {
    return {
        {vocab::member_name.id, TYPE_STRING, info.membername()},
        {vocab::member_sid.id, TYPE_STRING, info.membersid()},
        {vocab::member_rid.id, TYPE_STRING, std::to_string(info.memberrid())},
    };
}

}  // namespace tvn_win

using namespace tvn_win;

int32_t TvnOmitfWindowsUserUtil::CheckWindowsNameValidUtil(const here_t& here, std::string_view name) {
    if (name.empty() || name.size() > kNameMax) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, WIN_ERR_NAME,
                   "Name is invalid, need shorter 256 and longer than 0.");
        return WIN_ERR_NAME;
    }
    if (name.back() == '.') {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, WIN_ERR_NAME, "Name is end with '.'.");
        return WIN_ERR_NAME;
    }
    if (name.front() == ' ') {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, WIN_ERR_NAME, "Name is start with blank.");
        return WIN_ERR_NAME;
    }
    if (name.find_first_of("/\\[]<>+:;,?*|=@\"") != std::string_view::npos) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, WIN_ERR_NAME, "Name is include invalid charcter.");
        return WIN_ERR_NAME;
    }
    for (char c : name)
        if (std::iscntrl(static_cast<unsigned char>(c))) {
            TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, WIN_ERR_NAME, "this is ctrl char.");
            return WIN_ERR_NAME;
        }
    return 0;
}

int32_t TvnOmitfWindowsUserUtil::DecodeTenant(const here_t& here, void* req, uint32_t& tenant) {
    return item_reader(req).tenant(tenant, on_fail{WIN_ERR_INVALID, "Vstore id is invalid, vStoreID:%s.", here},
                                   on_fail{WIN_ERR_INVALID, "Vstore id is invalid, vStoreID:%s.", here});
}

int32_t TvnOmitfWindowsUserUtil::DecodeName(const here_t& here, void* req, const item_def& item,
                                            const char* absent_text, std::string& out) {
    if (int32_t rc = item_reader(req).need(item, out, on_fail{WIN_ERR_INVALID, absent_text, here},
                                           on_fail{WIN_ERR_INVALID, absent_text, here}))
        return rc;
    return CheckWindowsNameValidUtil(here, out);
}

int32_t TvnOmitfWindowsUserUtil::DecodeNewName(const here_t& here, void* req, const item_def& item,
                                               std::optional<std::string>& out) {
    if (int32_t rc = item_reader(req).take(item, out, on_fail{WIN_ERR_INVALID, "Get new name failed.", here}))
        return rc;
    return out ? CheckWindowsNameValidUtil(here, *out) : 0;
}

int32_t TvnOmitfWindowsUserUtil::DecodeDesc(const here_t& here, void* req, const item_def& item,
                                            std::optional<std::string>& out) {
    if (int32_t rc = item_reader(req).take(item, out, on_fail{WIN_ERR_INVALID, "Get desc failed.", here})) return rc;
    if (!out) return 0;
    if (out->empty()) return fail(on_fail{WIN_ERR_DESC_NULL, "Desc null.", here});
    if (out->size() > kDescMax) return fail(on_fail{WIN_ERR_TOO_LONG, "Desc too long.", here});
    return 0;
}

int32_t TvnOmitfWindowsUserUtil::DecodePrivileges(const here_t& here, void* req, const item_def& item,
                                                  std::optional<uint64_t>& out) {
    const on_fail bad{WIN_ERR_INVALID, "Windows user privileges indexes is invalid", here};
    std::optional<std::string> text;
    if (int32_t rc = item_reader(req).take(item, text, bad)) return rc;
    if (!text) return 0;
    uint64_t bits = 0;
    if (!is_valid_privileges(*text, &bits)) return fail(bad);
    out = bits;
    return 0;
}

int32_t TvnOmitfWindowsUserUtil::DecodeRid(const here_t& here, void* req, const item_def& item,
                                           std::optional<uint64_t>& out) {
    std::optional<std::string> text;
    if (int32_t rc = item_reader(req).take(item, text, on_fail{WIN_ERR_INVALID, "Get rid failed.", here})) return rc;
    if (!text) return 0;
    if (text->empty()) return fail(on_fail{WIN_ERR_INVALID, "Rid is null and create user failed.", here});
    uint64_t rid = 0;
    if (!parse_object_id(*text, rid)) return fail(on_fail{WIN_ERR_INVALID, "Rid invalid. Rid: %s.", here}, *text);
    out = rid;
    return 0;
}

int32_t TvnOmitfWindowsUserUtil::DecodeAccountRef(const here_t& here, void* req, const item_def& by,
                                                  const item_def& rid, const item_def& name, account_ref& out) {
    std::optional<uint32_t> selector;
    if (int32_t rc = item_reader(req).take(by, selector, on_fail{WIN_ERR_INVALID, "Get operate type failed.", here}))
        return rc;
    std::optional<uint64_t> given_rid;
    if (int32_t rc = DecodeRid(here, req, rid, given_rid)) return rc;
    if (!selector) {
        selector = given_rid ? 1 : 0;
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_INFO, 0,
                   given_rid ? "Set default delete user rid operate." : "Set default delete user name operate.");
    }
    out.by_rid = *selector == 1;
    if (out.by_rid) {
        if (!given_rid) return fail(on_fail{WIN_ERR_INVALID, "Rid is null.", here});
        out.rid = *given_rid;
        return 0;
    }
    return DecodeName(here, req, name, name.scope == "group" ? "StrGroupName null." : "StrUserName null.", out.name);
}

int32_t TvnOmitfWindowsUserUtil::DecodeFilter(const here_t& here, void* req,
                                              std::initializer_list<std::string_view> keys, tvn::query_filter& out) {
    std::string text;
    item_read got = read_text(req, tvn_om_common::kQuery.id, text);
    if (got == ITEM_READ_ABSENT) return 0;
    tvn::query_cond_error err;
    if (got != ITEM_READ_OK || tvn::parse_query_filter(text, keys, out, &err) != tvn::QUERY_COND_OK) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, WIN_ERR_INVALID, "The query condition(%s) is invalid.",
                   err.key.substr(0, 64).c_str());
        return WIN_ERR_INVALID;
    }
    return 0;
}

int32_t TvnOmitfWindowsUserUtil::DecodeRange(const here_t& here, void* req, range& out,
                                             std::optional<tvn::query_sort>* sort) {
    std::string text;
    item_read got = read_text(req, tvn_om_common::kRange.id, text);
    if (got != ITEM_READ_ABSENT) {
        tvn::query_range r;
        if (got != ITEM_READ_OK || tvn::parse_query_range(text, r) != tvn::QUERY_COND_OK || r.limit > kPageMax ||
            r.offset > static_cast<uint32_t>(INT32_MAX)) {
            TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, WIN_ERR_RANGE, "Param range is invalid.");
            return WIN_ERR_RANGE;
        }
        out.offset = r.offset;
        out.limit = r.limit;
    }
    if (sort == nullptr) return 0;
    got = read_text(req, tvn_om_common::kSort.id, text);
    if (got == ITEM_READ_ABSENT) return 0;
    tvn::query_sort s;
    if (got != ITEM_READ_OK || tvn::parse_query_sort(text, s) != tvn::QUERY_COND_OK) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, WIN_ERR_RANGE, "Param sort is invalid.");
        return WIN_ERR_RANGE;
    }
    *sort = std::move(s);
    return 0;
}

int32_t TvnOmitfWindowsUserUtil::DecodePassword(const here_t& here, void* req, int32_t absent, std::string& hex) {
    SecString plain;
    int32_t rc = TvnAuthGetPassWord(req, 0, vocab::user_password.id, plain);
    if (rc == static_cast<int32_t>(TVN_OM_ERR_NO_ITEM) && absent != 0) return absent;
    if (rc != 0) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, WIN_ERR_PASSWORD, "Get strPassword err:%d.", rc);
        return WIN_ERR_PASSWORD;
    }
    if (tvn::tvn_encrypt_text(plain.view(), hex) != 0) {
        TVN_LOG_AT(here, TVN_LOG_MODULE_CM, TVN_LOG_ERROR, WIN_ERR_ENCRYPT, "Pwd encrypt failed.");
        return WIN_ERR_ENCRYPT;
    }
    return 0;
}

int32_t TvnOmitfWindowsUserUtil::EncodeWindowsGroup(void* ack, uint32_t index, const WindowsGroupInfo& info) {
    return write_items(ack, index, group_items(info));
}

int32_t TvnOmitfWindowsUserUtil::DecodeGroupType(const here_t& here, const std::string& text, WindowsGroupType& out) {
    uint32_t type = 0;
    if (!parse_dec_u32(text, type) || !vocab::group_type.allows(type))
        return fail(on_fail{WIN_ERR_INVALID, "Group type(%s) is invalid.", here}, text.substr(0, 16));
    out = static_cast<WindowsGroupType>(type);
    return 0;
}

int32_t TvnOmitfWindowsUserUtil::GetGroupMemberAccountType(const here_t& here, void* req, WindowsMemberType& out) {
    uint32_t type = WINDOWS_MEMBER_TYPE_WINDOWS_USER;
    if (int32_t rc = item_reader(req).take(vocab::member_type, type,
                                           on_fail{WIN_ERR_INVALID, "Get member type failed(%s).", here}))
        return rc;
    out = static_cast<WindowsMemberType>(type);
    return 0;
}

int32_t TvnOmitfWindowsUserUtil::DecodeListOrder(const here_t& here, const std::optional<tvn::query_sort>& sort,
                                                 WindowsUserListType& list, WindowsUserSortType& order) {
    list = WINDOWS_USER_LIST_BY_DEFAULT;
    order = WINDOWS_USER_SORT_DEFAULT;
    if (!sort) return 0;
    if (sort->key == "RID") list = WINDOWS_USER_LIST_BY_SID;
    else if (sort->key == "NAME") list = WINDOWS_USER_LIST_BY_NAME;
    else return fail(on_fail{WIN_ERR_RANGE, "Sort key(%s) is invalid.", here}, sort->key.substr(0, 64));
    order = sort->descending ? WINDOWS_USER_SORT_DESCEND : WINDOWS_USER_SORT_ASCEND;
    return 0;
}
