#pragma once
// What the local Windows account commands share: the decoders of their
// items (each reads one item and logs at the caller's site), the name rule,
// the privilege list, the answers of users, groups and members, and the
// command base with the store and lookup clients.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/tvn_omitf_command.h"
#include "common/tvn_omitf_items.h"
#include "common/tvn_query_cond.h"
#include "tvn_auth_api.h"
#include "tvn_log.h"
#include "tvn_omitf_windows_users_vocab.h"
#include "tvn_sec_string.h"
#include "tvn_store_conf_api.h"
#include "tvn_store_windows_user_api.h"
#include "vstore_windows_user.pb.h"

namespace tvn_win {

// The privilege validator. `text` is a list of privilege indexes,
// "[0,2,5]" (blanks allowed, "[]" for none); each index is below
// kPrivilegeCount and appears once. On success `bits` (when given) gets
// the stored value, bit 1 << index per index.
bool is_valid_privileges(std::string_view text, uint64_t* bits = nullptr);
// The list form of a stored value ("[0,2]").
std::string privileges_text(uint64_t bits);

// The RID of a SID: the number after its last '-' (0 when there is none).
uint64_t rid_of_sid(std::string_view sid);

// The local domain SID prefix rule: "S-1-5-21-" and one to three more
// numbers, each a decimal of at most 10 digits.
bool isSidPrefixInvalid(std::string_view prefix);

// Answers.
std::vector<tvn_omitf::answer_item> user_items(const WindowsUserInfo& info);
std::vector<tvn_omitf::answer_item> group_items(const WindowsGroupInfo& info);
std::vector<tvn_omitf::answer_item> member_items(const MemberInfo& info);

struct range {
    uint32_t offset = 0;
    uint32_t limit = kPageMax;
};

// A user or group as a request names it.
struct account_ref {
    bool by_rid = false;
    uint64_t rid = 0;
    std::string name;
};

}  // namespace tvn_win

class TvnOmitfWindowsUserUtil {
public:
    using here_t = tvn::log_here;

    // The name rule of users and groups: 0 or -38100 (logged).
    static int32_t CheckWindowsNameValidUtil(const here_t& here, std::string_view name);

    // Item 4090: 0, or -22 for text that is not a tenant id.
    static int32_t DecodeTenant(const here_t& here, void* req, uint32_t& tenant);
    // A required name under the name rule; `absent_text` is logged when the
    // item is missing (-22).
    static int32_t DecodeName(const here_t& here, void* req, const tvn_om_vocab::item_def& item,
                              const char* absent_text, std::string& out);
    // An optional new name under the name rule.
    static int32_t DecodeNewName(const here_t& here, void* req, const tvn_om_vocab::item_def& item,
                                 std::optional<std::string>& out);
    // Optional; given empty -38008, longer than 256 -3208.
    static int32_t DecodeDesc(const here_t& here, void* req, const tvn_om_vocab::item_def& item,
                              std::optional<std::string>& out);
    // Optional privilege list (-22 when is_valid_privileges refuses it).
    static int32_t DecodePrivileges(const here_t& here, void* req, const tvn_om_vocab::item_def& item,
                                    std::optional<uint64_t>& out);
    // Optional RID: given empty or not a number -22.
    static int32_t DecodeRid(const here_t& here, void* req, const tvn_om_vocab::item_def& item,
                             std::optional<uint64_t>& out);
    // The account a delete, modify or show names: by the selector item, or
    // without it by RID when one is given, else by name.
    static int32_t DecodeAccountRef(const here_t& here, void* req, const tvn_om_vocab::item_def& by,
                                    const tvn_om_vocab::item_def& rid, const tvn_om_vocab::item_def& name,
                                    tvn_win::account_ref& out);
    // Item 22 against the command's keys (-22 for a malformed item or an
    // unknown key).
    static int32_t DecodeFilter(const here_t& here, void* req, std::initializer_list<std::string_view> keys,
                                tvn::query_filter& out);
    // Item 24 (absent: the first 100); item 23 when sort is given. -5 for a
    // malformed item or a page of more than 100 records.
    static int32_t DecodeRange(const here_t& here, void* req, tvn_win::range& out,
                               std::optional<tvn::query_sort>* sort = nullptr);
    // The password of item 64 encrypted to hex text. 0; -38205 when it
    // cannot be read; -1 when it cannot be encrypted; `absent` (when not 0)
    // is returned unlogged for a request without one.
    static int32_t DecodePassword(const here_t& here, void* req, int32_t absent, std::string& hex);

    // A group type of a filter: the decimal of a declared type, else -22.
    static int32_t DecodeGroupType(const here_t& here, const std::string& text, WindowsGroupType& out);
    // A member kind of item 82 (absent: a local user); -22 when unreadable.
    static int32_t GetGroupMemberAccountType(const here_t& here, void* req, WindowsMemberType& out);
    // The order of a list from its sort item: NAME or RID (-5 for another
    // key).
    static int32_t DecodeListOrder(const here_t& here, const std::optional<tvn::query_sort>& sort,
                                   WindowsUserListType& list, WindowsUserSortType& order);
    // One group into record `index` of an answer.
    static int32_t EncodeWindowsGroup(void* ack, uint32_t index, const WindowsGroupInfo& info);
};

// Base of the family's commands: the store and lookup clients, the store
// call with the family's time-out, and the answer of a change (the name and
// RID the store reports).
template <class Derived>
class tvn_omitf_windows_command : public tvn_omitf_command<Derived> {
public:
    using tvn_omitf_command<Derived>::tvn_omitf_command;

protected:
    std::unique_ptr<TvnStoreWindowsUserApi> open_store() {
        auto api = std::unique_ptr<TvnStoreWindowsUserApi>(new (std::nothrow) TvnStoreWindowsUserApi("127.0.0.1"));
        if (!api) TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, tvn_win::WIN_ERR_NOMEM, "New TvnStoreWindowsUserApi failed.");
        return api;
    }
    std::unique_ptr<tvn_auth_api> open_lookup() {
        auto api = std::unique_ptr<tvn_auth_api>(new (std::nothrow) tvn_auth_api("127.0.0.1", false, 1));
        if (!api) TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, tvn_win::WIN_ERR_NOMEM, "New tvn_auth_api failed.");
        return api;
    }
    // One store call; 0, the transport's code or the store's verdict.
    template <class Req, class Rsp>
    int32_t call_store(int32_t (TvnStoreWindowsUserApi::*method)(const Req&, Rsp&, int), const char* name,
                       const Req& request, Rsp& reply) {
        auto api = open_store();
        if (!api) return tvn_win::WIN_ERR_NOMEM;
        return this->call(*api, method, name, request, reply, tvn_win::kStoreTimeoutMs);
    }
    // The SID of a domain account (AD user or group) by its name, through
    // the lookup service. 0, or -2 when the directory does not know it.
    int32_t GetWindowsAdMemberSid(uint32_t tenant, const std::string& name, WindowsMemberType type, std::string& sid) {
        auto api = open_lookup();
        if (!api) return tvn_win::WIN_ERR_NOMEM;
        tvn_lookup_userinfo_by_name_req q;
        q.set_tenant_id(tenant);
        q.set_name(name);
        q.set_dest(LOOKUP_ON_AD);
        q.set_type(type == WINDOWS_MEMBER_TYPE_AD_GROUP ? LOOKUP_TYPE_GROUP : LOOKUP_TYPE_USER);
        tvn_lookup_userinfo_rsp r;
        int32_t rc = api->lookup_userinfo_by_name(q, r, static_cast<int>(tvn_omitf::rpc_timeout_ms(tvn_win::kStoreTimeoutMs)));
        if (rc == 0 && (r.status() != 0 || !r.has_userinfo() || r.userinfo().sid().empty())) rc = tvn_win::WIN_ERR_NOT_FOUND;
        if (rc != 0) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, rc, "Get windows ad member sid failed.");
            return rc;
        }
        sid = r.userinfo().sid();
        return 0;
    }
    // The account name of a domain SID ("DOMAIN\\name"); false when the
    // directory does not know it.
    bool ad_account_name(tvn_auth_api& api, uint32_t tenant, const std::string& sid, std::string& name) {
        tvn_lookup_userinfo_by_sid_req q;
        q.set_tenant_id(tenant);
        q.set_sid(sid);
        q.set_dest(LOOKUP_ON_AD);
        tvn_lookup_userinfo_rsp r;
        if (api.lookup_userinfo_by_sid(q, r, static_cast<int>(tvn_omitf::rpc_timeout_ms(tvn_win::kStoreTimeoutMs))) != 0 ||
            r.status() != 0 || !r.has_userinfo()) {
            TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, tvn_win::WIN_ERR_NOT_FOUND, "Lookup ad account by sid failed.");
            return false;
        }
        const auto& u = r.userinfo();
        name = u.domain().empty() || u.name().find('\\') != std::string::npos ? u.name() : u.domain() + "\\" + u.name();
        return true;
    }
    // Tenant and account of a delete, modify or show, logged at this
    // command's sites.
    int32_t read_account(void* req, const tvn_om_vocab::item_def& by, const tvn_om_vocab::item_def& rid,
                         const tvn_om_vocab::item_def& name, uint32_t& tenant, tvn_win::account_ref& ref) {
        if (int32_t rc = TvnOmitfWindowsUserUtil::DecodeTenant(TVN_HERE, req, tenant)) return rc;
        return TvnOmitfWindowsUserUtil::DecodeAccountRef(TVN_HERE, req, by, rid, name, ref);
    }
    // One store call on the account a request named: the by-SID operation
    // with its RID, or the by-name operation. `by_name` and `by_sid` come
    // with what the call changes; the tenant and the account are set here.
    template <class NameReq, class SidReq, class Rsp>
    int32_t call_on_account(uint32_t tenant, const tvn_win::account_ref& ref, NameReq& by_name, SidReq& by_sid,
                            int32_t (TvnStoreWindowsUserApi::*name_call)(const NameReq&, Rsp&, int),
                            const char* name_text,
                            int32_t (TvnStoreWindowsUserApi::*sid_call)(const SidReq&, Rsp&, int),
                            const char* sid_text, Rsp& reply) {
        if (ref.by_rid) {
            by_sid.set_tenant_id(tenant);
            by_sid.set_rid(ref.rid);
            return call_store(sid_call, sid_text, by_sid, reply);
        }
        by_name.set_tenant_id(tenant);
        by_name.set_name(ref.name);
        return call_store(name_call, name_text, by_name, reply);
    }
    // Adds or removes one membership: the items, a domain member resolved
    // to its SID, the store call; the answer names group, member and SID.
    template <class Req>
    int32_t change_membership(void* req, void** rsp, int32_t (TvnStoreWindowsUserApi::*method)(const Req&, WindowsUserCommonRsp&, int),
                              const char* method_name);
    std::unique_ptr<tvn_store_conf_api> open_conf() {
        auto api = std::unique_ptr<tvn_store_conf_api>(new (std::nothrow) tvn_store_conf_api("127.0.0.1"));
        if (!api) TVN_LOG(TVN_LOG_MODULE_CM, TVN_LOG_ERROR, tvn_win::WIN_ERR_NOMEM, "New tvn_store_conf_api failed.");
        return api;
    }
    // The answer of a change: the object's name and RID as the store gives
    // them, else as the request named them.
    static int32_t answer_change(void** rsp, const WindowsUserCommonRsp& status, const tvn_win::account_ref& ref) {
        std::string name = status.has_name() ? status.name() : ref.name;
        uint64_t rid = status.has_rid() ? status.rid() : ref.rid;
        std::vector<tvn_omitf::answer_item> items{{2, tvn_omitf::TYPE_STRING, name}};
        if (rid != 0) items.push_back({65, tvn_omitf::TYPE_STRING, std::to_string(rid)});
        return tvn_omitf::answer_record(rsp, tvn_omitf::TVN_OM_MSG_ITEMS, items);
    }
};
